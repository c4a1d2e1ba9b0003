// The panel at the scale that this program is built for: as large as it should be, and sharp. Between the whole scales
// nothing falls on whole picture elements by itself.

#include "QuenstalQt/Artwork/Items.hpp"
#include "QuenstalQt/Artwork/ResponseCurve.hpp"
#include "ViewFixture.hpp"

#include <algorithm>
#include <cmath>
#include <memory>
#include <set>
#include <vector>

namespace quenstal {
namespace {

constexpr double scale = QUENSTAL_TEST_SCALE;
/// The finest line of at most a point, in picture elements.
const int hairline = std::max(1, static_cast<int>(std::ceil(scale - 0.5)));

class Screens : public testing::TestWithParam<const char*> { };

TEST_P(Screens, havePictureElementsForEveryPoint)
{
    gallery::Stage stage(sharedEngine(), sceneNamed(GetParam()));
    const QImage picture = stage.picture();
    EXPECT_DOUBLE_EQ(stage.window().effectiveDevicePixelRatio(), scale);
    EXPECT_EQ(picture.width(), qRound(stage.size().width() * scale));
    EXPECT_EQ(picture.height(), qRound(stage.size().height() * scale));
}

INSTANTIATE_TEST_SUITE_P(
    Three, Screens, testing::Values("dial-software", "equalizer", "setup-start"), [](const auto& scene) {
        std::string name = scene.param;
        std::ranges::replace(name, '-', '_');
        return name;
    });

/// The rectangle of the picture that is brighter than that.
QRect brightPart(const QImage& picture, int brightness = 127)
{
    QRect part;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            if (qGray(picture.pixel(x, y)) > brightness)
                part |= QRect(x, y, 1, 1);
        }
    }
    return part;
}

/// How many elements of each row are brighter than that, from the first row to the last that has any.
std::vector<int> rowWidths(const QImage& picture, int brightness = 127)
{
    const QRect part = brightPart(picture, brightness);
    std::vector<int> widths;
    for (int y = part.top(); y <= part.bottom(); ++y) {
        int width = 0;
        for (int x = part.left(); x <= part.right(); ++x)
            width += qGray(picture.pixel(x, y)) > brightness;
        widths.push_back(width);
    }
    return widths;
}

/// The light comes from above, so an element at the edge may be on either side of the threshold.
bool areAlike(const std::vector<int>& widths, const std::vector<int>& others)
{
    return std::ranges::equal(widths, others, [](int one, int other) { return std::abs(one - other) <= 2; });
}

QImage turned(const QImage& picture)
{
    return picture.transformed(QTransform().rotate(90));
}

/// The same from every side.
void expectRound(const QImage& picture, double shift)
{
    const std::vector<int> widths = rowWidths(picture);
    EXPECT_TRUE(areAlike(widths, rowWidths(turned(picture)))) << shift;
    EXPECT_TRUE(areAlike(widths, std::vector<int>(widths.rbegin(), widths.rend()))) << shift;
}

/// One piece of artwork alone on a black window, at places that fall between the elements.
class Artwork : public testing::Test {
protected:
    Artwork()
    {
        window_.setColor(Qt::black);
        window_.resize(200, 240);
        around_.setParentItem(window_.contentItem());
        window_.show();
    }

    template <typename Item>
    Item& show(QSizeF size)
    {
        auto item = std::make_unique<Item>(&around_);
        item->setPosition({10.3, 10.7});
        item->setSize(size);
        Item& shown = *item;
        item_ = std::move(item);
        return shown;
    }

    QImage picture() { return window_.grabWindow().convertToFormat(QImage::Format_RGB32); }

    // First: the application comes with it.
    QQmlEngine& engine_ = sharedEngine();
    QQuickWindow window_;
    QQuickItem around_;
    std::unique_ptr<QQuickItem> item_;
};

/// Distances along a picture element and more.
const std::vector<double> shifts{0, 0.1, 0.2, 0.4, 0.5, 0.7, 0.9};

TEST_F(Artwork, aKnobIsRoundWhereverItStands)
{
    show<GlassKnob>({26, 26});
    std::set<std::vector<int>> outlines;
    for (const double shift : shifts) {
        around_.setPosition({shift, shift});
        const QImage shown = picture();
        expectRound(shown, shift);
        const std::vector<int> widths = rowWidths(shown);
        EXPECT_LT(widths.front(), widths[widths.size() / 2] / 2) << "flat at " << shift;
        outlines.insert(widths);
    }
    EXPECT_THAT(outlines, testing::SizeIs(1));
}

