#pragma once

#include <QTemporaryDir>

#include <optional>

// The private folder of one test program: its configuration home lives there. A death test runs
// the program again in a child that dies without cleaning up; that child keeps its temporary
// files in its parent's folder, which the parent removes at its end.
class TestScratch
{
public:
    // Call before the test framework reads (and removes) its arguments.
    TestScratch(int argc, char** argv);

    // Points XDG_CONFIG_HOME at the folder's configuration home (a death test's child already
    // has its parent's).
    void useAsConfigHome();
    // Points XDG_STATE_HOME (where started servers' output goes) at the folder's state home.
    void useAsStateHome();
    // Points HOME at an empty folder of its own and SHELL at /bin/sh, without the variables that
    // name other rc files (ZDOTDIR, ENV, BASH_ENV): a server that a test starts asks that login
    // shell for its environment, and must never source the user's own rc files.
    void useAsHome();
    // Without XDG_RUNTIME_DIR Qt makes a runtime folder of its own in the temporary folder and
    // leaves it there; the program's runtime folder is made here instead.
    void provideRuntimeDirectory();

private:
    std::optional<QTemporaryDir> folder;
};
