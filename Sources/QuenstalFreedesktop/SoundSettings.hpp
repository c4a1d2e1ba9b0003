#pragma once

namespace quenstal {

/// Opens the desktop's sound settings or a stand-alone mixer. False when there is neither.
bool openSoundSettings();

} // namespace quenstal
