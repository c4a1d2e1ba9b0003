#pragma once

#include "QuenstalLinux/Audio/AudioGraph.hpp"
#include "QuenstalPlatform/AudioObjects.hpp"

namespace quenstal {

/// Whether programs' sound ends there as far as the user is concerned. Not so for this program's own nodes and for the
/// stand-in that the server shows while there is no output.
bool isOutput(const AudioProperties& node);

/// How the output is connected, as a value of the property `transportType`. The card and the route are null when the
/// node has none.
FourCharCode outputTransport(const SinkNode& sink, const CardDevice* card, const OutputRoute* route);

} // namespace quenstal
