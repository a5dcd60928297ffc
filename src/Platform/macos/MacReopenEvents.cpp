#include "Platform/ReopenEvents.h"

#include <CoreServices/CoreServices.h>

namespace {

// Handles kAEReopenApplication ('rapp' of class 'aevt'), which the system sends when the
// running application is opened again. Apple events are dispatched on the main thread, from
// the main run loop that Qt's event loop runs.
class MacReopenEvents final : public ReopenEvents
{
public:
    explicit MacReopenEvents(std::function<void()> onReopen)
        : onReopen(std::move(onReopen)), handler(NewAEEventHandlerUPP(&MacReopenEvents::handle))
    {
        // Replaces the application's own handler for the event, so the re-open is ours alone.
        installed = AEInstallEventHandler(kCoreEventClass, kAEReopenApplication, handler,
                                          static_cast<SRefCon>(this), false) == noErr;
    }

    ~MacReopenEvents() override
    {
        if (installed) {
            AERemoveEventHandler(kCoreEventClass, kAEReopenApplication, handler, false);
        }
        DisposeAEEventHandlerUPP(handler);
    }

    MacReopenEvents(const MacReopenEvents&) = delete;
    MacReopenEvents& operator=(const MacReopenEvents&) = delete;

private:
    static OSErr handle(const AppleEvent*, AppleEvent*, SRefCon refcon)
    {
        auto* self = static_cast<MacReopenEvents*>(refcon);
        if (self && self->onReopen) {
            self->onReopen();
        }
        return noErr;
    }

    std::function<void()> onReopen;
    AEEventHandlerUPP handler;
    bool installed = false;
};

} // namespace

std::unique_ptr<ReopenEvents> ReopenEvents::install(std::function<void()> onReopen)
{
    return std::make_unique<MacReopenEvents>(std::move(onReopen));
}
