// CFRef against a counting stand-in for CoreFoundation (corefoundation/ beside this file).
#include "Platform/macos/CFRef.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

class CFRefTest : public ::testing::Test
{
protected:
    void SetUp() override { cfStandInCounts() = {}; }

    // An object as a Create or Copy call returns it: one reference, the caller's.
    CFStandInObject first;
    CFStandInObject second;
};

} // namespace

TEST_F(CFRefTest, AnAdoptedReferenceIsReleasedOnceAtTheEnd)
{
    {
        const CFRef<CFStringRef> held(&first);
        EXPECT_EQ(held.get(), &first);
        EXPECT_TRUE(held);
        EXPECT_EQ(first.retainCount, 1);
    }
    EXPECT_EQ(first.retainCount, 0);
    EXPECT_EQ(cfStandInCounts().retains, 0);
    EXPECT_EQ(cfStandInCounts().releases, 1);
}

TEST_F(CFRefTest, NullIsNeitherRetainedNorReleased)
{
    {
        CFRef<CFStringRef> empty;
        EXPECT_FALSE(empty);
        const CFRef<CFStringRef> copy(empty);
        CFRef<CFStringRef> moved(std::move(empty));
        moved.reset();
        EXPECT_FALSE(CFRef<CFStringRef>::retained(nullptr));
    }
    EXPECT_EQ(cfStandInCounts().retains, 0);
    EXPECT_EQ(cfStandInCounts().releases, 0);
}

TEST_F(CFRefTest, CopiesRetainAndMovesHandOver)
{
    {
        CFRef<CFStringRef> held(&first);
        const CFRef<CFStringRef> copy(held);
        EXPECT_EQ(first.retainCount, 2);
        CFRef<CFStringRef> moved(std::move(held));
        EXPECT_FALSE(held);
        EXPECT_EQ(moved.get(), &first);
        EXPECT_EQ(first.retainCount, 2);

        CFRef<CFStringRef> other(&second);
        other = moved; // releases second, retains first
        EXPECT_EQ(second.retainCount, 0);
        EXPECT_EQ(first.retainCount, 3);
        other = std::move(moved);
        EXPECT_EQ(first.retainCount, 2);
        // Self-assignment keeps the reference (through an alias, as real code meets it).
        const CFRef<CFStringRef>& alias = other;
        other = alias;
        EXPECT_EQ(first.retainCount, 2);
    }
    EXPECT_EQ(first.retainCount, 0);
    EXPECT_EQ(second.retainCount, 0);
}

TEST_F(CFRefTest, AGetRuleReferenceIsRetainedToBeKept)
{
    {
        const CFRef<CFStringRef> kept = CFRef<CFStringRef>::retained(&first);
        EXPECT_EQ(first.retainCount, 2);
    }
    EXPECT_EQ(first.retainCount, 1);
}

TEST_F(CFRefTest, AnOutParameterReleasesWhatWasHeldAndAdoptsTheNewReference)
{
    {
        CFRef<CFStringRef> error(&first);
        CFStringRef* slot = error.adopt();
        EXPECT_EQ(first.retainCount, 0);
        EXPECT_EQ(*slot, nullptr);
        *slot = &second; // what a Copy call writes through its out-parameter
        EXPECT_EQ(error.get(), &second);

        error.reset(&first);
        EXPECT_EQ(second.retainCount, 0);
        first.retainCount = 1;
    }
    EXPECT_EQ(first.retainCount, 0);
    EXPECT_EQ(cfStandInCounts().retains, 0);
}
