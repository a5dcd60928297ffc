#include "Managers/ServerOutput.h"

#include "ServerTestSupport.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

#include <gtest/gtest.h>

using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

// A shell child whose output a ServerOutput follows, as ServerManager sets it up.
class FollowedShell
{
public:
    FollowedShell(int port, const QString& script, const QString& folder = QString())
    {
        process.setProgram(QStringLiteral("/bin/sh"));
        process.setArguments({QStringLiteral("-c"), script});
        if (!folder.isEmpty()) {
            process.setWorkingDirectory(folder);
        }
        output = new ServerOutput(port, &process);
        QObject::connect(&process, &QProcess::finished, output, [this] { output->finish(); });
        process.start();
        EXPECT_TRUE(process.waitForStarted(10000));
    }
    ~FollowedShell()
    {
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished(10000);
        }
    }

    bool waitForExit()
    {
        return waitUntil([this] { return process.state() == QProcess::NotRunning; }, 60s);
    }

    QProcess process;
    ServerOutput* output = nullptr;
};

// Runs `script` with its output followed, until it exits.
void runFollowed(int port, const QString& script)
{
    FollowedShell shell(port, script);
    ASSERT_TRUE(shell.waitForExit());
}

QString stdoutPath(int port)
{
    return ServerLogFolder::filePath(port, ServerLogFolder::Channel::standardOutput);
}

qint64 fileSize(const QString& path)
{
    return QFileInfo(path).size();
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

TEST(ServerOutput, InvalidUtf8FromAServerIsDroppedSilently)
{
    ScopedTemporaryDirectory temporary;
    LogCapture log;

    runFollowed(4323, QStringLiteral("printf 'bad \\377\\376 bytes\\n'; echo fine >&2"));

    EXPECT_EQ(log.lines(), QStringList{QStringLiteral("⚠️ [Server Error] fine")});
}

TEST(ServerOutput, ShortTextIsShownWhole)
{
    const QString text(ServerOutput::shownSize, QLatin1Char('x'));
    EXPECT_EQ(ServerOutput::shown(text), text);
}

TEST(ServerOutput, LongTextIsCutWithANoteOfTheBytesNotShown)
{
    const QString text(20000, QLatin1Char('x'));
    EXPECT_EQ(ServerOutput::shown(text),
              QString(16384, QLatin1Char('x')) + QStringLiteral(" … (3616 bytes not shown)"));
}

TEST(ServerOutput, TextIsCutBetweenCharacters)
{
    // "a" and then two-byte characters: byte 16384 is the second half of one of them.
    const QString text = QStringLiteral("a") + QString(10000, QChar(0x00e9));
    EXPECT_EQ(ServerOutput::shown(text), QStringLiteral("a") + QString(8191, QChar(0x00e9)) +
                                             QStringLiteral(" … (3618 bytes not shown)"));
}

TEST(ServerOutput, WholeCharactersLengthStopsBeforeACutSequence)
{
    EXPECT_EQ(ServerOutput::wholeCharactersLength("abc"), 3);
    EXPECT_EQ(ServerOutput::wholeCharactersLength("ab\xe2\x9c\x93"), 5);
    EXPECT_EQ(ServerOutput::wholeCharactersLength("ab\xe2\x9c"), 2);
    EXPECT_EQ(ServerOutput::wholeCharactersLength("ab\xf0\x9f\x98"), 2);
    EXPECT_EQ(ServerOutput::wholeCharactersLength("ab\xc3"), 2);
    EXPECT_EQ(ServerOutput::wholeCharactersLength("\x80\x80\x80\x80\x80"), 5);
    EXPECT_EQ(ServerOutput::wholeCharactersLength(""), 0);
}

TEST(ServerOutput, ALongLineIsLoggedCappedWithTheNote)
{
    ScopedTemporaryDirectory temporary;
    LogCapture log;

    runFollowed(4324, QStringLiteral("head -c 20000 /dev/zero | tr '\\000' x"));

    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral("📝 [Server Output] ") + QString(16384, QLatin1Char('x')) +
                          QStringLiteral(" … (3616 bytes not shown)")});
}

