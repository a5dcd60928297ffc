#include "Platform/LoginItem.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#import <Foundation/Foundation.h>
#import <ServiceManagement/ServiceManagement.h>

namespace {

QString describe(NSError* error)
{
    return error ? QString::fromNSString(error.localizedDescription)
                 : QStringLiteral("Unknown error");
}

// The application itself as a login item: SMAppService's main app service from macOS 13 on,
// which System Settings lists under Login Items. On macOS 12 a launch agent in
// ~/Library/LaunchAgents, which launchd loads at login, opens the bundle instead.
class MacLoginItem final : public LoginItem
{
public:
    bool isEnabled() const override
    {
        if (@available(macOS 13.0, *)) {
            @autoreleasepool {
                // Waiting for the user's approval counts as on: the switch shows what was asked.
                const SMAppServiceStatus status = [[SMAppService mainAppService] status];
                return status == SMAppServiceStatusEnabled ||
                       status == SMAppServiceStatusRequiresApproval;
            }
        }
        return QFileInfo(launchAgentPath()).isFile();
    }

    bool setEnabled(bool enabled, QString* error) override
    {
        if (@available(macOS 13.0, *)) {
            @autoreleasepool {
                SMAppService* service = [SMAppService mainAppService];
                NSError* failure = nil;
                const bool done = enabled ? [service registerAndReturnError:&failure]
                                          : [service unregisterAndReturnError:&failure];
                if (!done && error) {
                    *error = describe(failure);
                }
                return done;
            }
        }
        return enabled ? writeLaunchAgent(error) : removeLaunchAgent(error);
    }

private:
    static QString launchAgentPath()
    {
        return QDir::homePath() + QStringLiteral("/Library/LaunchAgents/io.wisp.wisp.plist");
    }

    // The bundle that holds the running executable: Contents/MacOS/wisp -> wisp.app.
    static QString bundlePath()
    {
        return QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/../.."));
    }

    static QString escaped(QString text)
    {
        return text.replace(u'&', QStringLiteral("&amp;"))
            .replace(u'<', QStringLiteral("&lt;"))
            .replace(u'>', QStringLiteral("&gt;"));
    }

    static bool writeLaunchAgent(QString* error)
    {
        const QString path = launchAgentPath();
        QDir().mkpath(QFileInfo(path).absolutePath());
        const QString plist =
            QStringLiteral(
                "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                "<plist version=\"1.0\">\n"
                "<dict>\n"
                "    <key>Label</key>\n"
                "    <string>io.wisp.wisp</string>\n"
                "    <key>ProgramArguments</key>\n"
                "    <array>\n"
                "        <string>/usr/bin/open</string>\n"
                "        <string>%1</string>\n"
                "    </array>\n"
                "    <key>RunAtLoad</key>\n"
                "    <true/>\n"
                "    <key>LimitLoadToSessionType</key>\n"
                "    <string>Aqua</string>\n"
                "</dict>\n"
                "</plist>\n")
                .arg(escaped(bundlePath()));
        QSaveFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(plist.toUtf8()) < 0 || !file.commit()) {
            if (error) {
                *error = QStringLiteral("%1: %2").arg(path, file.errorString());
            }
            return false;
        }
        return true;
    }

    static bool removeLaunchAgent(QString* error)
    {
        QFile file(launchAgentPath());
        if (!file.exists() || file.remove()) {
            return true;
        }
        if (error) {
            *error = QStringLiteral("%1: %2").arg(file.fileName(), file.errorString());
        }
        return false;
    }
};

} // namespace

std::shared_ptr<LoginItem> LoginItem::makeSystemLoginItem()
{
    return std::make_shared<MacLoginItem>();
}
