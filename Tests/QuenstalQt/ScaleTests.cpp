// The panel at the scale that this program is built for.

#include "ViewFixture.hpp"

#include <algorithm>

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

INSTANTIATE_TEST_SUITE_P(
    Screens, Scale, testing::Values("dial-software", "equalizer", "setup-start"), [](const auto& scene) {
        std::string name = scene.param;
        std::ranges::replace(name, '-', '_');
        return name;
    });

} // namespace
} // namespace quenstal
