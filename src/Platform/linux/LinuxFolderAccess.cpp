#include "Platform/FolderAccess.h"

#include <QDir>
#include <QFileInfo>

namespace {

// Linux has no sandbox: the bookmark is the folder's absolute path and access is always granted.
class LinuxFolderAccess final : public FolderAccess
{
public:
    std::optional<QByteArray> createBookmark(const QUrl& url, QString* error) override
    {
        if (!url.isLocalFile()) {
            if (error) {
                *error = QStringLiteral("%1 is not a local folder").arg(url.toString());
            }
            return std::nullopt;
        }
        return QDir::cleanPath(QFileInfo(url.toLocalFile()).absoluteFilePath()).toUtf8();
    }

    std::optional<ResolvedBookmark> resolveBookmark(const QByteArray& data) override
    {
        const QString path = QString::fromUtf8(data);
        if (path.isEmpty() || !QDir::isAbsolutePath(path) || !QFileInfo(path).isDir()) {
            return std::nullopt;
        }
        return ResolvedBookmark{QUrl::fromLocalFile(path), false};
    }

    bool startAccessing(const QUrl&) override { return true; }
    void stopAccessing(const QUrl&) override {}
};

} // namespace

std::shared_ptr<FolderAccess> FolderAccess::makeSystemFolderAccess()
{
    return std::make_shared<LinuxFolderAccess>();
}
