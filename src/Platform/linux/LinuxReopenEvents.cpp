#include "Platform/ReopenEvents.h"

namespace {

// No platform re-open event exists here.
class LinuxReopenEvents final : public ReopenEvents
{};

} // namespace

std::unique_ptr<ReopenEvents> ReopenEvents::install(std::function<void()>)
{
    return std::make_unique<LinuxReopenEvents>();
}
