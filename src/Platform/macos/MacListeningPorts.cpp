#include "Platform/ListeningPorts.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include <arpa/inet.h>
#include <libproc.h>
#include <sys/proc_info.h>
#include <sys/socket.h>

// libproc answers for the processes this user may inspect: the same processes, and so the same
// sockets, that lsof reports when run by the same user.

namespace {

template <typename Entry>
int byteSize(const std::vector<Entry>& entries)
{
    return static_cast<int>(entries.size() * sizeof(Entry));
}

// The ids of the processes `type` and `typeInfo` select (PROC_ALL_PIDS, or PROC_PGRP_ONLY and a
// group) into `pids`, which grows until the list fits and keeps its size for the next call.
// The count, or -1 with errno set when the kernel refuses.
int listProcesses(std::uint32_t type, std::uint32_t typeInfo, std::vector<pid_t>& pids)
{
    for (;;) {
        const int filled = proc_listpids(type, typeInfo, pids.data(), byteSize(pids));
        if (filled < 0) {
            return -1;
        }
        // A full buffer may have cut the list short.
        if (filled < byteSize(pids)) {
            return filled / static_cast<int>(sizeof(pid_t));
        }
        pids.resize(pids.size() * 2);
    }
}

// Calls `visit` with the local port of each TCP socket of `pid` in the LISTEN state, IPv4 or
// IPv6, until it returns true; true then. A process that has gone, or that belongs to another
// user, has no sockets to show.
template <typename Visit>
bool visitListeningPorts(pid_t pid, std::vector<proc_fdinfo>& descriptors, Visit visit)
{
    int filled = 0;
    for (;;) {
        filled = proc_pidinfo(pid, PROC_PIDLISTFDS, 0, descriptors.data(), byteSize(descriptors));
        if (filled <= 0) {
            return false;
        }
        if (filled < byteSize(descriptors)) {
            break;
        }
        descriptors.resize(descriptors.size() * 2);
    }
    const int count = filled / static_cast<int>(sizeof(proc_fdinfo));
    for (int index = 0; index < count; ++index) {
        const proc_fdinfo& descriptor = descriptors[static_cast<size_t>(index)];
        if (descriptor.proc_fdtype != PROX_FDTYPE_SOCKET) {
            continue;
        }
        socket_fdinfo details{};
        constexpr int detailsSize = static_cast<int>(sizeof(details));
        if (proc_pidfdinfo(pid, descriptor.proc_fd, PROC_PIDFDSOCKETINFO, &details, detailsSize) !=
            detailsSize) {
            continue;
        }
        const socket_info& info = details.psi;
        if (info.soi_kind != SOCKINFO_TCP ||
            (info.soi_family != AF_INET && info.soi_family != AF_INET6)) {
            continue;
        }
        const tcp_sockinfo& tcp = info.soi_proto.pri_tcp;
        if (tcp.tcpsi_state != TSI_S_LISTEN) {
            continue;
        }
        // The local port is kept in network byte order.
        const int port = ntohs(static_cast<std::uint16_t>(tcp.tcpsi_ini.insi_lport));
        if (visit(port)) {
            return true;
        }
    }
    return false;
}

QString processListFailure(int error)
{
    return QStringLiteral("the process list: ") + QString::fromLocal8Bit(std::strerror(error));
}

// The group's listening ports; nullopt when its members cannot be listed.
std::optional<QSet<int>> listeningPortsOfGroup(qint64 group)
{
    QSet<int> ports;
    if (group <= 0 || group > INT32_MAX) {
        return ports;
    }
    std::vector<pid_t> pids(64);
    std::vector<proc_fdinfo> descriptors(256);
    const int count = listProcesses(PROC_PGRP_ONLY, static_cast<std::uint32_t>(group), pids);
    if (count < 0) {
        return std::nullopt;
    }
    for (int index = 0; index < count; ++index) {
        const pid_t pid = pids[static_cast<size_t>(index)];
        if (pid > 0) {
            visitListeningPorts(pid, descriptors, [&](int port) {
                ports.insert(port);
                return false;
            });
        }
    }
    return ports;
}

} // namespace

std::optional<bool> ListeningPorts::listenerOn(int port)
{
    // lsof's own answer settles what a port number outside TCP's range means.
    if (!readingKernel() || port < 1 || port > 65535) {
        return std::nullopt;
    }
    // Kept per thread: a poll that finds the machine as before allocates nothing.
    thread_local std::vector<pid_t> pids(1024);
    thread_local std::vector<proc_fdinfo> descriptors(256);
    const int count = listProcesses(PROC_ALL_PIDS, 0, pids);
    if (count < 0) {
        noteUnreadable(processListFailure(errno));
        return std::nullopt;
    }
    for (int index = 0; index < count; ++index) {
        const pid_t pid = pids[static_cast<size_t>(index)];
        if (pid > 0 &&
            visitListeningPorts(pid, descriptors, [port](int found) { return found == port; })) {
            return true;
        }
    }
    return false;
}

std::optional<QSet<int>> ListeningPorts::kernelPortsOfGroup(qint64 group)
{
    return listeningPortsOfGroup(group);
}

QString ListeningPorts::unreadableForGroup(qint64 group)
{
    return QStringLiteral("the processes of group %1").arg(group);
}
