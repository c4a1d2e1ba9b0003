#pragma once

#include "QuenstalPlatform/VcpMessages.hpp"

#include <optional>

namespace quenstal {

/// Decides which of several replies to one question to believe.
class ReplyConsensus {
public:
    enum class Verdict {
        /// The answer is at one of the expected positions.
        accepted,
        /// The same, in the usual layout, but the checksum shows that a bit was lost.
        damaged,
        /// The monitor replied, with a correct checksum, that it has no such feature.
        unsupported,
        /// Anything else: too early, for someone else, noise.
        rejected
    };

    /// `known` is what was believed so far. One that wants two replies that agree believes no single one.
    ReplyConsensus(VcpFeature feature, const std::optional<VcpValue>& known, bool wantsTwo)
        : feature_(feature)
        , known_(known)
        , wantsTwo_(wantsTwo)
    {
    }

    Verdict hear(const VcpReply& reply);

    /// A value that can be believed: nothing else is known, it is what is known, or it was given twice. A monitor may
    /// answer with the reply before the last.
    const std::optional<VcpValue>& decision() const { return decision_; }
    /// The last one received, agreed upon or not.
    const std::optional<VcpValue>& lastHeard() const { return lastHeard_; }

private:
    Verdict judge(const VcpReply& reply) const;
    void weigh(const VcpValue& value);

    const VcpFeature feature_;
    const std::optional<VcpValue> known_;
    const bool wantsTwo_;
    int damagedReplies_ = 0;
    std::optional<VcpValue> lastHeard_;
    std::optional<VcpValue> decision_;
};

} // namespace quenstal
