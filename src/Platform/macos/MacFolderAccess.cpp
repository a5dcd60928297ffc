#include "Platform/FolderAccess.h"

#include <CoreFoundation/CoreFoundation.h>

namespace {

QString describe(CFErrorRef error)
{
    if (!error) {
        return QStringLiteral("Unknown error");
    }
    CFStringRef description = CFErrorCopyDescription(error);
    const QString text = description ? QString::fromCFString(description) : QString();
    if (description) {
        CFRelease(description);
    }
    return text;
}

// Security-scoped bookmarks through CoreFoundation (CFURL bookmark and security-scope calls).
class MacFolderAccess final : public FolderAccess
{
public:
    std::optional<QByteArray> createBookmark(const QUrl& url, QString* error) override
    {
        CFURLRef cfURL = url.toCFURL();
        if (!cfURL) {
            if (error) {
                *error = QStringLiteral("Invalid folder URL");
            }
            return std::nullopt;
        }
        CFErrorRef cfError = nullptr;
        CFDataRef data = CFURLCreateBookmarkData(kCFAllocatorDefault, cfURL,
                                                 kCFURLBookmarkCreationWithSecurityScope, nullptr,
                                                 nullptr, &cfError);
        CFRelease(cfURL);
        if (!data) {
            if (error) {
                *error = describe(cfError);
            }
            if (cfError) {
                CFRelease(cfError);
            }
            return std::nullopt;
        }
        const QByteArray bytes = QByteArray::fromCFData(data);
        CFRelease(data);
        return bytes;
    }

    std::optional<ResolvedBookmark> resolveBookmark(const QByteArray& data) override
    {
        CFDataRef cfData = data.toCFData();
        if (!cfData) {
            return std::nullopt;
        }
        Boolean isStale = false;
        CFErrorRef cfError = nullptr;
        CFURLRef url = CFURLCreateByResolvingBookmarkData(kCFAllocatorDefault, cfData,
                                                          kCFURLBookmarkResolutionWithSecurityScope,
                                                          nullptr, nullptr, &isStale, &cfError);
        CFRelease(cfData);
        if (cfError) {
            CFRelease(cfError);
        }
        if (!url) {
            return std::nullopt;
        }
        ResolvedBookmark resolved{QUrl::fromCFURL(url), isStale != 0};
        CFRelease(url);
        return resolved;
    }

    bool startAccessing(const QUrl& url) override
    {
        CFURLRef cfURL = url.toCFURL();
        if (!cfURL) {
            return false;
        }
        const bool granted = CFURLStartAccessingSecurityScopedResource(cfURL);
        CFRelease(cfURL);
        return granted;
    }

    void stopAccessing(const QUrl& url) override
    {
        CFURLRef cfURL = url.toCFURL();
        if (!cfURL) {
            return;
        }
        CFURLStopAccessingSecurityScopedResource(cfURL);
        CFRelease(cfURL);
    }
};

} // namespace

std::shared_ptr<FolderAccess> FolderAccess::makeSystemFolderAccess()
{
    return std::make_shared<MacFolderAccess>();
}
