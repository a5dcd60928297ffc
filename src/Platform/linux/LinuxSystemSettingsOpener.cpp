#include "Platform/SystemSettingsOpener.h"

#include "Utilities/Log.h"

namespace {

// The system-settings addresses name macOS panes; nothing on Linux answers them.
class LinuxSystemSettingsOpener final : public SystemSettingsOpener
{
public:
    void open(const QString& address) override
    {
        Log::line(QStringLiteral("⚠️ [SystemSettings] No settings pane for %1 on this platform")
                      .arg(address));
    }
};

} // namespace

std::shared_ptr<SystemSettingsOpener> SystemSettingsOpener::makeSystemOpener()
{
    return std::make_shared<LinuxSystemSettingsOpener>();
}
