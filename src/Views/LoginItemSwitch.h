#pragma once

#include <QCheckBox>

#include <memory>

class LoginItem;

// "Open at login": switches the platform's login item on and off. It shows the system's state
// whenever it is shown, since the user may remove the login item elsewhere; a change the system
// refuses is logged and the switch goes back.
class LoginItemSwitch : public QCheckBox
{
    Q_OBJECT
public:
    explicit LoginItemSwitch(std::shared_ptr<LoginItem> loginItem = nullptr,
                             QWidget* parent = nullptr);

    // Reads the system's state again.
    void refresh();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void apply(bool enabled);

    std::shared_ptr<LoginItem> loginItem;
};
