#pragma once

#include "fakes/FakeHotKeyBackend.h"
#include "support/PortalStandIn.h"
#include "support/PrivateSessionBus.h"

#include <QCoreApplication>
#include <QEvent>

#include <gtest/gtest.h>

// A test against the stand-in global shortcuts portal on a private session bus. The bus is up
// after SetUp (the test is skipped where its tools are missing); each test starts the stand-in
// with the answers it wants.
class PortalTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (const QString missing = PrivateSessionBus::missingTool(); !missing.isEmpty()) {
            GTEST_SKIP() << missing.toStdString();
        }
        QString error;
        ASSERT_TRUE(bus.start(&error)) << error.toStdString();
    }

    void TearDown() override
    {
        // Nothing may use the bus once it is gone: the portal backend goes, and so do portal
        // clients whose deletion was deferred.
        FakeHotKeyBackend::install();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        standIn.stop();
        bus.stop();
    }

    PrivateSessionBus bus;
    PortalStandIn standIn{bus};
};
