#pragma once

#include "AccessibilityBus.h"
#include "AccessibilityDriver.h"
#include "Desktop.h"
#include "WispProcess.h"

#include <QFileInfo>
#include <QProcessEnvironment>
#include <QString>

#include <gtest/gtest.h>

#include <memory>

// The real wisp read through its accessibility tree: SetUp skips the test where the X tools or
// the accessibility stack are missing and starts the private accessibility bus; launchWisp
// starts wisp with the test's environment and the reader of its tree beside it; TearDown stops
// them all, with wisp's log after a failure.
class AccessibleWispTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (const QString tool =
                Desktop::missingProgram({QStringLiteral("xdotool"), QStringLiteral("xprop"),
                                         QStringLiteral("xwininfo"), QStringLiteral("import")});
            !tool.isEmpty()) {
            GTEST_SKIP() << tool.toStdString() << " is not installed";
        }
        if (const QString missing = AccessibilityBus::missingTool(); !missing.isEmpty()) {
            GTEST_SKIP() << missing.toStdString();
        }
        ASSERT_TRUE(QFileInfo(WispProcess::executablePath()).isExecutable())
            << WispProcess::executablePath().toStdString();
        QString error;
        ASSERT_TRUE(bus.start(&error)) << error.toStdString();
    }

    void TearDown() override
    {
        if (wisp) {
            wisp->stopAndReport(HasFailure());
            wisp.reset();
        }
        a11y.stop();
        bus.stop();
    }

    // wisp's environment, the accessibility bus included (bus.addTo).
    virtual QProcessEnvironment environment() const = 0;

    void launchWisp()
    {
        wisp = std::make_unique<WispProcess>(environment());
        ASSERT_TRUE(wisp->process.waitForStarted(10000))
            << wisp->process.errorString().toStdString();
        QString error;
        ASSERT_TRUE(a11y.start(wisp->process.processId(), environment(), &error))
            << error.toStdString();
    }

    AccessibilityBus bus;
    std::unique_ptr<WispProcess> wisp;
    AccessibilityDriver a11y;
};
