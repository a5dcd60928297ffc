#include "Platform/OsaScriptCall.h"

#include "Utilities/ChildProcess.h"
#include "Utilities/Log.h"

#include <QProcess>

OsaScriptCall::Outcome OsaScriptCall::run(const QString& interpreter, const QString& source,
                                          int timeoutMs)
{
    // A child still running on the way out is killed and left to be reaped from the event loop,
    // instead of QProcess's destructor blocking for it.
    const ChildProcess::Owned child = ChildProcess::create();
    QProcess& process = *child;
    process.setProgram(interpreter);
    ChildProcess::leadOwnProcessGroup(process);
    process.start(QIODevice::ReadWrite);
    if (!process.waitForStarted(timeoutMs)) {
        return Outcome::notStarted;
    }
    // With no arguments the interpreter reads the whole program from standard input.
    process.write(source.toUtf8());
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutMs)) {
        Log::line(QStringLiteral("⚠️ [PermissionsManager] osascript timed out after %1 s")
                      .arg(static_cast<double>(timeoutMs) / 1000.0));
        ChildProcess::kill(&process);
        process.waitForFinished(1000);
        return Outcome::failed;
    }
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0
               ? Outcome::succeeded
               : Outcome::failed;
}
