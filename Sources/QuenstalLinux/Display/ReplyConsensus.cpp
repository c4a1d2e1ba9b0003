#include "QuenstalLinux/Display/ReplyConsensus.hpp"

namespace quenstal {
namespace {

/// Damaged replies are asked for again; a monitor that cannot add is believed in the end.
constexpr int toleratedDamage = 2;

/// A volume's maximum of 0xFFnn (nn not 0) is nn: the monitors that report it count in one byte, and taking it
/// literally drives them to full volume.
VcpValue repaired(VcpFeature feature, VcpValue value)
{
    const std::uint8_t low = vcp::low(value.maximum);
    if (feature == speakerVolumeFeature && vcp::high(value.maximum) == 0xFF && low != 0)
        value.maximum = low;
    return value;
}

} // namespace

ReplyConsensus::Verdict ReplyConsensus::hear(const VcpReply& reply)
{
    Verdict verdict = judge(reply);
    if (verdict == Verdict::damaged && damagedReplies_++ == toleratedDamage)
        verdict = Verdict::accepted;
    if (verdict == Verdict::accepted)
        weigh(repaired(feature_, *valueIn(reply, feature_)));
    return verdict;
}

ReplyConsensus::Verdict ReplyConsensus::judge(const VcpReply& reply) const
{
    if (valueIn(reply, feature_))
        return isDamaged(reply) ? Verdict::damaged : Verdict::accepted;
    return saysUnsupported(reply, feature_) ? Verdict::unsupported : Verdict::rejected;
}

void ReplyConsensus::weigh(const VcpValue& value)
{
    if ((!known_ && !wantsTwo_) || value == known_ || value == lastHeard_)
        decision_ = value;
    lastHeard_ = value;
}

} // namespace quenstal
