#pragma once

#include "QuenstalPlatform/WheelNotches.hpp"
#include "QuenstalQt/Artwork/PaintedItem.hpp"

namespace quenstal {

/// The drawing of the round volume control: face, ticks, track, filled arc with its glow, and handle. The square of
/// `size` lies in the middle of the item; what is around it is room for the glow.
///
/// It changes nothing itself: presses and drags are reported as points of that square.
class VolumeDial : public PaintedItem {
    Q_OBJECT
    /// Whole percent, with its range and step under the names that assistive technology looks for. It writes any
    /// number.
    Q_PROPERTY(qreal value READ value WRITE setValue NOTIFY valueChanged)
    Q_PROPERTY(int minimumValue MEMBER minimum_ CONSTANT)
    Q_PROPERTY(int maximumValue MEMBER maximum_ CONSTANT)
    Q_PROPERTY(int stepSize MEMBER step_ CONSTANT)
    /// What the arc shows while it moves to the value.
    Q_PROPERTY(qreal shown MEMBER shown_ NOTIFY lookChanged)
    Q_PROPERTY(bool muted MEMBER muted_ NOTIFY lookChanged)
    Q_PROPERTY(bool active MEMBER active_ NOTIFY lookChanged)
    Q_PROPERTY(bool controllable MEMBER controllable_ NOTIFY lookChanged)
    Q_PROPERTY(bool hardware MEMBER hardware_ NOTIFY lookChanged)
    Q_PROPERTY(bool focused MEMBER focused_ NOTIFY lookChanged)
    Q_PROPERTY(qreal size MEMBER size_ CONSTANT)
    Q_PROPERTY(bool dragging READ isDragging NOTIFY draggingChanged)

public:
    explicit VolumeDial(QQuickItem* parent = nullptr);

    qreal value() const { return value_; }
    void setValue(qreal value);
    bool isDragging() const { return dragging_; }

    void paint(QPainter& painter, const Canvas& canvas) override;

signals:
    void valueChanged();
    void draggingChanged();
    void pressed(qreal x, qreal y);
    void moved(qreal x, qreal y);
    void released();
    /// Notches of the wheel, up positive.
    void scrolled(int notches);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseUngrabEvent() override;
    void wheelEvent(QWheelEvent* event) override;

private:
    QPointF inSquare(QPointF position) const;
    void setDragging(bool dragging);

    int value_ = 0;
    int minimum_ = 0;
    int maximum_ = 100;
    int step_ = 2;
    qreal shown_ = 0;
    bool muted_ = false;
    bool active_ = true;
    bool controllable_ = true;
    bool hardware_ = false;
    bool focused_ = false;
    bool dragging_ = false;
    qreal size_ = 166;
    WheelNotches wheel_;
};

} // namespace quenstal
