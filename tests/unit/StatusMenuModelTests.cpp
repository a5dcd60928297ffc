#include "Controllers/StatusMenuModel.h"
#include "HotKey/ModifierFlags.h"

#include "support/MenuSnapshot.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"

#include <gtest/gtest.h>

namespace {

const QString runServer = QStringLiteral("▶  Run Server | disabled | tag=200 | action=none");
const QString settingsLine =
    QStringLiteral("Settings... | key=,+0x100000 | action=settingsClicked");
const QString quitLine = QStringLiteral("Quit | key=q+0x100000 | action=quitClicked");

Project web()
{
    return TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web"));
}

// A monorepo with two sub-projects, and a plain project.
QList<Project> groupedProjects()
{
    const Project admin =
        TestProjects::make(QStringLiteral("admin"), 3001, QStringLiteral("/p/mono/admin"));
    const Project site =
        TestProjects::make(QStringLiteral("site"), 3002, QStringLiteral("/p/mono/site"));
    return {
        TestProjects::make(QStringLiteral("api"), 4000, QStringLiteral("/p/api")),
        TestProjects::make(QStringLiteral("mono"), 3000, QStringLiteral("/p/mono"), {admin, site})};
}

// The snapshot line of the tag-200 item, which follows the projects' submenu.
QString serverItemLine(const QList<StatusMenuItem>& items)
{
    const QStringList lines = menuSnapshot(items);
    const QStringList tagged = lines.filter(QStringLiteral("tag=200"));
    return tagged.size() == 1 ? tagged.first()
                              : QStringLiteral("<%1 tagged items>").arg(tagged.size());
}

} // namespace

TEST(StatusMenuModelTest, NoProjectsAndNoCustomAddress)
{
    const QStringList expected = {
        QStringLiteral("No project selected | action=settingsClicked"),
        QStringLiteral("---"),
        QStringLiteral("No projects found | action=settingsClicked"),
        QStringLiteral("---"),
        runServer,
        QStringLiteral("Server Output | action=serverOutputClicked"),
        QStringLiteral("---"),
        settingsLine,
        quitLine,
    };
    EXPECT_EQ(menuSnapshot(StatusMenuModel::build(StatusMenuState{})), expected);
}

TEST(StatusMenuModelTest, NoProjectsButACustomAddressHoldsOnlyTheAddressAndRescan)
{
    StatusMenuState state;
    state.customURL = QStringLiteral("staging.example.com");
    state.hasCustomURL = true;
    const QStringList expected = {
        QStringLiteral("No project selected | action=settingsClicked"),
        QStringLiteral("---"),
        QStringLiteral("Projects"),
        QStringLiteral("  staging.example.com | action=customURLClicked | image=link/Custom URL"),
        QStringLiteral("  ---"),
        QStringLiteral("  ↻  Rescan Folder | action=rescanProjects"),
        QStringLiteral("---"),
        runServer,
        QStringLiteral("Server Output | action=serverOutputClicked"),
        QStringLiteral("---"),
        settingsLine,
        quitLine,
    };
    EXPECT_EQ(menuSnapshot(StatusMenuModel::build(state)), expected);
}

TEST(StatusMenuModelTest, ActiveCustomAddressIsTheMainItemAndIsChecked)
{
    StatusMenuState state;
    state.customURL = QStringLiteral("https://staging.example.com");
    state.hasCustomURL = true;
    state.isCustomURLActive = true;
    const Project project = web();
    state.projects = {project};
    state.selectedProject = project;
    state.hotKeyCode = 37;
    state.hotKeyModifiers = 0x1800;
    const QStringList expected = {
        QStringLiteral("https://staging.example.com | key=l+0xc0000 | action=mainActionClicked | "
                       "image=eye/Custom URL"),
        QStringLiteral("---"),
        QStringLiteral("Projects"),
        QStringLiteral("  https://staging.example.com | on | action=customURLClicked | "
                       "image=link/Custom URL"),
        QStringLiteral("  ---"),
        QStringLiteral("  web :3000 | on | action=projectSelected"),
        QStringLiteral("  ---"),
        QStringLiteral("  ↻  Rescan Folder | action=rescanProjects"),
        QStringLiteral("---"),
        QStringLiteral("▶  Start web | tag=200 | action=startServerClicked"),
        QStringLiteral("Server Output | action=serverOutputClicked"),
        QStringLiteral("---"),
        settingsLine,
        quitLine,
    };
    EXPECT_EQ(menuSnapshot(StatusMenuModel::build(state)), expected);
}

