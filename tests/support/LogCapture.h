#pragma once

#include "Utilities/Log.h"

#include <QMutex>
#include <QStringList>

// Collects the log lines written while it exists. Thread-safe.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // System-log lines, in order.
    QStringList lines() const;
    // Standard-output lines, in order.
    QStringList printed() const;
    bool contains(const QString& line) const;
    int count(const QString& line) const;
    // Lines that start with `prefix`.
    QStringList linesStartingWith(const QString& prefix) const;
    void clear();

private:
    int sinkId;
    mutable QMutex mutex;
    QStringList logLines;
    QStringList stdoutLines;
};
