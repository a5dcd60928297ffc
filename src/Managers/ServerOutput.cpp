#include "Managers/ServerOutput.h"

#include "Utilities/Log.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStringDecoder>

#include <unistd.h>

ServerOutput::ServerOutput(int port, QProcess* process) : QObject(process)
{
    out.path = filePath(port, Channel::standardOutput);
    err.path = filePath(port, Channel::standardError);

    QString error;
    if (!prepareFolder(&error) || !follow(out, &error) || !follow(err, &error)) {
        Log::line(
            QStringLiteral("⚠️ [ServerManager] Server output is not logged: %1").arg(error));
        finished = true;
        process->setStandardOutputFile(QProcess::nullDevice());
        process->setStandardErrorFile(QProcess::nullDevice());
        return;
    }

    // O_APPEND: whatever else writes into the file (a wrapper and its children share it), every
    // write lands at the end, where the reader looks.
    process->setStandardOutputFile(out.path, QIODevice::Append);
    process->setStandardErrorFile(err.path, QIODevice::Append);
    for (Stream* stream : {&out, &err}) {
        stream->pending.setSingleShot(true);
        stream->pending.setInterval(coalesceMs);
        connect(&stream->pending, &QTimer::timeout, this, [this, stream] { readNew(*stream); });
    }
    connect(&watcher, &QFileSystemWatcher::fileChanged, this, [this](const QString& path) {
        for (Stream* stream : {&out, &err}) {
            if (path == stream->path && !stream->pending.isActive()) {
                stream->pending.start();
            }
        }
    });
}

void ServerOutput::finish()
{
    if (finished) {
        return;
    }
    out.pending.stop();
    err.pending.stop();
    readNew(out);
    readNew(err);
    finished = true;
    if (!watcher.files().isEmpty()) {
        watcher.removePaths(watcher.files());
    }
    out.file.close();
    err.file.close();
}

QString ServerOutput::folder()
{
    return QDir::tempPath() + QStringLiteral("/wisp-") + QString::number(::getuid());
}

QString ServerOutput::filePath(int port, Channel channel)
{
    const QString name = channel == Channel::standardOutput
                             ? QStringLiteral("server-%1.stdout.log")
                             : QStringLiteral("server-%1.stderr.log");
    return folder() + QLatin1Char('/') + name.arg(port);
}

std::optional<QString> ServerOutput::decodeChunk(const QByteArray& data)
{
    // Stateless: a chunk that ends inside a character is invalid, not held back for the next.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(data);
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return text.trimmed();
}

bool ServerOutput::prepareFolder(QString* error)
{
    const QString path = folder();
    if (!QDir().mkpath(path)) {
        *error = QStringLiteral("cannot create %1").arg(path);
        return false;
    }
    // The temporary directory may be shared between users: only a folder of our own will do.
    const QFileInfo info(path);
    if (info.isSymLink() || info.ownerId() != ::getuid()) {
        *error = QStringLiteral("%1 belongs to another user").arg(path);
        return false;
    }
    QFile::setPermissions(path,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    return true;
}

bool ServerOutput::follow(Stream& stream, QString* error)
{
    // A fresh file each start. Removing the old one first leaves a server from an earlier start
    // that still writes to it writing into its own unlinked copy, not into this one.
    QFile::remove(stream.path);
    QFile fresh(stream.path);
    if (!fresh.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        *error = QStringLiteral("%1: %2").arg(stream.path, fresh.errorString());
        return false;
    }
    fresh.close();

    stream.file.setFileName(stream.path);
    if (!stream.file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        *error = QStringLiteral("%1: %2").arg(stream.path, stream.file.errorString());
        return false;
    }
    stream.offset = 0;
    // Qt falls back to polling by itself where no change notification is available.
    watcher.addPath(stream.path);
    return true;
}

void ServerOutput::readNew(Stream& stream)
{
    if (finished || !stream.file.isOpen()) {
        return;
    }
    const qint64 size = stream.file.size();
    if (size < stream.offset) {
        // Truncated behind our back: start over from its beginning.
        stream.offset = 0;
    }
    if (size == stream.offset || !stream.file.seek(stream.offset)) {
        return;
    }
    const QByteArray data = stream.file.read(size - stream.offset);
    if (data.isEmpty()) {
        return;
    }
    stream.offset += data.size();

    // A chunk that is not valid UTF-8 is dropped; each chunk is one line, neither split nor joined.
    const std::optional<QString> text = decodeChunk(data);
    if (!text) {
        return;
    }
    Log::line(stream.channel == Channel::standardOutput
                  ? QStringLiteral("📝 [Server Output] %1").arg(*text)
                  : QStringLiteral("⚠️ [Server Error] %1").arg(*text));
}
