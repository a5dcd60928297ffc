#include "Managers/SettingsManager.h"

#include "fakes/FakeFolderAccess.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class SettingsManagerTest : public ::testing::Test
{
protected:
    std::unique_ptr<SettingsManager> makeManager()
    {
        return std::make_unique<SettingsManager>(
            std::make_unique<QSettings>(iniPath(), QSettings::IniFormat), access);
    }

    QString iniPath() const { return dir.filePath(QStringLiteral("wisp.conf")); }

    // A second store on the same file: what the next run of wisp would read.
    QSettings rawStore() const { return QSettings(iniPath(), QSettings::IniFormat); }

    QTemporaryDir dir;
    std::shared_ptr<FakeFolderAccess> access = std::make_shared<FakeFolderAccess>();
};

} // namespace

TEST_F(SettingsManagerTest, EmptyStoreReadsEveryDefault)
{
    auto settings = makeManager();
    EXPECT_EQ(settings->targetURL(), QStringLiteral("localhost:3000"));
    EXPECT_EQ(settings->customURL(), QString());
    EXPECT_FALSE(settings->isCustomURLActive());
    EXPECT_EQ(settings->behaviorMode(), BehaviorMode::findURLWindow);
    EXPECT_EQ(settings->preferredBrowser(), Browser::auto_);
    EXPECT_FALSE(settings->projectsFolderBookmark().has_value());
    EXPECT_EQ(settings->selectedProjectId(), QString());
    EXPECT_FALSE(settings->selectedProjectPath().has_value());
    EXPECT_FALSE(settings->projectCommands().has_value());
    EXPECT_FALSE(settings->projectPorts().has_value());
    EXPECT_EQ(settings->hotKeyCode(), 0u);
    EXPECT_EQ(settings->hotKeyModifiers(), 0u);
    EXPECT_FALSE(settings->appearanceDark().has_value());
    EXPECT_FALSE(settings->hasCompletedOnboarding());
    EXPECT_FALSE(settings->hasCustomURL());
    EXPECT_FALSE(settings->projectsFolderURL().has_value());
}

TEST_F(SettingsManagerTest, EveryPropertyRoundTripsThroughTheStore)
{
    {
        auto settings = makeManager();
        settings->setTargetURL(QStringLiteral("localhost:5173"));
        settings->setCustomURL(QStringLiteral("staging.example.com"));
        settings->setIsCustomURLActive(true);
        settings->setBehaviorMode(BehaviorMode::bringToFront);
        settings->setPreferredBrowser(Browser::firefox);
        settings->setProjectsFolderBookmark(QByteArray("\x00\x01bookmark", 10));
        settings->setSelectedProjectId(QStringLiteral("abc"));
        settings->setSelectedProjectPath(QStringLiteral("/home/me/projects/web"));
        settings->setProjectCommands(QByteArray(R"({"/p":"yarn dev"})"));
        settings->setProjectPorts(QByteArray(R"({"/p":4000})"));
        settings->setHotKeyCode(37);
        settings->setHotKeyModifiers(0x1800);
        settings->setAppearanceDark(false);
        settings->setHasCompletedOnboarding(true);
    }
    auto settings = makeManager();
    EXPECT_EQ(settings->targetURL(), QStringLiteral("localhost:5173"));
    EXPECT_EQ(settings->customURL(), QStringLiteral("staging.example.com"));
    EXPECT_TRUE(settings->isCustomURLActive());
    EXPECT_EQ(settings->behaviorMode(), BehaviorMode::bringToFront);
    EXPECT_EQ(settings->preferredBrowser(), Browser::firefox);
    EXPECT_EQ(settings->projectsFolderBookmark(), QByteArray("\x00\x01bookmark", 10));
    EXPECT_EQ(settings->selectedProjectId(), QStringLiteral("abc"));
    EXPECT_EQ(settings->selectedProjectPath(), QStringLiteral("/home/me/projects/web"));
    EXPECT_EQ(settings->projectCommands(), QByteArray(R"({"/p":"yarn dev"})"));
    EXPECT_EQ(settings->projectPorts(), QByteArray(R"({"/p":4000})"));
    EXPECT_EQ(settings->hotKeyCode(), 37u);
    EXPECT_EQ(settings->hotKeyModifiers(), 0x1800u);
    EXPECT_EQ(settings->appearanceDark(), std::optional<bool>(false));
    EXPECT_TRUE(settings->hasCompletedOnboarding());
}

