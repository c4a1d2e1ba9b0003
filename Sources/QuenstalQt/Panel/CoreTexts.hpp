#pragma once

#include <string>

#include <QString>
#include <span>

namespace quenstal {

/// A text from the rooms below in the user's language. Anything else, such as an output's name, stays as it is.
QString shownText(const std::string& text);

/// The fixed texts of those rooms, which do not know the toolkit, listed for translators in the context "Core".
std::span<const char* const> coreTexts();

} // namespace quenstal
