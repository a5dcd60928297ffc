#pragma once

#include <QString>

// One synchronous AppleScript run: the source is piped to the interpreter's standard input and
// the call blocks until it exits. Meant for the short permission probes; browser scripts go
// through the asynchronous runner.
class OsaScriptCall
{
public:
    enum class Outcome {
        // The script ran and exited cleanly.
        succeeded,
        // The script reported an error, was killed or did not finish in time.
        failed,
        // The interpreter could not be started, so nothing ran.
        notStarted,
    };

    OsaScriptCall() = delete;

    static Outcome run(const QString& interpreter, const QString& source, int timeoutMs);
};
