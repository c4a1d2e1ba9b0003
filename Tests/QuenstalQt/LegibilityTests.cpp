// Every text of every screen in every state: whole, inside the panel, and with enough contrast.

#include "Contrast.hpp"
#include "ViewFixture.hpp"

#include <algorithm>

#include <qmath.h>

namespace quenstal {
namespace {

QColor average(const QImage& image, const QRect& area)
{
    double red = 0;
    double green = 0;
    double blue = 0;
    const QRect inside = area.intersected(image.rect());
    for (int y = inside.top(); y <= inside.bottom(); ++y) {
        for (int x = inside.left(); x <= inside.right(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            red += pixel.redF();
            green += pixel.greenF();
            blue += pixel.blueF();
        }
    }
    const double count = inside.width() * inside.height();
    return QColor::fromRgbF(
        static_cast<float>(red / count), static_cast<float>(green / count), static_cast<float>(blue / count));
}

double opacityOf(const QQuickItem* item)
{
    double opacity = 1;
    for (; item; item = item->parentItem())
        opacity *= item->opacity();
    return opacity;
}

QColor over(const QColor& background, const QColor& color, double opacity)
{
    const auto mix
        = [opacity](float below, float above) { return static_cast<float>(below * (1 - opacity) + above * opacity); };
    return QColor::fromRgbF(mix(background.redF(), color.redF()), mix(background.greenF(), color.greenF()),
        mix(background.blueF(), color.blueF()));
}

/// Where the letters are: a text's item may be wider, and leaves room above and below them.
QRectF inkOf(const QQuickItem& text)
{
    const double width = text.property("contentWidth").toDouble();
    const double spare = text.width() - width;
    const int alignment = text.property("horizontalAlignment").toInt();
    const double left = alignment == Qt::AlignRight ? spare : alignment == Qt::AlignHCenter ? spare / 2 : 0;
    const QRectF ink(left, 0, width, text.height());
    return text.mapRectToScene(ink.adjusted(2, ink.height() * 0.2, -2, -ink.height() * 0.2));
}

/// Texts behind a sheet are dimmed on purpose.
QList<QQuickItem*> textsIn(QQuickItem& root)
{
    QList<QQuickItem*> texts = shownItems(root);
    texts.removeIf([](QQuickItem* item) { return !isText(item) || !item->isEnabled(); });
    return texts;
}

bool arePlain(const QList<QQuickItem*>& texts)
{
    const auto isPlain = [](const QQuickItem* text) { return text->property("textFormat").toInt() == Qt::PlainText; };
    return std::ranges::all_of(texts, isPlain);
}

/// Every text against what is really behind it.
void expectContrast(QQuickWindow& window, const QList<QQuickItem*>& texts)
{
    constexpr double wanted = 4.5;
    for (QQuickItem* text : texts) {
        const double opacity = opacityOf(text);
        const QColor color = text->property("color").value<QColor>();
        const double before = text->opacity();
        // Not quite invisible, so that the item stays in the scene.
        text->setOpacity(0.001);
        const QImage behind = window.grabWindow();
        text->setOpacity(before);
        const QRectF place = text->mapRectToScene(text->boundingRect());
        const double density = window.effectiveDevicePixelRatio();
        const QRectF pixels(place.topLeft() * density, place.size() * density);
        const QColor background = average(behind, pixels.toAlignedRect());
        const double ratio = contrast(over(background, color, opacity * color.alphaF()), background);
        EXPECT_GE(ratio, wanted) << qPrintable(text->property("text").toString()) << " " << qPrintable(color.name())
                                 << " on " << qPrintable(background.name());
    }
}

class EveryScene : public testing::TestWithParam<gallery::Scene> {
protected:
    EveryScene()
        : stage_(sharedEngine(), GetParam())
    {
    }

    QList<QQuickItem*> texts() { return textsIn(stage_.root()); }

    gallery::Stage stage_;
};

TEST_P(EveryScene, showsEveryTextWhole)
{
    ASSERT_FALSE(texts().isEmpty());
    for (const QQuickItem* text : texts())
        EXPECT_FALSE(text->property("truncated").toBool()) << qPrintable(text->property("text").toString());
}

TEST_P(EveryScene, takesNoTextForMarkup)
{
    EXPECT_TRUE(arePlain(texts()));
}

TEST_P(EveryScene, keepsEveryTextInsideTheGlass)
{
    const int margin = GetParam().hasCompositor ? gallery::shadowMargin : 0;
    const QRectF glass = QRectF(QPointF(), stage_.root().size()).adjusted(margin, margin, -margin, -margin);
    for (const QQuickItem* text : texts())
        EXPECT_TRUE(glass.contains(text->mapRectToScene(text->boundingRect())))
            << qPrintable(text->property("text").toString());
}

TEST_P(EveryScene, keepsTextsApart)
{
    const QList<QQuickItem*> all = texts();
    for (qsizetype i = 0; i < all.size(); ++i) {
        for (qsizetype j = i + 1; j < all.size(); ++j) {
            EXPECT_FALSE(inkOf(*all[i]).intersects(inkOf(*all[j]))) << qPrintable(
                all[i]->property("text").toString()) << " and " << qPrintable(all[j]->property("text").toString());
        }
    }
}

TEST_P(EveryScene, givesEveryTextContrastOverAWhiteDesktop)
{
    stage_.window().setColor(Qt::white);
    expectContrast(stage_.window(), texts());
}

TEST_P(EveryScene, givesEveryTextContrastOverABlackDesktop)
{
    stage_.window().setColor(Qt::black);
    expectContrast(stage_.window(), texts());
}

INSTANTIATE_TEST_SUITE_P(All, EveryScene, testing::ValuesIn(gallery::scenes()), [](const auto& scene) {
    std::string name = scene.param.name;
    std::ranges::replace(name, '-', '_');
    return name;
});

class EveryFeedback : public testing::TestWithParam<gallery::NamedFeedback> { };

TEST_P(EveryFeedback, takesNoTextForMarkup)
{
    EXPECT_TRUE(arePlain(textsIn(gallery::FeedbackStage(sharedEngine(), GetParam().feedback).root())));
}

TEST_P(EveryFeedback, givesEveryTextContrastOverAnyDesktop)
{
    gallery::FeedbackStage stage(sharedEngine(), GetParam().feedback);
    ASSERT_FALSE(textsIn(stage.root()).isEmpty());
    for (const Qt::GlobalColor desktop : {Qt::white, Qt::black}) {
        stage.window().setColor(desktop);
        expectContrast(stage.window(), textsIn(stage.root()));
    }
}

INSTANTIATE_TEST_SUITE_P(All, EveryFeedback, testing::ValuesIn(gallery::feedbacks()), [](const auto& feedback) {
    std::string name = feedback.param.name;
    std::ranges::replace(name, '-', '_');
    return name;
});

TEST(Glass, letsNothingThroughWithoutACompositor)
{
    gallery::Stage stage(sharedEngine(), sceneNamed("dial-no-compositor"));
    const QImage picture = stage.picture();
    // What the corners leave open is cut off.
    const int corner = qCeil(24 * QUENSTAL_TEST_SCALE);
    const auto isNearEnd = [corner](int place, int length) { return place < corner || place >= length - corner; };
    int translucent = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const bool isAtCorner = isNearEnd(x, picture.width()) && isNearEnd(y, picture.height());
            translucent += !isAtCorner && qAlpha(picture.pixel(x, y)) < 255;
        }
    }
    EXPECT_EQ(translucent, 0);
}

TEST(Glass, hasAShadowThatEndsInsideItsMargin)
{
    gallery::Stage stage(sharedEngine(), sceneNamed("dial-software"));
    const QImage picture = stage.picture();
    // Where the window's height is not whole, the last row of its picture is covered in part.
    const int last = picture.height() - 2;
    int most = 0;
    for (int x = 0; x < picture.width(); ++x)
        most = std::max({most, qAlpha(picture.pixel(x, 0)), qAlpha(picture.pixel(x, last))});
    for (int y = 0; y <= last; ++y)
        most = std::max({most, qAlpha(picture.pixel(0, y)), qAlpha(picture.pixel(picture.width() - 1, y))});
    EXPECT_LE(most, 1);
}

} // namespace
} // namespace quenstal
