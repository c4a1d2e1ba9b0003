#pragma once

// The symbols of the panel and of the status item: one set of painter paths on a grid of 24 by 24.

#include <QColor>
#include <QImage>
#include <QPainter>
#include <QStringView>

namespace quenstal {

/// Paints the named symbol into the square. An unknown name paints nothing.
void paintSymbol(QPainter& painter, const QRectF& square, QStringView name, const QColor& color);

bool isKnownSymbol(QStringView name);

/// The symbol on a transparent square of that many pixels. A contour, when given, keeps it legible on a bar of the
/// same colour.
QImage symbolImage(int pixels, QStringView name, const QColor& color, const QColor& contour = Qt::transparent);

} // namespace quenstal
