#include "support/LogCapture.h"

#include <QMutexLocker>

LogCapture::LogCapture()
{
    sinkId = Log::addSink([this](Log::Stream stream, const QString& line) {
        QMutexLocker locker(&mutex);
        (stream == Log::Stream::SystemLog ? logLines : stdoutLines).append(line);
    });
}

LogCapture::~LogCapture()
{
    Log::removeSink(sinkId);
}

QStringList LogCapture::lines() const
{
    QMutexLocker locker(&mutex);
    return logLines;
}

QStringList LogCapture::printed() const
{
    QMutexLocker locker(&mutex);
    return stdoutLines;
}

bool LogCapture::contains(const QString& line) const
{
    return count(line) > 0;
}

int LogCapture::count(const QString& line) const
{
    QMutexLocker locker(&mutex);
    return static_cast<int>(logLines.count(line));
}

QStringList LogCapture::linesStartingWith(const QString& prefix) const
{
    QMutexLocker locker(&mutex);
    QStringList result;
    for (const QString& line : logLines) {
        if (line.startsWith(prefix)) {
            result.append(line);
        }
    }
    return result;
}

void LogCapture::clear()
{
    QMutexLocker locker(&mutex);
    logLines.clear();
    stdoutLines.clear();
}