TEST(StatusMenuModelTest, CustomAddressSetButInactiveLeavesTheFindItem)
{
    StatusMenuState state;
    state.customURL = QStringLiteral("staging.example.com");
    state.hasCustomURL = true;
    state.isCustomURLActive = false;
    state.projects = {web()};
    state.selectedProject = web();
    const QList<StatusMenuItem> items = StatusMenuModel::build(state);
    EXPECT_EQ(items.first().title, QStringLiteral("Find localhost:3000"));
    EXPECT_FALSE(items.at(2).submenu.first().checked);
}

TEST(StatusMenuModelTest, ParentsWithSubprojectsOfferOnlyTheSubprojects)
{
    StatusMenuState state;
    state.projects = groupedProjects();
    state.selectedProject = state.projects.at(1).subprojects.at(1);
    state.status = ServerStatus::stopped;
    const QStringList expected = {
        QStringLiteral("Find localhost:3002 | action=mainActionClicked | image=eye/Find"),
        QStringLiteral("---"),
        QStringLiteral("Projects"),
        QStringLiteral("  api :4000 | action=projectSelected"),
        QStringLiteral("  mono"),
        QStringLiteral("    admin :3001 | action=projectSelected"),
        QStringLiteral("    site :3002 | on | action=projectSelected"),
        QStringLiteral("  ---"),
        QStringLiteral("  ↻  Rescan Folder | action=rescanProjects"),
        QStringLiteral("---"),
        QStringLiteral("▶  Start site | tag=200 | action=startServerClicked"),
        QStringLiteral("Server Output | action=serverOutputClicked"),
        QStringLiteral("---"),
        settingsLine,
        quitLine,
    };
    const QList<StatusMenuItem> items = StatusMenuModel::build(state);
    EXPECT_EQ(menuSnapshot(items), expected);

    const StatusMenuItem& parent = items.at(2).submenu.at(1);
    EXPECT_TRUE(parent.hasSubmenu);
    EXPECT_EQ(parent.action, StatusMenuItem::Action::none);
    EXPECT_FALSE(parent.representedObject.has_value());
    EXPECT_FALSE(parent.projectTitle.has_value());

    const StatusMenuItem& site = parent.submenu.at(1);
    ASSERT_TRUE(site.representedObject.has_value());
    EXPECT_EQ(*site.representedObject, state.projects.at(1).subprojects.at(1));
    EXPECT_EQ(site.toolTip, QStringLiteral("/p/mono/site"));
    EXPECT_EQ(items.at(2).submenu.at(0).toolTip, QStringLiteral("/p/api"));
}

TEST(StatusMenuModelTest, ServerItemForEachServerState)
{
    const Project project = web();
    const auto serverLine = [&](ServerStatus status) {
        StatusMenuState state;
        state.projects = {project};
        state.selectedProject = project;
        state.status = status;
        return serverItemLine(StatusMenuModel::build(state));
    };
    EXPECT_EQ(serverLine(ServerStatus::running),
              QStringLiteral("↻  Restart web | tag=200 | action=startServerClicked"));
    EXPECT_EQ(serverLine(ServerStatus::starting),
              QStringLiteral("⏳  Starting... | disabled | tag=200 | action=startServerClicked"));
    EXPECT_EQ(serverLine(ServerStatus::stopped),
              QStringLiteral("▶  Start web | tag=200 | action=startServerClicked"));
    EXPECT_EQ(serverLine(ServerStatus::unknown),
              QStringLiteral("▶  Start web | tag=200 | action=startServerClicked"));

    // Without a selection the state does not matter.
    StatusMenuState none;
    none.projects = {project};
    none.status = ServerStatus::running;
    EXPECT_EQ(serverItemLine(StatusMenuModel::build(none)), runServer);
}

