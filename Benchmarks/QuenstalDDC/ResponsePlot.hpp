#pragma once

#include <string>

namespace quenstal {

/// Measures every preset by sines, prints it beside the analytic response and draws both into an SVG file.
void plotResponses(const std::string& path);

} // namespace quenstal
