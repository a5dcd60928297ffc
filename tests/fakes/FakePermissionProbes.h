#pragma once

#include "Platform/PermissionProbes.h"

#include <QList>
#include <QUrl>

// Scripted permission answers; counts every probe and records every request.
class FakePermissionProbes : public PermissionProbes
{
public:
    bool automationGranted = false;
    bool accessibilityGranted = false;

    int automationChecks = 0;
    int accessibilityChecks = 0;
    int automationTriggers = 0;

    bool checkAutomationPermission() override
    {
        ++automationChecks;
        return automationGranted;
    }
    void triggerAutomationPermission() override { ++automationTriggers; }
    bool checkAccessibilityPermission() override
    {
        ++accessibilityChecks;
        return accessibilityGranted;
    }
};
