#include "Controllers/ClickClassifier.h"
#include "Controllers/TimerActionScheduler.h"

#include "fakes/ManualScheduler.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

class ClickClassifierTest : public ::testing::Test
{
protected:
    ClickClassifierTest()
    {
        classifier.onSingleClick = [this] {
            ++singleClicks;
        };
        classifier.onShowMenu = [this] {
            ++menus;
        };
    }

    ManualClock clock;
    std::shared_ptr<ManualScheduler> scheduler = std::make_shared<ManualScheduler>(clock);
    ClickClassifier classifier{clock.function(), scheduler};
    int singleClicks = 0;
    int menus = 0;
};

} // namespace

TEST_F(ClickClassifierTest, StartsWithNoClickAndHalfASecondInterval)
{
    EXPECT_FALSE(classifier.lastClickTime.has_value());
    EXPECT_DOUBLE_EQ(classifier.doubleClickInterval, 0.5);
    EXPECT_EQ(classifier.pendingAction, nullptr);
}

TEST_F(ClickClassifierTest, TwoLeftClicksThreeTenthsApartOpenTheMenuAndRunNothing)
{
    classifier.handleLeftClick();
    scheduler->advance(300ms);
    classifier.handleLeftClick();

    EXPECT_EQ(menus, 1);
    EXPECT_FALSE(classifier.lastClickTime.has_value());
    EXPECT_EQ(classifier.pendingAction, nullptr);
    scheduler->advance(2s);
    EXPECT_EQ(singleClicks, 0);
    EXPECT_EQ(scheduler->pendingCount(), 0);
}

TEST_F(ClickClassifierTest, TwoLeftClicksSixTenthsApartRunTheMainActionOnceAndScheduleItAgain)
{
    classifier.handleLeftClick();
    scheduler->advance(499ms);
    EXPECT_EQ(singleClicks, 0);
    scheduler->advance(1ms);
    EXPECT_EQ(singleClicks, 1);
    EXPECT_FALSE(classifier.lastClickTime.has_value());
    // The finished work item stays in place until the next click replaces it.
    ASSERT_NE(classifier.pendingAction, nullptr);

    scheduler->advance(100ms);
    classifier.handleLeftClick();
    EXPECT_EQ(menus, 0);
    EXPECT_EQ(singleClicks, 1);
    EXPECT_EQ(scheduler->scheduledCount, 2);
    EXPECT_EQ(scheduler->pendingCount(), 1);
    EXPECT_EQ(classifier.lastClickTime, clock.now);

    scheduler->advance(500ms);
    EXPECT_EQ(singleClicks, 2);
    EXPECT_EQ(menus, 0);
}

TEST_F(ClickClassifierTest, RightClickOpensTheMenuAtOnceAndLeavesThePendingClickPending)
{
    classifier.handleLeftClick();
    scheduler->advance(100ms);
    classifier.handleRightClick();
    EXPECT_EQ(menus, 1);
    EXPECT_EQ(singleClicks, 0);
    EXPECT_EQ(scheduler->pendingCount(), 1);
    EXPECT_TRUE(classifier.lastClickTime.has_value());

    scheduler->advance(400ms);
    EXPECT_EQ(singleClicks, 1);
    EXPECT_EQ(menus, 1);
}

TEST_F(ClickClassifierTest, ClickWithoutEventOpensTheMenu)
{
    classifier.handleMissingEvent();
    EXPECT_EQ(menus, 1);
    EXPECT_EQ(scheduler->scheduledCount, 0);
}

TEST_F(ClickClassifierTest, ClickJustAtTheIntervalIsAFirstClickAgain)
{
    classifier.handleLeftClick();
    clock.now += 500ms; // no work runs: the clock alone moved
    classifier.handleLeftClick();
    EXPECT_EQ(menus, 0);
    EXPECT_EQ(scheduler->scheduledCount, 2);
    // The earlier pending click was cancelled by the new one.
    EXPECT_EQ(scheduler->pendingCount(), 1);
    scheduler->advance(500ms);
    EXPECT_EQ(singleClicks, 1);
}

TEST(ClickClassifierTimerTest, SingleClickActsAfterHalfASecondOnTheEventLoop)
{
    ClickClassifier classifier;
    int singleClicks = 0;
    QElapsedTimer elapsed;
    qint64 actedAfter = -1;
    classifier.onSingleClick = [&] {
        ++singleClicks;
        actedAfter = elapsed.elapsed();
    };
    elapsed.start();
    classifier.handleLeftClick();
    ASSERT_TRUE(TestSupport::waitUntil([&] { return singleClicks == 1; }, 10s));
    EXPECT_GE(actedAfter, 495);
    EXPECT_FALSE(classifier.lastClickTime.has_value());
}

TEST(ClickClassifierTimerTest, DestroyedClassifierNeverRunsItsPendingClick)
{
    int singleClicks = 0;
    {
        ClickClassifier classifier(nullptr, std::make_shared<TimerActionScheduler>());
        classifier.onSingleClick = [&] {
            ++singleClicks;
        };
        classifier.handleLeftClick();
    }
    TestSupport::waitUntil([] { return false; }, 800ms);
    EXPECT_EQ(singleClicks, 0);
}
