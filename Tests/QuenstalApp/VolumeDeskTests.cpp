#include "QuenstalApp/ShellTest.hpp"

namespace quenstal {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Order = VolumeDesk::Order;
using Origin = VolumeDesk::Origin;

struct VolumeDeskTest : ShellTest {
    VolumeDeskTest()
    {
        playOnSpeakers();
        finishSetupEarlier();
        launch();
    }

    Cancellation countPublished()
    {
        return desk->onPublished([this](const QuenstalState& state) { published.push_back(state.volume.level); });
    }
    void setLevel(double level, std::optional<std::string> output = std::nullopt)
    {
        desk->carryOut({Origin::panel, Order::always(VolumeCommand::setLevel(level)), std::move(output)});
    }

    std::vector<double> published;
};

template <typename Operation>
concept isAChange = requires(VolumeDesk desk, Operation operation)
{
    desk.change(operation);
};
static_assert(isAChange<decltype(&QuenstalController::refresh)>);
static_assert(!isAChange<decltype(&QuenstalController::handle)>, "commands are given as orders");
static_assert(
    std::is_same_v<decltype(std::declval<VolumeDesk>().controller()), std::shared_ptr<const QuenstalController>>);

TEST_F(VolumeDeskTest, whateverAnOrderTakesItIsPublishedOnce)
{
    const Cancellation counting = countPublished();
    setLevel(0.25);
    EXPECT_THAT(published, ElementsAre(0.25));
    desk->carryOut({Origin::tray, Order::always(VolumeCommand::stepUp(), 3)});
    EXPECT_THAT(published, ElementsAre(0.25, 0.4375));
}

TEST_F(VolumeDeskTest, keysArePublishedWithOneRefreshOnALaterTurn)
{
    const Cancellation counting = countPublished();
    for (int i = 0; i < 4; ++i)
        desk->carryOut({Origin::key, Order::always(VolumeCommand::stepUp())});
    EXPECT_THAT(published, IsEmpty());
    loop.runUntilIdle();
    EXPECT_THAT(published, ElementsAre(0.75));
}

TEST_F(VolumeDeskTest, anOrderForAnotherOutputIsNotCarriedOutAndTheOneThatIsThereIsPublished)
{
    ports.device = dock();
    ports.device->supportsNativeVolume = true;
    ports.systemVolume.level = 0.1;
    const Cancellation counting = countPublished();
    setLevel(0.9, "speakers-uid");
    EXPECT_EQ(ports.systemVolume.level, 0.1);
    EXPECT_THAT(published, ElementsAre(0.1));
    setLevel(0.9, "dock");
    EXPECT_EQ(ports.systemVolume.level, 0.9);
}

TEST_F(VolumeDeskTest, theDialMovesTheOutputThatItShowsAndNoOther)
{
    EXPECT_EQ(view().snapshot().outputName, "Built-in Speakers");
    ports.device = dock();
    ports.device->supportsNativeVolume = true;
    ports.systemVolume.level = 0.1;
    view().setVolumePercent(80);
    EXPECT_EQ(ports.systemVolume.level, 0.1);
    EXPECT_EQ(view().snapshot().outputName, "Dock");
    view().setVolumePercent(80);
    EXPECT_EQ(ports.systemVolume.level, 0.8);
}

TEST_F(VolumeDeskTest, whatAnObserverAsksForIsDoneOnceEveryoneHasBeenTold)
{
    std::vector<std::string> told;
    const Cancellation first = desk->onPublished([&](const QuenstalState& state) {
        told.push_back("first " + std::to_string(state.volume.level));
        if (state.volume.level > 0.5)
            setLevel(0.5);
        EXPECT_EQ(desk->state().volume, state.volume) << "the state that is told holds still";
    });
    const Cancellation second = desk->onPublished(
        [&](const QuenstalState& state) { told.push_back("second " + std::to_string(state.volume.level)); });
    setLevel(0.75);
    EXPECT_THAT(told, ElementsAre("first 0.750000", "second 0.750000"));
    loop.runUntilIdle();
    EXPECT_THAT(told, ElementsAre("first 0.750000", "second 0.750000", "first 0.500000", "second 0.500000"));
}

TEST_F(VolumeDeskTest, observersThatDisagreeForEverHoldUpNobody)
{
    const Cancellation disagreeing
        = desk->onPublished([this](const QuenstalState& state) { setLevel(state.volume.level > 0.5 ? 0.25 : 0.75); });
    setLevel(0.75);
    for (int turn = 0; turn < 10; ++turn) {
        loop.runOneTurn();
        EXPECT_EQ(ports.systemVolume.level, turn % 2 == 0 ? 0.25 : 0.75);
    }
}

TEST_F(VolumeDeskTest, whatAnObserverAskedForDoesNotOutliveTheDesk)
{
    const Cancellation observing = desk->onPublished([this](const QuenstalState&) { setLevel(0.9); });
    setLevel(0.25);
    tap.reset();
    status.reset();
    desk.reset();
    loop.runUntilIdle();
    EXPECT_EQ(ports.systemVolume.level, 0.25);
}

} // namespace
} // namespace quenstal
