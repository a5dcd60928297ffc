#include "HotKeyManager.h"

#include "HotKey/Key.h"
#include "HotKey/KeyCombo.h"
#include "HotKey/ModifierFlags.h"
#include "HotKey/ShortcutText.h"
#include "Managers/SettingsManager.h"
#include "Utilities/Log.h"

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
        setRegistration(std::nullopt);
        return;
    }
    const std::uint32_t modifiers = settingsManager->hotKeyModifiers();
    const std::optional<Key> key = Key::fromCarbonKeyCode(keyCode);
    if (!key) {
        setRegistration(HotKeyRegistration::unavailable);
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
    // The answer may change while the shortcut lives: a new keyboard layout, a late consent.
    connect(hotKey.get(), &HotKey::registrationChanged, this,
            [this](HotKeyRegistration registration) { setRegistration(registration); });
    setRegistration(hotKey->registration());
}

void HotKeyManager::setRegistration(std::optional<HotKeyRegistration> registration)
{
    const bool changed = registration != currentRegistration;
    currentRegistration = registration;
    if (registration && registration != HotKeyRegistration::registered) {
        const QString shortcut = hotkeyDisplayString();
        Log::line(registration == HotKeyRegistration::taken
                      ? QStringLiteral("⚠️ [HotKeyManager] Shortcut %1 is taken by another app")
                            .arg(shortcut)
                      : QStringLiteral("⚠️ [HotKeyManager] Shortcut %1 is not available here")
                            .arg(shortcut));
    }
    if (changed) {
        emit registrationChanged();
    }
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

QString HotKeyManager::registrationProblem() const
{
    if (!currentRegistration) {
        return {};
    }
    return problemText(*currentRegistration, hotkeyDisplayString());
}

QString HotKeyManager::problemText(HotKeyRegistration registration, const QString& shortcut)
{
    switch (registration) {
    case HotKeyRegistration::registered:
        return {};
    case HotKeyRegistration::taken:
        return QStringLiteral("%1 is taken by another app. Choose another shortcut.").arg(shortcut);
    case HotKeyRegistration::unavailable:
        break;
    }
    return QStringLiteral("%1 is not available here. Choose another shortcut.").arg(shortcut);
}

HotKeyRegistration HotKeyManager::probe(std::uint32_t keyCode, std::uint32_t carbonModifiers) const
{
    const std::optional<Key> key = Key::fromCarbonKeyCode(keyCode);
    if (keyCode == 0 || !key) {
        return HotKeyRegistration::unavailable;
    }
    const KeyCombo combo(*key, ModifierFlags::fromCarbonFlags(carbonModifiers));
    if (hotKey && hotKey->keyCombo == combo && currentRegistration) {
        return *currentRegistration;
    }
    // Registered and dropped again before anything can press it.
    const HotKey trial(combo);
    return trial.registration();
}
