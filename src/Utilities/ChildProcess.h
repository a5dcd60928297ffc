#pragma once

#include <QCoro/QCoroTask>
#include <QIODevice>

class QProcess;

// Awaiting the start of a child process. QCoro's own start waits for the started signal alone,
// so a program that cannot be run (missing, not executable) would only be noticed when its
// 30-second timeout runs out; this returns as soon as the start succeeded or failed.
class ChildProcess
{
public:
    // Starts `process` (program and arguments already set) and returns whether it started.
    static QCoro::Task<bool> start(QProcess* process,
                                   QIODevice::OpenMode mode = QIODevice::ReadWrite);
};
