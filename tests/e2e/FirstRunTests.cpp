#include "AccessibleSteps.h"
#include "AccessibleWispTest.h"
#include "LocalServers.h"

#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

// A new user's first run of the real wisp executable on the private Xvfb display with the
// trayer tray: fresh settings, the onboarding window walked through with real clicks and key
// presses (xdotool), the real folder dialog, a recorded shortcut, then the shortcut and the
// settings popover at work. Widgets are found through the accessibility tree (at-spi2 on a
// private D-Bus session); every action on them is real input. Screenshots of each step are kept
// in the build's test-output/e2e-onboarding folder.
using namespace std::chrono_literals;
using namespace Desktop;
using AccessibleSteps::clickOn;
using TestSupport::waitUntil;

namespace {

const QString pushButton = QStringLiteral("push button");

QString outputFolder()
{
    return QDir::cleanPath(QStringLiteral(WISP_BIN_DIR "/../test-output/e2e-onboarding"));
}

bool isLabelled(const AccessibleNode& node, const QString& text)
{
    return node.isShowing() && (node.name == text || node.text == text);
}

// Nodes in the order a reader would meet them.
void flatten(const AccessibleNode& node, QList<AccessibleNode>& into)
{
    into.append(node);
    for (const AccessibleNode& child : node.children) {
        flatten(child, into);
    }
}

class FirstRunTest : public AccessibleWispTest
{
protected:
    void SetUp() override
    {
        AccessibleWispTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }

        apiPort = TestSupport::freePort();
        for (int attempt = 0; attempt < 10 && (webPort <= 0 || webPort == apiPort); ++attempt) {
            webPort = TestSupport::freePort();
        }
        ASSERT_GT(apiPort, 0);
        ASSERT_GT(webPort, 0);
        ASSERT_NE(apiPort, webPort);
        makeProject(projects.path(), QStringLiteral("api"), apiPort);
        makeProject(projects.path(), QStringLiteral("web"), webPort);
        // The folder chosen later in the settings: api again, first in name order, and two more.
        makeProject(moreProjects.path(), QStringLiteral("api"), apiPort);
        makeProject(moreProjects.path(), QStringLiteral("blog"), webPort);
        makeProject(moreProjects.path(), QStringLiteral("shop"), webPort);

        QDir(outputFolder()).removeRecursively();
        ASSERT_TRUE(QDir().mkpath(outputFolder())) << outputFolder().toStdString();
    }

    // A Node project whose "dev" script would serve on `port`; nothing starts it here.
    void makeProject(const QString& root, const QString& name, int port)
    {
        LocalServers::writeNodeProject(root, name, port,
                                       "require('http').createServer((q, r) => r.end('ok\\n'))"
                                       ".listen(Number(process.argv[3]), '127.0.0.1');\n");
    }

