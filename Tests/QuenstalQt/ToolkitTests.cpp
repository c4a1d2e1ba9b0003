// What the toolkit's side of the seam translates: keys and symbols.

#include "Contrast.hpp"
#include "QuenstalQt/Artwork/Symbols.hpp"
#include "QuenstalQt/Desktop/KeyEvents.hpp"
#include "QuenstalQt/Tray/TrayStatusItem.hpp"
#include "ViewFixture.hpp"

#include <QPainter>

namespace quenstal {
namespace {

struct KeyRow {
    int key;
    Qt::KeyboardModifiers modifiers;
    QString text;
    KeyEvent expected;
};

class Keys : public testing::TestWithParam<KeyRow> { };

TEST_P(Keys, becomeTheEventsOfThePanel)
{
    const KeyRow& row = GetParam();
    const KeyEvent heard = keyEventOf(QKeyEvent(QEvent::KeyPress, row.key, row.modifiers, row.text));
    EXPECT_EQ(heard, row.expected) << heard.keyCode << " " << heard.characters;
}

INSTANTIATE_TEST_SUITE_P(All, Keys,
    testing::Values(
        // clang-format off
        KeyRow{Qt::Key_Escape, {}, "\x1b", {.keyCode = KeyCode::escape, .characters = {}}},
        KeyRow{Qt::Key_Up, Qt::ShiftModifier, "", {.keyCode = KeyCode::upArrow, .characters = {}, .shift = true}},
        KeyRow{Qt::Key_Left, Qt::KeypadModifier, "", {.keyCode = KeyCode::leftArrow, .characters = {}}},
        KeyRow{Qt::Key_M, {}, "m", {.characters = "m"}},
        KeyRow{Qt::Key_M, Qt::ShiftModifier, "M", {.characters = "m", .shift = true}},
        KeyRow{Qt::Key_Q, Qt::ControlModifier, "\x11", {.characters = "q", .control = true}},
        KeyRow{Qt::Key_3, {}, "3", {.characters = "3"}},
        KeyRow{Qt::Key_F5, {}, "", {}} // clang-format on
        ));

class StatusSymbols : public testing::TestWithParam<const char*> { };

TEST_P(StatusSymbols, arePaintedInsideTheirSquareAtEverySizeOfATray)
{
    const QString name = QString::fromLatin1(GetParam());
    ASSERT_TRUE(isKnownSymbol(name));
    for (const int pixels : {16, 22, 24, 32, 44, 64}) {
        const QImage image = symbolImage(pixels, name, Qt::white);
        int inked = 0;
        int onTheEdge = 0;
        for (int y = 0; y < pixels; ++y) {
            for (int x = 0; x < pixels; ++x) {
                const bool isInked = qAlpha(image.pixel(x, y)) > 32;
                inked += isInked;
                onTheEdge += isInked && (x == 0 || y == 0 || x == pixels - 1 || y == pixels - 1);
            }
        }
        EXPECT_GT(inked, pixels * pixels / 10) << pixels;
        EXPECT_EQ(onTheEdge, 0) << pixels;
    }
}

TEST_P(StatusSymbols, canBeReadOnLightAndOnDarkBars)
{
    // As for any symbol that has to be told from its background.
    constexpr double wanted = 3;
    sharedEngine();
    for (const StatusTint tint : {StatusTint::standard, StatusTint::secondaryLabel}) {
        StatusButtonAppearance appearance;
        appearance.symbolName = GetParam();
        appearance.tint = tint;
        const QImage symbol = statusImage(22, appearance);
        for (const QColor& bar : {QColor(255, 255, 255), QColor(222, 222, 222), QColor(40, 40, 40), QColor(0, 0, 0)}) {
            QImage shown(symbol.size(), QImage::Format_RGB32);
            shown.fill(bar);
            QPainter(&shown).drawImage(0, 0, symbol);
            int readable = 0;
            for (int y = 0; y < shown.height(); ++y) {
                for (int x = 0; x < shown.width(); ++x)
                    readable += contrast(shown.pixelColor(x, y), bar) >= wanted;
            }
            EXPECT_GE(readable, 40) << qPrintable(bar.name());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, StatusSymbols, testing::Values("speaker.fill", "speaker.slash.fill", "speaker.wave.2.fill"));

TEST(Symbols, ofTheStatusItemCanBeToldApart)
{
    const QImage level = symbolImage(22, u"speaker.wave.2.fill", Qt::white);
    const QImage muted = symbolImage(22, u"speaker.slash.fill", Qt::white);
    const QImage off = symbolImage(22, u"speaker.fill", Qt::white);
    EXPECT_NE(level, muted);
    EXPECT_NE(level, off);
    EXPECT_NE(muted, off);
}

TEST(Symbols, thatAreNotKnownPaintNothing)
{
    EXPECT_FALSE(isKnownSymbol(u"speaker.wave.9"));
    const QImage image = symbolImage(22, u"speaker.wave.9", Qt::white);
    EXPECT_EQ(qAlpha(image.pixel(11, 11)), 0);
}

TEST(StatusNotifierItem, itsTipIsMarkupAndItsOtherTextsAreNot)
{
    sharedEngine();
    SessionBus bus;
    StatusNotifierItem item(bus);
    const QString text = QStringLiteral("B&O <b>27</b>");
    item.setTexts(text, text);
    EXPECT_EQ(item.toolTip().text, QStringLiteral("B&amp;O &lt;b&gt;27&lt;/b&gt;"));
    EXPECT_EQ(item.label(), text);
    EXPECT_EQ(item.accessibleDescription(), QStringLiteral("Quenstal ") + text);
}

} // namespace
} // namespace quenstal
