#pragma once

#include "QuenstalLinux/Keyboards/KeyCapture.hpp"
#include "QuenstalPlatform/Notifier.hpp"

#include <string>
#include <string_view>
#include <utility>

namespace quenstal {

/// A way of capture that does as the test says, and remembers what was asked of it.
struct FakeWay final : KeyCapture {
    FakeWay(RunLoop& runLoop, std::string_view itsName)
        : itsName(itsName)
        , changes(runLoop)
    {
    }

    std::string_view name() const override { return itsName; }
    bool isPossible() override { return possible; }
    std::string obstacle() override { return possible ? std::string() : why; }
    bool start(KeyCaptureListener& newListener) override
    {
        ++startCount;
        listener = starts ? &newListener : nullptr;
        return starts;
    }
    void stop() override
    {
        ++stops;
        listener = nullptr;
    }
    void lose() { std::exchange(listener, nullptr)->captureLost(); }
    [[nodiscard]] Cancellation onMayHaveChanged(RunLoop::Task task) override { return changes.add(std::move(task)); }

    std::string_view itsName;
    bool possible = false;
    bool starts = true;
    std::string why;
    int startCount = 0;
    int stops = 0;
    KeyCaptureListener* listener = nullptr;
    Notifier<> changes;
};

} // namespace quenstal
