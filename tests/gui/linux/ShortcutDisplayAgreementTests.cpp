#include "Controllers/StatusMenuModel.h"
#include "Controllers/StatusMenuRenderer.h"
#include "Managers/HotKeyManager.h"
#include "Views/ShortcutRecorderView.h"

#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSettings.h"

#include <QAction>
#include <QMenu>

#include <gtest/gtest.h>

#include <utility>
#include <vector>

// The settings' recorder, the onboarding's display (the hot key manager's) and the status menu
// write the same shortcut the same way, in the desktop's words.
TEST(ShortcutDisplayAgreement, MenuRecorderAndManagerShowTheSameWords)
{
    TestSettings settings;
    // Nothing is stored yet, so nothing is registered: only the display is used.
    HotKeyManager manager(settings.get());

    const std::vector<std::pair<std::pair<std::uint32_t, std::uint32_t>, QString>> shortcuts = {
        {{37, 0x1800}, QStringLiteral("Ctrl+Alt+L")},
        {{40, 0x1300}, QStringLiteral("Ctrl+Shift+Super+K")},
        {{29, 0x100}, QStringLiteral("Super+0")},
        {{38, 0x1B00}, QStringLiteral("Ctrl+Alt+Shift+Super+J")},
    };
    for (const auto& [shortcut, words] : shortcuts) {
        const auto [code, modifiers] = shortcut;
        settings->setHotKeyCode(code);
        settings->setHotKeyModifiers(modifiers);

        StatusMenuState state;
        state.selectedProject =
            TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web"));
        state.hotKeyCode = code;
        state.hotKeyModifiers = modifiers;
        QMenu menu;
        StatusMenuRenderer::populate(&menu, StatusMenuModel::build(state), {});
        const QString mainText = menu.actions().first()->text();

        EXPECT_EQ(mainText, QStringLiteral("Find localhost:3000\t") + words);
        EXPECT_EQ(ShortcutRecorderView::displayString(code, modifiers), words);
        EXPECT_EQ(manager.hotkeyDisplayString(), words);
    }
}
