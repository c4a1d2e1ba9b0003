#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalLinux/Keyboards/InputNodes.hpp"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace quenstal {

/// Detects when a new keyboard has its readers: the device manager has announced it, and programs that wait for
/// keyboards have had time to open it. Created before the keyboard. One thread. It is unknown who opens it, and how
/// many will: a desktop comes after programs that identify the device.
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
    /// Readable when there is an event about it.
    int announcements() const;
    int openings() const { return openings_.get(); }
    void readNews();
    /// When it is over unless there are more events; none before it is announced.
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
