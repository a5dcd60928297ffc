#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <string_view>

// The kernel's lists of the TCP sockets of this network namespace (the view lsof has too):
// /proc/net/tcp for IPv4 and /proc/net/tcp6 for IPv6, which also holds dual-stack sockets and
// those bound to IPv4-mapped addresses. Each line after the header is one socket:
// "sl local_address rem_address st ...", the local address as hex "ADDRESS:PORT" and the state
// as a hex number (0A: LISTEN).
class TcpSocketTable
{
public:
    static constexpr int listenState = 0x0A;

    // Whether either table lists a socket in the LISTEN state with local port `port`: asked
    // through sock_diag, where the kernel looks at its listeners only (reading the text tables
    // walks every bucket of the established-connection table too, milliseconds on a machine with
    // much memory), else read from the text tables. Nullopt, with the table and the reason in
    // `failure`, when a table cannot be read or is no such table. A missing IPv6 table is a
    // kernel without IPv6: it lists nothing.
    static std::optional<bool> hasListener(int port, QString* failure);

    // Whether the text of one table lists a LISTEN socket with local port `port`.
    static bool listsListener(std::string_view table, int port);
    // Whether `text` starts with a table's header line.
    static bool looksLikeTable(std::string_view text);

    // The text tables read: the kernel's own unless tests point them at stand-ins, which are
    // then read without asking sock_diag first (empty paths restore the kernel's own).
    static QByteArray ipv4Path();
    static QByteArray ipv6Path();
    static void setPaths(const QString& ipv4, const QString& ipv6);
};
