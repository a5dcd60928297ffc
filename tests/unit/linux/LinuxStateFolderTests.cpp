#include "Platform/StateFolder.h"

#include "support/QtPrinters.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <optional>

namespace {

// Sets XDG_STATE_HOME (or unsets it, for nullopt) while it exists.
class ScopedStateHome
{
public:
    explicit ScopedStateHome(const std::optional<QByteArray>& value)
        : previous(qgetenv("XDG_STATE_HOME")), wasSet(qEnvironmentVariableIsSet("XDG_STATE_HOME"))
    {
        if (value) {
            qputenv("XDG_STATE_HOME", *value);
        } else {
            qunsetenv("XDG_STATE_HOME");
        }
    }
    ~ScopedStateHome()
    {
        if (wasSet) {
            qputenv("XDG_STATE_HOME", previous);
        } else {
            qunsetenv("XDG_STATE_HOME");
        }
    }
    ScopedStateHome(const ScopedStateHome&) = delete;
    ScopedStateHome& operator=(const ScopedStateHome&) = delete;

private:
    QByteArray previous;
    bool wasSet;
};

QString defaultFolder()
{
    return QDir::homePath() + QStringLiteral("/.local/state/wisp");
}

} // namespace

TEST(LinuxStateFolder, IsWispUnderXdgStateHome)
{
    ScopedStateHome home(QByteArray("/srv/state/"));
    EXPECT_EQ(StateFolder::path(), QStringLiteral("/srv/state/wisp"));
}

TEST(LinuxStateFolder, DefaultsToDotLocalStateWithoutXdgStateHome)
{
    ScopedStateHome home(std::nullopt);
    EXPECT_EQ(StateFolder::path(), defaultFolder());
}

TEST(LinuxStateFolder, AnEmptyXdgStateHomeMeansTheDefault)
{
    ScopedStateHome home(QByteArray(""));
    EXPECT_EQ(StateFolder::path(), defaultFolder());
}

TEST(LinuxStateFolder, ARelativeXdgStateHomeIsIgnored)
{
    ScopedStateHome home(QByteArray("relative/state"));
    EXPECT_EQ(StateFolder::path(), defaultFolder());
}

TEST(LinuxStateFolder, IsNotCreated)
{
    QTemporaryDir base;
    ASSERT_TRUE(base.isValid());
    ScopedStateHome home(base.path().toUtf8());
    EXPECT_EQ(StateFolder::path(), base.path() + QStringLiteral("/wisp"));
    EXPECT_FALSE(QFileInfo::exists(StateFolder::path()));
}
