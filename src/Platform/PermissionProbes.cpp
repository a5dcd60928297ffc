#include "Platform/PermissionProbes.h"

QString PermissionProbes::automationProbeScript()
{
    return QStringLiteral("    tell application \"System Events\"\n"
                          "        return name of first process\n"
                          "    end tell");
}

QString PermissionProbes::automationTriggerScript()
{
    return QStringLiteral("    tell application \"System Events\"\n"
                          "        return \"\"\n"
                          "    end tell");
}
