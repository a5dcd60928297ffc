#include "Utilities/BrowserScripts.h"

namespace {

QString tellHeader(Browser browser)
{
    return QStringLiteral("tell application \"") + browser.appName() + QStringLiteral("\"\n");
}

} // namespace

QString BrowserScripts::escape(const QString& address)
{
    QString escaped = address;
    escaped.replace(QLatin1String("\\"), QLatin1String("\\\\"));
    escaped.replace(QLatin1String("\""), QLatin1String("\\\""));
    return escaped;
}

QString BrowserScripts::findTabAddress(const QString& url)
{
    QString address = url;
    address.remove(QStringLiteral("http://"));
    address.remove(QStringLiteral("https://"));
    return address;
}

QString BrowserScripts::activate(Browser browser)
{
    if (browser.appName().isEmpty()) {
        return QString();
    }
    return tellHeader(browser) + QStringLiteral("    activate\n"
                                                "end tell");
}

QString BrowserScripts::findTab(Browser browser, const QString& address)
{
    switch (browser) {
    case Browser::chrome:
    case Browser::edge:
        return tellHeader(browser) +
               QStringLiteral("    if not running then return false\n"
                              "    \n"
                              "    repeat with w in windows\n"
                              "        set tabIndex to 0\n"
                              "        repeat with t in tabs of w\n"
                              "            set tabIndex to tabIndex + 1\n"
                              "            set tabURL to URL of t\n"
                              "            if tabURL contains \"") +
               escape(address) +
               QStringLiteral("\" then\n"
                              "                set active tab index of w to tabIndex\n"
                              "                set index of w to 1\n"
                              "                activate\n"
                              "                return true\n"
                              "            end if\n"
                              "        end repeat\n"
                              "    end repeat\n"
                              "    return false\n"
                              "end tell");
    case Browser::firefox:
        return tellHeader(browser) + QStringLiteral("    if not running then return false\n"
                                                    "    activate\n"
                                                    "    return true\n"
                                                    "end tell");
    case Browser::auto_:
        break;
    }
    return QString();
}

QString BrowserScripts::openPrivateWindow(Browser browser, const QString& url)
{
    QString variable;
    QString mode;
    switch (browser) {
    case Browser::chrome:
        variable = QStringLiteral("incognitoWindow");
        mode = QStringLiteral("incognito");
        break;
    case Browser::edge:
        variable = QStringLiteral("inPrivateWindow");
        mode = QStringLiteral("InPrivate");
        break;
    case Browser::firefox:
    case Browser::auto_:
        return QString();
    }
    return tellHeader(browser) + QStringLiteral("    activate\n") + QStringLiteral("    set ") +
           variable + QStringLiteral(" to make new window with properties {mode:\"") + mode +
           QStringLiteral("\"}\n") + QStringLiteral("    set URL of active tab of ") + variable +
           QStringLiteral(" to \"") + escape(url) + QStringLiteral("\"\n") +
           QStringLiteral("end tell");
}

QString BrowserScripts::reload(Browser browser)
{
    switch (browser) {
    case Browser::chrome:
    case Browser::edge:
        return tellHeader(browser) + QStringLiteral("    reload active tab of front window\n"
                                                    "end tell");
    case Browser::firefox:
        return tellHeader(browser) + QStringLiteral("    activate\n"
                                                    "end tell\n"
                                                    "delay 0.1\n"
                                                    "tell application \"System Events\"\n"
                                                    "    keystroke \"r\" using command down\n"
                                                    "end tell");
    case Browser::auto_:
        break;
    }
    return QString();
}
