#include "QuenstalSimulation/SimulatedAudioJournal.hpp"

#include <algorithm>
#include <iterator>

namespace quenstal {

void SimulatedAudioJournal::failWith(std::string beginning, PlatformStatus status)
{
    std::erase_if(faults_, [&](const auto& fault) { return fault.first == beginning; });
    if (status != 0)
        faults_.emplace_back(std::move(beginning), status);
}

std::vector<std::string> SimulatedAudioJournal::callsBeginning(std::string_view beginning) const
{
    std::vector<std::string> found;
    std::ranges::copy_if(
        calls_, std::back_inserter(found), [&](const std::string& call) { return call.starts_with(beginning); });
    return found;
}

PlatformStatus SimulatedAudioJournal::record(std::string call)
{
    calls_.push_back(std::move(call));
    const auto fault = std::ranges::find_if(
        faults_, [&](const auto& candidate) { return calls_.back().starts_with(candidate.first); });
    return fault == faults_.end() ? 0 : fault->second;
}

std::string fourCharText(FourCharCode code)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text.push_back(static_cast<char>(code >> shift & 0xff));
    return text;
}

} // namespace quenstal
