#pragma once

#include <QString>
#include <QUrl>

#include <memory>

// What the permissions monitor asks the system: whether the application may send Apple events
// (Automation) and whether the Accessibility API trusts it, plus the two ways to ask the user.
class PermissionProbes
{
public:
    virtual ~PermissionProbes() = default;

    // Runs the System Events probe script; true when it runs without an error.
    virtual bool checkAutomationPermission() = 0;
    // Runs the trigger script, which makes the system ask for consent the first time. Its result
    // is ignored.
    virtual void triggerAutomationPermission() = 0;
    virtual bool checkAccessibilityPermission() = 0;

    // The Automation probe: three lines, no final line feed.
    static QString automationProbeScript();
    // The Automation trigger, laid out like the probe.
    static QString automationTriggerScript();

    // The platform's own probes.
    static std::shared_ptr<PermissionProbes> makeSystemProbes();
};
