#pragma once

namespace quenstal {

/// Whether windows can be shown: there is a screen, and its density does not make a small window larger than the
/// memory. If they cannot, the reason is printed to standard error. Main thread.
bool canShowWindows();

} // namespace quenstal
