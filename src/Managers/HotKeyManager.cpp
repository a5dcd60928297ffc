#include "HotKeyManager.h"

#include "HotKey/Key.h"
#include "HotKey/KeyCombo.h"
#include "HotKey/ModifierFlags.h"
#include "HotKey/ShortcutText.h"
#include "Managers/SettingsManager.h"
#include "Utilities/Log.h"

#include <QCoro/QCoroSignal>
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
        switch (*registration) {
        case HotKeyRegistration::registered:
            break;
        case HotKeyRegistration::waiting:
            Log::line(QStringLiteral("⏳ [HotKeyManager] Waiting for the desktop to allow %1")
                          .arg(shortcut));
            break;
        case HotKeyRegistration::taken:
            Log::line(QStringLiteral("⚠️ [HotKeyManager] Shortcut %1 is taken by another app")
                          .arg(shortcut));
            break;
        case HotKeyRegistration::refused:
            Log::line(
                QStringLiteral("⚠️ [HotKeyManager] Shortcut %1 was not allowed by the desktop")
                    .arg(shortcut));
            break;
        case HotKeyRegistration::unavailable:
            Log::line(QStringLiteral("⚠️ [HotKeyManager] Shortcut %1 is not available here")
                          .arg(shortcut));
            break;
        }
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
    if (!currentRegistration || !isFailure(*currentRegistration)) {
        return {};
    }
    return registrationText(*currentRegistration, hotkeyDisplayString());
}

QString HotKeyManager::registrationText() const
{
    if (!currentRegistration) {
        return {};
    }
    return registrationText(*currentRegistration, hotkeyDisplayString());
}

QString HotKeyManager::registrationText(HotKeyRegistration registration, const QString& shortcut)
{
    switch (registration) {
    case HotKeyRegistration::registered:
        return {};
    case HotKeyRegistration::waiting:
        return QStringLiteral("Waiting for the desktop to allow %1").arg(shortcut);
    case HotKeyRegistration::taken:
        return QStringLiteral("%1 is taken by another app. Choose another shortcut.").arg(shortcut);
    case HotKeyRegistration::refused:
        return QStringLiteral("%1 was not allowed by the desktop. Choose another shortcut.")
            .arg(shortcut);
    case HotKeyRegistration::unavailable:
        break;
    }
    return QStringLiteral("%1 is not available here. Choose another shortcut.").arg(shortcut);
}

bool HotKeyManager::isFailure(HotKeyRegistration registration)
{
    return registration != HotKeyRegistration::registered &&
           registration != HotKeyRegistration::waiting;
}

QCoro::Task<HotKeyRegistration> HotKeyManager::probe(std::uint32_t keyCode,
                                                     std::uint32_t carbonModifiers)
{
    const std::optional<Key> key = Key::fromCarbonKeyCode(keyCode);
    if (keyCode == 0 || !key) {
        co_return HotKeyRegistration::unavailable;
    }
    const KeyCombo combo(*key, ModifierFlags::fromCarbonFlags(carbonModifiers));
    if (hotKey && hotKey->keyCombo == combo && currentRegistration) {
        co_return *currentRegistration;
    }
    // The trial belongs to this probe alone, so its answer or the deadline always ends the wait,
    // whatever happens to the manager meanwhile; it is dropped when the probe ends.
    const auto trial = std::make_unique<HotKey>(combo);
    if (trial->registration() != HotKeyRegistration::waiting) {
        co_return trial->registration();
    }
    const std::chrono::milliseconds deadline = probeDeadline;
    const std::optional<HotKeyRegistration> answer =
        co_await qCoro(trial.get(), &HotKey::registrationChanged, deadline);
    co_return answer.value_or(HotKeyRegistration::waiting);
}
