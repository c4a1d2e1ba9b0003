#pragma once

#include <string>

#include <QString>
#include <span>

namespace quenstal {

/// A text from the rooms below in the user's language. What is no fixed text of theirs, as an output's name, stays.
QString shownText(const std::string& text);

/// The fixed texts of those rooms, which know no toolkit: listed for the translators under the context "Core".
std::span<const char* const> coreTexts();

} // namespace quenstal