TEST(StatusMenuModelTest, OnlyTheServerItemCarriesATag)
{
    StatusMenuState state;
    state.projects = groupedProjects();
    state.selectedProject = state.projects.first();
    state.customURL = QStringLiteral("staging.example.com");
    state.hasCustomURL = true;
    int tagged = 0;
    std::function<void(const QList<StatusMenuItem>&)> count =
        [&](const QList<StatusMenuItem>& items) {
            for (const StatusMenuItem& item : items) {
                if (item.tag != 0) {
                    ++tagged;
                    EXPECT_EQ(item.tag, StatusMenuModel::serverItemTag);
                }
                count(item.submenu);
            }
        };
    count(StatusMenuModel::build(state));
    EXPECT_EQ(tagged, 1);
}

TEST(StatusMenuModelTest, ProjectItemIsNameAndPortCheckedWhenEqualToTheSelection)
{
    const StatusMenuItem item = StatusMenuModel::createProjectMenuItem(
        QStringLiteral("web"), 5173, StatusMenuItem::Action::projectSelected, true);
    ASSERT_TRUE(item.projectTitle.has_value());
    EXPECT_EQ(item.projectTitle->name, QStringLiteral("web"));
    EXPECT_EQ(item.projectTitle->port, QStringLiteral(":5173"));
    EXPECT_EQ(item.title, QStringLiteral("web :5173"));
    EXPECT_TRUE(item.checked);
    EXPECT_TRUE(item.keyEquivalent.isEmpty());
    EXPECT_EQ(item.action, StatusMenuItem::Action::projectSelected);

    // Equality of the whole record decides, not the name.
    StatusMenuState state;
    const Project selected = web();
    Project sameName = TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/q/web"));
    state.projects = {sameName, selected};
    state.selectedProject = selected;
    const QList<StatusMenuItem> submenu = StatusMenuModel::build(state).at(2).submenu;
    EXPECT_FALSE(submenu.at(0).checked);
    EXPECT_TRUE(submenu.at(1).checked);
}

TEST(StatusMenuModelTest, MainItemShowsTheGlobalShortcutAsKeyEquivalent)
{
    StatusMenuState state;
    state.projects = {web()};
    state.selectedProject = web();
    state.hotKeyCode = 37;          // L
    state.hotKeyModifiers = 0x1800; // control + option
    StatusMenuItem main = StatusMenuModel::build(state).first();
    EXPECT_EQ(main.keyEquivalent, QStringLiteral("l"));
    EXPECT_EQ(main.keyEquivalentModifierMask,
              StatusMenuModel::controlModifier | StatusMenuModel::optionModifier);

    // A key without text (F1): no key equivalent and no modifiers.
    state.hotKeyCode = 122;
    main = StatusMenuModel::build(state).first();
    EXPECT_TRUE(main.keyEquivalent.isEmpty());
    EXPECT_EQ(main.keyEquivalentModifierMask, 0u);

    // Code 0 means no shortcut, although it is the A key.
    state.hotKeyCode = 0;
    state.hotKeyModifiers = 0x100;
    main = StatusMenuModel::build(state).first();
    EXPECT_TRUE(main.keyEquivalent.isEmpty());
    EXPECT_EQ(main.keyEquivalentModifierMask, 0u);
}

