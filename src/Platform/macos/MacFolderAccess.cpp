#include "Platform/FolderAccess.h"

#include "Platform/ResolvedFolders.h"
#include "Platform/macos/CFRef.h"

namespace {

QString describe(CFErrorRef error)
{
    if (!error) {
        return QStringLiteral("Unknown error");
    }
    const CFRef<CFStringRef> description(CFErrorCopyDescription(error));
    return description ? QString::fromCFString(description.get()) : QString();
}

// Security-scoped bookmarks through CoreFoundation. The security scope travels with the URL
// object that resolving a bookmark returns, not with its path: a CFURL made again from the path
// cannot start access in a sandbox, nor create a fresh bookmark for a stale one. So the resolved
// objects are kept, by folder, and start, stop and bookmark creation use them; a folder inside a
// resolved one is reached through it.
class MacFolderAccess final : public FolderAccess
{
public:
    std::optional<QByteArray> createBookmark(const QUrl& url, QString* error) override
    {
        // A folder inside a resolved one gets a bookmark of its own, not of the enclosing one.
        const CFRef<CFURLRef> cfURL = scopedURL(url, Folders::Match::exact);
        if (!cfURL) {
            if (error) {
                *error = QStringLiteral("Invalid folder URL");
            }
            return std::nullopt;
        }
        CFRef<CFErrorRef> cfError;
        const CFRef<CFDataRef> data(CFURLCreateBookmarkData(kCFAllocatorDefault, cfURL.get(),
                                                            kCFURLBookmarkCreationWithSecurityScope,
                                                            nullptr, nullptr, cfError.adopt()));
        if (!data) {
            if (error) {
                *error = describe(cfError.get());
            }
            return std::nullopt;
        }
        return QByteArray::fromCFData(data.get());
    }

    std::optional<ResolvedBookmark> resolveBookmark(const QByteArray& data) override
    {
        const CFRef<CFDataRef> cfData(data.toCFData());
        if (!cfData) {
            return std::nullopt;
        }
        Boolean isStale = false;
        CFRef<CFErrorRef> cfError;
        CFRef<CFURLRef> url(CFURLCreateByResolvingBookmarkData(
            kCFAllocatorDefault, cfData.get(), kCFURLBookmarkResolutionWithSecurityScope, nullptr,
            nullptr, &isStale, cfError.adopt()));
        if (!url) {
            return std::nullopt;
        }
        const QUrl folder = QUrl::fromCFURL(url.get());
        resolved.keep(folder, std::move(url));
        return ResolvedBookmark{folder, isStale != 0};
    }

    bool startAccessing(const QUrl& url) override
    {
        const CFRef<CFURLRef> cfURL = scopedURL(url, Folders::Match::enclosing);
        return cfURL && CFURLStartAccessingSecurityScopedResource(cfURL.get());
    }

    void stopAccessing(const QUrl& url) override
    {
        if (const CFRef<CFURLRef> cfURL = scopedURL(url, Folders::Match::enclosing)) {
            CFURLStopAccessingSecurityScopedResource(cfURL.get());
        }
    }

private:
    using Folders = ResolvedFolders<CFRef<CFURLRef>>;

    // The resolved object for the folder (or one around it); else a plain URL made from the
    // address, which carries no scope.
    CFRef<CFURLRef> scopedURL(const QUrl& url, Folders::Match match) const
    {
        if (std::optional<CFRef<CFURLRef>> kept = resolved.find(url, match)) {
            return *kept;
        }
        return CFRef<CFURLRef>(url.toCFURL());
    }

    Folders resolved;
};

} // namespace

std::shared_ptr<FolderAccess> FolderAccess::makeSystemFolderAccess()
{
    // One for the process: the settings, the scan and the server start share the resolved
    // objects, as the process shares the security scope they grant.
    static const std::shared_ptr<FolderAccess> shared = std::make_shared<MacFolderAccess>();
    return shared;
}
