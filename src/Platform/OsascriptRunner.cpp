#include "Platform/OsascriptRunner.h"

#include "Models/BrowserError.h"
#include "Platform/SystemTools.h"
#include "Utilities/ChildProcess.h"
#include "Utilities/Log.h"

#include <QProcess>
#include <QRegularExpression>

OsascriptRunner::OsascriptRunner(QString osascriptPath, std::chrono::milliseconds deadline)
    : program(osascriptPath.isEmpty() ? SystemTools::osascript() : std::move(osascriptPath))
    , deadline(deadline)
{}

QCoro::Task<ScriptResult> OsascriptRunner::run(QString source)
{
    // Copied: the runner may go away while the child runs.
    const QString tool = program;
    const std::chrono::milliseconds limit = deadline;

    const ChildProcess::Owned child = ChildProcess::create();
    QProcess& process = *child;
    process.setProgram(tool);
    // A deadline also ends whatever the interpreter started.
    ChildProcess::leadOwnProcessGroup(process);
    const bool started = co_await ChildProcess::start(&process, QIODevice::ReadWrite);
    if (!started) {
        ScriptResult result;
        result.created = false;
        co_return result;
    }
    process.write(source.toUtf8());
    process.closeWriteChannel();

    ScriptResult result;
    const bool finished = co_await ChildProcess::waitForExit(&process, limit);
    if (!finished) {
        Log::line(QStringLiteral("⚠️ [OsascriptRunner] osascript timed out after %1 s")
                      .arg(static_cast<double>(limit.count()) / 1000.0));
        result.error.insert(BrowserError::errorNumberKey, -1712);
        result.error.insert(BrowserError::errorMessageKey, QStringLiteral("AppleEvent timed out."));
        co_return result;
    }

    const QString standardOutput = QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    const QString standardError = QString::fromUtf8(process.readAllStandardError());
    if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0) {
        result.output = standardOutput;
    } else {
        result.error = parseError(standardError);
        if (result.error.isEmpty()) {
            // Keeps the failure visible as a failure even when osascript said nothing.
            result.error.insert(QStringLiteral("OsascriptExitCode"), process.exitCode());
        }
    }
    co_return result;
}

QVariantMap OsascriptRunner::parseError(const QString& standardError)
{
    // The last non-empty line carries the error; earlier ones are warnings or logging.
    QString line;
    const QStringList lines = standardError.split(QLatin1Char('\n'));
    for (auto it = lines.crbegin(); it != lines.crend(); ++it) {
        if (!it->trimmed().isEmpty()) {
            line = it->trimmed();
            break;
        }
    }

    QVariantMap error;
    if (line.isEmpty()) {
        return error;
    }

    static const QRegularExpression position(QStringLiteral("^\\d+:\\d+:\\s*"));
    static const QRegularExpression kind(
        QStringLiteral("^(?:execution|syntax|script|compile) error:\\s*"));
    static const QRegularExpression number(QStringLiteral("\\s*\\((-?\\d+)\\)$"));

    line.remove(position);
    line.remove(kind);
    const QRegularExpressionMatch match = number.match(line);
    if (match.hasMatch()) {
        bool ok = false;
        const int value = match.captured(1).toInt(&ok);
        if (ok) {
            error.insert(BrowserError::errorNumberKey, value);
        }
        line.truncate(match.capturedStart());
    }
    if (!line.isEmpty()) {
        error.insert(BrowserError::errorMessageKey, line);
    }
    return error;
}
