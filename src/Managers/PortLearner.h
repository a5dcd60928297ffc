#pragma once

#include "Managers/PrintedAddresses.h"

#include <QSet>

#include <optional>

// Which port a server wisp started really answers on when the project's own port stays silent.
// Only the ports its own processes listen on count: exactly one other than the project's is
// taken; none, or several, leave the project's port as it is. A printed address alone is never
// enough, but one on that port says the server is ready before the waits for it run out.
class PortLearner
{
public:
    explicit PortLearner(int projectPort) : projectPort(projectPort) {}

    // One chunk of the server's output.
    void readOutput(const QString& chunk) { printed.read(chunk); }

    // After the waits: the port the server's processes listen on in place of the project's.
    std::optional<int> learnedPort(const QSet<int>& listening) const;
    // During the waits: that port, once the server has also printed its address.
    std::optional<int> announcedPort(const QSet<int>& listening) const;

    QList<int> printedPorts() const { return printed.ports(); }

private:
    int projectPort;
    PrintedAddresses printed;
};
