#include "Platform/OsaScriptCall.h"

#include <QProcess>

OsaScriptCall::Outcome OsaScriptCall::run(const QString& interpreter, const QString& source,
                                          int timeoutMs)
{
    QProcess process;
    process.setProgram(interpreter);
    process.start(QIODevice::ReadWrite);
    if (!process.waitForStarted(timeoutMs)) {
        return Outcome::notStarted;
    }
    // With no arguments the interpreter reads the whole program from standard input.
    process.write(source.toUtf8());
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(1000);
        return Outcome::failed;
    }
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0
               ? Outcome::succeeded
               : Outcome::failed;
}
