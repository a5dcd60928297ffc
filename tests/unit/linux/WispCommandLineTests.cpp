#include "App/CommandLine.h"

#include "support/QtPrinters.h"

#include <QProcess>
#include <QProcessEnvironment>

#include <gtest/gtest.h>

// The built wisp answers --help and --version from a terminal without a display.
namespace {

struct Answer
{
    int exitCode = -1;
    QString output;
    QString errors;
};

Answer runWisp(const QString& option)
{
    QProcess wisp;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("DISPLAY"));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
    wisp.setProcessEnvironment(environment);
    wisp.start(QStringLiteral(WISP_BIN_DIR "/wisp"), {option});
    if (!wisp.waitForFinished(30'000)) {
        wisp.kill();
        wisp.waitForFinished();
        return {};
    }
    return {wisp.exitStatus() == QProcess::NormalExit ? wisp.exitCode() : -1,
            QString::fromUtf8(wisp.readAllStandardOutput()),
            QString::fromUtf8(wisp.readAllStandardError())};
}

} // namespace

TEST(WispCommandLine, VersionIsAnsweredWithoutADisplay)
{
    const Answer answer = runWisp(QStringLiteral("--version"));
    EXPECT_EQ(answer.exitCode, 0);
    EXPECT_EQ(answer.output, CommandLine::versionText());
    EXPECT_EQ(answer.errors, QString());
}

TEST(WispCommandLine, HelpIsAnsweredWithoutADisplay)
{
    const Answer answer = runWisp(QStringLiteral("--help"));
    EXPECT_EQ(answer.exitCode, 0);
    EXPECT_EQ(answer.output, CommandLine::helpText());
    EXPECT_EQ(answer.errors, QString());
}
