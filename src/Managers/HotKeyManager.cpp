#include "HotKeyManager.h"

#include "HotKey/Key.h"
#include "HotKey/KeyCombo.h"
#include "HotKey/ModifierFlags.h"
#include "HotKey/ShortcutText.h"
#include "Managers/SettingsManager.h"

#include <QPointer>

#include <optional>

HotKeyManager::HotKeyManager(SettingsManager* settingsManager, QObject* parent)
    : QObject(parent), settingsManager(settingsManager)
{
    registerHotKey();
}

void HotKeyManager::registerHotKey()
{
    // The old registration goes first, even when nothing replaces it.
    hotKey.reset();

    // A stored code of 0 means no shortcut, so the A key (code 0) can never be one. Values
    // outside the unsigned 32-bit range are fatal in the store's getters.
    const std::uint32_t keyCode = settingsManager->hotKeyCode();
    if (keyCode == 0) {
        return;
    }
    const std::uint32_t modifiers = settingsManager->hotKeyModifiers();
    const std::optional<Key> key = Key::fromCarbonKeyCode(keyCode);
    if (!key) {
        return;
    }

    hotKey = std::make_unique<HotKey>(KeyCombo(*key, ModifierFlags::fromCarbonFlags(modifiers)));
    hotKey->keyDownHandler = [manager = QPointer<HotKeyManager>(this)] {
        if (manager && manager->onHotKeyPressed) {
            // A copy runs, so the callback may replace itself.
            const std::function<void()> callback = manager->onHotKeyPressed;
            callback();
        }
    };
}

QString HotKeyManager::hotkeyDisplayString() const
{
    const std::uint32_t keyCode = settingsManager->hotKeyCode();
    if (keyCode == 0) {
        return QStringLiteral("Not set");
    }
    QString keyText;
    if (const std::optional<Key> key = Key::fromCarbonKeyCode(keyCode)) {
        keyText = key->shortText().toUpper();
    }
    return ShortcutText::build(settingsManager->hotKeyModifiers(), keyText);
}
