#pragma once

#include <QFile>
#include <QFileSystemWatcher>
#include <QObject>
#include <QString>
#include <QTimer>

#include <optional>

class QProcess;

// Mirrors a development server's standard output and standard error into the log.
//
// The server writes into two files that wisp follows, not into pipes. A pipe's reading end dies
// with wisp, and a server that writes after that gets SIGPIPE (or EPIPE) and usually dies, yet a
// server wisp started has to keep running when wisp quits. A file has no reader to lose.
//
// A change notice arrives after the first write of a burst; reading a moment (coalesceMs) later
// takes the whole burst as one chunk, much as a pipe reader would (a tool such as env writes one
// message in several pieces).
//
// The files sit in a per-user folder under the temporary directory and are named after the port,
// so every start on a port reuses the same two files instead of leaving new ones behind.
class ServerOutput : public QObject
{
    Q_OBJECT
public:
    enum class Channel { standardOutput, standardError };

    static constexpr int coalesceMs = 50;

    // Prepares empty files for `port` and redirects `process` into them; becomes a child of
    // `process`. Without a usable folder the output is discarded, with a log line saying so.
    ServerOutput(int port, QProcess* process);

    // Logs what is still unread in both files and stops following them (the child has exited).
    void finish();

    // The folder that holds the files: `<temp>/wisp-<uid>`, private to the user.
    static QString folder();
    static QString filePath(int port, Channel channel);

    // One chunk as it is logged: UTF-8 text trimmed at both ends, or nothing when the bytes are
    // not valid UTF-8.
    static std::optional<QString> decodeChunk(const QByteArray& data);

private:
    struct Stream
    {
        explicit Stream(Channel channel) : channel(channel) {}

        Channel channel;
        QString path;
        QFile file;
        qint64 offset = 0;
        QTimer pending;
    };

    static bool prepareFolder(QString* error);
    bool follow(Stream& stream, QString* error);
    void readNew(Stream& stream);

    Stream out{Channel::standardOutput};
    Stream err{Channel::standardError};
    QFileSystemWatcher watcher;
    bool finished = false;
};