TEST_F(SettingsManagerTest, StoredRawValuesUseTheExactKeys)
{
    auto settings = makeManager();
    settings->setBehaviorMode(BehaviorMode::alwaysNewWindow);
    settings->setPreferredBrowser(Browser::edge);
    settings->setIsCustomURLActive(true);
    settings->setHotKeyCode(122);
    QSettings raw = rawStore();
    EXPECT_EQ(raw.value(QStringLiteral("behaviorMode")).toString(), QStringLiteral("always_new"));
    EXPECT_EQ(raw.value(QStringLiteral("preferredBrowser")).toString(), QStringLiteral("edge"));
    EXPECT_EQ(raw.value(QStringLiteral("isCustomURLActive")).toString(), QStringLiteral("true"));
    EXPECT_EQ(raw.value(QStringLiteral("hotKeyCode")).toLongLong(), 122);
}

TEST_F(SettingsManagerTest, EveryWriteIsOnDiskAtOnceAndAnnounced)
{
    auto settings = makeManager();
    QSignalSpy spy(settings.get(), &SettingsManager::changed);
    settings->setCustomURL(QStringLiteral("example.org"));
    settings->setCustomURL(QStringLiteral("example.org"));
    settings->setSelectedProjectPath(std::nullopt);
    ASSERT_EQ(spy.count(), 3);
    EXPECT_EQ(spy.at(0).at(0).toString(), QStringLiteral("customURL"));
    EXPECT_EQ(spy.at(2).at(0).toString(), QStringLiteral("selectedProjectPath"));
    // Another reader of the file sees the value without the manager going away.
    EXPECT_EQ(rawStore().value(QStringLiteral("customURL")).toString(),
              QStringLiteral("example.org"));
}

TEST_F(SettingsManagerTest, ClearingAnOptionalRemovesItsKey)
{
    auto settings = makeManager();
    settings->setSelectedProjectPath(QStringLiteral("/a"));
    settings->setAppearanceDark(true);
    settings->setSelectedProjectPath(std::nullopt);
    settings->setAppearanceDark(std::nullopt);
    EXPECT_FALSE(rawStore().contains(QStringLiteral("selectedProjectPath")));
    EXPECT_FALSE(rawStore().contains(QStringLiteral("appearanceDark")));
    EXPECT_FALSE(settings->appearanceDark().has_value());
}

TEST_F(SettingsManagerTest, AbsentAppearanceIsDistinctFromFalse)
{
    auto settings = makeManager();
    EXPECT_EQ(settings->appearanceDark(), std::nullopt);
    settings->setAppearanceDark(false);
    EXPECT_EQ(settings->appearanceDark(), std::optional<bool>(false));
}

TEST_F(SettingsManagerTest, SingleWordPaddedWithBlanksIsNoCustomURL)
{
    auto settings = makeManager();
    settings->setCustomURL(QStringLiteral("   staging  \n"));
    EXPECT_FALSE(settings->hasCustomURL());
}

TEST_F(SettingsManagerTest, SchemePrefixIsTestedAfterTrimming)
{
    auto settings = makeManager();
    settings->setCustomURL(QStringLiteral("  http://staging \t\n"));
    EXPECT_TRUE(settings->hasCustomURL());
    settings->setCustomURL(QStringLiteral("\nhttps://staging  "));
    EXPECT_TRUE(settings->hasCustomURL());
}

TEST_F(SettingsManagerTest, AnyTextWithADotIsACustomURL)
{
    auto settings = makeManager();
    for (const char* text : {"staging.example.com", "a.b", " x.y ", "..."}) {
        settings->setCustomURL(QString::fromLatin1(text));
        EXPECT_TRUE(settings->hasCustomURL()) << text;
    }
}

TEST_F(SettingsManagerTest, HasCustomURLTruthTable)
{
    auto settings = makeManager();
    const std::pair<const char*, bool> rows[] = {
        {"", false},
        {"   ", false},
        {"\n\t", false},
        {"localhost", false},
        {"localhost:3000", false},
        {"http://", true},
        {"https://", true},
        {"HTTP://staging", false},
        {"ftp://staging", false},
        {"http:/staging", false},
        {"staging.local", true},
        {"http://staging", true},
    };
    for (const auto& [text, expected] : rows) {
        settings->setCustomURL(QString::fromLatin1(text));
        EXPECT_EQ(settings->hasCustomURL(), expected) << '"' << text << '"';
    }
}

