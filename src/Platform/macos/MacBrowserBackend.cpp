#include "Platform/AppleScriptBrowserBackend.h"

// macOS drives the browsers with AppleScript through osascript, and Firefox through open.
std::shared_ptr<BrowserBackend> BrowserBackend::makeSystemBackend()
{
    return std::make_shared<AppleScriptBrowserBackend>();
}
