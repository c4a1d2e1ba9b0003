#pragma once

#include "QuenstalFreedesktop/FeedbackService.hpp"
#include "QuenstalFreedesktop/NotificationServer.hpp"

#include <chrono>

namespace quenstal {

inline constexpr auto keyFeedbackTime = std::chrono::milliseconds(1500);

bool isMuted(const KeyFeedback& feedback);

/// Plasma's on-screen display, where it runs.
class PlasmaFeedback : public FeedbackService {
    Q_OBJECT

public:
    /// The bus outlives this.
    explicit PlasmaFeedback(SessionBus& bus);
};

/// One notification for all values, with a bar for the level.
class NotificationFeedback : public FeedbackService {
    Q_OBJECT

public:
    /// Both outlive this.
    NotificationFeedback(SessionBus& bus, NotificationServer& server);
};

} // namespace quenstal
