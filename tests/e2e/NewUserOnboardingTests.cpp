#include "support/TestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QProcess>
#include <QScreen>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdio>
#include <optional>

// A new user's first run, as that user does it: wisp started with no settings on a display with a
// tray, the onboarding window driven with the mouse and keyboard through xdotool, Qt's own folder
// dialog, a shortcut recorded with a real key press, "Finish"; then that shortcut runs the main
// action. Each step's picture is saved in the build folder's test-screenshots/.
using namespace std::chrono_literals;
using TestSupport::waitUntil;

namespace {

QString run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    process.waitForFinished(30000);
    return QString::fromUtf8(process.readAll());
}

QString xdotool(const QStringList& arguments)
{
    return run(QStringLiteral("xdotool"), arguments);
}

// The visible window with exactly this name and its geometry.
std::optional<QRect> visibleWindowNamed(const QString& name)
{
    const QStringList ids =
        xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                 QStringLiteral("--name"), QLatin1Char('^') + name + QLatin1Char('$')})
            .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString& id : ids) {
        QMap<QString, int> values;
        const QString shell =
            xdotool({QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), id.trimmed()});
        for (const QString& line : shell.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            const QStringList pair = line.split(QLatin1Char('='));
            if (pair.size() == 2) {
                values.insert(pair.at(0), pair.at(1).toInt());
            }
        }
        const QRect geometry(values.value(QStringLiteral("X")), values.value(QStringLiteral("Y")),
                             values.value(QStringLiteral("WIDTH")),
                             values.value(QStringLiteral("HEIGHT")));
        if (geometry.width() > 64) {
            return geometry;
        }
    }
    return std::nullopt;
}

void click(const QPoint& point)
{
    xdotool({QStringLiteral("mousemove"), QString::number(point.x()), QString::number(point.y()),
             QStringLiteral("click"), QStringLiteral("1")});
}

class WispProcess
{
public:
    explicit WispProcess(const QProcessEnvironment& environment)
    {
        process.setProcessEnvironment(environment);
        process.setStandardOutputFile(QProcess::nullDevice());
        QObject::connect(&process, &QProcess::readyReadStandardError, [this] {
            partial += process.readAllStandardError();
            qsizetype end = 0;
            while ((end = partial.indexOf('\n')) >= 0) {
                lines.append(QString::fromUtf8(partial.left(end)));
                partial.remove(0, end + 1);
            }
        });
        process.start(QStringLiteral(WISP_BIN_DIR "/wisp"), QStringList());
    }

    ~WispProcess()
    {
        if (process.state() != QProcess::NotRunning) {
            process.terminate();
            if (!process.waitForFinished(5000)) {
                process.kill();
                process.waitForFinished(5000);
            }
        }
    }

    bool waitForLine(const QString& line, std::chrono::milliseconds timeout = 30s)
    {
        return waitUntil([&] { return lines.contains(line); }, timeout);
    }

    QProcess process;
    QStringList lines;

private:
    QByteArray partial;
};

class NewUserOnboardingTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty()) {
            GTEST_SKIP() << "xdotool is not installed";
        }
        TestSupport::writeFile(projects.path(), QStringLiteral("site/package.json"),
                               R"({"scripts": {"dev": "vite"}})");
        QDir().mkpath(screenshots);
    }

    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config.path());
        // The instance socket lives here, apart from any other wisp.
        environment.insert(QStringLiteral("TMPDIR"), temporary.path());
        const QString asan = environment.value(QStringLiteral("ASAN_OPTIONS"));
        environment.insert(QStringLiteral("ASAN_OPTIONS"),
                           asan.isEmpty() ? QStringLiteral("detect_leaks=0")
                                          : asan + QStringLiteral(":detect_leaks=0"));
        return environment;
    }

    QVariant stored(const QString& key) const
    {
        QSettings settings(QDir(config.path()).filePath(QStringLiteral("wisp/wisp.conf")),
                           QSettings::IniFormat);
        return settings.value(key);
    }

    static QImage grab(const QRect& area)
    {
        QScreen* screen = QGuiApplication::primaryScreen();
        return screen ? screen->grabWindow(0, area.x(), area.y(), area.width(), area.height())
                            .toImage()
                      : QImage();
    }

    void screenshot(const QString& name, const QRect& area)
    {
        const QImage picture = grab(area);
        EXPECT_FALSE(picture.isNull());
        EXPECT_TRUE(picture.save(QDir(screenshots).filePath(name + QStringLiteral(".png"))));
    }

    // Clicks and waits until the window shows something else.
    void clickAndWaitForChange(const QPoint& point)
    {
        const QImage before = grab(window);
        click(point);
        EXPECT_TRUE(waitUntil([&] { return grab(window) != before; }));
    }

    // A point of the onboarding window, from its top-left or, for negative values, from its
    // bottom-right corner.
    QPoint at(int x, int y) const
    {
        return QPoint(x >= 0 ? window.left() + x : window.right() + 1 + x,
                      y >= 0 ? window.top() + y : window.bottom() + 1 + y);
    }

    QTemporaryDir config;
    QTemporaryDir temporary;
    QTemporaryDir projects;
    QString screenshots = QStringLiteral(WISP_BIN_DIR "/../test-screenshots");
    QRect window;
};

} // namespace

