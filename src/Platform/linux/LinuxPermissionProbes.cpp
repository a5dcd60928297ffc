#include "Platform/PermissionProbes.h"

#include "Utilities/Log.h"

namespace {

// Linux asks nothing of the user: browsers are driven without Apple events, and the global
// shortcut is a key grab that needs no trust.
class LinuxPermissionProbes final : public PermissionProbes
{
public:
    bool checkAutomationPermission() override { return true; }
    void triggerAutomationPermission() override {}
    bool checkAccessibilityPermission() override { return true; }

    void openSystemSettings(const QUrl& url) override
    {
        Log::line(QStringLiteral("⚠️ [PermissionsManager] No system settings to open on this "
                                 "platform: %1")
                      .arg(url.toString()));
    }
};

} // namespace

std::shared_ptr<PermissionProbes> PermissionProbes::makeSystemProbes()
{
    return std::make_shared<LinuxPermissionProbes>();
}
