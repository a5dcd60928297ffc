#include "Platform/BrowserLocator.h"

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

#include <cstring>

namespace {

// Releases one Core Foundation object it was handed under the Create or Copy rule.
class CFOwner
{
public:
    explicit CFOwner(CFTypeRef object) : object(object) {}
    ~CFOwner()
    {
        if (object) {
            CFRelease(object);
        }
    }
    CFOwner(const CFOwner&) = delete;
    CFOwner& operator=(const CFOwner&) = delete;

private:
    CFTypeRef object;
};

// Any plain-http address on a reserved example host: Launch Services answers with the
// application that handles the scheme.
constexpr const char* probeAddress = "http://example.com";

// Asks Launch Services (CoreServices) for applications by bundle identifier and for the
// default handler of http addresses.
class MacBrowserLocator final : public BrowserLocator
{
public:
    bool isInstalled(Browser browser) const override
    {
        const QString identifier = browser.bundleIdentifier();
        if (identifier.isEmpty()) {
            return false;
        }
        CFStringRef cfIdentifier = identifier.toCFString();
        const CFOwner identifierOwner(cfIdentifier);
        CFArrayRef urls = LSCopyApplicationURLsForBundleIdentifier(cfIdentifier, nullptr);
        const CFOwner urlsOwner(urls);
        return urls && CFArrayGetCount(urls) > 0;
    }

    std::optional<QString> defaultBrowserIdentifier() const override
    {
        CFURLRef probe = CFURLCreateWithBytes(
            kCFAllocatorDefault, reinterpret_cast<const UInt8*>(probeAddress),
            static_cast<CFIndex>(strlen(probeAddress)), kCFStringEncodingASCII, nullptr);
        const CFOwner probeOwner(probe);
        if (!probe) {
            return std::nullopt;
        }
        CFURLRef application = LSCopyDefaultApplicationURLForURL(probe, kLSRolesAll, nullptr);
        const CFOwner applicationOwner(application);
        if (!application) {
            return std::nullopt;
        }
        CFBundleRef bundle = CFBundleCreate(kCFAllocatorDefault, application);
        const CFOwner bundleOwner(bundle);
        if (!bundle) {
            return QString();
        }
        // Get rule: owned by the bundle.
        CFStringRef identifier = CFBundleGetIdentifier(bundle);
        return identifier ? QString::fromCFString(identifier) : QString();
    }
};

} // namespace

std::shared_ptr<BrowserLocator> BrowserLocator::makeSystemLocator()
{
    return std::make_shared<MacBrowserLocator>();
}
