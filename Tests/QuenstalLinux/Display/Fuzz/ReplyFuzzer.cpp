// Whatever a monitor replies: the transport reads a volume only where the pattern stands, never with maximum 0; the
// messages and the consensus of the memo see the same, and what is handed up again is read as it was understood.

#include "QuenstalDDC/DDC.hpp"
#include "QuenstalLinux/Display/ReplyConsensus.hpp"
#include "QuenstalSimulation/SimulatedDisplayBuses.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace {

using namespace quenstal;

bool read(const VcpReply& bytes, QSDDCVolume& volume)
{
    const SimulatedRunLoop loop;
    SimulatedDisplayBuses buses(loop);
    auto monitor = std::make_shared<SimulatedMonitor>();
    monitor->setQuirks({.rawReply = std::vector<std::uint8_t>(bytes.begin(), bytes.end())});
    buses.framebuffers = {{std::move(monitor)}};
    const bool isRead = QSDDCReadSpeakerVolume(buses, &volume);
    if (buses.outstanding() != 0)
        std::abort();
    return isRead;
}

void require(bool condition)
{
    if (!condition)
        std::abort();
}

/// Where the pattern 02 00 62 stands.
std::optional<std::size_t> patternIn(const VcpReply& reply)
{
    for (std::size_t i = 2; i <= 8; ++i)
        if (reply.at(i) == 2 && reply.at(i + 1) == 0 && reply.at(i + 2) == 0x62)
            return i;
    return std::nullopt;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    VcpReply reply{};
    std::copy_n(data, std::min(size, reply.size()), reply.begin());
    const std::optional<std::size_t> at = patternIn(reply);
    const std::optional<VcpValue> value = valueIn(reply, speakerVolumeFeature);
    QSDDCVolume volume;
    require(read(reply, volume) == at.has_value());
    require(value.has_value() == at.has_value());
    ReplyConsensus consensus(speakerVolumeFeature, std::nullopt, false);
    const ReplyConsensus::Verdict verdict = consensus.hear(reply);
    require(at.has_value()
        == (verdict == ReplyConsensus::Verdict::accepted || verdict == ReplyConsensus::Verdict::damaged));
    require(verdict != ReplyConsensus::Verdict::unsupported || reply[3] == 1);
    if (!at)
        return 0;
    require(value->maximum == reply.at(*at + 4) * 256 + reply.at(*at + 5));
    require(value->current == reply.at(*at + 6) * 256 + reply.at(*at + 7));
    require(volume.current == value->current);
    require(volume.maximum == (value->maximum == 0 ? 100 : value->maximum));

    if (!consensus.decision())
        return 0;
    require(consensus.decision()->current == value->current);
    const auto canonical = vcpReply(speakerVolumeFeature, vcp::noError, *consensus.decision());
    VcpReply handedUp{};
    std::ranges::copy(canonical, handedUp.begin());
    QSDDCVolume again;
    require(read(handedUp, again));
    require(again.current == volume.current);
    require(again.maximum == volume.maximum || again.maximum == (volume.maximum & 0xFF));
    return 0;
}