    QProcessEnvironment environment() const override
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config.path());
        // The instance socket and the server output live here, apart from any other wisp.
        environment.insert(QStringLiteral("TMPDIR"), temporary.path());
        bus.addTo(environment);
        WispProcess::skipLeakCheck(environment);
        return environment;
    }

    // What the searches below look at: wisp's windows, or the popup it showed last.
    enum class Where { windows, popup };

    // wisp's accessibility tree as it is now; empty before wisp is on the bus.
    std::optional<AccessibleNode> tree()
    {
        return searchIn == Where::popup ? a11y.popup(&lastTreeError) : a11y.tree(&lastTreeError);
    }

    // Waits until `search` finds something in the tree; on time-out the failure shows the tree.
    std::optional<AccessibleNode>
    waitForSearch(const std::function<std::optional<AccessibleNode>(const AccessibleNode&)>& search,
                  const std::string& what, std::chrono::milliseconds timeout = 90s)
    {
        return AccessibleSteps::waitForSearch(
            [&](QString* error) {
                return searchIn == Where::popup ? a11y.popup(error) : a11y.tree(error);
            },
            search, what, timeout);
    }

    std::optional<AccessibleNode>
    waitForNode(const std::function<bool(const AccessibleNode&)>& matches, const std::string& what)
    {
        return waitForSearch([&](const AccessibleNode& root) { return root.find(matches); }, what);
    }

    std::optional<AccessibleNode> waitForLabel(const QString& text)
    {
        return waitForNode([&](const AccessibleNode& node) { return isLabelled(node, text); },
                           "the text \"" + text.toStdString() + "\"");
    }

    std::optional<AccessibleNode> waitForButton(const QString& name, bool enabled = true)
    {
        return waitForNode(
            [&](const AccessibleNode& node) {
                return node.role == pushButton && node.name == name && node.isShowing() &&
                       node.isEnabled() == enabled;
            },
            (enabled ? "the enabled button \"" : "the disabled button \"") + name.toStdString() +
                "\"");
    }

    std::optional<AccessibleNode> waitForRole(const QString& role, const QString& name)
    {
        return waitForNode(
            [&](const AccessibleNode& node) {
                return node.role == role && node.name == name && node.isShowing();
            },
            "the " + role.toStdString() + " \"" + name.toStdString() + "\"");
    }

    // The first node after the one labelled `label` (in reading order) that matches.
    std::optional<AccessibleNode>
    waitForNodeAfter(const QString& label,
                     const std::function<bool(const AccessibleNode&)>& matches,
                     const std::string& what)
    {
        return waitForSearch(
            [&](const AccessibleNode& root) -> std::optional<AccessibleNode> {
                QList<AccessibleNode> nodes;
                flatten(root, nodes);
                bool afterLabel = false;
                for (const AccessibleNode& node : std::as_const(nodes)) {
                    if (!afterLabel) {
                        afterLabel = isLabelled(node, label);
                    } else if (matches(node)) {
                        return node;
                    }
                }
                return std::nullopt;
            },
            what + " after \"" + label.toStdString() + "\"");
    }

    bool waitUntilGone(const std::function<bool(const AccessibleNode&)>& matches,
                       std::chrono::milliseconds timeout = 60s)
    {
        return waitUntil(
            [&] {
                const std::optional<AccessibleNode> now = tree();
                return now && !now->find(matches);
            },
            timeout);
    }

    void screenshot(const QString& name) { AccessibleSteps::screenshot(outputFolder(), name); }

    // A value of $XDG_CONFIG_HOME/wisp/wisp.conf as it is on disk now.
    QVariant stored(const QString& key) const
    {
        QSettings settings(QDir(config.path()).filePath(QStringLiteral("wisp/wisp.conf")),
                           QSettings::IniFormat);
        return settings.value(key);
    }

    bool waitForStoredText(const QString& key, const QString& value,
                           std::chrono::milliseconds timeout = 30s) const
    {
        return waitUntil([&] { return stored(key).toString() == value; }, timeout);
    }

    // The real folder dialog: the path typed into its file name field, then Return.
    void chooseInFolderDialog(const QString& folder, const QString& screenshotName)
    {
        const Where before = searchIn;
        searchIn = Where::windows;
        const std::optional<AccessibleNode> dialog = waitForNode(
            [](const AccessibleNode& node) {
                return node.name == QStringLiteral("Select Projects Folder") && node.isShowing();
            },
            "the folder dialog");
        ASSERT_TRUE(dialog);
        const std::optional<AccessibleNode> fileName = dialog->find([](const AccessibleNode& node) {
            return node.role == QStringLiteral("text") && node.has(QStringLiteral("editable")) &&
                   node.isShowing() && node.name != QStringLiteral("Look in:");
        });
        ASSERT_TRUE(fileName) << dialog->outline().toStdString();
        EXPECT_TRUE(dialog->find(pushButton, QStringLiteral("Select")))
            << dialog->outline().toStdString();
        EXPECT_FALSE(dialog->find(pushButton, QStringLiteral("Create New Folder")))
            << dialog->outline().toStdString();
        clickOn(fileName);
        keys({QStringLiteral("ctrl+a")});
        type(folder);
        ASSERT_TRUE(waitForNode(
            [&](const AccessibleNode& node) {
                return node.role == QStringLiteral("text") && node.text == folder &&
                       node.isShowing();
            },
            "the typed path in the dialog"));
        screenshot(screenshotName);
        keys({QStringLiteral("Return")});
        ASSERT_TRUE(waitUntilGone([](const AccessibleNode& node) {
            return node.name == QStringLiteral("Select Projects Folder") && node.isShowing();
        })) << "the folder dialog stayed open";
        searchIn = before;
    }

    // Every step of the onboarding window, as a new user takes it.
    void walkThroughOnboarding()
    {
        // Welcome.
        ASSERT_TRUE(waitForLabel(QStringLiteral("Stop searching. Start finding.")));
        ASSERT_TRUE(waitForLabel(QStringLiteral("Wisp")));
        screenshot(QStringLiteral("1-welcome"));
        // Nothing is scanned or polled before onboarding is done, and nothing is stored.
        EXPECT_LT(wisp->indexStartingWith(QStringLiteral("🚀 [AppDelegate] Starting polling")), 0)
            << wisp->log().toStdString();
        EXPECT_FALSE(stored(QStringLiteral("hasCompletedOnboarding")).isValid());
        clickOn(waitForButton(QStringLiteral("Continue")));

        // Projects folder: "Continue" waits for a folder.
        ASSERT_TRUE(waitForLabel(QStringLiteral("Where are your projects?")));
        ASSERT_TRUE(waitForButton(QStringLiteral("Continue"), false));
        screenshot(QStringLiteral("2-projects-folder"));
        clickOn(waitForButton(QStringLiteral("Choose...")));

        ASSERT_NO_FATAL_FAILURE(
            chooseInFolderDialog(projects.path(), QStringLiteral("3-folder-dialog")));

        ASSERT_TRUE(waitForLabel(QStringLiteral("Found: 2 projects")));
        ASSERT_TRUE(waitForNode(
            [&](const AccessibleNode& node) {
                return node.role == QStringLiteral("text") && node.text == projects.path();
            },
            "the chosen folder in the path field"));
        screenshot(QStringLiteral("4-projects-found"));

        // "Back" stores nothing; the chosen folder is still there on the way forward again.
        clickOn(waitForButton(QStringLiteral("Back")));
        ASSERT_TRUE(waitForLabel(QStringLiteral("Stop searching. Start finding.")));
        EXPECT_FALSE(stored(QStringLiteral("projectsFolderBookmark")).isValid());
        clickOn(waitForButton(QStringLiteral("Continue")));
        ASSERT_TRUE(waitForLabel(QStringLiteral("Where are your projects?")));
        clickOn(waitForButton(QStringLiteral("Continue")));

        // The shortcut step writes the default shortcut when it appears.
        ASSERT_TRUE(waitForLabel(QStringLiteral("Quick access shortcut")));
        EXPECT_TRUE(waitForStoredText(QStringLiteral("hotKeyCode"), QStringLiteral("37")))
            << stored(QStringLiteral("hotKeyCode")).toString().toStdString();
        EXPECT_TRUE(waitForStoredText(QStringLiteral("hotKeyModifiers"), QStringLiteral("6144")));
        // Continue stored the folder (on Linux its path is the bookmark) before this step.
        EXPECT_EQ(stored(QStringLiteral("projectsFolderBookmark")).toByteArray(),
                  projects.path().toUtf8());
        screenshot(QStringLiteral("5-shortcut"));
        // The recorder says what it shows only on the screen: its accessible name is "Shortcut".
        clickOn(waitForButton(QStringLiteral("Shortcut")));
        ASSERT_TRUE(waitForNode(
            [](const AccessibleNode& node) {
                return node.role == pushButton && node.name == QStringLiteral("Shortcut") &&
                       node.has(QStringLiteral("focused"));
            },
            "the recorder with the keyboard focus"));
        // A plain key is no shortcut: recording goes on ("Press keys..." on the screenshot).
        keys({QStringLiteral("k")});
        screenshot(QStringLiteral("6-shortcut-recording"));
        keys({QStringLiteral("ctrl+alt+k")});
        EXPECT_TRUE(waitForStoredText(QStringLiteral("hotKeyCode"), QStringLiteral("40")))
            << stored(QStringLiteral("hotKeyCode")).toString().toStdString();
        EXPECT_TRUE(waitForStoredText(QStringLiteral("hotKeyModifiers"), QStringLiteral("6144")));
        screenshot(QStringLiteral("7-shortcut-recorded"));
        clickOn(waitForButton(QStringLiteral("Continue")));

        // Permissions; on Linux both are granted, so the rows show no "Grant →".
        ASSERT_TRUE(waitForLabel(QStringLiteral("Permissions needed")));
        ASSERT_TRUE(waitForLabel(QStringLiteral("Automation")));
        const std::optional<AccessibleNode> permissions = tree();
        ASSERT_TRUE(permissions) << lastTreeError.toStdString();
        QList<AccessibleNode> nodes;
        flatten(*permissions, nodes);
        const auto showing = [&](const QString& role, const QString& name) {
            return std::count_if(nodes.cbegin(), nodes.cend(), [&](const AccessibleNode& node) {
                return node.role == role && node.name == name && node.isShowing();
            });
        };
        EXPECT_EQ(showing(pushButton, QStringLiteral("Grant →")), 0)
            << permissions->outline().toStdString();
        EXPECT_EQ(showing(QStringLiteral("image"), QStringLiteral("Granted")), 2)
            << permissions->outline().toStdString();
        // Only the Accessibility row is optional.
        EXPECT_EQ(showing(QStringLiteral("label"), QStringLiteral("(optional)")), 1)
            << permissions->outline().toStdString();
        screenshot(QStringLiteral("8-permissions"));
        clickOn(waitForButton(QStringLiteral("Finish")));

        const QString complete =
            QStringLiteral("🚀 [AppDelegate] Onboarding complete - starting polling on port %1")
                .arg(apiPort);
        ASSERT_TRUE(wisp->waitForLine(complete, 60s)) << wisp->log().toStdString();
        EXPECT_TRUE(waitUntilGone([](const AccessibleNode& node) {
            return isLabelled(node, QStringLiteral("Permissions needed"));
        })) << "the onboarding window stayed open";
        EXPECT_EQ(stored(QStringLiteral("hasCompletedOnboarding")).toString(),
                  QStringLiteral("true"));
        EXPECT_EQ(stored(QStringLiteral("projectsFolderBookmark")).toByteArray(),
                  projects.path().toUtf8());
        EXPECT_EQ(stored(QStringLiteral("hotKeyCode")).toInt(), 40);
        EXPECT_EQ(stored(QStringLiteral("hotKeyModifiers")).toInt(), 6144);
    }

    // The shortcut runs the main action: nothing listens on api's port, so wisp asks whether to
    // start its server.
    void useShortcut(const QString& shortcut, const QString& screenshotName)
    {
        searchIn = Where::windows;
        keys({shortcut});
        ASSERT_TRUE(waitForLabel(QStringLiteral("Server is not running")));
        ASSERT_TRUE(
            waitForLabel(QStringLiteral("Would you like to start api on port %1?").arg(apiPort)));
        screenshot(screenshotName);
        clickOn(waitForButton(QStringLiteral("Cancel")));
        ASSERT_TRUE(waitUntilGone([](const AccessibleNode& node) {
            return isLabelled(node, QStringLiteral("Server is not running"));
        })) << "the alert stayed open";
    }

    void changeSettingsInPopover()
    {
        // The tray menu's "Settings..." item opens the popover.
        ASSERT_TRUE(clickTrayIcon(3)) << "wisp's tray icon never appeared in the tray";
        searchIn = Where::popup;
        const std::optional<AccessibleNode> settingsItem =
            waitForRole(QStringLiteral("menu item"), QStringLiteral("Settings..."));
        screenshot(QStringLiteral("10-tray-menu"));
        clickOn(settingsItem);
        // The popover is one of wisp's windows in the tree, as the onboarding window is.
        searchIn = Where::windows;
        ASSERT_TRUE(waitForLabel(QStringLiteral("Behavior")));
        EXPECT_TRUE(waitForLabel(QStringLiteral("2 found")));
        EXPECT_TRUE(waitForLabel(projects.path()));
        EXPECT_TRUE(waitForLabel(QStringLiteral(":%1").arg(apiPort)));
        screenshot(QStringLiteral("11-settings-popover"));

        clickOn(waitForRole(QStringLiteral("radio button"), QStringLiteral("New window")));
        EXPECT_TRUE(waitForStoredText(QStringLiteral("behaviorMode"), QStringLiteral("always_new")))
            << stored(QStringLiteral("behaviorMode")).toString().toStdString();

        clickOn(waitForRole(QStringLiteral("radio button"), QStringLiteral("Firefox")));
        EXPECT_TRUE(
            waitForStoredText(QStringLiteral("preferredBrowser"), QStringLiteral("firefox")))
            << stored(QStringLiteral("preferredBrowser")).toString().toStdString();

        const QString address = QStringLiteral("https://staging.example.test");
        clickOn(waitForNodeAfter(
            QStringLiteral("Custom URL"),
            [](const AccessibleNode& node) {
                return node.role == QStringLiteral("text") &&
                       node.has(QStringLiteral("editable")) && node.isShowing();
            },
            "the custom address field"));
        type(address);
        EXPECT_TRUE(waitForStoredText(QStringLiteral("customURL"), address))
            << stored(QStringLiteral("customURL")).toString().toStdString();

        // The popover stays open and shows what was chosen.
        EXPECT_TRUE(waitForNode(
            [](const AccessibleNode& node) {
                return node.role == QStringLiteral("radio button") &&
                       node.has(QStringLiteral("checked")) && node.isShowing() &&
                       node.name == QStringLiteral("New window");
            },
            "\"New window\" checked"));
        EXPECT_TRUE(waitForNode(
            [](const AccessibleNode& node) {
                return node.role == QStringLiteral("radio button") &&
                       node.has(QStringLiteral("checked")) && node.isShowing() &&
                       node.name == QStringLiteral("Firefox");
            },
            "\"Firefox\" checked"));
        EXPECT_TRUE(waitForNode(
            [&](const AccessibleNode& node) {
                return node.role == QStringLiteral("text") && node.text == address;
            },
            "the typed address"));
        screenshot(QStringLiteral("12-settings-changed"));

        // The current project's port, typed into its field: stored for the project's folder,
        // shown, and polled at once.
        const int chosenPort = apiPort == 45678 ? 45679 : 45678;
        clickOn(waitForRole(QStringLiteral("spin button"), QStringLiteral("Port")));
        keys({QStringLiteral("ctrl+a")});
        type(QString::number(chosenPort));
        keys({QStringLiteral("Return")});
        const QString apiFolder = QDir(projects.path()).filePath(QStringLiteral("api"));
        EXPECT_TRUE(waitForStoredText(QStringLiteral("projectPorts"),
                                      QStringLiteral("{\"%1\":%2}").arg(apiFolder).arg(chosenPort)))
            << stored(QStringLiteral("projectPorts")).toString().toStdString();
        EXPECT_TRUE(wisp->waitForLine(
            QStringLiteral("📦 [AppDelegate] Selected project changed: api (port %1)")
                .arg(chosenPort),
            30s))
            << wisp->log().toStdString();
        EXPECT_TRUE(waitForLabel(QStringLiteral(":%1").arg(chosenPort)));
        EXPECT_TRUE(waitForLabel(QStringLiteral("Set by you")));
        screenshot(QStringLiteral("12b-settings-port-changed"));

        // A shortcut recorded here is stored at once.
        clickOn(waitForButton(QStringLiteral("Ctrl+Alt+K")));
        ASSERT_TRUE(waitForButton(QStringLiteral("Press keys...")));
        keys({QStringLiteral("ctrl+alt+j")});
        ASSERT_TRUE(waitForButton(QStringLiteral("Ctrl+Alt+J")));
        EXPECT_TRUE(waitForStoredText(QStringLiteral("hotKeyCode"), QStringLiteral("38")));
        EXPECT_TRUE(waitForStoredText(QStringLiteral("hotKeyModifiers"), QStringLiteral("6144")));
        screenshot(QStringLiteral("13-settings-shortcut-recorded"));

        // "Browse..." opens the real folder dialog; the popover stays open and counts anew.
        clickOn(waitForButton(QStringLiteral("Browse...")));
        ASSERT_NO_FATAL_FAILURE(
            chooseInFolderDialog(moreProjects.path(), QStringLiteral("14-settings-folder-dialog")));
        EXPECT_TRUE(waitForLabel(QStringLiteral("3 found")));
        EXPECT_TRUE(waitForLabel(moreProjects.path()));
        EXPECT_EQ(stored(QStringLiteral("projectsFolderBookmark")).toByteArray(),
                  moreProjects.path().toUtf8());
        screenshot(QStringLiteral("15-settings-folder-chosen"));

        // A click elsewhere closes the popover.
        click(QPoint(100, 700));
        EXPECT_TRUE(waitUntilGone([](const AccessibleNode& node) {
            return isLabelled(node, QStringLiteral("Behavior"));
        })) << "the popover stayed open";
    }

    // Settings as onboarding leaves them: `projects` chosen, Ctrl+Alt+L stored.
    void storeCompletedOnboarding()
    {
        QSettings settings(QDir(config.path()).filePath(QStringLiteral("wisp/wisp.conf")),
                           QSettings::IniFormat);
        settings.setValue(QStringLiteral("hasCompletedOnboarding"), true);
        settings.setValue(QStringLiteral("projectsFolderBookmark"), projects.path().toUtf8());
        settings.setValue(QStringLiteral("hotKeyCode"), 37);
        settings.setValue(QStringLiteral("hotKeyModifiers"), 6144);
        settings.sync();
        ASSERT_EQ(settings.status(), QSettings::NoError);
    }

    // The announcements a screen reader got since the last call.
    QList<AccessibleEvent> announcements()
    {
        QString error;
        const std::optional<QList<AccessibleEvent>> events = a11y.events(&error);
        EXPECT_TRUE(events) << error.toStdString();
        return events.value_or(QList<AccessibleEvent>());
    }

    // Waits for an announcement that matches, gathering every one on the way into `heard`.
    std::optional<AccessibleEvent>
    waitForAnnouncement(const std::function<bool(const AccessibleEvent&)>& matches,
                        QList<AccessibleEvent>& heard, std::chrono::milliseconds timeout = 20s)
    {
        std::optional<AccessibleEvent> found;
        waitUntil(
            [&] {
                for (const AccessibleEvent& event : announcements()) {
                    heard.append(event);
                    if (!found && matches(event)) {
                        found = event;
                    }
                }
                return found.has_value();
            },
            timeout);
        return found;
    }

    static std::string describe(const QList<AccessibleEvent>& events)
    {
        QStringList lines;
        for (const AccessibleEvent& event : events) {
            lines.append(event.type + QLatin1Char(' ') + event.role + QStringLiteral(" \"") +
                         event.name + QLatin1Char('"'));
        }
        return lines.join(QLatin1Char('\n')).toStdString();
    }

    QTemporaryDir config;
    QTemporaryDir projects;
    QTemporaryDir moreProjects;
    QTemporaryDir temporary;
    Where searchIn = Where::windows;
    QString lastTreeError;
    int apiPort = 0;
    int webPort = 0;
};

} // namespace

