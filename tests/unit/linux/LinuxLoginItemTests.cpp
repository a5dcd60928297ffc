#include "Platform/linux/LinuxLoginItem.h"

#include "support/QtPrinters.h"
#include "support/ScopedConfigHome.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <gtest/gtest.h>

namespace {

// Each test with a fresh configuration home of its own.
class LinuxLoginItemTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(home.isValid()); }

    QString configHome() const { return home.path(); }
    QString entry() const { return configHome() + QStringLiteral("/autostart/wisp.desktop"); }

    static QString readAll(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    // desktop-file-validate's complaints; empty when it accepts the file.
    static QString validate(const QString& path)
    {
        QProcess validator;
        validator.setProcessChannelMode(QProcess::MergedChannels);
        validator.start(QStandardPaths::findExecutable(QStringLiteral("desktop-file-validate")),
                        {path});
        if (!validator.waitForFinished(30'000)) {
            return QStringLiteral("desktop-file-validate did not finish");
        }
        const QString output = QString::fromUtf8(validator.readAll()).trimmed();
        return validator.exitCode() == 0 ? output : QStringLiteral("rejected: ") + output;
    }

    ScopedConfigHome home;
    LinuxLoginItem loginItem;
};

} // namespace

TEST_F(LinuxLoginItemTest, EntryLivesInTheAutostartFolderOfTheConfigHome)
{
    EXPECT_EQ(LinuxLoginItem::entryPath(), entry());
    // A relative configuration home is ignored, as XDG base directories are read.
    qputenv("XDG_CONFIG_HOME", "relative/config");
    EXPECT_EQ(LinuxLoginItem::entryPath(),
              QDir::homePath() + QStringLiteral("/.config/autostart/wisp.desktop"));
}

TEST_F(LinuxLoginItemTest, SwitchingOnWritesAValidEntryThatStartsThisExecutable)
{
    if (QStandardPaths::findExecutable(QStringLiteral("desktop-file-validate")).isEmpty()) {
        GTEST_SKIP() << "desktop-file-validate (desktop-file-utils) is not installed";
    }
    EXPECT_FALSE(loginItem.isEnabled());
    QString error;
    ASSERT_TRUE(loginItem.setEnabled(true, &error)) << error.toStdString();
    EXPECT_TRUE(error.isEmpty());
    EXPECT_TRUE(loginItem.isEnabled());

    const QString text = readAll(entry());
    EXPECT_EQ(text, LinuxLoginItem::entryText(QCoreApplication::applicationFilePath()));
    EXPECT_TRUE(text.contains(QStringLiteral("\nExec=") + QCoreApplication::applicationFilePath() +
                              QStringLiteral("\n")));
    EXPECT_EQ(validate(entry()), QString());

    // Switching on again rewrites the same entry.
    ASSERT_TRUE(loginItem.setEnabled(true, &error));
    EXPECT_EQ(readAll(entry()), text);
}

TEST_F(LinuxLoginItemTest, SwitchingOffRemovesTheEntry)
{
    QString error;
    ASSERT_TRUE(loginItem.setEnabled(true, &error));
    ASSERT_TRUE(QFileInfo::exists(entry()));

    ASSERT_TRUE(loginItem.setEnabled(false, &error)) << error.toStdString();
    EXPECT_FALSE(QFileInfo::exists(entry()));
    EXPECT_FALSE(loginItem.isEnabled());
    // The folder stays: other applications' entries live there too.
    EXPECT_TRUE(QFileInfo(QFileInfo(entry()).absolutePath()).isDir());
}

TEST_F(LinuxLoginItemTest, MissingFoldersAreCreatedAndAMissingEntryIsAlreadyOff)
{
    ASSERT_FALSE(QFileInfo::exists(configHome()));
    EXPECT_FALSE(loginItem.isEnabled());
    QString error;
    EXPECT_TRUE(loginItem.setEnabled(false, &error));
    EXPECT_TRUE(error.isEmpty());
    EXPECT_FALSE(QFileInfo::exists(configHome()));

    ASSERT_TRUE(loginItem.setEnabled(true, &error)) << error.toStdString();
    EXPECT_TRUE(QFileInfo(entry()).isFile());
}

TEST_F(LinuxLoginItemTest, AnUnwritableFolderIsAnErrorNotACrash)
{
    // A file where the autostart folder should be.
    ASSERT_TRUE(QDir().mkpath(configHome()));
    QFile blocker(configHome() + QStringLiteral("/autostart"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();

    QString error;
    EXPECT_FALSE(loginItem.setEnabled(true, &error));
    EXPECT_EQ(error, configHome() + QStringLiteral("/autostart: cannot create the folder"));
    EXPECT_FALSE(loginItem.isEnabled());
}

TEST_F(LinuxLoginItemTest, ExecutablePathsWithReservedCharactersAreQuoted)
{
    EXPECT_TRUE(LinuxLoginItem::entryText(QStringLiteral("/usr/bin/wisp"))
                    .contains(QStringLiteral("\nExec=/usr/bin/wisp\n")));
    // Quoted with ", `, $ and \ escaped, then \ escaped once more as in any string value.
    EXPECT_TRUE(LinuxLoginItem::entryText(QStringLiteral("/opt/my apps/wi$p"))
                    .contains(QStringLiteral("\nExec=\"/opt/my apps/wi\\\\$p\"\n")));
}

TEST_F(LinuxLoginItemTest, EntryWithSpacesInThePathIsValid)
{
    if (QStandardPaths::findExecutable(QStringLiteral("desktop-file-validate")).isEmpty()) {
        GTEST_SKIP() << "desktop-file-validate (desktop-file-utils) is not installed";
    }
    const QString path = home.filePath(QStringLiteral("spaced.desktop"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(LinuxLoginItem::entryText(QStringLiteral("/opt/my apps/wi$p")).toUtf8());
    file.close();
    EXPECT_EQ(validate(path), QString());
}
