#include "Utilities/Addresses.h"

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

TEST(AddressesTest, CustomAddressWithoutSchemeGetsHttps)
{
    EXPECT_EQ(Addresses::customAddress(QStringLiteral("staging.example.com")),
              QStringLiteral("https://staging.example.com"));
}

TEST(AddressesTest, CustomAddressWithSchemeIsUnchanged)
{
    EXPECT_EQ(Addresses::customAddress(QStringLiteral("http://x")), QStringLiteral("http://x"));
    EXPECT_EQ(Addresses::customAddress(QStringLiteral("https://staging.example.com/a?b=c")),
              QStringLiteral("https://staging.example.com/a?b=c"));
}

TEST(AddressesTest, CustomAddressBeginningWithHttpInTheHostNameIsUnchanged)
{
    EXPECT_EQ(Addresses::customAddress(QStringLiteral("httpbin.org")),
              QStringLiteral("httpbin.org"));
}

TEST(AddressesTest, CustomAddressIsTrimmedBeforeThePrefixTest)
{
    EXPECT_EQ(Addresses::customAddress(QStringLiteral(" \t staging.example.com\n\r")),
              QStringLiteral("https://staging.example.com"));
    EXPECT_EQ(Addresses::customAddress(QStringLiteral("\n http://x ")), QStringLiteral("http://x"));
}

TEST(AddressesTest, LocalAddressHasNoScheme)
{
    EXPECT_EQ(Addresses::localAddress(3000), QStringLiteral("localhost:3000"));
    EXPECT_EQ(Addresses::localAddress(8080), QStringLiteral("localhost:8080"));
}

TEST(AddressesTest, BrowserAddressGetsHttpUnlessItBeginsWithHttp)
{
    EXPECT_EQ(Addresses::browserAddress(QStringLiteral("localhost:3000")),
              QStringLiteral("http://localhost:3000"));
    EXPECT_EQ(Addresses::browserAddress(QStringLiteral("https://staging.example.com")),
              QStringLiteral("https://staging.example.com"));
    EXPECT_EQ(Addresses::browserAddress(QStringLiteral("httpbin.org")),
              QStringLiteral("httpbin.org"));
}
