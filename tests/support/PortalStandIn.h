#pragma once

#include "support/PrivateSessionBus.h"

#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>

// The desktop's global shortcuts portal played by tests/helpers/portal-stand-in on a private
// session bus, and the orders a test gives it.
class PortalStandIn
{
public:
    explicit PortalStandIn(PrivateSessionBus& bus) : bus(bus) {}
    ~PortalStandIn();
    PortalStandIn(const PortalStandIn&) = delete;
    PortalStandIn& operator=(const PortalStandIn&) = delete;

    // Starts it with `arguments` ("--answer", "later", ...) and waits until it owns the portal's
    // name; `error` says why not.
    bool start(const QStringList& arguments, QString* error);
    void stop();

    // The calls it has received, one line each.
    QStringList calls() const;
    // How many BindShortcuts requests wait for `answer` (with "--answer later").
    int waiting() const;
    // Answers every waiting request as the user's choice in the dialog: grant, cancel, unbound.
    bool answer(const QString& choice) const;
    // Presses and releases the shortcut `id`.
    bool press(const QString& id) const;

    static QString executablePath();

private:
    PrivateSessionBus& bus;
    std::unique_ptr<QProcess> process;
};