TEST_F(Artwork, aRoundPlateIsRoundWhereverItStands)
{
    auto& plate = show<GlassPlate>({30, 30});
    plate.setProperty("radius", 15);
    plate.setProperty("color", QColor(Qt::white));
    plate.setProperty("rim", QColor(Qt::transparent));
    for (const double shift : shifts) {
        around_.setPosition({shift, shift});
        expectRound(picture(), shift);
    }
}

/// What a line across the picture's middle meets, from above: how bright each element is.
std::vector<int> downTheMiddle(const QImage& picture, int x)
{
    std::vector<int> brightness;
    for (int y = 0; y < picture.height(); ++y)
        brightness.push_back(qGray(picture.pixel(x, y)));
    return brightness;
}

TEST_F(Artwork, theRimOfAPlateFillsWholeElements)
{
    auto& plate = show<GlassPlate>({100, 62});
    plate.setProperty("radius", 17);
    plate.setProperty("color", QColor(Qt::transparent));
    plate.setProperty("rim", QColor(Qt::white));
    for (const double shift : shifts) {
        around_.setPosition({shift, shift});
        const QImage shown = picture();
        for (const QImage& direction : {shown, turned(shown)}) {
            const std::vector<int> line = downTheMiddle(direction, brightPart(direction).center().x());
            EXPECT_EQ(std::ranges::count_if(line, [](int brightness) { return brightness > 0; }), 2 * hairline)
                << shift;
        }
    }
}

TEST_F(Artwork, theGridOfTheResponseFillsWholeElements)
{
    show<ResponseCurve>({100, 190});
    for (const double shift : shifts) {
        around_.setPosition({shift, shift});
        const QImage shown = picture();
        const std::vector<int> line = downTheMiddle(shown, qRound(60 * scale));
        EXPECT_EQ(std::ranges::count_if(line, [](int brightness) { return brightness > 0; }), 5 * hairline) << shift;
    }
}

TEST_F(Artwork, everyLampOfTheMetersIsAlike)
{
    auto& meters = show<LevelMeters>({23, 172});
    for (const char* level : {"levelL", "levelR", "peakL", "peakR"})
        meters.setProperty(level, 1.0);
    const QImage shown = picture();
    const std::vector<int> line = downTheMiddle(shown, qRound((10.3 + 4.5) * scale));
    std::set<int> heights;
    std::set<int> gaps;
    const auto isLit = [](int brightness) { return brightness > 80; };
    auto from = std::ranges::find_if(line, isLit);
    // The lamp for clipping stands apart.
    from = std::find_if(std::find_if_not(from, line.end(), isLit), line.end(), isLit);
    while (from != line.end()) {
        const auto end = std::find_if_not(from, line.end(), isLit);
        heights.insert(static_cast<int>(end - from));
        from = std::find_if(end, line.end(), isLit);
        if (from != line.end())
            gaps.insert(static_cast<int>(from - end));
    }
    EXPECT_THAT(heights, testing::SizeIs(1));
    EXPECT_THAT(gaps, testing::SizeIs(1));
}

TEST(Equalizer, hasFiveKnobsThatAreAlike)
{
    gallery::Stage stage(sharedEngine(), sceneNamed("equalizer"));
    const QImage shown = stage.window().grabWindow().convertToFormat(QImage::Format_RGB32);
    // The knobs are white; what lies under them is not.
    constexpr int white = 190;
    std::vector<std::vector<int>> outlines;
    for (const QQuickItem* item : shownItems(stage.root())) {
        if (!item->inherits("quenstal::GlassKnob") || item->width() != 27
            || !item->parentItem()->property("hertz").isValid())
            continue;
        const QRectF place = item->mapRectToScene(item->boundingRect().adjusted(3, 3, -3, -3));
        outlines.push_back(
            rowWidths(shown.copy(QRectF(place.topLeft() * scale, place.size() * scale).toAlignedRect()), white));
    }
    ASSERT_THAT(outlines, testing::SizeIs(5));
    for (const std::vector<int>& outline : outlines)
        EXPECT_TRUE(areAlike(outline, outlines.front()));
}

} // namespace
} // namespace quenstal
