#pragma once

#include "QuenstalLinux/Display/VcpWire.hpp"

#include <optional>

namespace quenstal {

/// Decides which of several replies to one question to believe.
class ReplyJury {
public:
    /// `known` is what was believed so far; the question outlives the jury.
    ReplyJury(const VcpMessage& question, const std::optional<VcpReply>& known)
        : question_(question)
        , known_(known)
    {
    }

    VcpVerdict hear(VcpReply reply);

    /// A reply that can be believed: nothing else is known, it says what is known, or it was given twice. A monitor
    /// may answer with the reply before the last.
    const std::optional<VcpReply>& decision() const { return decision_; }
    /// The last one heard, when there was no agreement.
    const std::optional<VcpReply>& lastHeard() const { return lastHeard_; }

private:
    void weigh(VcpReply reply);
    bool agrees(const VcpReply& reply, const std::optional<VcpReply>& other) const;

    const VcpMessage& question_;
    const std::optional<VcpReply> known_;
    int wrongSums_ = 0;
    std::optional<VcpReply> lastHeard_;
    std::optional<VcpReply> decision_;
};

} // namespace quenstal
