#pragma once

#include <QString>

namespace quenstal {

/// Opens a page of the system's settings, or any other address. False when nothing can open it.
bool openLink(const QString& link);

} // namespace quenstal
