#include "QuenstalLinux/Display/ReplyJury.hpp"

namespace quenstal {
namespace {

/// Replies with a wrong sum are asked for again; a monitor that cannot add is believed in the end.
constexpr int toleratedWrongSums = 2;

} // namespace

VcpVerdict ReplyJury::hear(VcpReply reply)
{
    VcpVerdict verdict = judgeReply(reply, question_);
    if (verdict == VcpVerdict::wrongChecksum && wrongSums_++ == toleratedWrongSums)
        verdict = VcpVerdict::accepted;
    if (verdict == VcpVerdict::accepted)
        weigh(reply);
    return verdict;
}

void ReplyJury::weigh(VcpReply reply)
{
    repairMaximum(reply, question_);
    if ((!known_ && !wantsTwo_) || agrees(reply, known_) || agrees(reply, lastHeard_))
        decision_ = reply;
    lastHeard_ = reply;
}

bool ReplyJury::agrees(const VcpReply& reply, const std::optional<VcpReply>& other) const
{
    return other && saySame(reply, *other, question_);
}

} // namespace quenstal
