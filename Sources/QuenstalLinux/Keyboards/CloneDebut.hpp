#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalLinux/Keyboards/InputNodes.hpp"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace quenstal {

/// Tells when a new keyboard has its readers: the device manager has announced it, and whoever waits for keyboards has
/// had time to open it. Made before the keyboard is. One thread.
///
/// Who opens it is not told, nor how many will: a desktop comes after others that want to know what the device is.
class CloneDebut {
public:
    using Clock = std::chrono::steady_clock;

    struct Patience {
        /// Since it was opened last. A desktop that is busy opens it late.
        std::chrono::milliseconds afterOpening{1000};
        /// Since it was announced, while nobody has opened it.
        std::chrono::milliseconds afterAnnouncement{2000};
        /// Since it was announced, while it is opened again and again.
        std::chrono::milliseconds longest{5000};
    };

    explicit CloneDebut(Patience patience);

    /// The keyboard whose debut it is, by its folder below /sys.
    void watch(const std::string& place) { place_ = place; }
    /// Readable when there is news of it.
    int announcements() const;
    int openings() const { return openings_.get(); }
    void readNews();
    /// When it is over unless there is more news; none before it is announced.
    std::optional<Clock::time_point> overAt() const;
    bool isOver() const;

private:
    void readAnnouncements();
    void readOpenings();

    Patience patience_;
    std::string place_;
    /// The name of its device node, once that is announced.
    std::string name_;
    std::unique_ptr<udev, ReleaseUdev> udev_;
    std::unique_ptr<udev_monitor, ReleaseUdev> monitor_;
    FileDescriptor openings_;
    std::optional<Clock::time_point> announcedAt_;
    std::optional<Clock::time_point> openedAt_;
};

} // namespace quenstal