TEST_F(SettingsManagerTest, BehaviorModeRawValuesMatchExactly)
{
    auto settings = makeManager();
    settings->store().setValue(QStringLiteral("behaviorMode"), QStringLiteral("bring_to_front"));
    EXPECT_EQ(settings->behaviorMode(), BehaviorMode::bringToFront);
    settings->store().setValue(QStringLiteral("behaviorMode"), QStringLiteral("BRING_TO_FRONT"));
    EXPECT_EQ(settings->behaviorMode(), BehaviorMode::findURLWindow);
    settings->store().setValue(QStringLiteral("behaviorMode"), QStringLiteral("teleport"));
    EXPECT_EQ(settings->behaviorMode(), BehaviorMode::findURLWindow);
    settings->store().setValue(QStringLiteral("behaviorMode"), QStringLiteral("always_new"));
    EXPECT_EQ(settings->behaviorMode(), BehaviorMode::alwaysNewWindow);
}

TEST_F(SettingsManagerTest, UnknownBrowserReadsAsAuto)
{
    auto settings = makeManager();
    settings->store().setValue(QStringLiteral("preferredBrowser"), QStringLiteral("safari"));
    EXPECT_EQ(settings->preferredBrowser(), Browser::auto_);
    settings->store().setValue(QStringLiteral("preferredBrowser"), QStringLiteral("Chrome"));
    EXPECT_EQ(settings->preferredBrowser(), Browser::auto_);
    settings->store().setValue(QStringLiteral("preferredBrowser"), QStringLiteral("chrome"));
    EXPECT_EQ(settings->preferredBrowser(), Browser::chrome);
}

TEST_F(SettingsManagerTest, StrangeValuesInAHandEditedFileReadAsDefaults)
{
    QFile file(iniPath());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[General]\nhotKeyCode=abc\nhasCompletedOnboarding=maybe\nisCustomURLActive=1\n"
               "hotKeyModifiers=\n");
    file.close();
    auto settings = makeManager();
    EXPECT_EQ(settings->hotKeyCode(), 0u);
    EXPECT_EQ(settings->hotKeyModifiers(), 0u);
    EXPECT_FALSE(settings->hasCompletedOnboarding());
    EXPECT_TRUE(settings->isCustomURLActive());
}

TEST_F(SettingsManagerTest, HandEditedNumbersNoIntegerHoldsReadAsZero)
{
    // "nan" and 2^63 passed the range check and were converted, which is undefined (and read
    // as a value outside 32 bits, which stops wisp).
    QFile file(iniPath());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[General]\nhotKeyCode=nan\nhotKeyModifiers=9223372036854775808.0\n");
    file.close();
    auto settings = makeManager();
    EXPECT_EQ(settings->hotKeyCodeInt(), 0);
    EXPECT_EQ(settings->hotKeyModifiersInt(), 0);
    EXPECT_EQ(settings->hotKeyCode(), 0u);
    EXPECT_EQ(settings->hotKeyModifiers(), 0u);
}

TEST_F(SettingsManagerTest, BehaviorModeListsItsCasesWithDisplayNames)
{
    const QList<BehaviorMode> cases = BehaviorMode::allCases();
    ASSERT_EQ(cases.size(), 3);
    EXPECT_EQ(cases.at(0).rawValue(), QStringLiteral("always_new"));
    EXPECT_EQ(cases.at(0).displayName(), QStringLiteral("New window"));
    EXPECT_EQ(cases.at(1).rawValue(), QStringLiteral("bring_to_front"));
    EXPECT_EQ(cases.at(1).displayName(), QStringLiteral("Bring to front"));
    EXPECT_EQ(cases.at(2).rawValue(), QStringLiteral("find_url"));
    EXPECT_EQ(cases.at(2).displayName(), QStringLiteral("Find existing"));
}

using SettingsManagerDeathTest = SettingsManagerTest;

