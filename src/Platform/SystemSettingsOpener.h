#pragma once

#include <QString>

#include <memory>

// Opens a pane of the system settings by its "x-apple.systempreferences:" address. macOS hands
// the address to the workspace; Linux has no handler for such addresses and logs a line.
class SystemSettingsOpener
{
public:
    virtual ~SystemSettingsOpener() = default;

    virtual void open(const QString& address) = 0;

    // The platform's own opener.
    static std::shared_ptr<SystemSettingsOpener> makeSystemOpener();
};
