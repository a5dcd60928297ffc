#pragma once

#include <QObject>
#include <QSet>
#include <QString>
#include <QTimer>

class QFile;

// The folder that holds the output files of the servers wisp starts, one pair per port plus a
// record of the process that writes them.
//
// A server outlives wisp and keeps writing, so the files are never wisp's alone. They are kept
// small by truncation (the server opened them for appending and simply continues at the new
// end) and removed once nothing of their server is left: at the next start of wisp, when the
// recorded process and its process group are gone.
class ServerLogFolder : public QObject
{
    Q_OBJECT
public:
    enum class Channel { standardOutput, standardError };

    // A file that grows past this is emptied.
    static constexpr qint64 fileCap = 1024 * 1024;
    // How often files that nobody follows any more are capped while wisp runs.
    static constexpr int capIntervalMs = 5000;

    // Tidies the folder, then keeps capping its files while it exists.
    explicit ServerLogFolder(QObject* parent = nullptr);

    // wisp's state folder (see StateFolder).
    static QString path();
    static QString filePath(int port, Channel channel);
    // Holds the process id whose process group writes the port's files.
    static QString writerFilePath(int port);

    // Creates the folder, private to the user; false with the reason in `error`.
    static bool prepare(QString* error);
    // Records `pid` as the writer of the port's files.
    static void recordWriter(int port, qint64 pid);

    // Empties `file` (open for writing) when it is larger than fileCap; the number of bytes it
    // held, or 0 when it was left alone.
    static qint64 cap(QFile& file);

    // Removes every port's files whose writer is gone and caps the rest. The files of a server
    // that ended stay for the user to read until the next start of wisp.
    static void tidy();
    // Caps every port's files.
    static void capAll();

private:
    static QSet<int> ports();
    static bool writerAlive(int port);
    static void capFilesOf(int port);

    QTimer capping;
};
