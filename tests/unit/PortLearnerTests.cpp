#include "Managers/PortLearner.h"

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

TEST(PortLearnerTest, TheOnePortOtherThanTheProjectsIsLearned)
{
    const PortLearner learner(3000);
    EXPECT_EQ(learner.learnedPort({4321}), 4321);
    // The project's own port among them changes nothing.
    EXPECT_EQ(learner.learnedPort({3000, 4321}), 4321);
}

TEST(PortLearnerTest, NoPortOrSeveralOtherPortsTeachNothing)
{
    const PortLearner learner(3000);
    EXPECT_EQ(learner.learnedPort({}), std::nullopt);
    EXPECT_EQ(learner.learnedPort({3000}), std::nullopt);
    EXPECT_EQ(learner.learnedPort({4321, 24678}), std::nullopt);
}

TEST(PortLearnerTest, APrintedAddressAloneTeachesNothing)
{
    PortLearner learner(3000);
    learner.readOutput(QStringLiteral("Local: http://localhost:4321/"));
    EXPECT_EQ(learner.printedPorts(), QList<int>{4321});
    EXPECT_EQ(learner.learnedPort({}), std::nullopt);
    EXPECT_EQ(learner.announcedPort({}), std::nullopt);
    // Printed one port, listens on two: still ambiguous.
    EXPECT_EQ(learner.learnedPort({4321, 5000}), std::nullopt);
    EXPECT_EQ(learner.announcedPort({4321, 5000}), std::nullopt);
}

TEST(PortLearnerTest, TheListeningPortIsAnnouncedOnceItsAddressIsPrinted)
{
    PortLearner learner(3000);
    EXPECT_EQ(learner.announcedPort({4321}), std::nullopt);
    learner.readOutput(QStringLiteral("Server at http://localhost:8080/"));
    // Printed elsewhere than it listens.
    EXPECT_EQ(learner.announcedPort({4321}), std::nullopt);
    learner.readOutput(QStringLiteral("ready at http://localhost:4321/"));
    EXPECT_EQ(learner.announcedPort({4321}), 4321);
}