TEST(ServerOutput, ABurstIsReadInBoundedChunksThatNeverCutACharacter)
{
    ScopedTemporaryDirectory temporary;
    LogCapture log;

    // 300000 bytes of two-byte characters after one single-byte one: every 64 KiB read ends in
    // the middle of a character unless the reader takes care.
    runFollowed(4325,
                QStringLiteral("printf a; head -c 150000 /dev/zero | sed 's/\\x0/\\xc3\\xa9/g'"));

    // Every chunk is logged (none dropped as invalid), none longer than a read, each cut to the
    // shown size with a note, and together they account for every byte.
    const QStringList lines = log.linesStartingWith(QStringLiteral("📝 [Server Output] "));
    static const QRegularExpression note(QStringLiteral(" … \\((\\d+) bytes not shown\\)$"));
    const qsizetype prefix = QStringLiteral("📝 [Server Output] ").size();
    qint64 total = 0;
    for (const QString& line : lines) {
        const auto match = note.match(line);
        const qint64 shownBytes =
            line.mid(prefix, match.hasMatch() ? match.capturedStart() - prefix : -1)
                .toUtf8()
                .size();
        const qint64 cutBytes = match.hasMatch() ? match.captured(1).toLongLong() : 0;
        EXPECT_LE(shownBytes, ServerOutput::shownSize);
        EXPECT_LE(shownBytes + cutBytes, ServerOutput::readSize);
        total += shownBytes + cutBytes;
    }
    EXPECT_GE(lines.size(), 5);
    EXPECT_EQ(total, 300001);
    EXPECT_EQ(log.lines().size(), lines.size());
}

TEST(ServerOutput, FilesLiveInTheStateFolderNamedAfterThePort)
{
    ScopedTemporaryDirectory temporary;
    const QString folder = temporary.path() + QStringLiteral("/wisp");
    EXPECT_EQ(ServerLogFolder::path(), folder);
    EXPECT_EQ(ServerLogFolder::filePath(5173, ServerLogFolder::Channel::standardOutput),
              folder + QStringLiteral("/server-5173.stdout.log"));
    EXPECT_EQ(ServerLogFolder::filePath(5173, ServerLogFolder::Channel::standardError),
              folder + QStringLiteral("/server-5173.stderr.log"));
    EXPECT_EQ(ServerLogFolder::writerFilePath(5173), folder + QStringLiteral("/server-5173.pid"));
}

TEST(ServerOutput, StartsOnAPortReuseTheSameFilesInAPrivateFolder)
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
    const QDir folder(ServerLogFolder::path());
    EXPECT_EQ(
        folder.entryList(QDir::Files, QDir::Name),
        (QStringList{QStringLiteral("server-4321.pid"), QStringLiteral("server-4321.stderr.log"),
                     QStringLiteral("server-4321.stdout.log")}));
    // Each start begins with empty files.
    QFile out(stdoutPath(4321));
    ASSERT_TRUE(out.open(QIODevice::ReadOnly));
    EXPECT_EQ(out.readAll(), QByteArray("second run\n"));
    EXPECT_EQ(QFileInfo(folder.path()).permissions() &
                  (QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup |
                   QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther),
              QFileDevice::Permissions());
}

TEST(ServerOutput, TheWriterRecordHoldsTheServersProcessId)
{
    ScopedTemporaryDirectory temporary;
    FollowedShell shell(4326, QStringLiteral("read line"));
    QFile record(ServerLogFolder::writerFilePath(4326));
    ASSERT_TRUE(waitUntil(
        [&] {
            record.close();
            return record.open(QIODevice::ReadOnly) &&
                   record.readAll().trimmed().toLongLong() == shell.process.processId();
        },
        20s));
    shell.process.closeWriteChannel();
    EXPECT_TRUE(shell.waitForExit());
}

TEST(ServerOutput, UnusableFolderIsLoggedAndTheOutputDiscarded)
{
    ScopedTemporaryDirectory temporary;
    LogCapture log;
    TestSupport::writeFile(temporary.path(), QStringLiteral("wisp"), "not a folder");

    runFollowed(4322, QStringLiteral("echo lost"));

    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral("⚠️ [ServerManager] Server output is not logged: "
                                         "cannot create %1")
                              .arg(ServerLogFolder::path())});
}

