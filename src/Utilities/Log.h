#pragma once

#include <QString>

#include <functional>

// One line per event, with the exact text the caller gives. Lines go to the system log through
// Qt's logging (stderr on Linux, the unified log on macOS); `print` lines go to standard output.
// Sinks let tests observe both streams.
class Log
{
public:
    enum class Stream { SystemLog, StandardOutput };
    using Sink = std::function<void(Stream stream, const QString& line)>;

    static void line(const QString& text);
    static void print(const QString& text);

    // Returns an id for removeSink. Sinks may be called from any thread.
    static int addSink(Sink sink);
    static void removeSink(int id);
};
