#pragma once

// Places on the screens, in points. The origin is the main screen's top left corner, y grows downwards.

namespace quenstal {

struct Point {
    double x = 0;
    double y = 0;

    bool operator==(const Point&) const = default;
};

struct Size {
    double width = 0;
    double height = 0;

    bool operator==(const Size&) const = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    constexpr double minX() const { return x; }
    constexpr double midX() const { return x + width / 2; }
    constexpr double maxX() const { return x + width; }
    constexpr double minY() const { return y; }
    constexpr double midY() const { return y + height / 2; }
    constexpr double maxY() const { return y + height; }
    constexpr Size size() const { return {width, height}; }
    /// The right and the bottom edge are outside.
    constexpr bool contains(Point point) const
    {
        return point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
    }

    bool operator==(const Rect&) const = default;
};

} // namespace quenstal
