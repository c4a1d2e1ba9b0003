// The German translation: complete, in force, and no longer than its room.

#include "QuenstalApp/MonitorStatements.hpp"
#include "QuenstalApp/PreferencesAdvice.hpp"
#include "QuenstalLinux/Keyboards/KeyAdvice.hpp"
#include "QuenstalQt/Panel/CoreTexts.hpp"
#include "ViewFixture.hpp"

#include <algorithm>
#include <set>

#include <QTranslator>

namespace quenstal {
namespace {

class German : public testing::Test {
protected:
    German()
    {
        sharedEngine();
        isLoaded_ = translator_.load(QStringLiteral(":/i18n/quenstal_de.qm"));
        QGuiApplication::installTranslator(&translator_);
    }
    ~German() override { QGuiApplication::removeTranslator(&translator_); }

    QTranslator translator_;
    bool isLoaded_ = false;
};

class EveryGermanScene : public German, public testing::WithParamInterface<gallery::Scene> { };

/// Texts that are the same in both languages.
bool isShared(const QString& text)
{
    static const std::set<QString> words{
        "Desk Monitor 27", "Built-in Audio Analog Stereo", "Quenstal", "EQ", "Equalizer", "L", "R", "%", "-", "OK"};
    const bool hasLetters = std::any_of(text.begin(), text.end(), [](QChar c) { return c.isLetter(); });
    return !hasLetters || words.contains(text) || text.endsWith(" dB") || text.endsWith("k");
}

QStringList textsOf(gallery::Stage& stage)
{
    QStringList texts;
    for (const QQuickItem* item : shownItems(stage.root())) {
        if (isText(item))
            texts << item->property("text").toString();
    }
    return texts;
}

TEST_F(German, knowsEveryTextOfTheCore)
{
    ASSERT_TRUE(isLoaded_);
    for (const char* text : coreTexts())
        EXPECT_FALSE(translator_.translate("Core", text).isEmpty()) << text;
}

TEST(Texts, haveAllThatIsToldOfTheKeys)
{
    const auto texts = coreTexts();
    for (const std::string_view advice : KeyAdvice::all)
        EXPECT_THAT(texts, testing::Contains(advice));
}

TEST(Texts, haveAllThatIsToldOfThePreferences)
{
    const auto texts = coreTexts();
    for (const std::string_view advice : PreferencesAdvice::all)
        EXPECT_THAT(texts, testing::Contains(advice));
}

TEST(Texts, haveAllThatIsToldOfTheMonitors)
{
    const auto texts = coreTexts();
    for (const std::string_view statement : MonitorStatements::all)
        EXPECT_THAT(texts, testing::Contains(statement));
}

/// The longest scenes of the guide, with an advice about the keys.
struct EveryKeyAdvice : German, testing::WithParamInterface<const char*> {
    static void expectRoom(const QString& nameOfDone)
    {
        for (const char* scene : {"setup-advice", "setup-keys-and-monitor"}) {
            gallery::Stage stage(sharedEngine(), sceneNamed(scene));
            stage.viewState().setCaptureAdvice(GetParam());
            stage.picture();
            const QList<QQuickItem*> shown = shownItems(stage.root());
            const auto done = std::ranges::find_if(shown,
                [&](const QQuickItem* item) { return item->property("accessibleName").toString() == nameOfDone; });
            ASSERT_NE(done, shown.end());
            const double end = (*done)->mapToScene({}).y();
            for (const QQuickItem* item : shown) {
                const bool isAbove = item->inherits("quenstal::GlassPlate") && item->mapToScene({}).y() < end;
                EXPECT_FALSE(isAbove && item->mapToScene({0, item->height()}).y() > end) << scene;
                EXPECT_FALSE(isText(item) && item->property("truncated").toBool())
                    << scene << ": " << qPrintable(item->property("text").toString());
            }
        }
    }
};

TEST_P(EveryKeyAdvice, hasRoomInGerman)
{
    expectRoom("Fertig");
}

TEST_P(EveryKeyAdvice, hasRoomInEnglish)
{
    QGuiApplication::removeTranslator(&translator_);
    expectRoom("Done");
}

INSTANTIATE_TEST_SUITE_P(All, EveryKeyAdvice, testing::ValuesIn(KeyAdvice::all));

TEST_P(EveryGermanScene, leavesNoEnglishTextOnAnyScreen)
{
    QGuiApplication::removeTranslator(&translator_);
    gallery::Stage english(sharedEngine(), GetParam());
    const QStringList originals = textsOf(english);
    QGuiApplication::installTranslator(&translator_);
    gallery::Stage german(sharedEngine(), GetParam());
    for (const QString& text : textsOf(german))
        EXPECT_TRUE(isShared(text) || !originals.contains(text)) << qPrintable(text);
}

TEST_P(EveryGermanScene, showsEveryTextWhole)
{
    gallery::Stage stage(sharedEngine(), GetParam());
    for (const QQuickItem* item : shownItems(stage.root())) {
        const bool isInFront = isText(item) && item->isEnabled();
        EXPECT_FALSE(isInFront && item->property("truncated").toBool())
            << qPrintable(item->property("text").toString());
    }
}

INSTANTIATE_TEST_SUITE_P(All, EveryGermanScene, testing::ValuesIn(gallery::scenes()), [](const auto& scene) {
    std::string name = scene.param.name;
    std::ranges::replace(name, '-', '_');
    return name;
});

} // namespace
} // namespace quenstal
