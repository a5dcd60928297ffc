#include "Platform/BrowserLocator.h"

#include "Platform/linux/BrowserExecutables.h"

#include <QProcess>
#include <QStandardPaths>
#include <QStringList>

namespace {

// Maps a desktop entry name ("google-chrome.desktop") to the catalogue's identifier, so the
// default-browser logic compares the same identifiers on every platform.
QString identifierForDesktopEntry(const QString& entry)
{
    QString name = entry.trimmed().toLower();
    if (name.endsWith(QLatin1String(".desktop"))) {
        name.chop(8);
    }
    for (const Browser browser : {Browser::chrome, Browser::firefox, Browser::edge}) {
        for (const QString& executable : BrowserExecutables::names(browser)) {
            if (name == executable || name.startsWith(executable + QLatin1Char('_'))) {
                return browser.bundleIdentifier();
            }
        }
    }
    // Debian names Chromium's entry after the package; Firefox ESR has its own entry.
    if (name.contains(QLatin1String("chromium")) || name.contains(QLatin1String("chrome"))) {
        return Browser(Browser::chrome).bundleIdentifier();
    }
    if (name.contains(QLatin1String("firefox"))) {
        return Browser(Browser::firefox).bundleIdentifier();
    }
    if (name.contains(QLatin1String("edge"))) {
        return Browser(Browser::edge).bundleIdentifier();
    }
    return entry.trimmed();
}

class LinuxBrowserLocator final : public BrowserLocator
{
public:
    bool isInstalled(Browser browser) const override
    {
        return !BrowserExecutables::find(browser).isEmpty();
    }

    std::optional<QString> defaultBrowserIdentifier() const override
    {
        // Without a working xdg-settings the default is unknown rather than absent: an empty
        // identifier lets the installed browsers decide.
        const QString tool = QStandardPaths::findExecutable(QStringLiteral("xdg-settings"));
        if (tool.isEmpty()) {
            return QString();
        }
        QProcess process;
        process.setStandardInputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
        process.start(tool, {QStringLiteral("get"), QStringLiteral("default-web-browser")});
        if (!process.waitForFinished(5000) || process.exitStatus() != QProcess::NormalExit ||
            process.exitCode() != 0) {
            process.kill();
            process.waitForFinished(1000);
            return QString();
        }
        const QString entry = QString::fromUtf8(process.readAllStandardOutput()).trimmed();
        if (entry.isEmpty()) {
            return std::nullopt;
        }
        return identifierForDesktopEntry(entry);
    }
};

} // namespace

std::shared_ptr<BrowserLocator> BrowserLocator::makeSystemLocator()
{
    return std::make_shared<LinuxBrowserLocator>();
}
