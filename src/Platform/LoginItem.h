#pragma once

#include <QString>

#include <memory>

// Whether wisp opens when the user logs in. Linux writes or removes an autostart desktop entry;
// macOS registers the application as a login item with the system.
class LoginItem
{
public:
    virtual ~LoginItem() = default;

    virtual bool isEnabled() const = 0;
    // True when the login item now is as asked; false with the system's reason in `error`.
    virtual bool setEnabled(bool enabled, QString* error) = 0;

    // The platform's own login item.
    static std::shared_ptr<LoginItem> makeSystemLoginItem();
};
