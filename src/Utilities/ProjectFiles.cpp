#include "Utilities/ProjectFiles.h"

#include <QFile>
#include <QJsonDocument>
#include <QStringDecoder>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

std::optional<QByteArray> ProjectFiles::read(const QString& path)
{
    // O_NONBLOCK keeps open() from waiting for a writer when the path is a FIFO; the type check
    // happens on the opened descriptor, so a file swapped in between cannot slip through.
    const QByteArray nativePath = QFile::encodeName(path);
    const int fd = ::open(nativePath.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    struct stat info
    {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size > maxFileSize) {
        ::close(fd);
        return std::nullopt;
    }
    // Read straight from the descriptor: a scan reads a file or two per project.
    // One byte past the size fstat saw tells a file that grew past the limit meanwhile.
    const qint64 wanted = std::min<qint64>(info.st_size, maxFileSize) + 1;
    QByteArray data(wanted, Qt::Uninitialized);
    qint64 size = 0;
    while (size < wanted) {
        const ssize_t got = ::read(fd, data.data() + size, static_cast<size_t>(wanted - size));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            ::close(fd);
            return std::nullopt;
        }
        if (got == 0) {
            break;
        }
        size += got;
    }
    ::close(fd);
    if (size > maxFileSize) {
        return std::nullopt;
    }
    data.truncate(size);
    return data;
}

std::optional<QString> ProjectFiles::readText(const QString& path)
{
    const auto data = read(path);
    if (!data) {
        return std::nullopt;
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(*data);
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return text;
}

std::optional<QJsonObject> ProjectFiles::readJsonObject(const QString& path)
{
    const auto data = read(path);
    if (!data) {
        return std::nullopt;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(*data, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    return document.object();
}