TEST_F(FirstRunTest, NewUserSetsUpWispWithRealInputThenUsesTheShortcutAndTheSettingsPopover)
{
    launchWisp();
    ASSERT_NO_FATAL_FAILURE(walkThroughOnboarding());
    ASSERT_NO_FATAL_FAILURE(
        useShortcut(QStringLiteral("ctrl+alt+k"), QStringLiteral("9-start-server-alert")));
    ASSERT_NO_FATAL_FAILURE(changeSettingsInPopover());

    // The shortcut recorded in the settings takes effect at the next start only.
    ASSERT_NO_FATAL_FAILURE(useShortcut(QStringLiteral("ctrl+alt+k"),
                                        QStringLiteral("16-shortcut-unchanged-until-restart")));
    wisp->stop();
    a11y.stop();
    ASSERT_NO_FATAL_FAILURE(launchWisp());
    ASSERT_TRUE(wisp->waitForLine(
        QStringLiteral("🚀 [AppDelegate] Starting polling on port %1").arg(apiPort), 60s))
        << wisp->log().toStdString();
    useShortcut(QStringLiteral("ctrl+alt+j"), QStringLiteral("17-new-shortcut-after-restart"));
}

TEST_F(FirstRunTest, KeyboardThroughTheTrayMenuIsAnnouncedAndTheSettingsPopoverIsInTheTree)
{
    ASSERT_NO_FATAL_FAILURE(storeCompletedOnboarding());
    launchWisp();
    ASSERT_TRUE(wisp->waitForLine(
        QStringLiteral("🚀 [AppDelegate] Starting polling on port %1").arg(apiPort), 60s))
        << wisp->log().toStdString();
    const std::optional<XWindow> icon = waitForWindow(isTrayIcon);
    ASSERT_TRUE(icon) << "wisp's tray icon never appeared in the tray";
    announcements();

    // The menu, opened with the pointer, then walked with the keyboard: each item it reaches is
    // announced by name.
    click(icon->geometry.center(), 3);
    searchIn = Where::popup;
    ASSERT_TRUE(waitForRole(QStringLiteral("menu item"), QStringLiteral("Settings...")));
    QList<AccessibleEvent> heard;
    QStringList itemsReached;
    for (int press = 0; press < 15 && !itemsReached.contains(QStringLiteral("Settings..."));
         ++press) {
        keys({QStringLiteral("Down")});
        const std::optional<AccessibleEvent> reached = waitForAnnouncement(
            [](const AccessibleEvent& event) {
                return event.type == QStringLiteral("focus:") &&
                       event.role == QStringLiteral("menu item");
            },
            heard);
        ASSERT_TRUE(reached) << "no item announced after " << press + 1 << " presses\n"
                             << describe(heard);
        itemsReached.append(reached->name);
    }
    // The main item's name ends with its shortcut, as the menu writes it after a tab.
    EXPECT_TRUE(itemsReached.value(0).startsWith(QStringLiteral("Find localhost:%1").arg(apiPort)))
        << describe(heard);
    ASSERT_TRUE(itemsReached.contains(QStringLiteral("Settings..."))) << describe(heard);
    EXPECT_TRUE(itemsReached.contains(QStringLiteral("Projects"))) << describe(heard);
    screenshot(QStringLiteral("20-tray-menu-keyboard"));

    // Return on "Settings..." opens the popover: its window is announced, and the tree holds
    // it, with its sections and controls, among wisp's windows.
    keys({QStringLiteral("Return")});
    heard.clear();
    const std::optional<AccessibleEvent> opened = waitForAnnouncement(
        [](const AccessibleEvent& event) {
            return event.type == QStringLiteral("window:activate") &&
                   event.name == QStringLiteral("Settings");
        },
        heard);
    EXPECT_TRUE(opened) << describe(heard);
    searchIn = Where::windows;
    const std::optional<AccessibleNode> popover = waitForSearch(
        [](const AccessibleNode& root) -> std::optional<AccessibleNode> {
            for (const AccessibleNode& window : root.children) {
                if (window.name == QStringLiteral("Settings") && window.isShowing()) {
                    return window;
                }
            }
            return std::nullopt;
        },
        "the settings popover among wisp's windows");
    ASSERT_TRUE(popover);
    for (const QString& title :
         {QStringLiteral("Current Project"), QStringLiteral("Projects"), QStringLiteral("Behavior"),
          QStringLiteral("Browser"), QStringLiteral("Shortcut"), QStringLiteral("Custom URL")}) {
        EXPECT_TRUE(popover->find([&](const AccessibleNode& node) {
            return isLabelled(node, title);
        })) << title.toStdString()
            << "\n"
            << popover->outline().toStdString();
    }
    for (const auto& [role, name] :
         {std::pair{QStringLiteral("radio button"), QStringLiteral("New window")},
          std::pair{QStringLiteral("radio button"), QStringLiteral("Firefox")},
          std::pair{pushButton, QStringLiteral("Browse...")},
          std::pair{pushButton, QStringLiteral("Ctrl+Alt+L")},
          std::pair{QStringLiteral("spin button"), QStringLiteral("Port")}}) {
        EXPECT_TRUE(popover->find(role, name))
            << role.toStdString() << " " << name.toStdString() << "\n"
            << popover->outline().toStdString();
    }
    EXPECT_TRUE(popover->find([](const AccessibleNode& node) {
        return node.role == QStringLiteral("text") && node.has(QStringLiteral("editable")) &&
               node.isShowing();
    })) << popover->outline().toStdString();
    // No field took the focus.
    EXPECT_FALSE(popover->find([](const AccessibleNode& node) {
        return node.role == QStringLiteral("text") && node.has(QStringLiteral("focused"));
    })) << popover->outline().toStdString();
    screenshot(QStringLiteral("21-settings-popover-in-tree"));

    // A click elsewhere still closes it, and it leaves the tree.
    click(QPoint(100, 700));
    EXPECT_TRUE(waitUntilGone([](const AccessibleNode& node) {
        return node.name == QStringLiteral("Settings") && node.isShowing();
    })) << "the popover stayed open";
}
