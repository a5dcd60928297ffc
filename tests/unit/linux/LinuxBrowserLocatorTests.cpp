#include "Managers/BrowserManager.h"
#include "Platform/BrowserLocator.h"

#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

// PATH holds only a folder of stand-ins: browsers that exist as files, and an xdg-settings
// that answers what the test says.
class LinuxBrowserLocatorTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(bin.isValid());
        savedPath = qgetenv("PATH");
        qputenv("PATH", bin.path().toUtf8());
    }

    void TearDown() override { qputenv("PATH", savedPath); }

    void installExecutable(const QString& name, const QByteArray& script = "#!/bin/sh\n")
    {
        TestSupport::writeFile(bin.path(), name, script);
        QFile::setPermissions(QDir(bin.path()).filePath(name),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    void answerDefaultBrowser(const QByteArray& entry)
    {
        installExecutable(QStringLiteral("xdg-settings"),
                          "#!/bin/sh\n[ \"$1 $2\" = \"get default-web-browser\" ] || exit 2\n"
                          "printf '%s\\n' '" +
                              entry + "'\n");
    }

    QTemporaryDir bin;
    QByteArray savedPath;
    std::shared_ptr<BrowserLocator> locator = BrowserLocator::makeSystemLocator();
};

} // namespace

TEST_F(LinuxBrowserLocatorTest, BrowsersAreInstalledWhenTheirExecutableIsOnPath)
{
    EXPECT_FALSE(locator->isInstalled(Browser::chrome));
    EXPECT_FALSE(locator->isInstalled(Browser::firefox));
    EXPECT_FALSE(locator->isInstalled(Browser::edge));
    installExecutable(QStringLiteral("chromium"));
    installExecutable(QStringLiteral("firefox-esr"));
    EXPECT_TRUE(locator->isInstalled(Browser::chrome));
    EXPECT_TRUE(locator->isInstalled(Browser::firefox));
    EXPECT_FALSE(locator->isInstalled(Browser::edge));
    installExecutable(QStringLiteral("microsoft-edge-stable"));
    EXPECT_TRUE(locator->isInstalled(Browser::edge));
}

TEST_F(LinuxBrowserLocatorTest, DesktopEntriesMapToTheCataloguesIdentifiers)
{
    const QList<QPair<QByteArray, QString>> cases = {
        {"google-chrome.desktop", QStringLiteral("com.google.Chrome")},
        {"chromium.desktop", QStringLiteral("com.google.Chrome")},
        {"firefox-esr.desktop", QStringLiteral("org.mozilla.firefox")},
        {"org.mozilla.firefox.desktop", QStringLiteral("org.mozilla.firefox")},
        {"microsoft-edge.desktop", QStringLiteral("com.microsoft.edgemac")},
        {"epiphany.desktop", QStringLiteral("epiphany.desktop")},
    };
    for (const auto& [entry, identifier] : cases) {
        answerDefaultBrowser(entry);
        EXPECT_EQ(locator->defaultBrowserIdentifier(), identifier) << entry.toStdString();
    }
}

TEST_F(LinuxBrowserLocatorTest, OtherDefaultFallsBackToTheInstalledBrowsers)
{
    answerDefaultBrowser("epiphany.desktop");
    installExecutable(QStringLiteral("firefox"));
    EXPECT_EQ(BrowserManager::defaultBrowser(*locator), Browser::firefox);
    installExecutable(QStringLiteral("google-chrome"));
    EXPECT_EQ(BrowserManager::defaultBrowser(*locator), Browser::chrome);
}

TEST_F(LinuxBrowserLocatorTest, NoDefaultSetResolvesToChrome)
{
    answerDefaultBrowser("");
    installExecutable(QStringLiteral("firefox"));
    EXPECT_EQ(locator->defaultBrowserIdentifier(), std::nullopt);
    EXPECT_EQ(BrowserManager::defaultBrowser(*locator), Browser::chrome);
}

TEST_F(LinuxBrowserLocatorTest, WithoutXdgSettingsTheInstalledBrowsersDecide)
{
    installExecutable(QStringLiteral("microsoft-edge"));
    EXPECT_EQ(locator->defaultBrowserIdentifier(), QString());
    EXPECT_EQ(BrowserManager::defaultBrowser(*locator), Browser::edge);

    installExecutable(QStringLiteral("xdg-settings"), "#!/bin/sh\nexit 1\n");
    EXPECT_EQ(locator->defaultBrowserIdentifier(), QString());
    EXPECT_EQ(BrowserManager::defaultBrowser(*locator), Browser::edge);
}
