#pragma once

#include "HotKeyRegistration.h"
#include "KeyCombo.h"

#include <QObject>
#include <QUuid>

#include <concepts>
#include <functional>
#include <utility>

// One system-wide hot key, registered while it lives and is not paused. Its handlers run on the
// main thread when the combination is pressed or released.
class HotKey : public QObject
{
    Q_OBJECT
public:
    using Handler = std::function<void()>;

    explicit HotKey(KeyCombo keyCombo, Handler keyDownHandler = {}, Handler keyUpHandler = {});
    template <std::integral Code, std::integral Modifiers>
    HotKey(Code carbonKeyCode, Modifiers carbonModifiers, Handler keyDownHandler = {},
           Handler keyUpHandler = {})
        : HotKey(KeyCombo(carbonKeyCode, carbonModifiers), std::move(keyDownHandler),
                 std::move(keyUpHandler))
    {}
    HotKey(Key key, ModifierFlags modifiers, Handler keyDownHandler = {},
           Handler keyUpHandler = {});
    ~HotKey() override;

    const QUuid identifier;
    const KeyCombo keyCombo;
    Handler keyDownHandler;
    Handler keyUpHandler;

    bool isPaused() const { return paused; }
    // Pausing unregisters; resuming registers again, under a new id.
    void setPaused(bool isPaused);

    // The event manager's answer to the latest registration; it may change while the hot key
    // lives (a keyboard mapping change, an answer that comes later).
    HotKeyRegistration registration() const { return currentRegistration; }

signals:
    void registrationChanged(HotKeyRegistration registration);

private:
    friend class HotKeysController;
    void setRegistration(HotKeyRegistration registration);

    bool paused = false;
    HotKeyRegistration currentRegistration = HotKeyRegistration::unavailable;
};
