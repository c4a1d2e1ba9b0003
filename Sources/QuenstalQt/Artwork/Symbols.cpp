#include "QuenstalQt/Artwork/Symbols.hpp"

#include <algorithm>
#include <array>

#include <QPainterPath>
#include <qmath.h>

namespace quenstal {

namespace {

constexpr qreal grid = 24;

/// Draws on the grid, on a layer of its own, so that a gap can be cut around one stroke that crosses another.
class Pen {
public:
    Pen(QPainter& painter, const QColor& color)
        : painter_(painter)
        , color_(color)
    {
    }

    void stroke(const QPainterPath& path, qreal width)
    {
        painter_.strokePath(path, QPen(color_, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    }

    void line(QPointF from, QPointF to, qreal width)
    {
        QPainterPath path(from);
        path.lineTo(to);
        stroke(path, width);
    }

    void polyline(std::initializer_list<QPointF> points, qreal width)
    {
        QPainterPath path(*points.begin());
        for (const QPointF& point : points)
            path.lineTo(point);
        stroke(path, width);
    }

    /// Angles in degrees, anticlockwise from the right.
    void arc(QPointF center, qreal radius, qreal start, qreal sweep, qreal width)
    {
        QPainterPath path;
        const QRectF circle(center - QPointF(radius, radius), QSizeF(2 * radius, 2 * radius));
        path.arcMoveTo(circle, start);
        path.arcTo(circle, start, sweep);
        stroke(path, width);
    }

    void dot(QPointF center, qreal radius)
    {
        QPainterPath path;
        path.addEllipse(center, radius, radius);
        painter_.fillPath(path, color_);
    }

    void fill(const QPainterPath& path) { painter_.fillPath(path, color_); }

    void roundedRect(const QRectF& rect, qreal radius, qreal width)
    {
        QPainterPath path;
        path.addRoundedRect(rect, radius, radius);
        stroke(path, width);
    }

    template <typename Draw>
    void cut(Draw draw)
    {
        painter_.setCompositionMode(QPainter::CompositionMode_DestinationOut);
        draw();
        painter_.setCompositionMode(QPainter::CompositionMode_SourceOver);
    }

    void shift(qreal dx, qreal dy) { painter_.translate(dx, dy); }

private:
    QPainter& painter_;
    QColor color_;
};

QPainterPath speakerBody()
{
    QPainterPath path(QPointF(11.0, 4.6));
    path.lineTo(6.9, 8.1);
    path.cubicTo(6.6, 8.35, 6.25, 8.5, 5.85, 8.5);
    path.lineTo(4.2, 8.5);
    path.cubicTo(3.1, 8.5, 2.2, 9.4, 2.2, 10.5);
    path.lineTo(2.2, 13.5);
    path.cubicTo(2.2, 14.6, 3.1, 15.5, 4.2, 15.5);
    path.lineTo(5.85, 15.5);
    path.cubicTo(6.25, 15.5, 6.6, 15.65, 6.9, 15.9);
    path.lineTo(11.0, 19.4);
    path.cubicTo(11.8, 20.1, 13.0, 19.5, 13.0, 18.45);
    path.lineTo(13.0, 5.55);
    path.cubicTo(13.0, 4.5, 11.8, 3.9, 11.0, 4.6);
    path.closeSubpath();
    return path;
}

void speaker(Pen& pen)
{
    pen.shift(4.4, 0);
    pen.fill(speakerBody());
    pen.shift(-4.4, 0);
}

void speakerWaves(Pen& pen)
{
    pen.fill(speakerBody());
    pen.arc({12.6, 12}, 4.3, -46, 92, 1.8);
    pen.arc({12.9, 12}, 8.0, -44, 88, 1.8);
}

void speakerSlash(Pen& pen)
{
    pen.shift(1.2, 0);
    pen.fill(speakerBody());
    pen.arc({12.6, 12}, 4.3, -46, 92, 1.8);
    pen.shift(-1.2, 0);
    pen.cut([&] { pen.line({4.0, 3.6}, {20.4, 20.0}, 5.2); });
    pen.line({4.0, 3.6}, {20.4, 20.0}, 1.9);
}

void sliders(Pen& pen)
{
    constexpr std::array<QPointF, 3> knobs{{{5.2, 14.6}, {12, 8.2}, {18.8, 12.6}}};
    for (const QPointF& knob : knobs) {
        pen.line({knob.x(), 3.8}, {knob.x(), 20.2}, 1.8);
        pen.cut([&] { pen.dot(knob, 3.6); });
        pen.dot(knob, 2.5);
    }
}

void ellipsis(Pen& pen)
{
    for (const qreal x : {5.2, 12.0, 18.8})
        pen.dot({x, 12}, 1.95);
}

void display(Pen& pen)
{
    pen.roundedRect({3, 4.4, 18, 12}, 2.6, 1.7);
    pen.line({12, 16.6}, {12, 19.8}, 1.7);
    pen.line({8.4, 20}, {15.6, 20}, 1.7);
}

void reset(Pen& pen)
{
    pen.arc({12, 12.6}, 7.2, 150, -300, 1.9);
    pen.polyline({{4.9, 4.8}, {5.6, 9.2}, {10.0, 8.6}}, 1.9);
}

void refresh(Pen& pen)
{
    pen.arc({12, 12}, 7.6, 205, -150, 1.8);
    pen.arc({12, 12}, 7.6, 25, -150, 1.8);
    pen.polyline({{17.2, 2.6}, {17.0, 6.4}, {13.2, 6.2}}, 1.8);
    pen.polyline({{6.8, 21.4}, {7.0, 17.6}, {10.8, 17.8}}, 1.8);
}

void power(Pen& pen)
{
    pen.line({12, 3.4}, {12, 11.4}, 2);
    pen.arc({12, 12.8}, 7.6, 52, -284, 2);
}

void keyboard(Pen& pen)
{
    pen.roundedRect({2.4, 6, 19.2, 12}, 2.8, 1.7);
    for (const qreal x : {6.6, 10.2, 13.8, 17.4})
        pen.dot({x, 10}, 1.0);
    pen.line({8.4, 14.2}, {15.6, 14.2}, 1.7);
}

void waveform(Pen& pen)
{
    constexpr std::array<qreal, 5> halfHeights{2.2, 5.4, 8.0, 4.4, 1.8};
    qreal x = 4;
    for (const qreal half : halfHeights) {
        pen.line({x, 12 - half}, {x, 12 + half}, 2.0);
        x += 4;
    }
}

void document(Pen& pen)
{
    pen.roundedRect({4.2, 7.2, 11.6, 13.6}, 2.4, 1.7);
    QPainterPath back(QPointF(8.2, 3.8));
    back.lineTo(17.4, 3.8);
    back.quadTo(19.8, 3.8, 19.8, 6.2);
    back.lineTo(19.8, 16.4);
    pen.stroke(back, 1.7);
}

void checklist(Pen& pen)
{
    pen.polyline({{3.4, 6.6}, {5.2, 8.4}, {8.6, 4.6}}, 1.8);
    pen.polyline({{3.4, 16.2}, {5.2, 18.0}, {8.6, 14.2}}, 1.8);
    pen.line({12.4, 6.8}, {20.6, 6.8}, 1.8);
    pen.line({12.4, 16.4}, {20.6, 16.4}, 1.8);
}

void gear(Pen& pen)
{
    for (int tooth = 0; tooth < 8; ++tooth) {
        const qreal angle = qDegreesToRadians(45.0 * tooth + 22.5);
        const QPointF direction(qCos(angle), qSin(angle));
        pen.line(QPointF(12, 12) + direction * 7.0, QPointF(12, 12) + direction * 8.8, 3.0);
    }
    pen.arc({12, 12}, 6.4, 0, 360, 2.0);
    pen.arc({12, 12}, 2.3, 0, 360, 1.7);
}

void warning(Pen& pen)
{
    QPainterPath triangle(QPointF(12, 4.2));
    triangle.lineTo(20.6, 19.4);
    triangle.lineTo(3.4, 19.4);
    triangle.closeSubpath();
    pen.stroke(triangle, 1.9);
    pen.line({12, 9.8}, {12, 14.0}, 1.9);
    pen.dot({12, 16.8}, 1.1);
}

void info(Pen& pen)
{
    pen.arc({12, 12}, 8.4, 0, 360, 1.8);
    pen.line({12, 11.4}, {12, 16.2}, 1.9);
    pen.dot({12, 7.9}, 1.15);
}

struct Symbol {
    QStringView name;
    void (*draw)(Pen& pen);
};

constexpr std::array<Symbol, 20> symbols{{
    {u"speaker.fill", speaker},
    {u"speaker.slash.fill", speakerSlash},
    {u"speaker.wave.2.fill", speakerWaves},
    {u"slider.vertical.3", sliders},
    {u"ellipsis", ellipsis},
    {u"display", display},
    {u"chevron.left",
        [](Pen& pen) {
            pen.polyline({{14.8, 5.6}, {8.6, 12}, {14.8, 18.4}}, 2.2);
        }},
    {u"chevron.right",
        [](Pen& pen) {
            pen.polyline({{9.2, 5.6}, {15.4, 12}, {9.2, 18.4}}, 2.2);
        }},
    {u"checkmark",
        [](Pen& pen) {
            pen.polyline({{5.2, 12.6}, {9.8, 17.2}, {18.8, 7.2}}, 2.4);
        }},
    {u"xmark",
        [](Pen& pen) {
            pen.line({6.4, 6.4}, {17.6, 17.6}, 2.2);
            pen.line({17.6, 6.4}, {6.4, 17.6}, 2.2);
        }},
    {u"arrow.counterclockwise", reset},
    {u"arrow.clockwise", refresh},
    {u"power", power},
    {u"keyboard", keyboard},
    {u"waveform", waveform},
    {u"doc.on.doc", document},
    {u"checklist", checklist},
    {u"gearshape", gear},
    {u"exclamationmark.triangle", warning},
    {u"info.circle", info},
}};

const Symbol* find(QStringView name)
{
    const auto found
        = std::find_if(symbols.begin(), symbols.end(), [name](const Symbol& symbol) { return symbol.name == name; });
    return found == symbols.end() ? nullptr : &*found;
}

QImage layer(int pixels, const Symbol& symbol, const QColor& color)
{
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(pixels / grid, pixels / grid);
    Pen pen(painter, color);
    symbol.draw(pen);
    return image;
}

} // namespace

bool isKnownSymbol(QStringView name)
{
    return find(name) != nullptr;
}

void paintSymbol(QPainter& painter, const QRectF& square, QStringView name, const QColor& color)
{
    const Symbol* symbol = find(name);
    if (!symbol)
        return;
    // The layer has the density of the device. Alpha is applied once, or overlapping strokes would show.
    const qreal density = painter.device()->devicePixelRatioF() * painter.transform().m11();
    const QColor opaque(color.red(), color.green(), color.blue());
    painter.save();
    painter.setOpacity(painter.opacity() * color.alphaF());
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(square, layer(qCeil(square.width() * density), *symbol, opaque));
    painter.restore();
}

QImage symbolImage(int pixels, QStringView name, const QColor& color, const QColor& contour)
{
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    const Symbol* symbol = find(name);
    if (!symbol)
        return image;
    QPainter painter(&image);
    if (contour.alpha() > 0) {
        const QImage halo = layer(pixels, *symbol, contour);
        const qreal reach = pixels / grid * 0.9;
        for (int step = 0; step < 8; ++step) {
            const qreal angle = step * M_PI / 4;
            painter.drawImage(QPointF(reach * qCos(angle), reach * qSin(angle)), halo);
        }
    }
    painter.drawImage(0, 0, layer(pixels, *symbol, color));
    return image;
}

} // namespace quenstal
