#pragma once

#include "Managers/ServerLogFolder.h"

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
// takes the burst as one chunk, much as a pipe reader would (a tool such as env writes one
// message in several pieces).
//
// Whatever the server writes, the cost stays bounded: a chunk is at most readSize bytes, the
// next one is read on a later turn of the event loop, a logged chunk shows at most shownSize
// bytes, and a file that outgrows ServerLogFolder::fileCap is emptied, skipping what was not
// read yet. Each skip and cut is logged with the number of bytes not shown.
class ServerOutput : public QObject
{
    Q_OBJECT
public:
    using Channel = ServerLogFolder::Channel;

    static constexpr int coalesceMs = 50;
    static constexpr qint64 readSize = 64 * 1024;
    static constexpr qint64 shownSize = 16 * 1024;

    // Prepares empty files for `port` and redirects `process` into them; becomes a child of
    // `process`. Without a usable folder the output is discarded, with a log line saying so.
    ServerOutput(int port, QProcess* process);

    // Logs what is still unread in both files and stops following them (the child has exited).
    void finish();
    // Everything written so far has been read (or skipped), or the files are not followed.
    bool caughtUp() const;

    // One chunk as it is logged: UTF-8 text trimmed at both ends, or nothing when the bytes are
    // not valid UTF-8.
    static std::optional<QString> decodeChunk(const QByteArray& data);
    // At most shownSize bytes of `text`, cut between characters, followed by a note of how many
    // bytes were cut.
    static QString shown(const QString& text);
    // The length of the longest start of `data` that does not end inside a UTF-8 sequence.
    static qsizetype wholeCharactersLength(const QByteArray& data);

Q_SIGNALS:
    // One chunk of either stream as it is logged, before it is shortened for the log.
    void chunkRead(const QString& text);
    // The same chunk as the server wrote it (not trimmed), with the stream it came from.
    void textRead(const QString& text, ServerLogFolder::Channel channel);

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

    bool follow(Stream& stream, QString* error);
    // Reads and logs one chunk; true when more is waiting.
    bool readChunk(Stream& stream);
    // Empties the stream's file when it is past its cap, noting what was not read.
    void emptyBehind(Stream& stream);
    static void log(Channel channel, const QString& text);

    Stream out{Channel::standardOutput};
    Stream err{Channel::standardError};
    QFileSystemWatcher watcher;
    bool finished = false;
};
