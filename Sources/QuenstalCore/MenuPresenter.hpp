#pragma once

// Pure functions from the state to what the status item, the dial panel and the setup guide show, and from keys
// and gestures to commands.

#include "QuenstalCore/MenuPresenter/GlassDialInteraction.hpp"
#include "QuenstalCore/MenuPresenter/GlassDialSnapshot.hpp"
#include "QuenstalCore/MenuPresenter/MediaKeyRouter.hpp"
#include "QuenstalCore/MenuPresenter/MediaKeyTapActivationPolicy.hpp"
#include "QuenstalCore/MenuPresenter/MenuSnapshot.hpp"
#include "QuenstalCore/MenuPresenter/SetupGuideSnapshot.hpp"
