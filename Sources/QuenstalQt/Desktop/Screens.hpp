#pragma once

namespace quenstal {

/// Whether windows can be shown: there is a screen, and the density that the desktop gives it is none that would make
/// a small window larger than the memory. Where they cannot, standard error is told why. Main thread.
bool canShowWindows();

} // namespace quenstal
