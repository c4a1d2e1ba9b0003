#pragma once

#include "QuenstalLinux/Display/VcpWire.hpp"

#include <optional>

namespace quenstal {

/// Decides which of several replies to one question to believe.
class ReplyJury {
public:
    /// `known` is what was believed so far; the question outlives the jury. One that wants two replies that agree
    /// believes no single one.
    ReplyJury(const VcpMessage& question, const std::optional<VcpReply>& known, bool wantsTwo)
        : question_(question)
        , known_(known)
        , wantsTwo_(wantsTwo)
    {
    }

    VcpVerdict hear(VcpReply reply);

    /// A reply that can be believed: nothing else is known, it says what is known, or it was given twice. A monitor
    /// may answer with the reply before the last.
    const std::optional<VcpReply>& decision() const { return decision_; }
    /// The last one heard, agreed upon or not.
    const std::optional<VcpReply>& lastHeard() const { return lastHeard_; }

private:
    void weigh(VcpReply reply);
    bool agrees(const VcpReply& reply, const std::optional<VcpReply>& other) const;

    const VcpMessage& question_;
    const std::optional<VcpReply> known_;
    const bool wantsTwo_;
    int wrongSums_ = 0;
    std::optional<VcpReply> lastHeard_;
    std::optional<VcpReply> decision_;
};

} // namespace quenstal
