#include "Managers/SettingsManager.h"

#include "support/QtPrinters.h"

#include <QDir>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// The Linux folder access and the Linux settings file behind the real store.

TEST(LinuxFolderBookmark, StoresTheAbsolutePathAndResolvesWhileTheFolderExists)
{
    QTemporaryDir root;
    const QString folder = root.filePath(QStringLiteral("projects"));
    ASSERT_TRUE(QDir().mkpath(folder));
    QTemporaryDir configDir;
    SettingsManager settings(std::make_unique<QSettings>(
        configDir.filePath(QStringLiteral("wisp.conf")), QSettings::IniFormat));

    settings.setProjectsFolder(QUrl::fromLocalFile(folder));
    EXPECT_EQ(settings.projectsFolderBookmark(), folder.toUtf8());
    EXPECT_EQ(settings.projectsFolderURL(), QUrl::fromLocalFile(folder));

    ASSERT_TRUE(QDir(folder).removeRecursively());
    EXPECT_FALSE(settings.projectsFolderURL().has_value());
}

TEST(SystemSettingsStore, LivesInTheConfigHomeAsWispConf)
{
    SettingsManager settings;
    settings.setHasCompletedOnboarding(true);
    const QString expected =
        qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/wisp/wisp.conf");
    EXPECT_EQ(settings.store().fileName(), expected);
    QSettings reread(expected, QSettings::IniFormat);
    EXPECT_TRUE(reread.value(QStringLiteral("hasCompletedOnboarding")).toBool());
}
