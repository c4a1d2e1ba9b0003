// What the panel asks and explains in front of its views, in the order in which it was asked.

#include "QuenstalQt/Desktop/QtPanelWindow.hpp"
#include "ViewFixture.hpp"

#include <string>
#include <vector>

namespace quenstal {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Questions : public testing::Test {
protected:
    Questions()
    {
        sharedEngine();
        hosting_ = panel_.host(viewState_);
        panel_.orderFrontRegardless();
    }

    void ask(const char* title)
    {
        panel_.ask(title, "Text", {"Yes", "No"},
            [this, title](int button) { answers_.push_back(title + std::to_string(button)); });
    }
    void explain(const char* title) { panel_.explain(title, "Text"); }
    /// The one in front of the views; null when there is none.
    static Question* shown()
    {
        for (QWindow* window : QGuiApplication::allWindows()) {
            const auto* panel = qobject_cast<QQuickWindow*>(window);
            if (panel && panel->isVisible() && panel->title() == "Quenstal")
                return panel->contentItem()->childItems().first()->property("question").value<Question*>();
        }
        return nullptr;
    }
    static std::string shownTitle() { return shown() ? shown()->property("title").toString().toStdString() : ""; }

    const gallery::Scene& scene_ = sceneNamed("dial-software");
    GlassDialViewState viewState_{GlassDialSnapshot(scene_.state), SetupGuideSnapshot(scene_.state)};
    QtPanelWindow panel_{{.contentRect = {0, 0, 344, 383}, .canBecomeKey = true}, nullptr};
    std::unique_ptr<Interface> hosting_;
    std::vector<std::string> answers_;
};

TEST_F(Questions, waitForOneAnother)
{
    ask("first");
    ask("second");
    EXPECT_EQ(shownTitle(), "first");
    shown()->answer(0);
    EXPECT_EQ(shownTitle(), "second");
    shown()->answer(1);
    EXPECT_EQ(shown(), nullptr);
    EXPECT_THAT(answers_, ElementsAre("first0", "second1"));
}

TEST_F(Questions, areAnsweredByTheirLastButtonWhenThePanelCloses)
{
    ask("first");
    ask("second");
    panel_.orderOut();
    ask("third");
    EXPECT_THAT(answers_, ElementsAre("first1", "second1", "third1"));
    EXPECT_FALSE(panel_.isAsking());
}

TEST_F(Questions, areNotLostWhenAnExplanationThatWaitsIsReplaced)
{
    ask("first");
    explain("old");
    explain("new");
    EXPECT_EQ(shownTitle(), "first");
    shown()->answer(0);
    EXPECT_THAT(answers_, ElementsAre("first0"));
    EXPECT_EQ(shownTitle(), "new");
    shown()->answer(0);
    EXPECT_FALSE(panel_.isAsking());
}

TEST_F(Questions, thatExplainReplaceTheOneThatIsShown)
{
    explain("old");
    explain("new");
    EXPECT_EQ(shownTitle(), "new");
    shown()->answer(0);
    EXPECT_EQ(shown(), nullptr);
    EXPECT_THAT(answers_, IsEmpty());
}

} // namespace
} // namespace quenstal
