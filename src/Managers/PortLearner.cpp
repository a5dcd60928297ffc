#include "Managers/PortLearner.h"

std::optional<int> PortLearner::learnedPort(const QSet<int>& listening) const
{
    QSet<int> others = listening;
    others.remove(projectPort);
    if (others.size() != 1) {
        return std::nullopt;
    }
    return *others.cbegin();
}

std::optional<int> PortLearner::announcedPort(const QSet<int>& listening) const
{
    const std::optional<int> port = learnedPort(listening);
    if (port && printed.ports().contains(*port)) {
        return port;
    }
    return std::nullopt;
}
