#include "Managers/ServerManager.h"
#include "Platform/SystemTools.h"

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

TEST(MacLsof, PortQueryAndKillScriptsKeepTheirArguments)
{
    EXPECT_TRUE(SystemTools::lsofOptions().isEmpty());
    EXPECT_EQ(ServerManager::portQueryArguments(3000),
              (QStringList{"-i", ":3000", "-sTCP:LISTEN", "-t"}));
    const QString head =
        QStringLiteral("    PIDS=$(/usr/sbin/lsof -ti:3000 -sTCP:LISTEN 2>/dev/null)\n");
    EXPECT_TRUE(
        ServerManager::politeKillScript(3000, QStringLiteral("/usr/sbin/lsof")).startsWith(head));
    EXPECT_TRUE(
        ServerManager::forcefulKillScript(3000, QStringLiteral("/usr/sbin/lsof")).startsWith(head));
}