TEST_F(SettingsManagerDeathTest, OutOfRangeHotKeyCodeIsFatal)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto settings = makeManager();
    settings->store().setValue(QStringLiteral("hotKeyCode"), 4294967296LL);
    EXPECT_EQ(settings->hotKeyCodeInt(), 4294967296LL);
    EXPECT_DEATH(settings->hotKeyCode(), "hotKeyCode");
    settings->store().setValue(QStringLiteral("hotKeyCode"), -1);
    EXPECT_DEATH(settings->hotKeyCode(), "outside 0 ... 4294967295");
}

TEST_F(SettingsManagerDeathTest, OutOfRangeHotKeyModifiersIsFatal)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto settings = makeManager();
    settings->store().setValue(QStringLiteral("hotKeyModifiers"), -4096);
    EXPECT_DEATH(settings->hotKeyModifiers(), "hotKeyModifiers");
}

TEST_F(SettingsManagerTest, LargestUnsignedValueIsAccepted)
{
    auto settings = makeManager();
    settings->setHotKeyModifiers(4294967295u);
    EXPECT_EQ(settings->hotKeyModifiers(), 4294967295u);
}

// --- the projects folder ---

TEST_F(SettingsManagerTest, FreshBookmarkResolvesWithoutRewriting)
{
    const QUrl folder = QUrl::fromLocalFile(QStringLiteral("/home/me/projects"));
    access->resolution = FolderAccess::ResolvedBookmark{folder, false};
    auto settings = makeManager();
    settings->setProjectsFolderBookmark(QByteArray("old"));
    QSignalSpy spy(settings.get(), &SettingsManager::changed);

    EXPECT_EQ(settings->projectsFolderURL(), folder);
    EXPECT_EQ(access->resolvedData, QList<QByteArray>{QByteArray("old")});
    EXPECT_TRUE(access->startedURLs.isEmpty());
    EXPECT_TRUE(access->bookmarkedURLs.isEmpty());
    EXPECT_EQ(spy.count(), 0);
    EXPECT_EQ(settings->projectsFolderBookmark(), QByteArray("old"));
}

TEST_F(SettingsManagerTest, StaleBookmarkIsRewrittenOnceAndTheSameURLReturned)
{
    const QUrl folder = QUrl::fromLocalFile(QStringLiteral("/home/me/projects"));
    access->resolution = FolderAccess::ResolvedBookmark{folder, true};
    access->createdBookmark = QByteArray("renewed");
    auto settings = makeManager();
    settings->setProjectsFolderBookmark(QByteArray("old"));

    EXPECT_EQ(settings->projectsFolderURL(), folder);
    EXPECT_EQ(settings->projectsFolderBookmark(), QByteArray("renewed"));
    EXPECT_EQ(access->bookmarkedURLs, QList<QUrl>{folder});
    EXPECT_EQ(access->startedURLs, QList<QUrl>{folder});
    EXPECT_EQ(access->stoppedURLs, QList<QUrl>{folder});
}

TEST_F(SettingsManagerTest, StaleBookmarkWithRefusedAccessIsReturnedUnrefreshed)
{
    const QUrl folder = QUrl::fromLocalFile(QStringLiteral("/home/me/projects"));
    access->resolution = FolderAccess::ResolvedBookmark{folder, true};
    access->grantAccess = false;
    auto settings = makeManager();
    settings->setProjectsFolderBookmark(QByteArray("old"));

    EXPECT_EQ(settings->projectsFolderURL(), folder);
    EXPECT_EQ(settings->projectsFolderBookmark(), QByteArray("old"));
    EXPECT_TRUE(access->bookmarkedURLs.isEmpty());
    EXPECT_TRUE(access->stoppedURLs.isEmpty());
}

TEST_F(SettingsManagerTest, FailedStaleRefreshClearsTheBookmark)
{
    const QUrl folder = QUrl::fromLocalFile(QStringLiteral("/home/me/projects"));
    access->resolution = FolderAccess::ResolvedBookmark{folder, true};
    access->createdBookmark = std::nullopt;
    auto settings = makeManager();
    settings->setProjectsFolderBookmark(QByteArray("old"));

    EXPECT_EQ(settings->projectsFolderURL(), folder);
    EXPECT_FALSE(settings->projectsFolderBookmark().has_value());
    EXPECT_FALSE(rawStore().contains(QStringLiteral("projectsFolderBookmark")));
    EXPECT_EQ(access->stoppedURLs, QList<QUrl>{folder});
}

