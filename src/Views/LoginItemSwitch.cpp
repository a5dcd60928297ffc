#include "Views/LoginItemSwitch.h"

#include "Platform/LoginItem.h"
#include "Utilities/Log.h"

#include <QSignalBlocker>

LoginItemSwitch::LoginItemSwitch(std::shared_ptr<LoginItem> loginItem, QWidget* parent)
    : QCheckBox(QStringLiteral("Open at login"), parent)
    , loginItem(loginItem ? std::move(loginItem) : LoginItem::makeSystemLoginItem())
{
    refresh();
    connect(this, &QCheckBox::toggled, this, &LoginItemSwitch::apply);
}

void LoginItemSwitch::refresh()
{
    const QSignalBlocker blocker(this);
    setChecked(loginItem->isEnabled());
}

void LoginItemSwitch::showEvent(QShowEvent* event)
{
    refresh();
    QCheckBox::showEvent(event);
}

void LoginItemSwitch::apply(bool enabled)
{
    QString error;
    if (loginItem->setEnabled(enabled, &error)) {
        Log::line(enabled ? QStringLiteral("✅ [LoginItem] wisp opens at login")
                          : QStringLiteral("✅ [LoginItem] wisp no longer opens at login"));
        return;
    }
    Log::line((enabled ? QStringLiteral("❌ [LoginItem] Could not open wisp at login: %1")
                       : QStringLiteral("❌ [LoginItem] Could not stop wisp opening at login: %1"))
                  .arg(error));
    refresh();
}
