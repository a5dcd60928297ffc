#include "Platform/StateFolder.h"

#include "support/QtPrinters.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// On every platform an absolute XDG_STATE_HOME decides the state folder: the tests point it at a
// temporary folder of their own, so that none of them writes into the user's real logs folder.

namespace {

class ScopedVariable
{
public:
    ScopedVariable(const char* name, const QByteArray& value)
        : name(name), previous(qgetenv(name)), wasSet(qEnvironmentVariableIsSet(name))
    {
        qputenv(name, value);
    }
    ~ScopedVariable()
    {
        if (wasSet) {
            qputenv(name, previous);
        } else {
            qunsetenv(name);
        }
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* name;
    QByteArray previous;
    bool wasSet;
};

} // namespace

TEST(StateFolder, IsWispInAnAbsoluteXdgStateHome)
{
    QTemporaryDir base;
    ASSERT_TRUE(base.isValid());
    ScopedVariable home("XDG_STATE_HOME", (base.path() + QStringLiteral("/")).toUtf8());
    EXPECT_EQ(StateFolder::path(), QDir::cleanPath(base.path()) + QStringLiteral("/wisp"));
}

TEST(StateFolder, ARelativeXdgStateHomeIsNotUsed)
{
    ScopedVariable home("XDG_STATE_HOME", QByteArray("relative/state"));
    const QString path = StateFolder::path();
    EXPECT_TRUE(QDir::isAbsolutePath(path)) << path.toStdString();
    EXPECT_FALSE(path.contains(QStringLiteral("relative/state"))) << path.toStdString();
    EXPECT_TRUE(path.startsWith(QDir::homePath() + QStringLiteral("/"))) << path.toStdString();
    EXPECT_TRUE(path.endsWith(QStringLiteral("/wisp"))) << path.toStdString();
}
