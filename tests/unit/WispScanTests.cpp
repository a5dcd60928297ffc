#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const QString wispScan = QStringLiteral(WISP_BIN_DIR "/wisp-scan");

struct ScanRun
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

ScanRun runWispScan(const QStringList& arguments)
{
    QProcess process;
    process.start(wispScan, arguments);
    EXPECT_TRUE(process.waitForFinished(30000)) << "wisp-scan did not finish";
    return ScanRun{process.exitCode(), process.readAllStandardOutput(),
                   process.readAllStandardError()};
}

// Builds the tree a fixture description names: files with contents, empty folders, links.
void materialize(const QString& description, const QString& root)
{
    QFile file(description);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QJsonObject tree = QJsonDocument::fromJson(file.readAll()).object();
    const QJsonObject files = tree.value(QStringLiteral("files")).toObject();
    for (auto it = files.begin(); it != files.end(); ++it) {
        TestSupport::writeFile(root, it.key(), it.value().toString().toUtf8());
    }
    for (const QJsonValue& folder : tree.value(QStringLiteral("dirs")).toArray()) {
        TestSupport::makeDir(root, folder.toString());
    }
    const QJsonObject links = tree.value(QStringLiteral("links")).toObject();
    for (auto it = links.begin(); it != links.end(); ++it) {
        ASSERT_TRUE(QFile::link(it.value().toString(), QDir(root).filePath(it.key())))
            << it.key().toStdString();
    }
}

} // namespace

TEST(WispScan, PrintsTheFixtureTreeAsExpected)
{
    QTemporaryDir root;
    materialize(TestSupport::fixturePath(QStringLiteral("scan-tree.json")), root.path());

    const ScanRun run = runWispScan({root.path()});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.err.isEmpty()) << run.err.toStdString();

    QString output = QString::fromUtf8(run.out);
    output.replace(QRegularExpression(QStringLiteral(
                       R"("id": "[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}")")),
                   QStringLiteral(R"("id": "<id>")"));
    output.replace(QUrl::fromLocalFile(root.path()).toString(QUrl::FullyEncoded),
                   QStringLiteral("file://<root>"));

    QFile expected(TestSupport::fixturePath(QStringLiteral("scan-tree.expected.json")));
    ASSERT_TRUE(expected.open(QIODevice::ReadOnly));
    EXPECT_EQ(output, QString::fromUtf8(expected.readAll()));
}

TEST(WispScan, IdsAreFreshUuids)
{
    QTemporaryDir root;
    TestSupport::writeFile(root.path(), QStringLiteral("web/package.json"), "{}");
    const ScanRun first = runWispScan({root.path()});
    const ScanRun second = runWispScan({root.path()});
    const QString firstId = QJsonDocument::fromJson(first.out)
                                .array()
                                .first()
                                .toObject()
                                .value(QStringLiteral("id"))
                                .toString();
    const QString secondId = QJsonDocument::fromJson(second.out)
                                 .array()
                                 .first()
                                 .toObject()
                                 .value(QStringLiteral("id"))
                                 .toString();
    EXPECT_FALSE(QUuid::fromString(firstId).isNull());
    EXPECT_NE(firstId, secondId);
}

TEST(WispScan, EmptyFolderPrintsAnEmptyArray)
{
    QTemporaryDir root;
    const ScanRun run = runWispScan({root.path()});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, QByteArray("[]\n"));
}

TEST(WispScan, MissingFolderIsOneErrorLineAndExitCodeTwo)
{
    QTemporaryDir root;
    const QString missing = QDir(root.path()).filePath(QStringLiteral("nope"));
    const ScanRun run = runWispScan({missing});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.out.isEmpty());
    EXPECT_EQ(QString::fromUtf8(run.err),
              QStringLiteral("wisp-scan: %1: no such folder\n").arg(missing));
}

TEST(WispScan, FileInsteadOfFolderIsAnError)
{
    QTemporaryDir root;
    TestSupport::writeFile(root.path(), QStringLiteral("file.txt"), "x");
    const QString file = QDir(root.path()).filePath(QStringLiteral("file.txt"));
    const ScanRun run = runWispScan({file});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(QString::fromUtf8(run.err),
              QStringLiteral("wisp-scan: %1: not a folder\n").arg(file));
}

TEST(WispScan, WithoutAFolderPrintsUsage)
{
    const ScanRun run = runWispScan({});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.err, QByteArray("usage: wisp-scan FOLDER\n"));
}