TEST(StatusMenuModelTest, ShortcutTheDesktopRefusedIsNotShownAndItsProblemIsTheTooltip)
{
    StatusMenuState state;
    state.projects = {web()};
    state.selectedProject = web();
    state.hotKeyCode = 37;
    state.hotKeyModifiers = 0x1800;
    state.hotKeyRegistered = false;
    state.hotKeyProblem = QStringLiteral("Ctrl+Alt+L is taken by another app.");
    StatusMenuItem main = StatusMenuModel::build(state).first();
    EXPECT_EQ(main.title, QStringLiteral("Find localhost:3000"));
    EXPECT_TRUE(main.keyEquivalent.isEmpty());
    EXPECT_EQ(main.keyEquivalentModifierMask, 0u);
    EXPECT_EQ(main.toolTip, QStringLiteral("Ctrl+Alt+L is taken by another app."));

    // The custom address item alike.
    state.isCustomURLActive = true;
    state.hasCustomURL = true;
    state.customURL = QStringLiteral("https://staging.example.com");
    main = StatusMenuModel::build(state).first();
    EXPECT_EQ(main.title, QStringLiteral("https://staging.example.com"));
    EXPECT_TRUE(main.keyEquivalent.isEmpty());
    EXPECT_EQ(main.toolTip, QStringLiteral("Ctrl+Alt+L is taken by another app."));

    // Registered: the shortcut, and no tooltip whatever the problem text says.
    state.hotKeyRegistered = true;
    main = StatusMenuModel::build(state).first();
    EXPECT_EQ(main.keyEquivalent, QStringLiteral("l"));
    EXPECT_TRUE(main.toolTip.isEmpty());
}

TEST(StatusMenuModelTest, NoProjectSelectedItemHasNoKeyEquivalent)
{
    StatusMenuState state;
    state.hotKeyCode = 37;
    state.hotKeyModifiers = 0x1800;
    const StatusMenuItem main = StatusMenuModel::build(state).first();
    EXPECT_EQ(main.title, QStringLiteral("No project selected"));
    EXPECT_TRUE(main.keyEquivalent.isEmpty());
}

TEST(StatusMenuModelTest, KeyEquivalentTableHoldsTheFortySevenAnsiCharacterKeys)
{
    const QList<QPair<int, QString>> samples = {
        {0, QString()},
        {1, QStringLiteral("s")},
        {6, QStringLiteral("z")},
        {11, QStringLiteral("b")},
        {18, QStringLiteral("1")},
        {22, QStringLiteral("6")},
        {23, QStringLiteral("5")},
        {24, QStringLiteral("=")},
        {27, QStringLiteral("-")},
        {29, QStringLiteral("0")},
        {30, QStringLiteral("]")},
        {33, QStringLiteral("[")},
        {37, QStringLiteral("l")},
        {39, QStringLiteral("'")},
        {41, QStringLiteral(";")},
        {42, QStringLiteral("\\")},
        {43, QStringLiteral(",")},
        {44, QStringLiteral("/")},
        {47, QStringLiteral(".")},
        {50, QStringLiteral("`")},
        {10, QString()},
        {36, QString()},
        {48, QString()},
        {49, QString()},
        {53, QString()},
        {122, QString()},
        {126, QString()},
        {-1, QString()},
    };
    for (const auto& [code, text] : samples) {
        EXPECT_EQ(StatusMenuModel::hotkeyKeyEquivalent(code), text) << "key code " << code;
    }

    int characterKeys = 0;
    QSet<QString> characters;
    for (int code = 0; code < 256; ++code) {
        const QString text = StatusMenuModel::hotkeyKeyEquivalent(code);
        if (!text.isEmpty()) {
            ++characterKeys;
            characters.insert(text);
            EXPECT_EQ(text, text.toLower());
        }
    }
    // 47 keys, of which code 0 (A) is read as "no shortcut".
    EXPECT_EQ(characterKeys, 46);
    EXPECT_EQ(characters.size(), 46);
    EXPECT_FALSE(characters.contains(QStringLiteral("a")));
}

