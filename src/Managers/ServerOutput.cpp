#include "Managers/ServerOutput.h"

#include "Utilities/Log.h"

#include <QCoreApplication>
#include <QProcess>
#include <QStringDecoder>

namespace {

QString notShown(qint64 bytes)
{
    return QStringLiteral("… (%1 bytes not shown)").arg(bytes);
}

} // namespace

ServerOutput::ServerOutput(int port, QProcess* process) : QObject(process)
{
    out.path = ServerLogFolder::filePath(port, Channel::standardOutput);
    err.path = ServerLogFolder::filePath(port, Channel::standardError);

    QString error;
    if (!ServerLogFolder::prepare(&error) || !follow(out, &error) || !follow(err, &error)) {
        Log::line(
            QStringLiteral("⚠️ [ServerManager] Server output is not logged: %1").arg(error));
        finished = true;
        process->setStandardOutputFile(QProcess::nullDevice());
        process->setStandardErrorFile(QProcess::nullDevice());
        return;
    }
    // Until the child runs, wisp itself stands for the writer, so that tidying never takes the
    // files away from under a launch.
    ServerLogFolder::recordWriter(port, QCoreApplication::applicationPid());
    connect(process, &QProcess::started, this,
            [port, process] { ServerLogFolder::recordWriter(port, process->processId()); });

    // O_APPEND: whatever else writes into the file (a wrapper and its children share it), every
    // write lands at the end, where the reader looks, and continues at the new end once the
    // file has been emptied.
    process->setStandardOutputFile(out.path, QIODevice::Append);
    process->setStandardErrorFile(err.path, QIODevice::Append);
    for (Stream* stream : {&out, &err}) {
        stream->pending.setSingleShot(true);
        connect(&stream->pending, &QTimer::timeout, this, [this, stream] {
            if (readChunk(*stream)) {
                stream->pending.start(0);
            }
        });
    }
    connect(&watcher, &QFileSystemWatcher::fileChanged, this, [this](const QString& path) {
        for (Stream* stream : {&out, &err}) {
            if (path != stream->path) {
                continue;
            }
            if (stream->file.size() > ServerLogFolder::fileCap) {
                // Past its cap already: a burst too big to wait for.
                stream->pending.start(0);
            } else if (!stream->pending.isActive()) {
                stream->pending.start(coalesceMs);
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
    // More than a read's worth past the cap is skipped, so this logs at most a cap's worth; the
    // bound also stops a writer that outlives the child from keeping the loop going.
    constexpr int maxChunks = static_cast<int>(ServerLogFolder::fileCap / readSize) + 1;
    for (Stream* stream : {&out, &err}) {
        for (int chunk = 0; chunk < maxChunks && readChunk(*stream); ++chunk) {
        }
    }
    finished = true;
    if (!watcher.files().isEmpty()) {
        watcher.removePaths(watcher.files());
    }
    out.file.close();
    err.file.close();
}

bool ServerOutput::caughtUp() const
{
    if (finished) {
        return true;
    }
    return out.offset == out.file.size() && err.offset == err.file.size();
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

QString ServerOutput::shown(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    if (bytes.size() <= shownSize) {
        return text;
    }
    const qsizetype kept = wholeCharactersLength(bytes.first(shownSize));
    return QString::fromUtf8(bytes.first(kept)) + QLatin1Char(' ') + notShown(bytes.size() - kept);
}

qsizetype ServerOutput::wholeCharactersLength(const QByteArray& data)
{
    // Look back at most one sequence's length for the byte that starts the last sequence.
    const qsizetype size = data.size();
    for (qsizetype start = size - 1; start >= 0 && start >= size - 4; --start) {
        const auto byte = static_cast<unsigned char>(data.at(start));
        if ((byte & 0xC0) == 0x80) {
            continue; // a continuation byte
        }
        const qsizetype length = byte < 0x80             ? 1
                                 : (byte & 0xE0) == 0xC0 ? 2
                                 : (byte & 0xF0) == 0xE0 ? 3
                                 : (byte & 0xF8) == 0xF0 ? 4
                                                         : 1;
        return start + length > size ? start : size;
    }
    // Not UTF-8 at all: leave it whole for the decoder to reject.
    return size;
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

    // Open for writing too, to empty it when it outgrows its cap.
    stream.file.setFileName(stream.path);
    if (!stream.file.open(QIODevice::ReadWrite | QIODevice::Unbuffered)) {
        *error = QStringLiteral("%1: %2").arg(stream.path, stream.file.errorString());
        return false;
    }
    stream.offset = 0;
    // Qt falls back to polling by itself where no change notification is available.
    watcher.addPath(stream.path);
    return true;
}

bool ServerOutput::readChunk(Stream& stream)
{
    if (finished || !stream.file.isOpen()) {
        return false;
    }
    const qint64 size = stream.file.size();
    if (size < stream.offset) {
        // Emptied behind our back (the folder's own capping): start over from its beginning.
        stream.offset = 0;
    }
    const qint64 unread = size - stream.offset;
    if (size > ServerLogFolder::fileCap && unread > readSize) {
        // Far ahead of what can be logged: skip what is there and follow from the new end.
        emptyBehind(stream);
        return false;
    }
    if (unread <= 0 || !stream.file.seek(stream.offset)) {
        return false;
    }
    QByteArray data = stream.file.read(std::min(unread, readSize));
    if (data.isEmpty()) {
        return false;
    }
    if (data.size() < unread) {
        // More follows: end this chunk between two characters, so that a long run of valid
        // text is not taken for invalid where a read happens to cut it.
        const qsizetype whole = wholeCharactersLength(data);
        if (whole > 0) {
            data.truncate(whole);
        }
    }
    stream.offset += data.size();

    // A chunk that is not valid UTF-8 is dropped; each chunk is one line, neither split nor joined.
    if (const std::optional<QString> text = decodeChunk(data)) {
        log(stream.channel, shown(*text));
        Q_EMIT chunkRead(*text);
        Q_EMIT textRead(QString::fromUtf8(data), stream.channel);
    }
    if (stream.offset < size) {
        return true;
    }
    // Caught up: a file past its cap is emptied now that nothing in it is unread.
    emptyBehind(stream);
    return false;
}

void ServerOutput::emptyBehind(Stream& stream)
{
    const qint64 emptied = ServerLogFolder::cap(stream.file);
    if (emptied == 0) {
        return;
    }
    // Counted as it was when emptied: what arrived after the last look is not shown either.
    if (emptied > stream.offset) {
        log(stream.channel, notShown(emptied - stream.offset));
    }
    stream.offset = 0;
}

void ServerOutput::log(Channel channel, const QString& text)
{
    Log::line(channel == Channel::standardOutput
                  ? QStringLiteral("📝 [Server Output] %1").arg(text)
                  : QStringLiteral("⚠️ [Server Error] %1").arg(text));
}
