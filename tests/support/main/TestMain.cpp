#include <QApplication>
#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdlib>

// Every test process gets a private, empty configuration home, so settings written by a test
// never reach the user's own or another test's.
int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }

    // Server output goes to the state folder: never the user's own.
    QTemporaryDir stateHome(QDir::tempPath() + QStringLiteral("/wisp-test-state-XXXXXX"));
    qputenv("XDG_STATE_HOME", stateHome.path().toUtf8());
    QTemporaryDir configHome(QDir::tempPath() + QStringLiteral("/wisp-test-config-XXXXXX"));
    if (qEnvironmentVariableIsEmpty("WISP_TEST_KEEP_XDG_CONFIG_HOME")) {
        qputenv("XDG_CONFIG_HOME", configHome.path().toUtf8());
    }

    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("wisp"));
    QCoreApplication::setApplicationName(QStringLiteral("wisp"));
    return RUN_ALL_TESTS();
}
