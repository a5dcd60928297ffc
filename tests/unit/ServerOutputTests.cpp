#include "Managers/ServerOutput.h"

#include "ServerTestSupport.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

// Runs `script` with its output redirected and followed by a ServerOutput, until it exits.
void runFollowed(int port, const QString& script)
{
    QProcess process;
    process.setProgram(QStringLiteral("/bin/sh"));
    process.setArguments({QStringLiteral("-c"), script});
    auto* output = new ServerOutput(port, &process);
    QObject::connect(&process, &QProcess::finished, output, [output] { output->finish(); });
    process.start();
    ASSERT_TRUE(process.waitForStarted(10000));
    ASSERT_TRUE(waitUntil([&] { return process.state() == QProcess::NotRunning; }, 20s));
}

} // namespace

TEST(ServerOutput, ChunksAreTrimmedUtf8AndInvalidBytesDropTheChunk)
{
    EXPECT_EQ(ServerOutput::decodeChunk("  ready on :3000 \n"), QStringLiteral("ready on :3000"));
    EXPECT_EQ(ServerOutput::decodeChunk("a\nb\n"), QStringLiteral("a\nb"));
    EXPECT_EQ(ServerOutput::decodeChunk("\xe2\x9c\x93 done"), QStringLiteral("\u2713 done"));
    EXPECT_EQ(ServerOutput::decodeChunk("\n"), QString());
    EXPECT_EQ(ServerOutput::decodeChunk("\xff\xfe oops"), std::nullopt);
    EXPECT_EQ(ServerOutput::decodeChunk("cut \xe2\x9c"), std::nullopt);
}

TEST(ServerOutput, FilesAreNamedAfterThePortInAFolderOfTheUser)
{
    ScopedTemporaryDirectory temporary;
    const QString folder = temporary.path() + QStringLiteral("/wisp-%1").arg(::getuid());
    EXPECT_EQ(ServerOutput::folder(), folder);
    EXPECT_EQ(ServerOutput::filePath(5173, ServerOutput::Channel::standardOutput),
              folder + QStringLiteral("/server-5173.stdout.log"));
    EXPECT_EQ(ServerOutput::filePath(5173, ServerOutput::Channel::standardError),
              folder + QStringLiteral("/server-5173.stderr.log"));
}

TEST(ServerOutput, StartsOnAPortReuseTheSameTwoFilesInAPrivateFolder)
{
    ScopedTemporaryDirectory temporary;
    LogCapture log;

    runFollowed(4321, QStringLiteral("echo first run; echo first error >&2"));
    runFollowed(4321, QStringLiteral("echo second run"));

    EXPECT_EQ(log.linesStartingWith(QStringLiteral("📝 [Server Output]")),
              (QStringList{QStringLiteral("📝 [Server Output] first run"),
                           QStringLiteral("📝 [Server Output] second run")}));
    EXPECT_EQ(log.linesStartingWith(QStringLiteral("⚠️ [Server Error]")),
              QStringList{QStringLiteral("⚠️ [Server Error] first error")});
    const QDir folder(ServerOutput::folder());
    EXPECT_EQ(folder.entryList(QDir::Files, QDir::Name),
              (QStringList{QStringLiteral("server-4321.stderr.log"),
                           QStringLiteral("server-4321.stdout.log")}));
    // Each start begins with empty files.
    QFile out(ServerOutput::filePath(4321, ServerOutput::Channel::standardOutput));
    ASSERT_TRUE(out.open(QIODevice::ReadOnly));
    EXPECT_EQ(out.readAll(), QByteArray("second run\n"));
    EXPECT_EQ(QFileInfo(folder.path()).permissions() &
                  (QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup |
                   QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther),
              QFileDevice::Permissions());
}

TEST(ServerOutput, UnusableFolderIsLoggedAndTheOutputDiscarded)
{
    ScopedTemporaryDirectory temporary;
    LogCapture log;
    TestSupport::writeFile(temporary.path(), QStringLiteral("wisp-%1").arg(::getuid()),
                           "not a folder");

    runFollowed(4322, QStringLiteral("echo lost"));

    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral("⚠️ [ServerManager] Server output is not logged: "
                                         "cannot create %1")
                              .arg(ServerOutput::folder())});
}
