#pragma once

#include "HotKey/HotKey.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class SettingsManager;

// Owns the application's one global shortcut, read from the settings store.
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

    SettingsManager* settingsManager;
    // The live registration; resetting it unregisters the shortcut.
    std::unique_ptr<HotKey> hotKey;
    std::function<void()> onHotKeyPressed;
};
