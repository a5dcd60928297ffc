#include "support/TestIsolation.h"
#include "support/TestScratch.h"
#include "support/XvfbSession.h"

#include <QApplication>

#include <gtest/gtest.h>

#include <cstdio>

// End-to-end test processes run on a private Xvfb display with a system tray, started before the
// application object so that this process, too, talks to that display.
int main(int argc, char** argv)
{
    TestScratch scratch(argc, argv);
    testing::InitGoogleTest(&argc, argv);

    XvfbSession session;
    if (!GTEST_FLAG_GET(list_tests)) {
        QString error;
        if (!session.start(true, &error)) {
            const bool missingTool = !XvfbSession::missingTool(true).isEmpty();
            std::fprintf(stderr, "%s: %s\n", missingTool ? "SKIP" : "ERROR", qPrintable(error));
            return missingTool ? 77 : 1;
        }
        qputenv("QT_QPA_PLATFORM", "xcb");
        // The private display is an X11 session, whatever desktop the tests are started from: a
        // Wayland one would send the shortcuts of this process and of wisp to its portal.
        qputenv("XDG_SESSION_TYPE", "x11");
        qunsetenv("WAYLAND_DISPLAY");
    } else {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }

    scratch.useAsConfigHome();
    // Server output goes to the state folder: never the user's own.
    scratch.useAsStateHome();
    scratch.provideRuntimeDirectory();
    // Servers started by tests ask a login shell for its environment: never the user's own.
    scratch.useAsHome();

    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("wisp"));
    QCoreApplication::setApplicationName(QStringLiteral("wisp"));
    TestIsolation::install();
    return RUN_ALL_TESTS();
}
