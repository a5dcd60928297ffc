#pragma once

#include <functional>
#include <memory>

// Re-open requests that come from the platform itself: on macOS, launching the running
// application again from the Finder or the Dock sends it the "reopen application" Apple event.
// Linux has no such event (a second launch is handled by SingleInstance).
class ReopenEvents
{
public:
    virtual ~ReopenEvents() = default;

    // Delivers each re-open to `onReopen` on the main thread while the returned object lives.
    // Call it once the event loop runs, so that the platform's own handler is already in place
    // and gets replaced.
    static std::unique_ptr<ReopenEvents> install(std::function<void()> onReopen);
};
