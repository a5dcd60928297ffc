#include "Desktop.h"
#include "WispProcess.h"

#include "Managers/SettingsManager.h"
#include "Models/Browser.h"
#include "support/PrivateSessionBus.h"
#include "support/TestSupport.h"

#include <QCursor>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

using namespace std::chrono_literals;
using namespace Desktop;
using TestSupport::waitUntil;

namespace {

const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");

// wisp's tray icon shown by a real StatusNotifierItem host (gtk-sni-tray-standalone, with
// status-notifier-watcher) on a private session bus: the host, not an XEmbed tray, turns the
// clicks on its own window into the item's Activate and ContextMenu calls.
class StatusNotifierTrayTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (const QString tool = missingProgram({QStringLiteral("status-notifier-watcher"),
                                                 QStringLiteral("gtk-sni-tray-standalone"),
                                                 QStringLiteral("xdotool"), QStringLiteral("xprop"),
                                                 QStringLiteral("xwininfo")});
            !tool.isEmpty()) {
            GTEST_SKIP() << tool.toStdString() << " is not installed";
        }
        QString error;
        ASSERT_TRUE(bus.start(&error)) << error.toStdString();
        startOnBus(watcher, QStringLiteral("status-notifier-watcher"), {});
        ASSERT_TRUE(waitUntil([&] { return bus.hasOwner(watcherName); }, 30s))
            << "the watcher did not start";
        startOnBus(host, QStringLiteral("gtk-sni-tray-standalone"),
                   {QStringLiteral("--bottom"), QStringLiteral("--end"), QStringLiteral("-s"),
                    QStringLiteral("32")});
        ASSERT_TRUE(waitUntil(
            [&] { return watcherProperty("IsStatusNotifierHostRegistered").toBool(); }, 30s))
            << "the host did not register with the watcher";

        ASSERT_TRUE(QFile::link(TestSupport::fixturePath(QStringLiteral("record-arguments")),
                                QDir(bin.path()).filePath(QStringLiteral("google-chrome-stable"))));
        SettingsManager settings(std::make_unique<QSettings>(
            QDir(config.path()).filePath(QStringLiteral("wisp/wisp.conf")), QSettings::IniFormat));
        settings.setHasCompletedOnboarding(true);
        settings.setProjectsFolder(QUrl::fromLocalFile(projects.path()));
        settings.setPreferredBrowser(Browser::chrome);
        // The main action opens this address in a private window of the stand-in browser.
        settings.setCustomURL(QStringLiteral("http://127.0.0.1:9/sni"));
        settings.setIsCustomURLActive(true);
    }

    void TearDown() override
    {
        if (wisp) {
            wisp->stopAndReport(HasFailure());
            wisp.reset();
        }
        for (QProcess* process : {&host, &watcher}) {
            process->kill();
            process->waitForFinished(10000);
        }
        if (HasFailure()) {
            for (const QString& program : {QStringLiteral("status-notifier-watcher"),
                                           QStringLiteral("gtk-sni-tray-standalone")}) {
                QFile log(toolLogs.filePath(program + QStringLiteral(".log")));
                if (log.open(QIODevice::ReadOnly)) {
                    std::fprintf(stderr, "--- %s ---\n%s\n", qPrintable(program),
                                 log.readAll().constData());
                }
            }
        }
        bus.stop();
    }

    void startOnBus(QProcess& process, const QString& program, const QStringList& arguments)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        bus.addTo(environment);
        // GTK would start the accessibility bus and dconf on the session bus; neither is needed.
        environment.insert(QStringLiteral("NO_AT_BRIDGE"), QStringLiteral("1"));
        environment.insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("memory"));
        process.setProcessEnvironment(environment);
        process.setStandardOutputFile(QProcess::nullDevice());
        // Kept in the test's own folder and shown when the test fails.
        process.setStandardErrorFile(toolLogs.filePath(program + QStringLiteral(".log")));
        process.start(program, arguments);
        ASSERT_TRUE(process.waitForStarted(30000)) << program.toStdString();
    }

    QVariant watcherProperty(const char* name)
    {
        QDBusMessage get = QDBusMessage::createMethodCall(
            watcherName, QStringLiteral("/StatusNotifierWatcher"),
            QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
        get << watcherName << QString::fromLatin1(name);
        const QDBusReply<QDBusVariant> reply = bus.connection().call(get);
        return reply.isValid() ? reply.value().variant() : QVariant();
    }

    // What the screen shows in `area` now.
    QImage grab(const QRect& area)
    {
        const QString path = screens.filePath(QStringLiteral("screen.png"));
        if (!Desktop::screenshot(path)) {
            return QImage();
        }
        const QImage image = QImage(path).copy(area);
        QFile::remove(path);
        return image;
    }

    void launchWisp()
    {
        QProcessEnvironment environment =
            WispProcess::environment(bin.path(), config.path(), temporary.path(), records.path());
        bus.addTo(environment);
        wisp = std::make_unique<WispProcess>(environment);
        ASSERT_TRUE(wisp->process.waitForStarted(10000));
        ASSERT_TRUE(waitUntil(
            [&] {
                return !watcherProperty("RegisteredStatusNotifierItems").toStringList().isEmpty();
            },
            30s))
            << "wisp's item never registered with the watcher";
    }

    // The host's icon for wisp, packed at the end of the host's bar, which holds nothing else.
    QPoint iconCentre()
    {
        QRect bar;
        waitUntil(
            [&] {
                // The host's widest window is its bar (GTK adds a small leader window).
                const QStringList ids =
                    xdotool({QStringLiteral("search"), QStringLiteral("--class"),
                             QStringLiteral("gtk-sni-tray-standalone")})
                        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
                for (const QString& id : ids) {
                    const QRect geometry = windowGeometry(id);
                    if (geometry.width() > bar.width()) {
                        bar = geometry;
                    }
                }
                return bar.width() > 64;
            },
            30s);
        return bar.width() > 64 ? QPoint(bar.right() - bar.height() / 2, bar.center().y())
                                : QPoint();
    }

    static QRect windowGeometry(const QString& id)
    {
        const QStringList shape =
            xdotool({QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), id})
                .split(QLatin1Char('\n'));
        const auto value = [&](const QString& key) {
            for (const QString& line : shape) {
                if (line.startsWith(key + QLatin1Char('='))) {
                    return line.mid(key.size() + 1).toInt();
                }
            }
            return 0;
        };
        return QRect(value(QStringLiteral("X")), value(QStringLiteral("Y")),
                     value(QStringLiteral("WIDTH")), value(QStringLiteral("HEIGHT")));
    }

    // What a host such as KDE Plasma does on a right click on an item that exports no menu of
    // its own: the item's ContextMenu method, at the pointer. (gtk-sni-tray tries to show the
    // item's menu object itself, which Qt leaves empty.)
    void rightClick(const QPoint& point)
    {
        xdotool(
            {QStringLiteral("mousemove"), QString::number(point.x()), QString::number(point.y())});
        const QString item =
            watcherProperty("RegisteredStatusNotifierItems").toStringList().value(0);
        const qsizetype slash = item.indexOf(QLatin1Char('/'));
        QDBusMessage call = QDBusMessage::createMethodCall(
            slash < 0 ? item : item.left(slash),
            slash < 0 ? QStringLiteral("/StatusNotifierItem") : item.mid(slash),
            QStringLiteral("org.kde.StatusNotifierItem"), QStringLiteral("ContextMenu"));
        call << point.x() << point.y();
        const QDBusMessage reply = bus.connection().call(call);
        ASSERT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
    }

    int browserLaunches() const
    {
        return QDir(records.path()).entryList({QStringLiteral("*.args")}, QDir::Files).size();
    }

    std::optional<XWindow> waitForMenu() { return waitForWindow(isMenu); }

    void closeMenu()
    {
        keys({QStringLiteral("Escape")});
        ASSERT_TRUE(waitUntil([] { return !visibleWispWindow(isMenu); }, 30s));
    }

    PrivateSessionBus bus;
    QProcess watcher;
    QProcess host;
    QTemporaryDir config;
    QTemporaryDir projects;
    QTemporaryDir bin;
    QTemporaryDir records;
    QTemporaryDir temporary;
    QTemporaryDir screens;
    QTemporaryDir toolLogs;
    std::unique_ptr<WispProcess> wisp;
};

} // namespace

