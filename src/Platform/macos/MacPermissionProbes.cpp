#include "Platform/PermissionProbes.h"

#include "Platform/OsaScriptCall.h"
#include "Platform/SystemTools.h"

// Keep AssertMacros' lower-case `check`, `verify` and `require` out of C++ code.
#define __ASSERT_MACROS_DEFINE_VERSIONS_WITHOUT_UNDERSCORES 0
#include <ApplicationServices/ApplicationServices.h>

namespace {

// The probe blocks the calling thread while the script runs; the first run may wait on the
// system's consent prompt, which is given time to be answered.
constexpr int probeTimeoutMs = 60'000;
constexpr int triggerTimeoutMs = 120'000;

class MacPermissionProbes final : public PermissionProbes
{
public:
    bool checkAutomationPermission() override
    {
        // Any error (denied, not yet decided, System Events not answering) means not granted.
        // When the interpreter cannot be started at all nothing ran, and the answer is yes.
        return OsaScriptCall::run(SystemTools::osascript(), automationProbeScript(),
                                  probeTimeoutMs) != OsaScriptCall::Outcome::failed;
    }

    void triggerAutomationPermission() override
    {
        OsaScriptCall::run(SystemTools::osascript(), automationTriggerScript(), triggerTimeoutMs);
    }

    bool checkAccessibilityPermission() override { return AXIsProcessTrusted() != 0; }
};

} // namespace

std::shared_ptr<PermissionProbes> PermissionProbes::makeSystemProbes()
{
    return std::make_shared<MacPermissionProbes>();
}
