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

// Bookmarks through CoreFoundation. wisp is not sandboxed, and outside the sandbox creating a
// security-scoped bookmark can fail ("Failed to retrieve app-scope key"), so FolderAccess falls
// back to a plain bookmark, which needs no scope to be used.
//
// The security scope travels with the URL object that resolving a bookmark returns, not with its
// path: a CFURL made again from the path cannot start access in a sandbox, nor create a fresh
// bookmark for a stale one. So the resolved objects are kept, by folder, with whether they carry
// a scope, and start, stop and bookmark creation use them; a folder inside a resolved one is
// reached through it. Access is started only on an object with a scope: a folder without one is
// open to the process anyway.
class MacFolderAccess final : public FolderAccess
{
public:
    std::optional<QByteArray> createBookmarkData(const QUrl& url, BookmarkKind kind,
                                                 QString* error) override
    {
        // A folder inside a resolved one gets a bookmark of its own, not of the enclosing one.
        const std::optional<Kept> kept = keptOrPlain(url, Folders::Match::exact);
        if (!kept) {
            if (error) {
                *error = QStringLiteral("Invalid folder URL");
            }
            return std::nullopt;
        }
        const CFURLBookmarkCreationOptions options =
            kind == BookmarkKind::securityScoped
                ? static_cast<CFURLBookmarkCreationOptions>(kCFURLBookmarkCreationWithSecurityScope)
                : static_cast<CFURLBookmarkCreationOptions>(0);
        CFRef<CFErrorRef> cfError;
        const CFRef<CFDataRef> data(CFURLCreateBookmarkData(
            kCFAllocatorDefault, kept->url.get(), options, nullptr, nullptr, cfError.adopt()));
        if (!data) {
            if (error) {
                *error = describe(cfError.get());
            }
            return std::nullopt;
        }
        return QByteArray::fromCFData(data.get());
    }

    std::optional<ResolvedBookmark> resolveBookmarkData(const QByteArray& data,
                                                        BookmarkKind kind) override
    {
        const CFRef<CFDataRef> cfData(data.toCFData());
        if (!cfData) {
            return std::nullopt;
        }
        const bool scoped = kind == BookmarkKind::securityScoped;
        const CFURLBookmarkResolutionOptions options =
            scoped ? static_cast<CFURLBookmarkResolutionOptions>(
                         kCFURLBookmarkResolutionWithSecurityScope)
                   : static_cast<CFURLBookmarkResolutionOptions>(0);
        Boolean isStale = false;
        CFRef<CFErrorRef> cfError;
        CFRef<CFURLRef> url(CFURLCreateByResolvingBookmarkData(kCFAllocatorDefault, cfData.get(),
                                                               options, nullptr, nullptr, &isStale,
                                                               cfError.adopt()));
        if (!url) {
            return std::nullopt;
        }
        const QUrl folder = QUrl::fromCFURL(url.get());
        resolved.keep(folder, Kept{std::move(url), scoped});
        return ResolvedBookmark{folder, isStale != 0, scoped};
    }

    bool startAccessing(const QUrl& url) override
    {
        const std::optional<Kept> kept = resolved.find(url, Folders::Match::enclosing);
        if (!kept || !kept->hasScope) {
            return true;
        }
        return CFURLStartAccessingSecurityScopedResource(kept->url.get());
    }

    void stopAccessing(const QUrl& url) override
    {
        const std::optional<Kept> kept = resolved.find(url, Folders::Match::enclosing);
        if (kept && kept->hasScope) {
            CFURLStopAccessingSecurityScopedResource(kept->url.get());
        }
    }

private:
    struct Kept
    {
        CFRef<CFURLRef> url;
        bool hasScope = false;
    };
    using Folders = ResolvedFolders<Kept>;

    // The resolved object for the folder (or one around it); else a plain URL made from the
    // address, which carries no scope; nullopt when the address makes no URL.
    std::optional<Kept> keptOrPlain(const QUrl& url, Folders::Match match) const
    {
        if (std::optional<Kept> kept = resolved.find(url, match)) {
            return kept;
        }
        CFRef<CFURLRef> plain(url.toCFURL());
        if (!plain) {
            return std::nullopt;
        }
        return Kept{std::move(plain), false};
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
