#pragma once

// Text that others wrote: names of outputs and monitors, paths, answers from a bus. It is made presentable where it
// enters the shell, so that nobody behind has to think of it.

#include <cstddef>
#include <string>
#include <string_view>

namespace quenstal {

/// In characters.
inline constexpr std::size_t longestName = 100;
inline constexpr std::size_t longestSentence = 600;

/// One line of plain text that shows nothing but itself: valid UTF-8, nothing that moves a terminal's cursor or turns
/// the direction of what stands beside it. Control characters and ends of lines become blanks, of which none is left at
/// either end; marks that cannot be seen go; what is no text becomes U+FFFD. Of more than `longest` characters, one or
/// more, the first are kept, whole with their accents, and the last is an ellipsis. Reads no more than it needs.
std::string presentable(std::string_view outside, std::size_t longest = longestName);

/// The same for what has several lines: their ends are kept, and the blanks they begin with.
std::string presentableLines(std::string_view outside, std::size_t longest);

} // namespace quenstal
