#include "Platform/FolderAccess.h"

#include <QDir>
#include <QFileInfo>

namespace {

// Linux has no sandbox, hence no security scope: only the plain bookmark exists, and it is the
// folder's absolute path; access is always granted.
class LinuxFolderAccess final : public FolderAccess
{
public:
    std::optional<QByteArray> createBookmarkData(const QUrl& url, BookmarkKind kind,
                                                 QString* error) override
    {
        if (kind == BookmarkKind::securityScoped) {
            if (error) {
                *error = QStringLiteral("Security-scoped bookmarks do not exist on Linux");
            }
            return std::nullopt;
        }
        if (!url.isLocalFile()) {
            if (error) {
                *error = QStringLiteral("%1 is not a local folder").arg(url.toString());
            }
            return std::nullopt;
        }
        return QDir::cleanPath(QFileInfo(url.toLocalFile()).absoluteFilePath()).toUtf8();
    }

    std::optional<ResolvedBookmark> resolveBookmarkData(const QByteArray& data,
                                                        BookmarkKind kind) override
    {
        if (kind == BookmarkKind::securityScoped) {
            return std::nullopt;
        }
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
