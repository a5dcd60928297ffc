#include "Utilities/TurnQueue.h"

#include "fakes/Gate.h"
#include "support/TestSupport.h"

#include <QCoro/QCoroTask>
#include <QStringList>

#include <gtest/gtest.h>

#include <memory>

using TestSupport::waitUntil;

namespace {

// Takes a turn, notes it, holds it until `release` opens, notes the end.
QCoro::Task<> holdTurn(TurnQueue* queue, QString name, Gate* release,
                       std::shared_ptr<QStringList> journal)
{
    auto turn = co_await queue->take();
    journal->append(name + QStringLiteral(" begins"));
    co_await release->pass();
    journal->append(name + QStringLiteral(" ends"));
}

} // namespace

TEST(TurnQueue, FreeQueueGivesTheTurnAtOnce)
{
    TurnQueue queue;
    EXPECT_FALSE(queue.isBusy());
    auto journal = std::make_shared<QStringList>();
    Gate release;

    auto first = holdTurn(&queue, QStringLiteral("a"), &release, journal);

    // Taken without a trip through the event loop.
    EXPECT_EQ(*journal, QStringList{QStringLiteral("a begins")});
    EXPECT_TRUE(queue.isBusy());
    release.open();
    ASSERT_TRUE(waitUntil([&] { return first.isReady(); }));
    EXPECT_FALSE(queue.isBusy());
}

TEST(TurnQueue, WaitersTakeTurnsInTheOrderTheyAsked)
{
    TurnQueue queue;
    auto journal = std::make_shared<QStringList>();
    Gate releaseA;
    Gate releaseOthers;
    releaseOthers.open();

    auto a = holdTurn(&queue, QStringLiteral("a"), &releaseA, journal);
    auto b = holdTurn(&queue, QStringLiteral("b"), &releaseOthers, journal);
    auto c = holdTurn(&queue, QStringLiteral("c"), &releaseOthers, journal);
    EXPECT_EQ(*journal, QStringList{QStringLiteral("a begins")});

    releaseA.open();
    ASSERT_TRUE(waitUntil([&] { return a.isReady() && b.isReady() && c.isReady(); }));
    EXPECT_EQ(*journal,
              (QStringList{"a begins", "a ends", "b begins", "b ends", "c begins", "c ends"}));
    EXPECT_FALSE(queue.isBusy());
}

TEST(TurnQueue, QueueStaysBusyWhileTheTurnPassesToAWaiter)
{
    TurnQueue queue;
    auto journal = std::make_shared<QStringList>();
    Gate releaseA;
    Gate releaseB;
    auto a = holdTurn(&queue, QStringLiteral("a"), &releaseA, journal);
    auto b = holdTurn(&queue, QStringLiteral("b"), &releaseB, journal);

    releaseA.open();
    ASSERT_TRUE(waitUntil([&] { return a.isReady(); }));
    EXPECT_TRUE(queue.isBusy());
    releaseB.open();
    ASSERT_TRUE(waitUntil([&] { return b.isReady(); }));
    EXPECT_FALSE(queue.isBusy());
}

TEST(TurnQueue, WaitersResumeWhenTheQueueGoesAway)
{
    auto queue = std::make_unique<TurnQueue>();
    auto journal = std::make_shared<QStringList>();
    Gate releaseA;
    Gate releaseB;
    releaseB.open();
    auto a = holdTurn(queue.get(), QStringLiteral("a"), &releaseA, journal);
    auto b = holdTurn(queue.get(), QStringLiteral("b"), &releaseB, journal);

    queue.reset();

    ASSERT_TRUE(waitUntil([&] { return b.isReady(); }));
    EXPECT_EQ(*journal, (QStringList{"a begins", "b begins", "b ends"}));
    releaseA.open();
    ASSERT_TRUE(waitUntil([&] { return a.isReady(); }));
}
