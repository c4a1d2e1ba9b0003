// The panel at the scale that this program is built for.

#include "ViewFixture.hpp"

#include <algorithm>

#include <QtMath>

namespace quenstal {
namespace {

class Scale : public testing::TestWithParam<const char*> {
protected:
    Scale()
        : stage_(sharedEngine(), sceneNamed(GetParam()))
    {
    }

    gallery::Stage stage_;
};

TEST_P(Scale, paintsOnePictureElementForEachOfTheScreen)
{
    constexpr double points = gallery::panelWidth + 2 * gallery::shadowMargin;
    const double height = gallery::panelHeight(stage_.viewState()) + 2 * gallery::shadowMargin;
    const QImage picture = stage_.picture();
    EXPECT_DOUBLE_EQ(stage_.window().effectiveDevicePixelRatio(), QUENSTAL_TEST_SCALE);
    EXPECT_EQ(picture.width(), qRound(points * QUENSTAL_TEST_SCALE));
    EXPECT_EQ(picture.height(), qRound(height * QUENSTAL_TEST_SCALE));
}

/// Blown up from fewer picture elements, the dark line at the glass's edge would be two points wide and pale.
TEST_P(Scale, drawsTheRimOfTheGlassSharp)
{
    const QImage picture = stage_.picture();
    const int middle = picture.height() / 2;
    const int edge = qRound(gallery::shadowMargin * QUENSTAL_TEST_SCALE);
    int darkest = 255;
    int lightest = 0;
    for (int x = edge; x < edge + qCeil(2 * QUENSTAL_TEST_SCALE); ++x) {
        const int lightness = qGreen(picture.pixel(x, middle));
        darkest = std::min(darkest, lightness);
        lightest = std::max(lightest, lightness);
    }
    EXPECT_GE(lightest - darkest, 24);
}

INSTANTIATE_TEST_SUITE_P(
    Screens, Scale, testing::Values("dial-software", "equalizer", "setup-start"), [](const auto& scene) {
        std::string name = scene.param;
        std::ranges::replace(name, '-', '_');
        return name;
    });

} // namespace
} // namespace quenstal
