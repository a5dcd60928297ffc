#include "Managers/ServerManager.h"
#include "Platform/ListeningPorts.h"
#include "Platform/SystemTools.h"

#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>

#include <gtest/gtest.h>

#include <cstring>
#include <optional>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

// The in-process port check against real sockets, each answer next to what the real lsof port
// query says about the same port.

namespace {

// A TCP socket of the test's own, closed when it goes.
class Socket
{
public:
    explicit Socket(int family) : fd(::socket(family, SOCK_STREAM, 0))
    {
        // Not handed on to the lsof runs.
        if (fd >= 0) {
            ::fcntl(fd, F_SETFD, FD_CLOEXEC);
        }
    }
    ~Socket()
    {
        if (fd >= 0) {
            ::close(fd);
        }
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    bool valid() const { return fd >= 0; }

    void setIpv6Only(bool only)
    {
        const int value = only ? 1 : 0;
        ::setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &value, sizeof(value));
    }

    bool bindIpv4(const char* address, int port)
    {
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_port = htons(static_cast<uint16_t>(port));
        ::inet_pton(AF_INET, address, &local.sin_addr);
        return ::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof(local)) == 0;
    }

    bool bindIpv6(const char* address, int port)
    {
        sockaddr_in6 local{};
        local.sin6_family = AF_INET6;
        local.sin6_port = htons(static_cast<uint16_t>(port));
        ::inet_pton(AF_INET6, address, &local.sin6_addr);
        return ::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof(local)) == 0;
    }

    bool listen() { return ::listen(fd, 4) == 0; }

    bool connectIpv4(const char* address, int port)
    {
        sockaddr_in remote{};
        remote.sin_family = AF_INET;
        remote.sin_port = htons(static_cast<uint16_t>(port));
        ::inet_pton(AF_INET, address, &remote.sin_addr);
        return ::connect(fd, reinterpret_cast<const sockaddr*>(&remote), sizeof(remote)) == 0;
    }

private:
    int fd;
};

// What the lsof port query (with its stderr rule) answers for `port`.
bool lsofAnswers(int port)
{
    QProcess lsof;
    lsof.setProcessChannelMode(QProcess::MergedChannels);
    lsof.start(SystemTools::lsof(), ServerManager::portQueryArguments(port));
    EXPECT_TRUE(lsof.waitForFinished(30000));
    return !lsof.readAll().trimmed().isEmpty();
}

bool ipv6Available()
{
    Socket probe(AF_INET6);
    return probe.valid() && probe.bindIpv6("::1", 0);
}

// A port above 32767 that nothing uses now: its number no longer fits a signed 16-bit value.
int freeHighPort()
{
    for (int attempt = 0; attempt < 200; ++attempt) {
        const int port = QRandomGenerator::global()->bounded(40000, 65000);
        Socket v4(AF_INET);
        Socket v6(AF_INET6);
        v6.setIpv6Only(true);
        if (v4.bindIpv4("0.0.0.0", port) && (!ipv6Available() || v6.bindIpv6("::", port))) {
            return port;
        }
    }
    return 0;
}

class ListeningPortsCheck : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!QFileInfo(SystemTools::lsof()).isExecutable()) {
            GTEST_SKIP() << SystemTools::lsof().toStdString() << " is not installed";
        }
        ASSERT_TRUE(ListeningPorts::readingKernel());
        port = TestSupport::freePort();
    }

    // The check's answer, which must be lsof's too.
    bool answerMatchingLsof(int checked)
    {
        const std::optional<bool> answer = ListeningPorts::listenerOn(checked);
        EXPECT_TRUE(answer.has_value()) << "the kernel's table could not be read";
        const bool lsof = lsofAnswers(checked);
        EXPECT_EQ(answer.value_or(!lsof), lsof) << "port " << checked;
        return answer.value_or(false);
    }

    int port = 0;
};

} // namespace

TEST_F(ListeningPortsCheck, NothingOnThePortIsNoListener)
{
    EXPECT_FALSE(answerMatchingLsof(port));
}

TEST_F(ListeningPortsCheck, AnIpv4OnlyListenerListens)
{
    Socket listener(AF_INET);
    ASSERT_TRUE(listener.bindIpv4("127.0.0.1", port));
    ASSERT_TRUE(listener.listen());

    EXPECT_TRUE(answerMatchingLsof(port));
}