TEST(ServerOutput, AFileIsCappedWhileItsServerWritesAndTheServerWritesOnAtTheNewEnd)
{
    ScopedTemporaryDirectory temporary;
    QTemporaryDir work;
    ASSERT_TRUE(work.isValid());
    LogCapture log;
    const int port = 4327;

    // Three times the cap in one go, then, once told, one more line; then it stays.
    FollowedShell shell(port,
                        QStringLiteral("head -c 3145728 /dev/zero | tr '\\000' x; touch written; "
                                       "while [ ! -e go ]; do sleep 0.05; done; echo after; "
                                       "touch done; read line; exit 0"),
                        work.path());
    const QString path = stdoutPath(port);
    ASSERT_TRUE(waitUntil(
        [&] {
            return QFile::exists(work.filePath(QStringLiteral("written"))) &&
                   shell.output->caughtUp();
        },
        60s));
    EXPECT_LE(fileSize(path), ServerLogFolder::fileCap);
    ASSERT_EQ(shell.process.state(), QProcess::Running);

    TestSupport::writeFile(work.path(), QStringLiteral("go"));
    ASSERT_TRUE(
        waitUntil([&] { return QFile::exists(work.filePath(QStringLiteral("done"))); }, 30s));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray contents = file.readAll();
    // Appended at the end of what is left, not at the writer's old offset behind a hole.
    EXPECT_TRUE(contents.endsWith("after\n"));
    EXPECT_FALSE(contents.contains('\0'));
    EXPECT_LE(contents.size(), ServerLogFolder::fileCap);
    EXPECT_TRUE(
        waitUntil([&] { return log.contains(QStringLiteral("📝 [Server Output] after")); }, 30s))
        << log.lines().last().right(100).toStdString();
    // What the follower could not keep up with is skipped with a note of its size.
    static const QRegularExpression skipped(
        QStringLiteral("^📝 \\[Server Output\\] … \\(\\d+ bytes not shown\\)$"));
    for (const QString& line : log.linesStartingWith(QStringLiteral("📝 [Server Output] … ("))) {
        EXPECT_TRUE(skipped.match(line).hasMatch()) << line.toStdString();
    }

    shell.process.closeWriteChannel();
    EXPECT_TRUE(shell.waitForExit());
    EXPECT_EQ(shell.process.exitCode(), 0);
}

namespace {

// Peak resident memory of a process, in KiB, from /proc; -1 when unknown.
qint64 peakResidentKiB(qint64 pid)
{
    return TestSupport::processMemoryKiB(pid, "VmHWM");
}

} // namespace

TEST(ServerOutput, AThreeHundredMegabyteBurstLeavesWispSmallAndItsFileCapped)
{
    ScopedTemporaryDirectory temporary; // the harness inherits it
    ProcessGroupReaper reaper;
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const int port = TestSupport::freePort();
    constexpr qint64 burstBytes = 300LL * 1024 * 1024;

    // wisp's side runs in a process of its own, so that only what it costs is measured.
    QProcess harness;
    harness.setProgram(QStringLiteral(WISP_BIN_DIR "/burst-harness"));
    harness.setArguments({folder.path(), QString::number(port),
                          QStringLiteral("python3 %1 %2 300")
                              .arg(fixture(QStringLiteral("burst_server.py")))
                              .arg(port)});
    harness.setStandardErrorFile(QProcess::nullDevice()); // the log itself; measured below
    harness.start();
    ASSERT_TRUE(harness.waitForStarted(10000)) << harness.errorString().toStdString();

    const QString path = stdoutPath(port);
    QByteArray printed;
    qint64 largestFile = 0;
    const bool ended = waitUntil(
        [&] {
            printed += harness.readAllStandardOutput();
            largestFile = std::max(largestFile, fileSize(path));
            if (!printed.contains("PID ")) {
                return harness.state() == QProcess::NotRunning;
            }
            static const QRegularExpression pidLine(QStringLiteral("^PID (\\d+)$"),
                                                    QRegularExpression::MultilineOption);
            reaper.add(pidLine.match(QString::fromUtf8(printed)).captured(1).toLongLong());
            return printed.contains("\nENDED\n") || harness.state() == QProcess::NotRunning;
        },
        300s);
    ASSERT_TRUE(ended);
    ASSERT_TRUE(printed.contains("\nENDED\n")) << printed.right(2000).toStdString();

    const qint64 peakKiB = peakResidentKiB(harness.processId());
    harness.closeWriteChannel();
    EXPECT_TRUE(harness.waitForFinished(30000));
    EXPECT_EQ(harness.exitCode(), 0);

    EXPECT_GT(peakKiB, 0);
    EXPECT_LT(peakKiB, 100 * 1024) << "peak resident memory " << peakKiB << " KiB";

    // Capped while the burst went on, not only at its end, and under the cap afterwards.
    EXPECT_LT(largestFile, burstBytes / 2);
    EXPECT_LE(fileSize(path), ServerLogFolder::fileCap);

    // Every logged line is short; what could not be shown is counted, not kept.
    const QString prefix = QStringLiteral("📝 [Server Output] ");
    const qint64 longest =
        prefix.toUtf8().size() + ServerOutput::shownSize +
        QStringLiteral(" … (%1 bytes not shown)").arg(burstBytes).toUtf8().size();
    int logged = 0;
    int skips = 0;
    static const QRegularExpression logLine(QStringLiteral("^LOG (\\d+) (.*)$"));
    for (const QByteArray& line : printed.split('\n')) {
        const auto match = logLine.match(QString::fromUtf8(line));
        if (!match.hasMatch()) {
            continue;
        }
        ++logged;
        EXPECT_LE(match.captured(1).toLongLong(), longest);
        if (match.captured(2).endsWith(QStringLiteral(" bytes not shown)"))) {
            ++skips;
        }
    }
    EXPECT_GT(logged, 0);
    EXPECT_GT(skips, 0);
}
