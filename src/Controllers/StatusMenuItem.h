#pragma once

#include "Models/Project.h"

#include <QList>
#include <QString>

#include <cstdint>
#include <optional>

// One entry of the status menu as plain data: what the widget layer shows and what choosing it
// does. Built by StatusMenuModel, turned into QActions by StatusMenuRenderer.
struct StatusMenuItem
{
    enum class Kind { item, separator };

    // The controller operation an item runs; `none` for items without an action.
    enum class Action {
        none,
        mainActionClicked,
        settingsClicked,
        customURLClicked,
        projectSelected,
        rescanProjects,
        startServerClicked,
        serverOutputClicked,
        quitClicked,
    };

    // A project item's two-part title: the name in the menu font, then ":" and the port in a
    // small monospaced secondary style.
    struct ProjectTitle
    {
        QString name;
        QString port; // ":3000"
        bool operator==(const ProjectTitle&) const = default;
    };

    // What a key equivalent stands for: a shortcut of the application's own menu (with the
    // platform's command key), or the system-wide shortcut that the hot key module grabs.
    enum class ShortcutScope { application, global };

    Kind kind = Kind::item;
    QString title;
    std::optional<ProjectTitle> projectTitle;
    Action action = Action::none;
    // Unshifted character of the key equivalent; empty for none.
    QString keyEquivalent;
    // Menu modifier flags (StatusMenuModel::commandModifier, ...).
    std::uint64_t keyEquivalentModifierMask = 0;
    ShortcutScope keyEquivalentScope = ShortcutScope::application;
    bool enabled = true;
    // State on: shown with a check mark.
    bool checked = false;
    int tag = 0;
    std::optional<Project> representedObject;
    QString toolTip;
    // A system symbol name ("eye", "link") and its accessibility description.
    QString imageName;
    QString imageDescription;
    bool hasSubmenu = false;
    QList<StatusMenuItem> submenu;

    bool isSeparator() const { return kind == Kind::separator; }

    static StatusMenuItem separator()
    {
        StatusMenuItem item;
        item.kind = Kind::separator;
        return item;
    }
};
