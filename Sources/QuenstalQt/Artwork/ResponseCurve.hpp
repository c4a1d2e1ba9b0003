#pragma once

#include "QuenstalQt/Artwork/PaintedItem.hpp"

#include <QList>

namespace quenstal {

/// The equalizer's response over its grid of decibels: a line with a glow, and the area between it and 0 dB.
class ResponseCurve : public PaintedItem {
    Q_OBJECT
    /// Decibels at points evenly spread from the left edge to the right.
    Q_PROPERTY(QList<qreal> response MEMBER response_ NOTIFY lookChanged)
    /// Decibels at the upper edge; the lower edge is its opposite.
    Q_PROPERTY(qreal range MEMBER range_ NOTIFY lookChanged)
    Q_PROPERTY(bool active MEMBER active_ NOTIFY lookChanged)

public:
    using PaintedItem::PaintedItem;
    void paint(QPainter& painter, const Canvas& canvas) override;

private:
    qreal yOf(qreal decibels) const { return height() / 2 * (1 - decibels / range_); }
    void paintGrid(QPainter& painter, const Canvas& canvas) const;

    QList<qreal> response_;
    qreal range_ = 15;
    bool active_ = true;
};

} // namespace quenstal
