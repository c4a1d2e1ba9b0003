#pragma once

namespace quenstal {

/// Makes the C++ types known to QML as the module Quenstal.Artwork. Once a process, before the first view.
void registerViewTypes();

} // namespace quenstal
