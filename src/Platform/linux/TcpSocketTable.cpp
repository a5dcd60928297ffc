#include "Platform/linux/TcpSocketTable.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

struct Paths
{
    QByteArray ipv4 = QByteArrayLiteral("/proc/net/tcp");
    QByteArray ipv6 = QByteArrayLiteral("/proc/net/tcp6");
};

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
    // One buffer per thread, kept: the tables are read every poll.
    thread_local std::vector<char> buffer;
    const Paths& tables = paths();
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
}
