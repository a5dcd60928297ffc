#include "Platform/linux/TcpSocketTable.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

struct Paths
{
    QByteArray ipv4 = QByteArrayLiteral("/proc/net/tcp");
    QByteArray ipv6 = QByteArrayLiteral("/proc/net/tcp6");
    // Stand-ins from tests are read as they are, without asking the kernel first.
    bool standIns = false;
};

// The kernel's state number of a listening TCP socket, as sock_diag numbers states.
constexpr int listenStateNumber = 10;

Paths& paths()
{
    static Paths instance;
    return instance;
}

// The whole file into `buffer`, which keeps its size from one read to the next, so that a
// table that has not grown costs no allocation. The byte count, or -1 with errno set.
ssize_t readWhole(const char* path, std::vector<char>& buffer)
{
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return -1;
    }
    size_t size = 0;
    for (;;) {
        if (buffer.size() - size < 4096) {
            buffer.resize(std::max<size_t>(buffer.size() * 2, 64 * 1024));
        }
        const ssize_t got = ::read(fd, buffer.data() + size, buffer.size() - size);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            const int error = errno;
            ::close(fd);
            errno = error;
            return -1;
        }
        if (got == 0) {
            break;
        }
        size += static_cast<size_t>(got);
    }
    ::close(fd);
    return static_cast<ssize_t>(size);
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return -1;
}

// A hex number of at most eight digits; -1 when `text` is empty, longer or not hex.
long hexValue(std::string_view text)
{
    if (text.empty() || text.size() > 8) {
        return -1;
    }
    long value = 0;
    for (const char c : text) {
        const int digit = hexDigit(c);
        if (digit < 0) {
            return -1;
        }
        value = value * 16 + digit;
    }
    return value;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

// The next blank-separated field of `line` from `position` on; empty at the end.
std::string_view nextField(std::string_view line, size_t& position)
{
    while (position < line.size() && isBlank(line[position])) {
        ++position;
    }
    const size_t start = position;
    while (position < line.size() && !isBlank(line[position])) {
        ++position;
    }
    return line.substr(start, position - start);
}

// One sock_diag dump of `family`'s TCP sockets in the LISTEN state with local port `port`: the
// kernel walks only its table of listeners and filters them itself. Nullopt when the socket
// cannot be asked.
std::optional<bool> diagListener(int fd, int family, int port)
{
    struct
    {
        nlmsghdr header;
        inet_diag_req_v2 request;
    } message{};
    message.header.nlmsg_len = sizeof(message);
    message.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    message.header.nlmsg_seq = static_cast<__u32>(family);
    message.request.sdiag_family = static_cast<__u8>(family);
    message.request.sdiag_protocol = IPPROTO_TCP;
    message.request.idiag_states = 1U << listenStateNumber;
    message.request.id.idiag_sport = htons(static_cast<uint16_t>(port));
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (::sendto(fd, &message, sizeof(message), 0, reinterpret_cast<const sockaddr*>(&kernel),
                 sizeof(kernel)) < 0) {
        return std::nullopt;
    }
    alignas(nlmsghdr) char buffer[8192];
    bool found = false;
    for (;;) {
        const ssize_t got = ::recv(fd, buffer, sizeof(buffer), 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return std::nullopt;
        }
        // Walked by hand rather than with NLMSG_OK, whose int length compares with the unsigned
        // message length.
        std::size_t remaining = static_cast<std::size_t>(got);
        const char* at = buffer;
        while (remaining >= sizeof(nlmsghdr)) {
            const auto* header = reinterpret_cast<const nlmsghdr*>(at);
            if (header->nlmsg_len < sizeof(nlmsghdr) || header->nlmsg_len > remaining) {
                break;
            }
            if (header->nlmsg_type == NLMSG_DONE) {
                return found;
            }
            if (header->nlmsg_type == NLMSG_ERROR) {
                return std::nullopt;
            }
            if (header->nlmsg_type == SOCK_DIAG_BY_FAMILY) {
                const auto* socket = static_cast<const inet_diag_msg*>(NLMSG_DATA(header));
                if (socket->idiag_state == listenStateNumber &&
                    ntohs(socket->id.idiag_sport) == port) {
                    found = true;
                }
            }
            const std::size_t step = NLMSG_ALIGN(header->nlmsg_len);
            if (step >= remaining) {
                break;
            }
            at += step;
            remaining -= step;
        }
    }
}

// Asks the kernel through sock_diag, IPv4 and IPv6 sockets (dual-stack ones included) in turn.
// Nullopt when sock_diag is not to be had; an IPv6 part it refuses is a kernel without IPv6.
std::optional<bool> diagListener(int port)
{
    const int fd = ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
    if (fd < 0) {
        return std::nullopt;
    }
    std::optional<bool> answer = diagListener(fd, AF_INET, port);
    if (answer && !*answer) {
        answer = diagListener(fd, AF_INET6, port).value_or(false);
    }
    ::close(fd);
    return answer;
}

QString describeFailure(const QByteArray& path, const char* reason)
{
    return QFile::decodeName(path) + QStringLiteral(": ") + QString::fromLocal8Bit(reason);
}

} // namespace

