#include "Managers/PrintedAddresses.h"

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

namespace {

const QString esc = QStringLiteral("\x1B");

} // namespace

TEST(PrintedAddressesTest, FindsTheLocalAddressesThatDevelopmentServersPrint)
{
    EXPECT_EQ(PrintedAddresses::portsIn(QStringLiteral("🚀 astro ready at http://localhost:4321/")),
              QList<int>{4321});
    EXPECT_EQ(PrintedAddresses::portsIn(QStringLiteral("Serving at http://127.0.0.1:8080")),
              QList<int>{8080});
    EXPECT_EQ(PrintedAddresses::portsIn(QStringLiteral("  ➜  Local:   http://localhost:5173/")),
              QList<int>{5173});
    EXPECT_EQ(PrintedAddresses::portsIn(QStringLiteral("Listening on HTTP://LOCALHOST:3001")),
              QList<int>{3001});
    EXPECT_EQ(
        PrintedAddresses::portsIn(QStringLiteral("on http://0.0.0.0:8000 and http://[::1]:8001")),
        (QList<int>{8000, 8001}));
    EXPECT_EQ(PrintedAddresses::portsIn(QStringLiteral("https://localhost:8443/app")),
              QList<int>{8443});
}

TEST(PrintedAddressesTest, AddressesElsewhereWithoutAPortOrWithAnImpossiblePortAreNone)
{
    EXPECT_TRUE(
        PrintedAddresses::portsIn(QStringLiteral("Network: http://192.168.1.20:5173/")).isEmpty());
    EXPECT_TRUE(
        PrintedAddresses::portsIn(QStringLiteral("see https://example.com:8080/docs")).isEmpty());
    EXPECT_TRUE(PrintedAddresses::portsIn(QStringLiteral("open http://localhost/")).isEmpty());
    EXPECT_TRUE(PrintedAddresses::portsIn(QStringLiteral("http://localhost:0/")).isEmpty());
    EXPECT_TRUE(PrintedAddresses::portsIn(QStringLiteral("http://localhost:70000/")).isEmpty());
    EXPECT_TRUE(PrintedAddresses::portsIn(QStringLiteral("http://localhost:123456/")).isEmpty());
    EXPECT_TRUE(PrintedAddresses::portsIn(QStringLiteral("http://localhostess:3000/")).isEmpty());
}

TEST(PrintedAddressesTest, ColourCodesAreRemovedBeforeTheAddressIsRead)
{
    // As vite prints it: the port in bold, the whole address in cyan.
    const QString vite = QStringLiteral("  %1[32m➜%1[39m  %1[1mLocal%1[22m:   "
                                        "%1[36mhttp://localhost:%1[1m5173%1[22m/%1[39m")
                             .arg(esc);
    EXPECT_TRUE(PrintedAddresses::portsIn(vite).isEmpty());
    EXPECT_EQ(PrintedAddresses::withoutEscapes(vite),
              QStringLiteral("  ➜  Local:   http://localhost:5173/"));

    PrintedAddresses addresses;
    addresses.read(vite);
    EXPECT_EQ(addresses.ports(), QList<int>{5173});

    // A window title and a cursor move are no text either.
    EXPECT_EQ(
        PrintedAddresses::withoutEscapes(
            QStringLiteral("%1]0;server\x07%1[2Khttp://localhost:%1[1;33m4000%1[0m").arg(esc)),
        QStringLiteral("http://localhost:4000"));
}

TEST(PrintedAddressesTest, KeepsEachPortOnceInTheOrderPrinted)
{
    PrintedAddresses addresses;
    addresses.read(QStringLiteral("Local: http://localhost:4321/\nhttp://127.0.0.1:4321/"));
    addresses.read(QStringLiteral("Server at http://localhost:8080/"));
    addresses.read(QStringLiteral("again http://localhost:4321/"));
    EXPECT_EQ(addresses.ports(), (QList<int>{4321, 8080}));
}

TEST(PrintedAddressesTest, LooksOnlyAtTheFirstPartOfTheOutput)
{
    PrintedAddresses addresses;
    addresses.read(QString(PrintedAddresses::textLimit - 10, QLatin1Char('x')));
    // Straddles the limit: cut off before its port.
    addresses.read(QStringLiteral("http://localhost:3001/"));
    addresses.read(QStringLiteral("http://localhost:3002/"));
    EXPECT_TRUE(addresses.ports().isEmpty());

    PrintedAddresses early;
    early.read(QStringLiteral("http://localhost:3003/"));
    early.read(QString(PrintedAddresses::textLimit, QLatin1Char('x')));
    early.read(QStringLiteral("http://localhost:3004/"));
    EXPECT_EQ(early.ports(), QList<int>{3003});
}

TEST(PrintedAddressesTest, KeepsAtMostTheLimitOfPorts)
{
    PrintedAddresses addresses;
    QString text;
    for (int port = 4000; port < 4000 + PrintedAddresses::portLimit + 5; ++port) {
        text += QStringLiteral("http://localhost:%1/\n").arg(port);
    }
    addresses.read(text);
    ASSERT_EQ(addresses.ports().size(), PrintedAddresses::portLimit);
    EXPECT_EQ(addresses.ports().first(), 4000);
    EXPECT_EQ(addresses.ports().last(), 4000 + PrintedAddresses::portLimit - 1);
}
