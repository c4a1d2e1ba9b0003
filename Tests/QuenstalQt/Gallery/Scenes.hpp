#pragma once

// Every screen of the panel in every state that looks different, for the gallery and the golden images.

#include "QuenstalApp/StatusMenuController/GlassDialViewState.hpp"
#include "QuenstalPlatform/Desktop.hpp"

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace quenstal::gallery {

struct Scene {
    std::string name;
    QuenstalState state;
    /// Navigation and capture, applied to the fresh view state.
    std::function<void(GlassDialViewState&)> arrange = {};
    std::optional<Alert> alert = {};
    bool showsFocus = false;
    bool hasCompositor = true;
};

inline void PrintTo(const Scene& scene, std::ostream* stream)
{
    *stream << scene.name;
}

const std::vector<Scene>& scenes();

struct NamedFeedback {
    std::string name;
    KeyFeedback feedback;
};

const std::vector<NamedFeedback>& feedbacks();

} // namespace quenstal::gallery