TEST(StatusMenuModelTest, ModifierMaskTranslatesEachCarbonBit)
{
    EXPECT_EQ(StatusMenuModel::hotkeyModifierMask(37, 0x100), 0x100000u);
    EXPECT_EQ(StatusMenuModel::hotkeyModifierMask(37, 0x200), 0x20000u);
    EXPECT_EQ(StatusMenuModel::hotkeyModifierMask(37, 0x800), 0x80000u);
    EXPECT_EQ(StatusMenuModel::hotkeyModifierMask(37, 0x1000), 0x40000u);
    EXPECT_EQ(StatusMenuModel::hotkeyModifierMask(37, 0x1B00), 0x1E0000u);
    // Other bits (caps lock 0x400, right-hand variants, ...) are dropped.
    EXPECT_EQ(StatusMenuModel::hotkeyModifierMask(37, 0x400 | 0x100 | 0x10000), 0x100000u);
    EXPECT_EQ(StatusMenuModel::hotkeyModifierMask(0, 0x1800), 0u);
}

TEST(StatusMenuModelTest, ApplicationShortcutsUseThePlatformCommandKey)
{
    using Scope = StatusMenuItem::ShortcutScope;
    EXPECT_EQ(StatusMenuModel::qtModifiers(StatusMenuModel::commandModifier, Scope::application),
              Qt::KeyboardModifiers(Qt::ControlModifier));
    EXPECT_EQ(StatusMenuModel::qtModifiers(StatusMenuModel::controlModifier, Scope::application),
              Qt::KeyboardModifiers(Qt::MetaModifier));
    EXPECT_EQ(StatusMenuModel::qtModifiers(StatusMenuModel::optionModifier, Scope::application),
              Qt::KeyboardModifiers(Qt::AltModifier));
    EXPECT_EQ(StatusMenuModel::qtModifiers(StatusMenuModel::shiftModifier, Scope::application),
              Qt::KeyboardModifiers(Qt::ShiftModifier));

    // Qt::CTRL is Command on macOS and Ctrl elsewhere.
    EXPECT_EQ(StatusMenuModel::keySequence(QStringLiteral(","), StatusMenuModel::commandModifier,
                                           Scope::application),
              QKeySequence(Qt::CTRL | Qt::Key_Comma));
    EXPECT_EQ(StatusMenuModel::keySequence(QStringLiteral("q"), StatusMenuModel::commandModifier,
                                           Scope::application),
              QKeySequence(Qt::CTRL | Qt::Key_Q));
    EXPECT_EQ(StatusMenuModel::keySequence(QStringLiteral("`"), StatusMenuModel::shiftModifier,
                                           Scope::application),
              QKeySequence(Qt::ShiftModifier | Qt::Key_QuoteLeft));
    EXPECT_TRUE(StatusMenuModel::keySequence(QString(), StatusMenuModel::commandModifier,
                                             Scope::application)
                    .isEmpty());
}

TEST(StatusMenuModelTest, ApplicationShortcutsFollowTheHotKeyModulesTranslation)
{
    using Scope = StatusMenuItem::ShortcutScope;
    for (const std::uint64_t mask :
         {StatusMenuModel::commandModifier, StatusMenuModel::shiftModifier,
          StatusMenuModel::optionModifier, StatusMenuModel::controlModifier,
          StatusMenuModel::commandModifier | StatusMenuModel::shiftModifier}) {
        EXPECT_EQ(StatusMenuModel::qtModifiers(mask, Scope::application),
                  ModifierFlags(mask).toQtApplicationShortcut());
    }
    // Bits other than the four modifiers are dropped.
    EXPECT_EQ(StatusMenuModel::qtModifiers(StatusMenuModel::commandModifier | 0x10000,
                                           Scope::application),
              ModifierFlags(ModifierFlags::command).toQtApplicationShortcut());
}

