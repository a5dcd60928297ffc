#include "Platform/ListeningPorts.h"

#include "Platform/LsofListeningPorts.h"
#include "Platform/SystemTools.h"

// macOS has no /proc: lsof, restricted to the group, reads the kernel's socket tables.
QCoro::Task<QSet<int>> ListeningPorts::ofProcessGroup(qint64 group,
                                                      std::chrono::milliseconds deadline)
{
    return LsofListeningPorts::ofProcessGroup(SystemTools::lsof(), group, deadline);
}
