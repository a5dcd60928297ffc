#include "Desktop.h"

#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QStandardPaths>

namespace Desktop {

QString missingProgram(const QStringList& programs)
{
    for (const QString& program : programs) {
        const bool installed = QDir::isAbsolutePath(program)
                                   ? QFileInfo(program).isExecutable()
                                   : !QStandardPaths::findExecutable(program).isEmpty();
        if (!installed) {
            return program;
        }
    }
    return {};
}

RunResult run(const QString& program, const QStringList& arguments, int timeoutMs)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    RunResult result;
    if (process.waitForFinished(timeoutMs) && process.exitStatus() == QProcess::NormalExit) {
        result.exitCode = process.exitCode();
    } else if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(5000);
    }
    result.standardOutput = QString::fromUtf8(process.readAll());
    return result;
}

QString xdotool(const QStringList& arguments)
{
    return run(QStringLiteral("xdotool"), arguments).standardOutput;
}

QStringList visibleWispWindowIds()
{
    QStringList ids;
    for (const QString& id : xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                      QStringLiteral("--class"), QStringLiteral("wisp")})
                                 .split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        ids.append(id.trimmed());
    }
    return ids;
}

QList<XWindow> visibleWispWindows()
{
    QList<XWindow> windows;
    const QStringList ids = visibleWispWindowIds();
    for (const QString& id : ids) {
        XWindow window;
        window.id = id.trimmed();
        window.name = xdotool({QStringLiteral("getwindowname"), window.id}).trimmed();
        QMap<QString, int> values;
        const QString shell =
            xdotool({QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), window.id});
        for (const QString& line : shell.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            const QStringList pair = line.split(QLatin1Char('='));
            if (pair.size() == 2) {
                values.insert(pair.at(0), pair.at(1).toInt());
            }
        }
        window.geometry =
            QRect(values.value(QStringLiteral("X")), values.value(QStringLiteral("Y")),
                  values.value(QStringLiteral("WIDTH")), values.value(QStringLiteral("HEIGHT")));
        window.type = run(QStringLiteral("xprop"),
                          {QStringLiteral("-id"), window.id, QStringLiteral("_NET_WM_WINDOW_TYPE")})
                          .standardOutput.trimmed();
        window.overrideRedirect =
            run(QStringLiteral("xwininfo"), {QStringLiteral("-id"), window.id})
                .standardOutput.contains(QStringLiteral("Override Redirect State: yes"));
        windows.append(window);
    }
    return windows;
}

std::optional<XWindow> visibleWispWindow(const std::function<bool(const XWindow&)>& matches)
{
    for (const XWindow& window : visibleWispWindows()) {
        if (matches(window)) {
            return window;
        }
    }
    return std::nullopt;
}

std::optional<XWindow> waitForWindow(const std::function<bool(const XWindow&)>& matches,
                                     std::chrono::milliseconds timeout)
{
    std::optional<XWindow> found;
    TestSupport::waitUntil(
        [&] {
            found = visibleWispWindow(matches);
            return found.has_value();
        },
        timeout);
    return found;
}

bool isTrayIcon(const XWindow& window)
{
    return window.geometry.width() > 0 && window.geometry.width() <= 64 &&
           window.geometry.height() <= 64;
}

bool clickTrayIcon(int button)
{
    const std::optional<XWindow> icon = waitForWindow(isTrayIcon);
    if (!icon) {
        return false;
    }
    click(icon->geometry.center(), button);
    return true;
}

bool isAlert(const XWindow& window)
{
    return window.type.contains(QStringLiteral("_NET_WM_WINDOW_TYPE_DIALOG"));
}

bool isMenu(const XWindow& window)
{
    return window.overrideRedirect && !isTrayIcon(window);
}

void click(const QPoint& point, int button)
{
    xdotool({QStringLiteral("mousemove"), QString::number(point.x()), QString::number(point.y()),
             QStringLiteral("click"), QString::number(button)});
}

void keys(const QStringList& names)
{
    for (const QString& name : names) {
        xdotool({QStringLiteral("key"), name});
    }
}

void type(const QString& text)
{
    xdotool({QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("30"), text});
}

bool screenshot(const QString& path)
{
    return run(QStringLiteral("import"), {QStringLiteral("-window"), QStringLiteral("root"), path})
               .exitCode == 0;
}

} // namespace Desktop