TEST(StatusMenuModelTest, GlobalShortcutShowsTheKeysTheHotKeyModuleGrabs)
{
    using Scope = StatusMenuItem::ShortcutScope;
    const std::uint64_t controlOption =
        StatusMenuModel::controlModifier | StatusMenuModel::optionModifier;
    // Converted through the hot key module, whatever the platform.
    EXPECT_EQ(StatusMenuModel::qtModifiers(controlOption, Scope::global),
              ModifierFlags(ModifierFlags::control | ModifierFlags::option).toQt());
    for (const std::uint64_t mask :
         {StatusMenuModel::commandModifier, StatusMenuModel::shiftModifier,
          StatusMenuModel::optionModifier, StatusMenuModel::controlModifier}) {
        EXPECT_EQ(ModifierFlags::fromQt(StatusMenuModel::qtModifiers(mask, Scope::global)),
                  ModifierFlags(mask));
    }
    EXPECT_FALSE(
        StatusMenuModel::keySequence(QStringLiteral("l"), controlOption, Scope::global).isEmpty());
    EXPECT_TRUE(StatusMenuModel::keySequence(QString(), controlOption, Scope::global).isEmpty());
}

TEST(StatusMenuModelTest, MainItemCarriesAGlobalShortcutAndTheOthersApplicationOnes)
{
    StatusMenuState state;
    state.projects = {web()};
    state.selectedProject = web();
    state.hotKeyCode = 37;
    state.hotKeyModifiers = 0x1800;
    const QList<StatusMenuItem> items = StatusMenuModel::build(state);
    EXPECT_EQ(items.first().keyEquivalentScope, StatusMenuItem::ShortcutScope::global);
    EXPECT_EQ(items.at(items.size() - 2).title, QStringLiteral("Settings..."));
    EXPECT_EQ(items.at(items.size() - 2).keyEquivalentScope,
              StatusMenuItem::ShortcutScope::application);
    EXPECT_EQ(items.last().title, QStringLiteral("Quit"));
    EXPECT_EQ(items.last().keyEquivalentScope, StatusMenuItem::ShortcutScope::application);

    state.isCustomURLActive = true;
    state.hasCustomURL = true;
    state.customURL = QStringLiteral("example.com");
    EXPECT_EQ(StatusMenuModel::build(state).first().keyEquivalentScope,
              StatusMenuItem::ShortcutScope::global);
}

TEST(StatusMenuModelTest, GlobalShortcutIsShownInTheDesktopsWordsWhereTheyAreUsed)
{
    using Style = ShortcutText::Style;
    StatusMenuState state;
    state.selectedProject =
        TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web"));
    state.hotKeyCode = 37;
    state.hotKeyModifiers = 0x1800;
    StatusMenuItem main = StatusMenuModel::build(state).first();
    EXPECT_EQ(StatusMenuModel::shownShortcut(main, Style::words), QStringLiteral("Ctrl+Alt+L"));
    // Qt would write "Meta" for the Super key.
    state.hotKeyModifiers = 0x1300;
    main = StatusMenuModel::build(state).first();
    EXPECT_EQ(StatusMenuModel::shownShortcut(main, Style::words),
              QStringLiteral("Ctrl+Shift+Super+L"));
    // The punctuation keys keep their character.
    state.hotKeyCode = 42;
    main = StatusMenuModel::build(state).first();
    EXPECT_EQ(StatusMenuModel::shownShortcut(main, Style::words),
              QStringLiteral("Ctrl+Shift+Super+\\"));
    // macOS menus draw the key equivalent themselves.
    EXPECT_TRUE(StatusMenuModel::shownShortcut(main, Style::symbols).isEmpty());
}

TEST(StatusMenuModelTest, NoShownShortcutWithoutAGlobalKeyEquivalent)
{
    using Style = ShortcutText::Style;
    StatusMenuState state;
    state.selectedProject =
        TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web"));
    state.hotKeyCode = 122; // F1 has no key equivalent
    state.hotKeyModifiers = 0x1800;
    const QList<StatusMenuItem> items = StatusMenuModel::build(state);
    EXPECT_TRUE(StatusMenuModel::shownShortcut(items.first(), Style::words).isEmpty());
    // Application shortcuts ("Settings...", "Quit") keep Qt's own text.
    for (const StatusMenuItem& item : items) {
        if (item.keyEquivalentScope == StatusMenuItem::ShortcutScope::application) {
            EXPECT_TRUE(StatusMenuModel::shownShortcut(item, Style::words).isEmpty())
                << item.title.toStdString();
        }
    }
}
