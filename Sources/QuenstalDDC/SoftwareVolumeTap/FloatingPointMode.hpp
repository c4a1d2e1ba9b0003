#pragma once

#include <cstdint>

namespace quenstal {

/// The processor's floating-point control word. Audio thread.
std::uint64_t floatingPointMode();
void setFloatingPointMode(std::uint64_t mode);

/// Round to nearest, every exception masked, subnormal numbers kept.
extern const std::uint64_t ieeeMode;
/// The same, with subnormal operands and results taken as zero: the recursion of a filter that rings out would
/// otherwise stay among the subnormals, each many times as slow as an ordinary number.
extern const std::uint64_t flushingMode;

/// Holds a mode for a scope and gives the caller's back. Switching costs more than looking, so it looks first.
class FloatingPointModeScope {
public:
    explicit FloatingPointModeScope(std::uint64_t mode)
        : saved_(floatingPointMode())
        , switched_(saved_ != mode)
    {
        if (switched_)
            setFloatingPointMode(mode);
    }
    ~FloatingPointModeScope()
    {
        if (switched_)
            setFloatingPointMode(saved_);
    }
    FloatingPointModeScope(const FloatingPointModeScope&) = delete;
    FloatingPointModeScope& operator=(const FloatingPointModeScope&) = delete;

private:
    const std::uint64_t saved_;
    const bool switched_;
};

} // namespace quenstal
