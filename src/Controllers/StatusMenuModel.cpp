#include "Controllers/StatusMenuModel.h"

#include "HotKey/ModifierFlags.h"

#include <QHash>

namespace {

using Action = StatusMenuItem::Action;

StatusMenuItem makeItem(const QString& title, Action action)
{
    StatusMenuItem item;
    item.title = title;
    item.action = action;
    return item;
}

// The 47 character keys of the ANSI layout, by virtual key code, as unshifted characters.
const QHash<qint64, QString>& ansiCharacterKeys()
{
    static const QHash<qint64, QString> keys = {
        {0, QStringLiteral("a")},  {1, QStringLiteral("s")},   {2, QStringLiteral("d")},
        {3, QStringLiteral("f")},  {4, QStringLiteral("h")},   {5, QStringLiteral("g")},
        {6, QStringLiteral("z")},  {7, QStringLiteral("x")},   {8, QStringLiteral("c")},
        {9, QStringLiteral("v")},  {11, QStringLiteral("b")},  {12, QStringLiteral("q")},
        {13, QStringLiteral("w")}, {14, QStringLiteral("e")},  {15, QStringLiteral("r")},
        {16, QStringLiteral("y")}, {17, QStringLiteral("t")},  {18, QStringLiteral("1")},
        {19, QStringLiteral("2")}, {20, QStringLiteral("3")},  {21, QStringLiteral("4")},
        {22, QStringLiteral("6")}, {23, QStringLiteral("5")},  {24, QStringLiteral("=")},
        {25, QStringLiteral("9")}, {26, QStringLiteral("7")},  {27, QStringLiteral("-")},
        {28, QStringLiteral("8")}, {29, QStringLiteral("0")},  {30, QStringLiteral("]")},
        {31, QStringLiteral("o")}, {32, QStringLiteral("u")},  {33, QStringLiteral("[")},
        {34, QStringLiteral("i")}, {35, QStringLiteral("p")},  {37, QStringLiteral("l")},
        {38, QStringLiteral("j")}, {39, QStringLiteral("'")},  {40, QStringLiteral("k")},
        {41, QStringLiteral(";")}, {42, QStringLiteral("\\")}, {43, QStringLiteral(",")},
        {44, QStringLiteral("/")}, {45, QStringLiteral("n")},  {46, QStringLiteral("m")},
        {47, QStringLiteral(".")}, {50, QStringLiteral("`")},
    };
    return keys;
}

StatusMenuItem mainItem(const StatusMenuState& state)
{
    // A shortcut that does not work is not advertised.
    const QString key =
        state.hotKeyRegistered ? StatusMenuModel::hotkeyKeyEquivalent(state.hotKeyCode) : QString();
    const QString problem = state.hotKeyRegistered ? QString() : state.hotKeyProblem;
    const std::uint64_t mask =
        key.isEmpty()
            ? 0
            : StatusMenuModel::hotkeyModifierMask(state.hotKeyCode, state.hotKeyModifiers);

    if (state.isCustomURLActive && state.hasCustomURL) {
        StatusMenuItem item = makeItem(state.customURL, Action::mainActionClicked);
        item.keyEquivalent = key;
        item.keyEquivalentModifierMask = mask;
        item.keyEquivalentScope = StatusMenuItem::ShortcutScope::global;
        item.toolTip = problem;
        item.imageName = QStringLiteral("eye");
        item.imageDescription = QStringLiteral("Custom URL");
        return item;
    }
    if (state.selectedProject) {
        StatusMenuItem item = makeItem(QStringLiteral("Find localhost:") +
                                           QString::number(state.selectedProject->port),
                                       Action::mainActionClicked);
        item.keyEquivalent = key;
        item.keyEquivalentModifierMask = mask;
        item.keyEquivalentScope = StatusMenuItem::ShortcutScope::global;
        item.toolTip = problem;
        item.imageName = QStringLiteral("eye");
        item.imageDescription = QStringLiteral("Find");
        return item;
    }
    return makeItem(QStringLiteral("No project selected"), Action::settingsClicked);
}

StatusMenuItem projectItem(const Project& project, const std::optional<Project>& selected)
{
    StatusMenuItem item = StatusMenuModel::createProjectMenuItem(
        project.name, project.port, Action::projectSelected, selected && *selected == project);
    item.representedObject = project;
    item.toolTip = project.folderPath();
    return item;
}

StatusMenuItem projectsItem(const StatusMenuState& state)
{
    StatusMenuItem item = makeItem(QStringLiteral("Projects"), Action::none);
    item.hasSubmenu = true;
    QList<StatusMenuItem>& submenu = item.submenu;

    if (state.hasCustomURL) {
        StatusMenuItem custom = makeItem(state.customURL, Action::customURLClicked);
        custom.checked = state.isCustomURLActive;
        custom.imageName = QStringLiteral("link");
        custom.imageDescription = QStringLiteral("Custom URL");
        submenu.append(custom);
        if (!state.projects.isEmpty()) {
            submenu.append(StatusMenuItem::separator());
        }
    }

    for (const Project& project : state.projects) {
        if (project.subprojects.isEmpty()) {
            submenu.append(projectItem(project, state.selectedProject));
            continue;
        }
        // A parent is never selectable itself; only its sub-projects are.
        StatusMenuItem parent = makeItem(project.name, Action::none);
        parent.hasSubmenu = true;
        for (const Project& subproject : project.subprojects) {
            parent.submenu.append(projectItem(subproject, state.selectedProject));
        }
        submenu.append(parent);
    }

    submenu.append(StatusMenuItem::separator());
    submenu.append(makeItem(QStringLiteral("↻  Rescan Folder"), Action::rescanProjects));
    return item;
}

} // namespace

