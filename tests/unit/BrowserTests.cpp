#include "Managers/BrowserManager.h"
#include "Models/Browser.h"

#include "fakes/FakeBrowserBackend.h"
#include "fakes/FakeBrowserLocator.h"
#include "support/QtPrinters.h"

#include <gtest/gtest.h>

namespace {

const QString chromeId = QStringLiteral("com.google.Chrome");
const QString firefoxId = QStringLiteral("org.mozilla.firefox");
const QString edgeId = QStringLiteral("com.microsoft.edgemac");
// The platform's own browser: none of the catalogue's.
const QString safariId = QStringLiteral("com.apple.Safari");

} // namespace

TEST(BrowserTest, CasesInDeclarationOrderWithTheirRawValues)
{
    const QList<Browser> all = Browser::allCases();
    ASSERT_EQ(all.size(), 4);
    EXPECT_EQ(all[0], Browser::auto_);
    EXPECT_EQ(all[1], Browser::chrome);
    EXPECT_EQ(all[2], Browser::firefox);
    EXPECT_EQ(all[3], Browser::edge);
    EXPECT_EQ(Browser(Browser::auto_).rawValue(), QStringLiteral("auto"));
    EXPECT_EQ(Browser(Browser::chrome).rawValue(), QStringLiteral("chrome"));
    EXPECT_EQ(Browser(Browser::firefox).rawValue(), QStringLiteral("firefox"));
    EXPECT_EQ(Browser(Browser::edge).rawValue(), QStringLiteral("edge"));
    EXPECT_LT(Browser(Browser::auto_), Browser(Browser::chrome));
    EXPECT_LT(Browser(Browser::firefox), Browser(Browser::edge));
}

TEST(BrowserTest, RawValuesRoundTripExactly)
{
    for (const Browser browser : Browser::allCases()) {
        EXPECT_EQ(Browser::fromRawValue(browser.rawValue()), browser);
    }
    EXPECT_FALSE(Browser::fromRawValue(QStringLiteral("Chrome")).has_value());
    EXPECT_FALSE(Browser::fromRawValue(QStringLiteral("safari")).has_value());
    EXPECT_FALSE(Browser::fromRawValue(QString()).has_value());
}

TEST(BrowserTest, MessageNamesApplicationNamesAndBundleIdentifiers)
{
    EXPECT_EQ(Browser(Browser::auto_).displayName(), QStringLiteral("Auto"));
    EXPECT_EQ(Browser(Browser::chrome).displayName(), QStringLiteral("Chrome"));
    EXPECT_EQ(Browser(Browser::firefox).displayName(), QStringLiteral("Firefox"));
    EXPECT_EQ(Browser(Browser::edge).displayName(), QStringLiteral("Edge"));

    EXPECT_EQ(Browser(Browser::auto_).appName(), QString());
    EXPECT_EQ(Browser(Browser::chrome).appName(), QStringLiteral("Google Chrome"));
    EXPECT_EQ(Browser(Browser::firefox).appName(), QStringLiteral("Firefox"));
    EXPECT_EQ(Browser(Browser::edge).appName(), QStringLiteral("Microsoft Edge"));

    EXPECT_EQ(Browser(Browser::auto_).bundleIdentifier(), QString());
    EXPECT_EQ(Browser(Browser::chrome).bundleIdentifier(), chromeId);
    EXPECT_EQ(Browser(Browser::firefox).bundleIdentifier(), firefoxId);
    EXPECT_EQ(Browser(Browser::edge).bundleIdentifier(), edgeId);
}

TEST(BrowserTest, AutoIsAlwaysInstalledOthersWhenTheLocatorFindsThem)
{
    SharedFakeBrowserLocator locator;
    EXPECT_TRUE(BrowserManager::isInstalled(Browser::auto_));
    EXPECT_FALSE(BrowserManager::isInstalled(Browser::chrome));
    EXPECT_FALSE(BrowserManager::isInstalled(Browser::firefox));
    EXPECT_FALSE(BrowserManager::isInstalled(Browser::edge));

    locator->installed = {Browser::firefox};
    EXPECT_FALSE(BrowserManager::isInstalled(Browser::chrome));
    EXPECT_TRUE(BrowserManager::isInstalled(Browser::firefox));

    // Computed on each read.
    locator->installed = {Browser::chrome, Browser::edge};
    EXPECT_TRUE(BrowserManager::isInstalled(Browser::chrome));
    EXPECT_FALSE(BrowserManager::isInstalled(Browser::firefox));
    EXPECT_TRUE(BrowserManager::isInstalled(Browser::edge));
}

// --- the default browser ---

