#pragma once

#include "HotKey/HotKey.h"
#include "HotKey/HotKeyRegistration.h"

#include <QObject>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

class SettingsManager;

// Owns the application's one global shortcut, read from the settings store, and publishes
// whether the desktop really lets the application have it.
class HotKeyManager : public QObject
{
    Q_OBJECT
public:
    // Registers the stored shortcut at once.
    explicit HotKeyManager(SettingsManager* settingsManager, QObject* parent = nullptr);

    // Drops the current registration, then registers the stored shortcut, if any.
    void registerHotKey();
    // "Not set", or the modifiers in the desktop's words or symbols followed by the key's short
    // text ("Ctrl+Alt+L" on Linux, "⌃⌥L" on macOS).
    QString hotkeyDisplayString() const;

    // How the last registration went; none while no shortcut is stored.
    std::optional<HotKeyRegistration> registration() const { return currentRegistration; }
    // True when pressing the stored shortcut reaches the application.
    bool isRegistered() const { return currentRegistration == HotKeyRegistration::registered; }
    // One line for the user when the stored shortcut is stored but not registered; else empty.
    QString registrationProblem() const;
    // The line for a shortcut, shown as `shortcut`, that got `registration`; empty when
    // registered.
    static QString problemText(HotKeyRegistration registration, const QString& shortcut);

    // Whether the combination could be registered now, without keeping it: the live
    // registration's answer when it is the live combination, else the answer of a registration
    // tried and dropped at once.
    HotKeyRegistration probe(std::uint32_t keyCode, std::uint32_t carbonModifiers) const;

    SettingsManager* settingsManager;
    // The live registration; resetting it unregisters the shortcut.
    std::unique_ptr<HotKey> hotKey;
    std::function<void()> onHotKeyPressed;

signals:
    void registrationChanged();

private:
    void setRegistration(std::optional<HotKeyRegistration> registration);

    std::optional<HotKeyRegistration> currentRegistration;
};