TEST_F(SettingsManagerTest, UnresolvableBookmarkReadsAsNoFolderAndIsKept)
{
    access->resolution = std::nullopt;
    auto settings = makeManager();
    settings->setProjectsFolderBookmark(QByteArray("garbage"));
    EXPECT_FALSE(settings->projectsFolderURL().has_value());
    EXPECT_EQ(settings->projectsFolderBookmark(), QByteArray("garbage"));
}

TEST_F(SettingsManagerTest, SetProjectsFolderStoresABookmarkInsideAccess)
{
    const QUrl folder = QUrl::fromLocalFile(QStringLiteral("/home/me/projects"));
    access->createdBookmark = QByteArray("new-bookmark");
    auto settings = makeManager();
    settings->setProjectsFolder(folder);
    EXPECT_EQ(settings->projectsFolderBookmark(), QByteArray("new-bookmark"));
    EXPECT_EQ(access->startedURLs, QList<QUrl>{folder});
    EXPECT_EQ(access->stoppedURLs, QList<QUrl>{folder});
}

// --- the fallback to a plain bookmark when the security-scoped kind fails ---

using Kind = FolderAccess::BookmarkKind;

TEST_F(SettingsManagerTest, RefusedSecurityScopeStoresAPlainBookmarkSilently)
{
    const QUrl folder = QUrl::fromLocalFile(QStringLiteral("/home/me/projects"));
    access->refuseSecurityScope = true;
    access->createdBookmark = QByteArray("plain-bookmark");
    auto settings = makeManager();
    settings->setProjectsFolderBookmark(QByteArray("old"));

    LogCapture log;
    settings->setProjectsFolder(folder);
    EXPECT_EQ(settings->projectsFolderBookmark(), QByteArray("plain-bookmark"));
    EXPECT_EQ(rawStore().value(QStringLiteral("projectsFolderBookmark")).toByteArray(),
              QByteArray("plain-bookmark"));
    EXPECT_EQ(access->bookmarkedKinds, (QList<Kind>{Kind::securityScoped, Kind::plain}));
    EXPECT_EQ(access->bookmarkedURLs, (QList<QUrl>{folder, folder}));
    EXPECT_TRUE(log.printed().isEmpty());
    EXPECT_EQ(access->stoppedURLs, QList<QUrl>{folder});
}

TEST_F(SettingsManagerTest, GrantedSecurityScopeMakesNoPlainBookmark)
{
    const QUrl folder = QUrl::fromLocalFile(QStringLiteral("/home/me/projects"));
    access->createdBookmark = QByteArray("scoped-bookmark");
    auto settings = makeManager();
    settings->setProjectsFolder(folder);
    EXPECT_EQ(settings->projectsFolderBookmark(), QByteArray("scoped-bookmark"));
    EXPECT_EQ(access->bookmarkedKinds, QList<Kind>{Kind::securityScoped});
}

TEST_F(SettingsManagerTest, WhenBothKindsFailThePlainAttemptsErrorIsPrinted)
{
    const QUrl folder = QUrl::fromLocalFile(QStringLiteral("/home/me/projects"));
    access->refuseSecurityScope = true;
    access->createdBookmark = std::nullopt;
    access->creationError = QStringLiteral("The volume is gone.");
    auto settings = makeManager();
    settings->setProjectsFolderBookmark(QByteArray("old"));

    LogCapture log;
    settings->setProjectsFolder(folder);
    EXPECT_EQ(log.printed(),
              QStringList{QStringLiteral("Failed to create bookmark: The volume is gone.")});
    EXPECT_EQ(settings->projectsFolderBookmark(), QByteArray("old"));
    EXPECT_EQ(access->bookmarkedKinds, (QList<Kind>{Kind::securityScoped, Kind::plain}));
}

