#pragma once

#include "HotKey/HotKeyBackend.h"

// Hot keys registered with the Carbon event manager on the application's event dispatcher
// target. The event handler is installed once and stays for the life of the process.
class CarbonHotKeyBackend final : public HotKeyBackend
{
public:
    Registration registerHotKey(const KeyCombo& keyCombo, HotKeyEvent::HotKeyID hotKeyID) override;
    void unregisterHotKey(Ref registration) override;
    Ref installEventHandler() override;
};
