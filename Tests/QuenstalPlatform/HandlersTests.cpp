#include "QuenstalPlatform/Handlers.hpp"
#include "QuenstalPlatform/Notifier.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <functional>
#include <memory>
#include <string>

#include <gmock/gmock.h>

namespace quenstal {
namespace {

using Letters = Handlers<std::function<void()>>;

TEST(Handlers, areCalledInTheOrderInWhichTheyCame)
{
    Letters handlers;
    std::string called;
    const Cancellation first = handlers.add([&] { called += 'a'; });
    const Cancellation second = handlers.add([&] { called += 'b'; });
    handlers.call();
    EXPECT_EQ(called, "ab");
}

TEST(Handlers, oneThatIsCancelledByAnotherIsNotCalledAnyMore)
{
    Letters handlers;
    std::string called;
    Cancellation second;
    const Cancellation first = handlers.add([&] { second.reset(); });
    second = handlers.add([&] { called += 'b'; });
    handlers.call();
    EXPECT_EQ(called, "");
    EXPECT_EQ(handlers.size(), 1U);
}

TEST(Handlers, oneThatIsAddedDuringACallWaitsForTheNext)
{
    Letters handlers;
    std::string called;
    Cancellation added;
    const Cancellation first = handlers.add([&] {
        if (!added)
            added = handlers.add([&] { called += 'n'; });
    });
    handlers.call();
    EXPECT_EQ(called, "");
    handlers.call();
    EXPECT_EQ(called, "n");
}

TEST(Handlers, theirOwnerMayEndDuringACall)
{
    auto handlers = std::make_unique<Letters>();
    std::string called;
    const Cancellation first = handlers->add([&] { handlers.reset(); });
    const Cancellation second = handlers->add([&] { called += 'b'; });
    handlers->call();
    EXPECT_EQ(called, "b");
}

TEST(Handlers, aCancellationMayOutliveThem)
{
    auto handlers = std::make_unique<Letters>();
    Cancellation cancellation = handlers->add([] {});
    handlers.reset();
    cancellation.reset();
}

TEST(Handlers, theFirstThatAgreesEndsTheQuestion)
{
    Handlers<std::function<bool(int)>> handlers;
    std::string asked;
    const Cancellation first = handlers.add([&](int number) { return asked += 'a', number > 2; });
    const Cancellation second = handlers.add([&](int number) { return asked += 'b', number > 1; });
    const Cancellation third = handlers.add([&](int) { return asked += 'c', true; });
    EXPECT_TRUE(handlers.anyOf(2));
    EXPECT_EQ(asked, "ab");
}

TEST(Notifier, deliversOnALaterTurnToThoseWhoStillWait)
{
    SimulatedRunLoop loop;
    Notifier<int> notifier(loop);
    std::string heard;
    const Cancellation stays = notifier.add([&](int news) { heard += std::to_string(news); });
    Cancellation goes = notifier.add([&](int) { heard += '!'; });
    notifier.notify(7);
    EXPECT_EQ(heard, "");
    goes.reset();
    loop.runUntilIdle();
    EXPECT_EQ(heard, "7");
}

TEST(Notifier, newsOfOneThatIsGoneIsDropped)
{
    SimulatedRunLoop loop;
    auto notifier = std::make_unique<Notifier<>>(loop);
    bool heard = false;
    const Cancellation waiting = notifier->add([&] { heard = true; });
    notifier->notify();
    notifier.reset();
    loop.runUntilIdle();
    EXPECT_FALSE(heard);
}

} // namespace
} // namespace quenstal