TEST(DefaultBrowserTest, SystemDefaultOfOursIsTakenAsItIs)
{
    FakeBrowserLocator locator;
    locator.installed = {Browser::chrome, Browser::firefox, Browser::edge};
    locator.defaultIdentifier = chromeId;
    EXPECT_EQ(BrowserManager::defaultBrowser(locator), Browser::chrome);
    locator.defaultIdentifier = firefoxId;
    EXPECT_EQ(BrowserManager::defaultBrowser(locator), Browser::firefox);
    locator.defaultIdentifier = edgeId;
    EXPECT_EQ(BrowserManager::defaultBrowser(locator), Browser::edge);
}

TEST(DefaultBrowserTest, SystemDefaultWinsEvenWhenNotFoundInstalled)
{
    FakeBrowserLocator locator;
    locator.defaultIdentifier = edgeId;
    EXPECT_EQ(BrowserManager::defaultBrowser(locator), Browser::edge);
}

TEST(DefaultBrowserTest, PlatformsOwnBrowserResolvesToChromeWhenChromeIsInstalled)
{
    FakeBrowserLocator locator;
    locator.defaultIdentifier = safariId;
    locator.installed = {Browser::chrome, Browser::firefox, Browser::edge};
    EXPECT_EQ(BrowserManager::defaultBrowser(locator), Browser::chrome);
    locator.installed = {Browser::chrome};
    EXPECT_EQ(BrowserManager::defaultBrowser(locator), Browser::chrome);
}

TEST(DefaultBrowserTest, PlatformsOwnBrowserResolvesToFirefoxWhenOnlyFirefoxIsInstalled)
{
    FakeBrowserLocator locator;
    locator.defaultIdentifier = safariId;
    locator.installed = {Browser::firefox};
    EXPECT_EQ(BrowserManager::defaultBrowser(locator), Browser::firefox);
    locator.installed = {Browser::firefox, Browser::edge};
    EXPECT_EQ(BrowserManager::defaultBrowser(locator), Browser::firefox);
}

TEST(DefaultBrowserTest, OnlyEdgeInstalledResolvesToEdge)
{
    FakeBrowserLocator locator;
    locator.defaultIdentifier = safariId;
    locator.installed = {Browser::edge};
    EXPECT_EQ(BrowserManager::defaultBrowser(locator), Browser::edge);
}

TEST(DefaultBrowserTest, NoneInstalledResolvesToChrome)
{
    FakeBrowserLocator locator;
    locator.defaultIdentifier = safariId;
    EXPECT_EQ(BrowserManager::defaultBrowser(locator), Browser::chrome);
}

TEST(DefaultBrowserTest, NoApplicationForHttpResolvesToChrome)
{
    FakeBrowserLocator locator;
    locator.defaultIdentifier = std::nullopt;
    locator.installed = {Browser::firefox};
    EXPECT_EQ(BrowserManager::defaultBrowser(locator), Browser::chrome);
}

TEST(DefaultBrowserTest, ApplicationWithoutIdentifierFallsBackByInstallation)
{
    FakeBrowserLocator locator;
    locator.defaultIdentifier = QString();
    locator.installed = {Browser::edge};
    EXPECT_EQ(BrowserManager::defaultBrowser(locator), Browser::edge);
}

TEST(DefaultBrowserTest, IdentifiersCompareExactlyAndCaseSensitively)
{
    FakeBrowserLocator locator;
    locator.installed = {Browser::edge};
    locator.defaultIdentifier = QStringLiteral("com.google.chrome");
    EXPECT_EQ(BrowserManager::defaultBrowser(locator), Browser::edge);
    locator.defaultIdentifier = QStringLiteral("org.mozilla.firefox.beta");
    EXPECT_EQ(BrowserManager::defaultBrowser(locator), Browser::edge);
}

TEST(DefaultBrowserTest, GetDefaultBrowserAsksTheSharedLocatorAnewEachTime)
{
    SharedFakeBrowserLocator locator;
    BrowserManager manager(std::make_shared<FakeBrowserBackend>());
    locator->defaultIdentifier = firefoxId;
    EXPECT_EQ(manager.getDefaultBrowser(), Browser::firefox);
    locator->defaultIdentifier = edgeId;
    EXPECT_EQ(manager.getDefaultBrowser(), Browser::edge);
    EXPECT_EQ(locator->defaultQueries, 2);
}

TEST(DefaultBrowserTest, NeverReturnsAuto)
{
    FakeBrowserLocator locator;
    for (const std::optional<QString>& identifier :
         {std::optional<QString>(), std::optional<QString>(QString()),
          std::optional<QString>(safariId), std::optional<QString>(QStringLiteral("auto"))}) {
        locator.defaultIdentifier = identifier;
        EXPECT_NE(BrowserManager::defaultBrowser(locator), Browser::auto_);
    }
}