TEST_F(SettingsManagerTest, APlainBookmarkResolvesWhenTheScopedResolutionFails)
{
    const QUrl folder = QUrl::fromLocalFile(QStringLiteral("/home/me/projects"));
    access->refuseSecurityScope = true;
    access->resolution = FolderAccess::ResolvedBookmark{folder, false};
    auto settings = makeManager();
    settings->setProjectsFolderBookmark(QByteArray("plain-bookmark"));

    EXPECT_EQ(settings->projectsFolderURL(), folder);
    EXPECT_EQ(access->resolvedKinds, (QList<Kind>{Kind::securityScoped, Kind::plain}));
    EXPECT_EQ(access->resolvedData,
              (QList<QByteArray>{QByteArray("plain-bookmark"), QByteArray("plain-bookmark")}));
    EXPECT_TRUE(access->bookmarkedURLs.isEmpty());
    EXPECT_EQ(settings->projectsFolderBookmark(), QByteArray("plain-bookmark"));
}

TEST_F(SettingsManagerTest, AStalePlainBookmarkIsRenewedAsAPlainOne)
{
    const QUrl folder = QUrl::fromLocalFile(QStringLiteral("/home/me/projects"));
    access->refuseSecurityScope = true;
    access->resolution = FolderAccess::ResolvedBookmark{folder, true};
    access->createdBookmark = QByteArray("renewed-plain");
    auto settings = makeManager();
    settings->setProjectsFolderBookmark(QByteArray("old"));

    EXPECT_EQ(settings->projectsFolderURL(), folder);
    EXPECT_EQ(settings->projectsFolderBookmark(), QByteArray("renewed-plain"));
    EXPECT_EQ(access->bookmarkedKinds, (QList<Kind>{Kind::securityScoped, Kind::plain}));
    EXPECT_EQ(access->startedURLs, QList<QUrl>{folder});
    EXPECT_EQ(access->stoppedURLs, QList<QUrl>{folder});
}

// The adapter's interface itself: the kind a bookmark resolved as is reported, so that only a
// scoped folder has its scope started.
TEST(FolderAccessFallback, ResolutionReportsWhetherTheBookmarkHasAScope)
{
    const QUrl folder = QUrl::fromLocalFile(QStringLiteral("/home/me/projects"));
    FakeFolderAccess fake;
    FolderAccess& access = fake;
    fake.resolution = FolderAccess::ResolvedBookmark{folder, false};

    const auto scoped = access.resolveBookmark(QByteArray("data"));
    ASSERT_TRUE(scoped.has_value());
    EXPECT_TRUE(scoped->isSecurityScoped);
    EXPECT_EQ(scoped->url, folder);

    fake.refuseSecurityScope = true;
    const auto plain = access.resolveBookmark(QByteArray("data"));
    ASSERT_TRUE(plain.has_value());
    EXPECT_FALSE(plain->isSecurityScoped);
    EXPECT_EQ(plain->url, folder);

    fake.resolution = std::nullopt;
    EXPECT_FALSE(access.resolveBookmark(QByteArray("data")).has_value());
}

TEST(FolderAccessFallback, CreationFallsBackToPlainAndReportsThePlainError)
{
    const QUrl folder = QUrl::fromLocalFile(QStringLiteral("/home/me/projects"));
    FakeFolderAccess fake;
    FolderAccess& access = fake;
    fake.refuseSecurityScope = true;
    fake.createdBookmark = QByteArray("plain");

    QString error;
    EXPECT_EQ(access.createBookmark(folder, &error), QByteArray("plain"));
    EXPECT_TRUE(error.isEmpty());

    fake.createdBookmark = std::nullopt;
    fake.creationError = QStringLiteral("No such folder");
    EXPECT_FALSE(access.createBookmark(folder, &error).has_value());
    EXPECT_EQ(error, QStringLiteral("No such folder"));
}

TEST_F(SettingsManagerTest, FailedBookmarkCreationPrintsOneLineAndKeepsTheOldValue)
{
    const QUrl folder = QUrl::fromLocalFile(QStringLiteral("/home/me/projects"));
    access->createdBookmark = std::nullopt;
    access->creationError = QStringLiteral("The folder “projects” doesn’t exist.");
    auto settings = makeManager();
    settings->setProjectsFolderBookmark(QByteArray("old"));

    LogCapture log;
    settings->setProjectsFolder(folder);
    EXPECT_EQ(log.printed(),
              QStringList{QStringLiteral("Failed to create bookmark: The folder “projects” "
                                         "doesn’t exist.")});
    EXPECT_EQ(settings->projectsFolderBookmark(), QByteArray("old"));
    EXPECT_EQ(access->stoppedURLs, QList<QUrl>{folder});
}
