#pragma once

#include "HotKey/HotKey.h"
#include "HotKey/HotKeyRegistration.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QString>

#include <chrono>
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
    // True while the desktop has not answered the registration of the stored shortcut.
    bool isWaiting() const { return currentRegistration == HotKeyRegistration::waiting; }
    // One line for the user when the stored shortcut is stored but the desktop did not let the
    // application have it; else empty (also while its answer is awaited).
    QString registrationProblem() const;
    // The line shown beside the stored shortcut: the problem, or the note that the desktop has
    // not answered yet; empty when registered or when none is stored.
    QString registrationText() const;
    // The line for a shortcut, shown as `shortcut`, that got `registration`: a problem for a
    // failure, "Waiting for the desktop to allow ..." while it is awaited, empty when registered.
    static QString registrationText(HotKeyRegistration registration, const QString& shortcut);
    // Whether the desktop said no, as opposed to registered or not answered yet.
    static bool isFailure(HotKeyRegistration registration);

    // Whether the combination could be registered now, without keeping it: the live
    // registration's answer when it is the live combination, else the answer to a registration
    // tried for the purpose and dropped again. A desktop that asks the user first answers later:
    // the trial is held until it does, or until `probeDeadline` has passed, which answers
    // `waiting`.
    QCoro::Task<HotKeyRegistration> probe(std::uint32_t keyCode, std::uint32_t carbonModifiers);
    // How long a probe waits for the desktop's answer.
    std::chrono::milliseconds probeDeadline = std::chrono::seconds(60);

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
