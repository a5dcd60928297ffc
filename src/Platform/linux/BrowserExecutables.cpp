#include "Platform/linux/BrowserExecutables.h"

#include <QStandardPaths>

namespace {

// The kernel keeps the first 15 bytes of an executable's name as the process name.
constexpr int commLength = 15;

} // namespace

QStringList BrowserExecutables::names(Browser browser)
{
    switch (browser) {
    case Browser::chrome:
        return {QStringLiteral("google-chrome-stable"), QStringLiteral("google-chrome"),
                QStringLiteral("chromium"), QStringLiteral("chromium-browser")};
    case Browser::edge:
        return {QStringLiteral("microsoft-edge-stable"), QStringLiteral("microsoft-edge")};
    case Browser::firefox:
        return {QStringLiteral("firefox"), QStringLiteral("firefox-esr")};
    case Browser::auto_:
        break;
    }
    return {};
}

QString BrowserExecutables::find(Browser browser)
{
    for (const QString& name : names(browser)) {
        const QString path = QStandardPaths::findExecutable(name);
        if (!path.isEmpty()) {
            return path;
        }
    }
    return QString();
}

QStringList BrowserExecutables::processNames(Browser browser)
{
    // The launchers above are often wrapper scripts; the browsers' own binaries are named
    // chrome (Google Chrome), chromium (Debian), msedge (Edge) and firefox / firefox-esr /
    // firefox-bin.
    QStringList result;
    switch (browser) {
    case Browser::chrome:
        result = {QStringLiteral("chrome"), QStringLiteral("chromium")};
        break;
    case Browser::edge:
        result = {QStringLiteral("msedge")};
        break;
    case Browser::firefox:
        result = {QStringLiteral("firefox-bin")};
        break;
    case Browser::auto_:
        return {};
    }
    for (const QString& name : names(browser)) {
        result.append(name.left(commLength));
    }
    result.removeDuplicates();
    return result;
}
