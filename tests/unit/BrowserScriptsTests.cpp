#include "Utilities/BrowserScripts.h"

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

// The expected texts are written out in full, byte for byte: no trailing newline, and the
// third line of the find script is four spaces.

TEST(BrowserScriptsTest, ActivateScripts)
{
    EXPECT_EQ(BrowserScripts::activate(Browser::chrome),
              QStringLiteral("tell application \"Google Chrome\"\n"
                             "    activate\n"
                             "end tell"));
    EXPECT_EQ(BrowserScripts::activate(Browser::firefox),
              QStringLiteral("tell application \"Firefox\"\n"
                             "    activate\n"
                             "end tell"));
    EXPECT_EQ(BrowserScripts::activate(Browser::edge),
              QStringLiteral("tell application \"Microsoft Edge\"\n"
                             "    activate\n"
                             "end tell"));
    EXPECT_EQ(BrowserScripts::activate(Browser::auto_), QString());
}

TEST(BrowserScriptsTest, ChromeFindScript)
{
    EXPECT_EQ(BrowserScripts::findTab(Browser::chrome, QStringLiteral("localhost:3000")),
              QString::fromUtf8(R"(tell application "Google Chrome"
    if not running then return false
    
    repeat with w in windows
        set tabIndex to 0
        repeat with t in tabs of w
            set tabIndex to tabIndex + 1
            set tabURL to URL of t
            if tabURL contains "localhost:3000" then
                set active tab index of w to tabIndex
                set index of w to 1
                activate
                return true
            end if
        end repeat
    end repeat
    return false
end tell)"));
}

TEST(BrowserScriptsTest, EdgeFindScript)
{
    EXPECT_EQ(BrowserScripts::findTab(Browser::edge, QStringLiteral("localhost:5173")),
              QString::fromUtf8(R"(tell application "Microsoft Edge"
    if not running then return false
    
    repeat with w in windows
        set tabIndex to 0
        repeat with t in tabs of w
            set tabIndex to tabIndex + 1
            set tabURL to URL of t
            if tabURL contains "localhost:5173" then
                set active tab index of w to tabIndex
                set index of w to 1
                activate
                return true
            end if
        end repeat
    end repeat
    return false
end tell)"));
}

TEST(BrowserScriptsTest, FindScriptsThirdLineIsFourSpaces)
{
    const QStringList lines =
        BrowserScripts::findTab(Browser::chrome, QStringLiteral("x")).split(QLatin1Char('\n'));
    ASSERT_GE(lines.size(), 3);
    EXPECT_EQ(lines[2], QStringLiteral("    "));
}

TEST(BrowserScriptsTest, FirefoxFindScriptIgnoresTheAddress)
{
    const QString expected = QString::fromUtf8(R"(tell application "Firefox"
    if not running then return false
    activate
    return true
end tell)");
    EXPECT_EQ(BrowserScripts::findTab(Browser::firefox, QStringLiteral("localhost:3000")),
              expected);
    EXPECT_EQ(BrowserScripts::findTab(Browser::firefox, QStringLiteral("other")), expected);
    EXPECT_EQ(BrowserScripts::findTab(Browser::auto_, QStringLiteral("x")), QString());
}

TEST(BrowserScriptsTest, ChromePrivateWindowScript)
{
    EXPECT_EQ(
        BrowserScripts::openPrivateWindow(Browser::chrome, QStringLiteral("http://localhost:3000")),
        QString::fromUtf8(R"(tell application "Google Chrome"
    activate
    set incognitoWindow to make new window with properties {mode:"incognito"}
    set URL of active tab of incognitoWindow to "http://localhost:3000"
end tell)"));
}

TEST(BrowserScriptsTest, EdgePrivateWindowScript)
{
    EXPECT_EQ(BrowserScripts::openPrivateWindow(Browser::edge,
                                                QStringLiteral("https://app.example.com/a")),
              QString::fromUtf8(R"(tell application "Microsoft Edge"
    activate
    set inPrivateWindow to make new window with properties {mode:"InPrivate"}
    set URL of active tab of inPrivateWindow to "https://app.example.com/a"
end tell)"));
}

TEST(BrowserScriptsTest, FirefoxAndAutoHaveNoPrivateWindowScript)
{
    EXPECT_EQ(BrowserScripts::openPrivateWindow(Browser::firefox, QStringLiteral("http://x")),
              QString());
    EXPECT_EQ(BrowserScripts::openPrivateWindow(Browser::auto_, QStringLiteral("http://x")),
              QString());
}

TEST(BrowserScriptsTest, ReloadScripts)
{
    EXPECT_EQ(BrowserScripts::reload(Browser::chrome),
              QString::fromUtf8(R"(tell application "Google Chrome"
    reload active tab of front window
end tell)"));
    EXPECT_EQ(BrowserScripts::reload(Browser::edge),
              QString::fromUtf8(R"(tell application "Microsoft Edge"
    reload active tab of front window
end tell)"));
    EXPECT_EQ(BrowserScripts::reload(Browser::firefox),
              QString::fromUtf8(R"(tell application "Firefox"
    activate
end tell
delay 0.1
tell application "System Events"
    keystroke "r" using command down
end tell)"));
    EXPECT_EQ(BrowserScripts::reload(Browser::auto_), QString());
}

TEST(BrowserScriptsTest, EscapeDoublesBackslashesThenEscapesQuotes)
{
    EXPECT_EQ(BrowserScripts::escape(QStringLiteral("plain:3000/a?b=c&d")),
              QStringLiteral("plain:3000/a?b=c&d"));
    EXPECT_EQ(BrowserScripts::escape(QStringLiteral("a\"b")), QStringLiteral("a\\\"b"));
    EXPECT_EQ(BrowserScripts::escape(QStringLiteral("a\\b")), QStringLiteral("a\\\\b"));
    // Backslashes first: the backslash added before a quote is not doubled again.
    EXPECT_EQ(BrowserScripts::escape(QStringLiteral("\\\"")), QStringLiteral("\\\\\\\""));
    // Nothing else is escaped.
    EXPECT_EQ(BrowserScripts::escape(QStringLiteral("'é\t\n")), QStringLiteral("'é\t\n"));
}

TEST(BrowserScriptsTest, AddressWithQuoteOrBackslashCannotEndTheStringEarly)
{
    const QString hostile = QStringLiteral("x\" then\nend tell\ndo shell script \"rm -rf ~\\");
    const QString script = BrowserScripts::openPrivateWindow(Browser::chrome, hostile);
    EXPECT_EQ(script, QStringLiteral("tell application \"Google Chrome\"\n"
                                     "    activate\n"
                                     "    set incognitoWindow to make new window with properties "
                                     "{mode:\"incognito\"}\n"
                                     "    set URL of active tab of incognitoWindow to \"x\\\" "
                                     "then\nend tell\ndo shell script \\\"rm -rf ~\\\\\"\n"
                                     "end tell"));

    // Reading the literal the way AppleScript does gives back exactly the address.
    const QString prefix = QStringLiteral("set URL of active tab of incognitoWindow to \"");
    qsizetype i = script.indexOf(prefix) + prefix.size();
    QString read;
    for (; i < script.size() && script[i] != QLatin1Char('"'); ++i) {
        if (script[i] == QLatin1Char('\\')) {
            ++i;
        }
        read.append(script[i]);
    }
    EXPECT_EQ(read, hostile);
    EXPECT_EQ(script.mid(i), QStringLiteral("\"\nend tell"));
}

TEST(BrowserScriptsTest, FindScriptEscapesTheAddress)
{
    const QString script =
        BrowserScripts::findTab(Browser::edge, QStringLiteral("localhost:3000/\"a\\b"));
    EXPECT_TRUE(
        script.contains(QStringLiteral("if tabURL contains \"localhost:3000/\\\"a\\\\b\" then\n")));
}

TEST(BrowserScriptsTest, FindTabAddressRemovesEveryHttpThenEveryHttps)
{
    EXPECT_EQ(BrowserScripts::findTabAddress(QStringLiteral("http://localhost:3000")),
              QStringLiteral("localhost:3000"));
    EXPECT_EQ(BrowserScripts::findTabAddress(QStringLiteral("https://app.example.com/x")),
              QStringLiteral("app.example.com/x"));
    EXPECT_EQ(BrowserScripts::findTabAddress(QStringLiteral("localhost:3000")),
              QStringLiteral("localhost:3000"));
    // Every occurrence, not only a leading one.
    EXPECT_EQ(BrowserScripts::findTabAddress(
                  QStringLiteral("http://a.test/?next=http://b.test&r=https://c.test")),
              QStringLiteral("a.test/?next=b.test&r=c.test"));
    // "http://" goes first, so "hthttp://tp://" becomes "http://" and stays removed only once.
    EXPECT_EQ(BrowserScripts::findTabAddress(QStringLiteral("hthttp://tp://x")),
              QStringLiteral("http://x"));
    // Case-sensitive, as a plain text removal.
    EXPECT_EQ(BrowserScripts::findTabAddress(QStringLiteral("HTTP://x")),
              QStringLiteral("HTTP://x"));
    // https:// keeps no stray "s" because http:// does not occur inside it.
    EXPECT_EQ(BrowserScripts::findTabAddress(QStringLiteral("https://http://x")),
              QStringLiteral("x"));
}
