#pragma once

#include <QElapsedTimer>
#include <QProcess>
#include <QStringList>

#include <chrono>

// The running wisp executable and its log (standard error), line by line with arrival times.
class WispProcess
{
public:
    explicit WispProcess(const QProcessEnvironment& environment,
                         const QStringList& arguments = QStringList());
    ~WispProcess();
    WispProcess(const WispProcess&) = delete;
    WispProcess& operator=(const WispProcess&) = delete;

    static QString executablePath();

    // Where a test's wisp lives apart from any other: the stand-in programs of `standIns` first
    // on PATH, its settings under `configHome`, its state, instance socket and server output
    // under `temporaryFolder`, and the stand-ins' records in `records`. Its home is an empty
    // folder in `temporaryFolder` and its login shell /bin/sh, so that the servers it starts never
    // get the environment of the user's own rc files.
    static QProcessEnvironment environment(const QString& standIns, const QString& configHome,
                                           const QString& temporaryFolder, const QString& records);
    // wisp quits with its last status check possibly still waiting for lsof: that check's
    // coroutine is never resumed, and a leak checker would count its frame.
    static void skipLeakCheck(QProcessEnvironment& environment);

    void stop();
    // Stops wisp; after a failed test, its log goes to standard error to show what wisp saw.
    void stopAndReport(bool testFailed);

    bool waitForLine(const QString& line,
                     std::chrono::milliseconds timeout = std::chrono::seconds(30));
    bool waitForLineStartingWith(const QString& prefix,
                                 std::chrono::milliseconds timeout = std::chrono::seconds(30));
    qsizetype indexStartingWith(const QString& prefix) const;
    // Waits for `line` at or after index `from`; its index, or -1 when it did not come in time.
    qsizetype waitForLineFrom(qsizetype from, const QString& line,
                              std::chrono::milliseconds timeout = std::chrono::seconds(30));
    bool waitForExit(std::chrono::milliseconds timeout = std::chrono::seconds(30));

    QString log() const { return lines.join(QLatin1Char('\n')); }

    QProcess process;
    QStringList lines;
    QList<qint64> arrivals;
    QElapsedTimer clock;

private:
    void read();

    QByteArray partial;
};
