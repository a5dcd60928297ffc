#include "Platform/BrowserLocator.h"

#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>

namespace {

// Any plain-http address on a reserved example host: the workspace answers with the
// application that handles the scheme.
NSString* const probeAddress = @"http://example.com";

// Asks the workspace (AppKit) for an application by bundle identifier and for the default
// handler of http addresses. Both are called from worker threads, so only the workspace's look-ups
// that Apple documents as safe from any thread are used: URLForApplicationWithBundleIdentifier:
// (not the look-up of every application with the identifier, which has no such promise) and
// URLForApplicationToOpenURL: (cmake/checks/PlatformSourcesCheck.cmake holds to it). Launch Services' C look-ups for the same are deprecated since
// macOS 12, which is why this adapter is Objective-C++. Objects come autoreleased; the pools
// release them before returning.
class MacBrowserLocator final : public BrowserLocator
{
public:
    bool isInstalled(Browser browser) const override
    {
        const QString identifier = browser.bundleIdentifier();
        if (identifier.isEmpty()) {
            return false;
        }
        @autoreleasepool {
            NSURL* application = [[NSWorkspace sharedWorkspace]
                URLForApplicationWithBundleIdentifier:identifier.toNSString()];
            return application != nil;
        }
    }

    std::optional<QString> defaultBrowserIdentifier() const override
    {
        @autoreleasepool {
            NSURL* probe = [NSURL URLWithString:probeAddress];
            NSURL* application = [[NSWorkspace sharedWorkspace] URLForApplicationToOpenURL:probe];
            if (!application) {
                return std::nullopt;
            }
            NSString* identifier = [NSBundle bundleWithURL:application].bundleIdentifier;
            return identifier ? QString::fromNSString(identifier) : QString();
        }
    }
};

} // namespace

std::shared_ptr<BrowserLocator> BrowserLocator::makeSystemLocator()
{
    return std::make_shared<MacBrowserLocator>();
}