QList<StatusMenuItem> StatusMenuModel::build(const StatusMenuState& state)
{
    QList<StatusMenuItem> items;
    items.append(mainItem(state));
    items.append(StatusMenuItem::separator());

    if (state.projects.isEmpty() && !state.hasCustomURL) {
        items.append(makeItem(QStringLiteral("No projects found"), Action::settingsClicked));
    } else {
        items.append(projectsItem(state));
    }

    items.append(StatusMenuItem::separator());
    items.append(serverItem(state.selectedProject, state.status));
    items.append(makeItem(QStringLiteral("Server Output"), Action::serverOutputClicked));
    items.append(StatusMenuItem::separator());

    StatusMenuItem settings = makeItem(QStringLiteral("Settings..."), Action::settingsClicked);
    settings.keyEquivalent = QStringLiteral(",");
    settings.keyEquivalentModifierMask = commandModifier;
    items.append(settings);

    StatusMenuItem quit = makeItem(QStringLiteral("Quit"), Action::quitClicked);
    quit.keyEquivalent = QStringLiteral("q");
    quit.keyEquivalentModifierMask = commandModifier;
    items.append(quit);
    return items;
}

StatusMenuItem StatusMenuModel::serverItem(const std::optional<Project>& selectedProject,
                                           ServerStatus status)
{
    StatusMenuItem item;
    item.tag = serverItemTag;
    if (selectedProject) {
        const ServerActionTitle title = serverActionTitle(*selectedProject, status);
        item.title = title.title;
        item.enabled = title.enabled;
        item.action = Action::startServerClicked;
    } else {
        item.title = QStringLiteral("▶  Run Server");
        item.enabled = false;
        item.action = Action::none;
    }
    return item;
}

StatusMenuModel::ServerActionTitle StatusMenuModel::serverActionTitle(const Project& project,
                                                                      ServerStatus status)
{
    switch (status) {
    case ServerStatus::running:
        return {QStringLiteral("↻  Restart ") + project.name, true};
    case ServerStatus::starting:
        return {QStringLiteral("⏳  Starting..."), false};
    case ServerStatus::stopped:
    case ServerStatus::unknown:
        break;
    }
    return {QStringLiteral("▶  Start ") + project.name, true};
}

StatusMenuItem StatusMenuModel::createProjectMenuItem(const QString& name, int port,
                                                      StatusMenuItem::Action action,
                                                      bool isSelected)
{
    StatusMenuItem item;
    item.projectTitle =
        StatusMenuItem::ProjectTitle{name, QStringLiteral(":") + QString::number(port)};
    // The plain title, for menus that draw one font only: the name, one space and the port.
    item.title = item.projectTitle->name + QLatin1Char(' ') + item.projectTitle->port;
    item.action = action;
    item.checked = isSelected;
    return item;
}

QString StatusMenuModel::hotkeyKeyEquivalent(qint64 keyCode)
{
    if (keyCode == 0) {
        return QString();
    }
    return ansiCharacterKeys().value(keyCode);
}

std::uint64_t StatusMenuModel::hotkeyModifierMask(qint64 keyCode, qint64 carbonModifiers)
{
    if (keyCode == 0) {
        return 0;
    }
    // The menu's modifier flags are the hot key module's; bits other than the four are dropped.
    return ModifierFlags::fromCarbonFlags(static_cast<std::uint32_t>(carbonModifiers)).rawValue;
}

QString StatusMenuModel::shownShortcut(const StatusMenuItem& item, ShortcutText::Style style)
{
    if (style != ShortcutText::Style::words ||
        item.keyEquivalentScope != StatusMenuItem::ShortcutScope::global ||
        item.keyEquivalent.isEmpty()) {
        return QString();
    }
    // The upper-cased key equivalent is the recorders' text of the same key.
    return ShortcutText::build(ModifierFlags(item.keyEquivalentModifierMask).carbonFlags(),
                               item.keyEquivalent.toUpper(), style);
}

Qt::KeyboardModifiers StatusMenuModel::qtModifiers(std::uint64_t modifierMask,
                                                   StatusMenuItem::ShortcutScope scope)
{
    // The menu flags are the hot key module's own modifier flags, and so is the translation to
    // Qt's names of the keys.
    const ModifierFlags flags(modifierMask &
                              (commandModifier | shiftModifier | optionModifier | controlModifier));
    return scope == StatusMenuItem::ShortcutScope::global ? flags.toQt()
                                                          : flags.toQtApplicationShortcut();
}

QKeySequence StatusMenuModel::keySequence(const QString& keyEquivalent, std::uint64_t modifierMask,
                                          StatusMenuItem::ShortcutScope scope)
{
    if (keyEquivalent.isEmpty()) {
        return QKeySequence();
    }
    // Qt's key codes for letters are the upper-case characters; for the digits and the ASCII
    // punctuation of the table they are the characters themselves.
    const auto key = static_cast<Qt::Key>(keyEquivalent.at(0).toUpper().unicode());
    return QKeySequence(QKeyCombination(qtModifiers(modifierMask, scope), key));
}
