#include "Platform/linux/LinuxBrowserBackend.h"
#include "Platform/linux/X11WindowActivator.h"

#include "support/AwaitTask.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QKeyEvent>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QWidget>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

// What xdotool, an independent observer, says.
QString xdotool(const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral("xdotool"), arguments);
    if (!process.waitForFinished(30000)) {
        process.kill();
        process.waitForFinished();
        return QString();
    }
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QString focusedWindow()
{
    return xdotool({QStringLiteral("getwindowfocus")});
}

// An X client whose window has the class name `name` (and the title `title`, when given), as a
// browser's window would.
class ForeignWindow
{
public:
    explicit ForeignWindow(const QString& name, const QString& title = QString())
    {
        QStringList arguments{QStringLiteral("-name"), name};
        if (!title.isEmpty()) {
            arguments << QStringLiteral("-title") << title;
        }
        process.start(QStringLiteral("xmessage"), arguments << QStringLiteral("a browser window"));
        process.waitForStarted(30000);
        TestSupport::waitUntil(
            [&] {
                windowId = xdotool({QStringLiteral("search"),
                                    title.isEmpty() ? QStringLiteral("--classname")
                                                    : QStringLiteral("--name"),
                                    QLatin1Char('^') +
                                        QRegularExpression::escape(title.isEmpty() ? name : title) +
                                        QLatin1Char('$')})
                               .split(QLatin1Char('\n'))
                               .value(0);
                return !windowId.isEmpty();
            },
            30s);
    }
    ~ForeignWindow()
    {
        process.kill();
        process.waitForFinished(10000);
    }
    QString id() const { return windowId; }

private:
    QProcess process;
    QString windowId;
};

class KeyRecorder : public QWidget
{
public:
    QList<QPair<int, Qt::KeyboardModifiers>> keys;

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        keys.append({event->key(), event->modifiers()});
    }
};

bool hasControlR(const KeyRecorder& widget)
{
    for (const auto& [key, modifiers] : widget.keys) {
        if (key == Qt::Key_R && modifiers.testFlag(Qt::ControlModifier)) {
            return true;
        }
    }
    return false;
}

} // namespace

TEST(X11WindowActivatorTest, BrowserWindowFoundByClassIsRaisedAndFocused)
{
    KeyRecorder own;
    own.resize(200, 100);
    own.show();
    ASSERT_TRUE(TestSupport::waitUntil([&] {
        own.activateWindow();
        return focusedWindow() == QString::number(own.winId());
    }));

    ForeignWindow browser(QStringLiteral("firefox"));
    ASSERT_FALSE(browser.id().isEmpty());
    ASSERT_NE(focusedWindow(), browser.id());

    EXPECT_TRUE(X11WindowActivator::activate({}, {QStringLiteral("Firefox")}));
    EXPECT_TRUE(TestSupport::waitUntil([&] { return focusedWindow() == browser.id(); }));
}

TEST(X11WindowActivatorTest, WindowFoundByProcessIdIsFocused)
{
    ForeignWindow other(QStringLiteral("someone-else"));
    ASSERT_FALSE(other.id().isEmpty());

    KeyRecorder own;
    own.resize(200, 100);
    own.show();
    ASSERT_TRUE(TestSupport::waitUntil([&] { return own.winId() != 0; }));
    xdotool({QStringLiteral("windowfocus"), other.id()});
    ASSERT_TRUE(TestSupport::waitUntil([&] { return focusedWindow() == other.id(); }));

    EXPECT_TRUE(X11WindowActivator::activate({QCoreApplication::applicationPid()}, {}));
    EXPECT_TRUE(
        TestSupport::waitUntil([&] { return focusedWindow() == QString::number(own.winId()); }));
}

TEST(X11WindowActivatorTest, WindowWhoseTitleBeginsWithTheTabsIsPreferredToTheNewest)
{
    ForeignWindow older(QStringLiteral("chromium"), QStringLiteral("app - Chromium"));
    ForeignWindow newer(QStringLiteral("chromium"), QStringLiteral("other - Chromium"));
    ASSERT_FALSE(older.id().isEmpty());
    ASSERT_FALSE(newer.id().isEmpty());
    xdotool({QStringLiteral("windowfocus"), newer.id()});
    ASSERT_TRUE(TestSupport::waitUntil([&] { return focusedWindow() == newer.id(); }));

    EXPECT_TRUE(
        X11WindowActivator::activate({}, {QStringLiteral("chromium")}, QStringLiteral("app")));
    EXPECT_TRUE(TestSupport::waitUntil([&] { return focusedWindow() == older.id(); }));
}

