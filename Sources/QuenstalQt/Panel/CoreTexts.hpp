#pragma once

#include <span>

namespace quenstal {

/// The fixed texts that reach the views as values, from the rooms below. Listed here for the translators: those rooms
/// know no toolkit. `PanelModel::shown` looks them up under the context "Core".
std::span<const char* const> coreTexts();

} // namespace quenstal
