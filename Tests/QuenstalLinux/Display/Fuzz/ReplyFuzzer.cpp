// Whatever a monitor replies: the transport reads a volume only where the pattern stands, never with maximum 0; the
// memo's view of the same bytes agrees, and a value put into it is the value read from it.

#include "QuenstalDDC/DDC.hpp"
#include "QuenstalLinux/Display/VcpWire.hpp"
#include "QuenstalSimulation/SimulatedDisplayBuses.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace {

using namespace quenstal;

const VcpMessage question(speakerVolumeQuestion.begin(), speakerVolumeQuestion.end());

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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    VcpReply reply{};
    std::copy_n(data, std::min(size, reply.size()), reply.begin());
    QSDDCVolume volume;
    const bool isRead = read(reply, volume);
    require(isRead == (volume.maximum != 0));
    const VcpVerdict verdict = judgeReply(reply, question);
    require(isRead == (verdict == VcpVerdict::accepted || verdict == VcpVerdict::wrongChecksum));

    VcpReply repaired = reply;
    repairMaximum(repaired, question);
    const VcpMessage set{0x51, 0x84, 0x03, 0x62, 0x12, 0x34, 0xFD};
    require(putCurrentValue(repaired, set) == isRead);
    if (!isRead)
        return 0;
    QSDDCVolume changed;
    require(read(repaired, changed));
    require(changed.current == 0x1234);
    require(changed.maximum == volume.maximum || changed.maximum == (volume.maximum & 0xFF));
    return 0;
}
