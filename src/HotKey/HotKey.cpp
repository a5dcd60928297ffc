#include "HotKey.h"

#include "HotKeysController.h"

#include <utility>

HotKey::HotKey(KeyCombo keyCombo, Handler keyDownHandler, Handler keyUpHandler)
    : identifier(QUuid::createUuid())
    , keyCombo(keyCombo)
    , keyDownHandler(std::move(keyDownHandler))
    , keyUpHandler(std::move(keyUpHandler))
{
    HotKeysController::register_(this);
}

HotKey::HotKey(Key key, ModifierFlags modifiers, Handler keyDownHandler, Handler keyUpHandler)
    : HotKey(KeyCombo(key, modifiers), std::move(keyDownHandler), std::move(keyUpHandler))
{}

HotKey::~HotKey()
{
    HotKeysController::unregister(this);
}

void HotKey::setPaused(bool isPaused)
{
    paused = isPaused;
    if (paused) {
        HotKeysController::unregister(this);
    } else {
        HotKeysController::register_(this);
    }
}

void HotKey::setRegistration(HotKeyRegistration registration)
{
    if (registration == currentRegistration) {
        return;
    }
    currentRegistration = registration;
    emit registrationChanged(registration);
}