TEST(X11WindowActivatorTest, BrowserWindowTitlesComeFrontFirst)
{
    ForeignWindow first(QStringLiteral("chromium"), QStringLiteral("one - Chromium"));
    ForeignWindow second(QStringLiteral("chromium"), QStringLiteral("two - Chromium"));
    ASSERT_FALSE(first.id().isEmpty());
    ASSERT_FALSE(second.id().isEmpty());
    const QStringList classes{QStringLiteral("chromium")};

    ASSERT_TRUE(X11WindowActivator::activate({}, classes, QStringLiteral("one")));
    EXPECT_TRUE(TestSupport::waitUntil([&] {
        return X11WindowActivator::titlesFrontToBack({}, classes) ==
               QStringList{QStringLiteral("one - Chromium"), QStringLiteral("two - Chromium")};
    }));
    ASSERT_TRUE(X11WindowActivator::activate({}, classes, QStringLiteral("two")));
    EXPECT_TRUE(TestSupport::waitUntil([&] {
        return X11WindowActivator::titlesFrontToBack({}, classes) ==
               QStringList{QStringLiteral("two - Chromium"), QStringLiteral("one - Chromium")};
    }));
}

TEST(X11WindowActivatorTest, WithoutAWindowOfThatTitleOneOfTheBrowsersIsStillRaised)
{
    KeyRecorder own;
    own.resize(200, 100);
    own.show();
    ForeignWindow browser(QStringLiteral("chromium"), QStringLiteral("other - Chromium"));
    ASSERT_FALSE(browser.id().isEmpty());
    xdotool({QStringLiteral("windowfocus"), QString::number(own.winId())});
    ASSERT_TRUE(
        TestSupport::waitUntil([&] { return focusedWindow() == QString::number(own.winId()); }));

    EXPECT_TRUE(X11WindowActivator::activate({}, {QStringLiteral("chromium")},
                                             QStringLiteral("elsewhere")));
    EXPECT_TRUE(TestSupport::waitUntil([&] { return focusedWindow() == browser.id(); }));
}

TEST(X11WindowActivatorTest, NoMatchingWindowIsReported)
{
    EXPECT_FALSE(X11WindowActivator::activate({999999999}, {QStringLiteral("no-such-browser")}));
}

TEST(X11WindowActivatorTest, ReloadKeystrokeReachesTheFocusedWindow)
{
    KeyRecorder own;
    own.resize(200, 100);
    own.show();
    ASSERT_TRUE(TestSupport::waitUntil([&] { return own.winId() != 0; }));
    ASSERT_TRUE(X11WindowActivator::activate({QCoreApplication::applicationPid()}, {}));
    ASSERT_TRUE(TestSupport::waitUntil([&] { return own.isActiveWindow(); }));

    EXPECT_TRUE(X11WindowActivator::sendReloadKeystroke());
    EXPECT_TRUE(TestSupport::waitUntil([&] { return hasControlR(own); }));
}

TEST(X11WindowActivatorTest, RunningFirefoxIsFoundAndItsWindowBroughtForward)
{
    // A process named firefox runs, and a window of class firefox is on the display.
    QTemporaryDir bin;
    ASSERT_TRUE(bin.isValid());
    const QString standIn = QDir(bin.path()).filePath(QStringLiteral("firefox"));
    ASSERT_TRUE(QFile::copy(TestSupport::fixturePath(QStringLiteral("record-arguments")), standIn));
    QFile::setPermissions(standIn, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QProcess running;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("WISP_STANDIN_STAY"), QStringLiteral("1"));
    running.setProcessEnvironment(environment);
    running.start(standIn, {});
    ASSERT_TRUE(running.waitForStarted(30000));

    KeyRecorder own;
    own.resize(200, 100);
    own.show();
    ForeignWindow window(QStringLiteral("firefox"));
    ASSERT_FALSE(window.id().isEmpty());
    xdotool({QStringLiteral("windowfocus"), QString::number(own.winId())});
    ASSERT_TRUE(
        TestSupport::waitUntil([&] { return focusedWindow() == QString::number(own.winId()); }));

    LinuxBrowserBackend backend;
    EXPECT_TRUE(TestSupport::awaitTask(
        backend.findTab(Browser::firefox, QStringLiteral("localhost:3000"))));
    EXPECT_TRUE(TestSupport::waitUntil([&] { return focusedWindow() == window.id(); }));

    running.kill();
    running.waitForFinished(10000);
}