bool TcpSocketTable::looksLikeTable(std::string_view text)
{
    size_t position = 0;
    const std::string_view line = text.substr(0, text.find('\n'));
    return nextField(line, position) == "sl" && nextField(line, position) == "local_address";
}

bool TcpSocketTable::listsListener(std::string_view table, int port)
{
    size_t lineStart = table.find('\n');
    while (lineStart != std::string_view::npos && lineStart < table.size()) {
        ++lineStart;
        const size_t lineEnd = std::min(table.find('\n', lineStart), table.size());
        const std::string_view line = table.substr(lineStart, lineEnd - lineStart);
        lineStart = lineEnd;

        size_t position = 0;
        nextField(line, position); // "sl:"
        const std::string_view local = nextField(line, position);
        nextField(line, position); // the remote address
        const std::string_view state = nextField(line, position);
        if (hexValue(state) != listenState) {
            continue;
        }
        const size_t colon = local.rfind(':');
        if (colon != std::string_view::npos && hexValue(local.substr(colon + 1)) == port) {
            return true;
        }
    }
    return false;
}

std::optional<bool> TcpSocketTable::hasListener(int port, QString* failure)
{
    const Paths& tables = paths();
    if (!tables.standIns) {
        if (const std::optional<bool> answer = diagListener(port)) {
            return answer;
        }
    }
    // One buffer per thread, kept: where the tables are read, they are read every poll.
    thread_local std::vector<char> buffer;
    for (const QByteArray* path : {&tables.ipv4, &tables.ipv6}) {
        const ssize_t size = readWhole(path->constData(), buffer);
        if (size < 0) {
            if (path == &tables.ipv6 && errno == ENOENT) {
                continue;
            }
            if (failure) {
                *failure = describeFailure(*path, std::strerror(errno));
            }
            return std::nullopt;
        }
        const std::string_view text(buffer.data(), static_cast<size_t>(size));
        if (!looksLikeTable(text)) {
            if (failure) {
                *failure = describeFailure(*path, "not a socket table");
            }
            return std::nullopt;
        }
        if (listsListener(text, port)) {
            return true;
        }
    }
    return false;
}

QByteArray TcpSocketTable::ipv4Path()
{
    return paths().ipv4;
}

QByteArray TcpSocketTable::ipv6Path()
{
    return paths().ipv6;
}

void TcpSocketTable::setPaths(const QString& ipv4, const QString& ipv6)
{
    const Paths kernel;
    paths().ipv4 = ipv4.isEmpty() ? kernel.ipv4 : QFile::encodeName(ipv4);
    paths().ipv6 = ipv6.isEmpty() ? kernel.ipv6 : QFile::encodeName(ipv6);
    paths().standIns = !ipv4.isEmpty() || !ipv6.isEmpty();
}