TEST_F(ListeningPortsCheck, AnIpv6OnlyListenerListens)
{
    if (!ipv6Available()) {
        GTEST_SKIP() << "no IPv6 loopback here";
    }
    Socket listener(AF_INET6);
    listener.setIpv6Only(true);
    ASSERT_TRUE(listener.bindIpv6("::1", port));
    ASSERT_TRUE(listener.listen());

    EXPECT_TRUE(answerMatchingLsof(port));
}

TEST_F(ListeningPortsCheck, ADualStackListenerListens)
{
    if (!ipv6Available()) {
        GTEST_SKIP() << "no IPv6 here";
    }
    Socket listener(AF_INET6);
    listener.setIpv6Only(false);
    ASSERT_TRUE(listener.bindIpv6("::", port));
    ASSERT_TRUE(listener.listen());

    EXPECT_TRUE(answerMatchingLsof(port));
}

TEST_F(ListeningPortsCheck, AListenerOnAnIpv4MappedAddressListens)
{
    if (!ipv6Available()) {
        GTEST_SKIP() << "no IPv6 here";
    }
    Socket listener(AF_INET6);
    listener.setIpv6Only(false);
    ASSERT_TRUE(listener.bindIpv6("::ffff:127.0.0.1", port));
    ASSERT_TRUE(listener.listen());

    EXPECT_TRUE(answerMatchingLsof(port));
}

TEST_F(ListeningPortsCheck, ASocketBoundButNotListeningIsNoListener)
{
    Socket bound(AF_INET);
    ASSERT_TRUE(bound.bindIpv4("127.0.0.1", port));

    EXPECT_FALSE(answerMatchingLsof(port));
}

TEST_F(ListeningPortsCheck, AConnectedClientOnThePortNumberIsNoListener)
{
    // The client's own end has the port number; what it connects to listens elsewhere.
    const int serverPort = TestSupport::freePort();
    Socket server(AF_INET);
    ASSERT_TRUE(server.bindIpv4("127.0.0.1", serverPort));
    ASSERT_TRUE(server.listen());
    Socket client(AF_INET);
    ASSERT_TRUE(client.bindIpv4("127.0.0.1", port));
    ASSERT_TRUE(client.connectIpv4("127.0.0.1", serverPort));

    EXPECT_FALSE(answerMatchingLsof(port));
    EXPECT_TRUE(answerMatchingLsof(serverPort));
}

TEST_F(ListeningPortsCheck, AListenerAbove32767Listens)
{
    const int high = freeHighPort();
    ASSERT_GT(high, 32767);
    EXPECT_FALSE(answerMatchingLsof(high));

    Socket listener(AF_INET);
    ASSERT_TRUE(listener.bindIpv4("0.0.0.0", high));
    ASSERT_TRUE(listener.listen());

    EXPECT_TRUE(answerMatchingLsof(high));
}

TEST_F(ListeningPortsCheck, AClosedListenerNoLongerListens)
{
    {
        Socket listener(AF_INET);
        ASSERT_TRUE(listener.bindIpv4("127.0.0.1", port));
        ASSERT_TRUE(listener.listen());
        ASSERT_TRUE(answerMatchingLsof(port));
    }
    EXPECT_FALSE(answerMatchingLsof(port));
}

TEST_F(ListeningPortsCheck, PortNumbersOutsideTcpsRangeAreLeftToLsof)
{
    EXPECT_EQ(ListeningPorts::listenerOn(0), std::nullopt);
    EXPECT_EQ(ListeningPorts::listenerOn(65536), std::nullopt);
}

TEST_F(ListeningPortsCheck, TurnedOffEveryCheckIsLeftToLsof)
{
    Socket listener(AF_INET);
    ASSERT_TRUE(listener.bindIpv4("127.0.0.1", port));
    ASSERT_TRUE(listener.listen());

    ListeningPorts::setReadingKernel(false);
    const std::optional<bool> answer = ListeningPorts::listenerOn(port);
    ListeningPorts::setReadingKernel(true);

    EXPECT_EQ(answer, std::nullopt);
    EXPECT_EQ(ListeningPorts::listenerOn(port), std::optional<bool>(true));
}
