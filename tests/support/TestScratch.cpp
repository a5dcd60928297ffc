#include "support/TestScratch.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <cstring>

namespace {

constexpr const char* scratchVariable = "WISP_TEST_SCRATCH";

bool isDeathTestChild(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--gtest_internal_run_death_test", 31) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace

TestScratch::TestScratch(int argc, char** argv)
{
    const QByteArray parentFolder = qgetenv(scratchVariable);
    if (isDeathTestChild(argc, argv) && QDir(QString::fromLocal8Bit(parentFolder)).exists()) {
        qputenv("TMPDIR", parentFolder);
        return;
    }
    folder.emplace(QDir::tempPath() + QStringLiteral("/wisp-test-XXXXXX"));
    qputenv(scratchVariable, folder->path().toLocal8Bit());
}

void TestScratch::useAsConfigHome()
{
    if (!folder) {
        return;
    }
    const QString configHome = folder->filePath(QStringLiteral("config"));
    QDir().mkpath(configHome);
    qputenv("XDG_CONFIG_HOME", configHome.toLocal8Bit());
}

void TestScratch::useAsStateHome()
{
    if (!folder) {
        return;
    }
    const QString stateHome = folder->filePath(QStringLiteral("state"));
    QDir().mkpath(stateHome);
    qputenv("XDG_STATE_HOME", stateHome.toLocal8Bit());
}

void TestScratch::useAsHome()
{
    if (!folder) {
        return;
    }
    const QString home = folder->filePath(QStringLiteral("home"));
    QDir().mkpath(home);
    qputenv("HOME", home.toLocal8Bit());
    qputenv("SHELL", "/bin/sh");
    for (const char* name : {"ZDOTDIR", "ENV", "BASH_ENV"}) {
        qunsetenv(name);
    }
}

void TestScratch::provideRuntimeDirectory()
{
    if (!folder || !qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        return;
    }
    const QString runtime = folder->filePath(QStringLiteral("runtime"));
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", runtime.toLocal8Bit());
}
