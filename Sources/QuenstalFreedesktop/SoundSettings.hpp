#pragma once

namespace quenstal {

/// Opens the desktop's page of sound settings, or a mixer that stands alone. False when there is neither.
bool openSoundSettings();

} // namespace quenstal