TEST_F(StatusNotifierTrayTest, ClicksOnTheHostsIconActLikeClicksOnTheTrayIcon)
{
    if (QStandardPaths::findExecutable(QStringLiteral("import")).isEmpty()) {
        GTEST_SKIP() << "import (imagemagick) is not installed";
    }
    const QPoint icon = iconCentre();
    ASSERT_FALSE(icon.isNull());
    const QRect iconArea(icon - QPoint(16, 16), QSize(32, 32));
    const QImage empty = grab(iconArea);
    ASSERT_FALSE(empty.isNull());
    launchWisp();
    // The host draws the icon once it has read the item's properties.
    ASSERT_TRUE(waitUntil([&] { return grab(iconArea) != empty; }, 30s))
        << "the host never showed wisp's icon";

    // A single click runs the main action once, after the double-click interval.
    click(icon, 1);
    ASSERT_TRUE(waitUntil([&] { return browserLaunches() == 1; }, 30s))
        << "no main action after a click at " << icon.x() << "," << icon.y();

    // A double click opens the menu and runs nothing.
    xdotool({QStringLiteral("mousemove"), QString::number(icon.x()), QString::number(icon.y()),
             QStringLiteral("click"), QStringLiteral("--repeat"), QStringLiteral("2"),
             QStringLiteral("--delay"), QStringLiteral("100"), QStringLiteral("1")});
    const std::optional<XWindow> doubleClickMenu = waitForMenu();
    ASSERT_TRUE(doubleClickMenu.has_value()) << "a double click opened no menu";
    closeMenu();

    // A right click opens the menu at once, at the pointer: the host tells no icon geometry.
    rightClick(icon);
    const std::optional<XWindow> menu = waitForMenu();
    ASSERT_TRUE(menu.has_value()) << "a right click opened no menu";
    // Qt keeps the menu on the screen: it opens up and to the left of a pointer in the corner,
    // touching it.
    EXPECT_TRUE(menu->geometry.adjusted(-8, -8, 8, 8).contains(icon))
        << "menu at " << menu->geometry.x() << "," << menu->geometry.y() << " "
        << menu->geometry.width() << "x" << menu->geometry.height() << ", pointer at " << icon.x()
        << "," << icon.y();

    // A single click after all that runs the main action a second time only: the double click
    // ran none.
    closeMenu();
    click(icon, 1);
    ASSERT_TRUE(waitUntil([&] { return browserLaunches() == 2; }, 30s));

    // A menu choice: Quit, the last item.
    rightClick(icon);
    ASSERT_TRUE(waitForMenu().has_value());
    keys({QStringLiteral("Up"), QStringLiteral("Return")});
    ASSERT_TRUE(wisp->waitForExit()) << "wisp did not quit";
    EXPECT_EQ(wisp->process.exitCode(), 0);
    EXPECT_EQ(browserLaunches(), 2);
}
