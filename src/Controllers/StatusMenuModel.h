#pragma once

#include "Controllers/StatusMenuItem.h"
#include "HotKey/ModifierFlags.h"
#include "HotKey/ShortcutText.h"
#include "Models/ServerStatus.h"

#include <QKeySequence>

// What the status menu is built from.
struct StatusMenuState
{
    bool isCustomURLActive = false;
    bool hasCustomURL = false;
    QString customURL;
    QList<Project> projects;
    std::optional<Project> selectedProject;
    ServerStatus status = ServerStatus::unknown;
    // The stored global shortcut: a Carbon virtual key code and Carbon modifier bits.
    qint64 hotKeyCode = 0;
    qint64 hotKeyModifiers = 0;
    // Whether the desktop lets the application have that shortcut; the main item shows it only
    // then, and otherwise carries `hotKeyProblem` as its tooltip.
    bool hotKeyRegistered = true;
    QString hotKeyProblem;
};

// The status menu as data, built from scratch from the state.
class StatusMenuModel
{
public:
    StatusMenuModel() = delete;

    // The server item is found again by this tag; no other item carries one.
    static constexpr int serverItemTag = 200;

    // Menu modifier flags, in the platform menu's own encoding (the hot key module's flags).
    static constexpr std::uint64_t commandModifier = ModifierFlags::command;
    static constexpr std::uint64_t shiftModifier = ModifierFlags::shift;
    static constexpr std::uint64_t optionModifier = ModifierFlags::option;
    static constexpr std::uint64_t controlModifier = ModifierFlags::control;

    static QList<StatusMenuItem> build(const StatusMenuState& state);

    // The tag-200 item for the current selection and server state.
    static StatusMenuItem serverItem(const std::optional<Project>& selectedProject,
                                     ServerStatus status);

    struct ServerActionTitle
    {
        QString title;
        bool enabled = true;
    };
    static ServerActionTitle serverActionTitle(const Project& project, ServerStatus status);

    // One project item; the caller sets the represented project and the tooltip.
    static StatusMenuItem createProjectMenuItem(const QString& name, int port,
                                                StatusMenuItem::Action action, bool isSelected);

    // The stored key code as a key equivalent: the unshifted lowercase character of one of the
    // 47 character keys of the ANSI layout, else empty. Code 0 means "no shortcut" and gives
    // empty text, although it is the A key: a shortcut on A is shown without key equivalent.
    static QString hotkeyKeyEquivalent(qint64 keyCode);
    // The stored Carbon modifiers as menu modifier flags; empty for key code 0.
    static std::uint64_t hotkeyModifierMask(qint64 keyCode, qint64 carbonModifiers);

    // The text a menu shows for an item's global shortcut where the desktop writes shortcuts in
    // words: Qt's own text would call the Super key "Meta". Empty for other items, and where the
    // platform's menus draw the key equivalent themselves (symbols).
    static QString shownShortcut(const StatusMenuItem& item,
                                 ShortcutText::Style style = ShortcutText::platformStyle());

    // The QKeySequence that shows a key equivalent with its menu modifier flags.
    static QKeySequence keySequence(const QString& keyEquivalent, std::uint64_t modifierMask,
                                    StatusMenuItem::ShortcutScope scope);
    // The Qt modifiers of a shortcut of the given scope: an application shortcut's command
    // modifier is Qt's Ctrl, which Qt shows as ⌘ on macOS and Ctrl elsewhere; a global
    // shortcut shows the keys the hot key backend really grabs (⌃⌥L on macOS, Ctrl+Alt+L on
    // Linux).
    static Qt::KeyboardModifiers qtModifiers(std::uint64_t modifierMask,
                                             StatusMenuItem::ShortcutScope scope);
};
