#include "Platform/PermissionProbes.h"

namespace {

// Linux asks nothing of the user: browsers are driven without Apple events, and the global
// shortcut is a key grab that needs no trust.
class LinuxPermissionProbes final : public PermissionProbes
{
public:
    bool checkAutomationPermission() override { return true; }
    void triggerAutomationPermission() override {}
    bool checkAccessibilityPermission() override { return true; }
};

} // namespace

std::shared_ptr<PermissionProbes> PermissionProbes::makeSystemProbes()
{
    return std::make_shared<LinuxPermissionProbes>();
}
