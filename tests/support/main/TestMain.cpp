#include "support/TestIsolation.h"
#include "support/TestScratch.h"

#include <QApplication>

#include <gtest/gtest.h>

// Every test process gets a private, empty configuration home, so settings written by a test
// never reach the user's own or another test's.
int main(int argc, char** argv)
{
    TestScratch scratch(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    if (qEnvironmentVariableIsEmpty("WISP_TEST_KEEP_XDG_CONFIG_HOME")) {
        scratch.useAsConfigHome();
    }
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