TEST_F(NewUserOnboardingTest, FirstRunSetsUpTheFolderAndAShortcutThatRunsTheMainAction)
{
    WispProcess wisp(environment());
    ASSERT_TRUE(wisp.process.waitForStarted(10000));
    std::optional<QRect> found;
    ASSERT_TRUE(waitUntil(
        [&] { return (found = visibleWindowNamed(QStringLiteral("wisp"))).has_value(); }, 30s))
        << qPrintable(wisp.lines.join(QLatin1Char('\n')));
    window = *found;
    EXPECT_EQ(window.size(), QSize(450, 400));
    screenshot(QStringLiteral("onboarding-0-welcome"), window);

    // "Continue" sits in the bottom-right corner on every step; "Finish" takes its place.
    const QPoint continueButton = at(-68, -32);
    clickAndWaitForChange(continueButton);
    screenshot(QStringLiteral("onboarding-1-folder"), window);
    // "Choose..." opens Qt's folder dialog; its folder field has the keyboard.
    click(at(347, 222));
    std::optional<QRect> dialog;
    ASSERT_TRUE(waitUntil([&] {
        return (dialog = visibleWindowNamed(QStringLiteral("Select Projects Folder"))).has_value();
    }));
    screenshot(QStringLiteral("onboarding-1-dialog"), dialog->united(window));
    xdotool(
        {QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("20"), projects.path()});
    xdotool({QStringLiteral("key"), QStringLiteral("Return")});
    ASSERT_TRUE(wisp.waitForLine(
        QStringLiteral("📦 [AppDelegate] Selected project changed: site (port 3000)")));
    ASSERT_TRUE(
        waitUntil([&] { return !visibleWindowNamed(QStringLiteral("Select Projects Folder")); }));
    screenshot(QStringLiteral("onboarding-1-chosen"), window);
    // Choosing is not storing; "Continue" is.
    EXPECT_FALSE(stored(QStringLiteral("projectsFolderBookmark")).isValid());

    clickAndWaitForChange(continueButton);
    ASSERT_TRUE(waitUntil([&] { return stored(QStringLiteral("hotKeyCode")).toInt() == 37; }));
    EXPECT_EQ(stored(QStringLiteral("hotKeyModifiers")).toInt(), 0x1800);
    EXPECT_EQ(stored(QStringLiteral("projectsFolderBookmark")).toByteArray(),
              projects.path().toUtf8());
    screenshot(QStringLiteral("onboarding-2-shortcut"), window);

    // The recorder below the text: click, then Control+Shift+K.
    click(at(225, 218));
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+shift+k")});
    ASSERT_TRUE(waitUntil([&] { return stored(QStringLiteral("hotKeyCode")).toInt() == 40; }))
        << qPrintable(wisp.lines.join(QLatin1Char('\n')));
    EXPECT_EQ(stored(QStringLiteral("hotKeyModifiers")).toInt(), 0x1200);
    screenshot(QStringLiteral("onboarding-2-recorded"), window);

    clickAndWaitForChange(continueButton);
    screenshot(QStringLiteral("onboarding-3-permissions"), window);
    click(continueButton);
    ASSERT_TRUE(wisp.waitForLine(
        QStringLiteral("🚀 [AppDelegate] Onboarding complete - starting polling on port 3000")));
    EXPECT_TRUE(stored(QStringLiteral("hasCompletedOnboarding")).toBool());
    EXPECT_TRUE(waitUntil([&] { return !visibleWindowNamed(QStringLiteral("wisp")); }));

    // The recorded shortcut now runs the main action: the site's server is not running, so
    // wisp asks whether to start it.
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+shift+k")});
    std::optional<QRect> alert;
    ASSERT_TRUE(waitUntil([&] {
        const QString ids = xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                     QStringLiteral("--class"), QStringLiteral("wisp")});
        for (const QString& id : ids.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            const QString type =
                run(QStringLiteral("xprop"),
                    {QStringLiteral("-id"), id.trimmed(), QStringLiteral("_NET_WM_WINDOW_TYPE")});
            if (type.contains(QStringLiteral("_NET_WM_WINDOW_TYPE_DIALOG"))) {
                return true;
            }
        }
        return false;
    })) << qPrintable(wisp.lines.join(QLatin1Char('\n')));
    xdotool({QStringLiteral("key"), QStringLiteral("Escape")});
}
