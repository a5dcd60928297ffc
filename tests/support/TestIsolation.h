#pragma once

#include <QStringList>

#include <gtest/gtest.h>

// When a whole suite runs in one process, undoes what one test could leave behind for the next:
// a replaced tool path, and child processes or queued events of the test that would otherwise
// finish, log and publish during a later test.
class TestIsolation : public ::testing::EmptyTestEventListener
{
public:
    void OnTestEnd(const ::testing::TestInfo& test) override;

    // Installs one listener for the test program; the test framework owns it. Child processes
    // running at this moment (a display server for the whole program) are left alone.
    static void install();

private:
    QStringList programChildren;
};
