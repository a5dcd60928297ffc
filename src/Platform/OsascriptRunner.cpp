#include "Platform/OsascriptRunner.h"

#include "Platform/SystemTools.h"
#include "Utilities/ChildProcess.h"
#include "Utilities/Log.h"

#include <QProcess>

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
        result.created = false;
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
