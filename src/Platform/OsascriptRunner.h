#pragma once

#include "Platform/ScriptRunner.h"

#include <chrono>

// Runs AppleScript through osascript as a child process: the program goes in on standard
// input, the result comes back on standard output, and a failure as a line such as
// "12:34: execution error: Not authorized to send Apple events to Google Chrome. (-1743)" on
// standard error, which becomes the error dictionary.
class OsascriptRunner : public ScriptRunner
{
public:
    // Apple events give up after two minutes with -1712; a runner that outlives that by far is
    // stuck: it is stopped, and the program counts as never handed over, as when osascript
    // cannot be started at all.
    static constexpr std::chrono::milliseconds defaultDeadline{150'000};

    // An empty path means SystemTools::osascript().
    explicit OsascriptRunner(QString osascriptPath = QString(),
                             std::chrono::milliseconds deadline = defaultDeadline);

    QCoro::Task<ScriptResult> run(QString source) override;

    // The error dictionary for osascript's standard error: the number from the trailing
    // "(N)", the message between the "execution error:" prefix and the number. Either key is
    // left out when it cannot be read.
    static QVariantMap parseError(const QString& standardError);

private:
    QString program;
    std::chrono::milliseconds deadline;
};
