#pragma once

#include "QuenstalApp/VolumeDesk.hpp"

#include <memory>
#include <optional>
#include <utility>

namespace quenstal {

/// An output's stay on the software path, and what its end asks for. The software session must end with it: its gain
/// would multiply with the volume of the path after it. And a monitor that answers again must not be louder than the
/// volume that the user chose meanwhile. Main thread.
class SoftwareStay {
public:
    explicit SoftwareStay(std::shared_ptr<VolumeDesk> desk)
        : desk_(std::move(desk))
        , controller_(desk_->controller())
    {
    }

    /// To be called when the controller may hold another state. True when that gave the controller a command.
    bool follow();

private:
    struct Stay {
        AudioOutputDevice output;
        VolumeSnapshot volume;
        /// The volume was moved. One that was not may be from long ago.
        bool isChosen = false;
    };

    void remain(const QuenstalState& state);
    bool carryOver(const Stay& stay);

    std::shared_ptr<VolumeDesk> desk_;
    std::shared_ptr<QuenstalController> controller_;
    std::optional<Stay> stay_;
};

} // namespace quenstal
