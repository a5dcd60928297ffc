#include "Platform/SystemSettingsOpener.h"

#include <QDesktopServices>
#include <QUrl>

namespace {

// The workspace routes "x-apple.systempreferences:" addresses to System Settings.
class MacSystemSettingsOpener final : public SystemSettingsOpener
{
public:
    void open(const QString& address) override { QDesktopServices::openUrl(QUrl(address)); }
};

} // namespace

std::shared_ptr<SystemSettingsOpener> SystemSettingsOpener::makeSystemOpener()
{
    return std::make_shared<MacSystemSettingsOpener>();
}
