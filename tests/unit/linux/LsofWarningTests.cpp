#include "Managers/ServerManager.h"
#include "Platform/SystemTools.h"

#include "fakes/FakeFolderAccess.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"
#include "unit/ServerTestSupport.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ServerTests;

namespace {

// An lsof that finds no listener and, like the real one on a machine with a FUSE or network
// mount, warns on standard error unless "-w" is among its arguments.
class WarningLsof
{
public:
    WarningLsof()
    {
        EXPECT_TRUE(folder.isValid());
        TestSupport::writeFile(folder.path(), QStringLiteral("lsof"),
                               "#!/bin/sh\n"
                               "for argument in \"$@\"; do\n"
                               "    [ \"$argument\" = -w ] && exit 1\n"
                               "done\n"
                               "echo 'lsof: WARNING: can'\"'\"'t stat() fuse.gvfsd-fuse file "
                               "system /run/user/1000/gvfs'"
                               " >&2\n"
                               "echo '      Output information may be incomplete.' >&2\n"
                               "exit 1\n");
        QFile::setPermissions(path(), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    }

    QString path() const { return folder.filePath(QStringLiteral("lsof")); }

private:
    QTemporaryDir folder;
};

} // namespace

TEST(LinuxLsof, PortQueryAndKillScriptsTurnWarningsOff)
{
    EXPECT_EQ(SystemTools::lsofOptions(), QStringList{QStringLiteral("-w")});
    EXPECT_EQ(ServerManager::portQueryArguments(3000),
              (QStringList{"-w", "-i", ":3000", "-sTCP:LISTEN", "-t"}));
    const QString head =
        QStringLiteral("    PIDS=$(/usr/bin/lsof -w -ti:3000 -sTCP:LISTEN 2>/dev/null)\n");
    EXPECT_TRUE(
        ServerManager::politeKillScript(3000, QStringLiteral("/usr/bin/lsof")).startsWith(head));
    EXPECT_TRUE(
        ServerManager::forcefulKillScript(3000, QStringLiteral("/usr/bin/lsof")).startsWith(head));
}

TEST(LinuxLsof, WarningAboutAFileSystemReadsAsStopped)
{
    ScopedTemporaryDirectory temporary;
    WarningLsof lsof;
    // Without "-w" the stand-in's warning is all it prints, and it would read as a listener.
    QProcess bare;
    bare.setProcessChannelMode(QProcess::MergedChannels);
    bare.start(lsof.path(), {QStringLiteral("-i"), QStringLiteral(":3000")});
    ASSERT_TRUE(bare.waitForFinished(30000));
    ASSERT_TRUE(bare.readAll().contains("WARNING"));

    const ScopedLsof override(lsof.path());
    ServerManager manager(std::make_shared<FakeFolderAccess>());
    EXPECT_FALSE(checkPort(manager, TestSupport::freePort()));
}
