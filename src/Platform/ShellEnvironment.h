#pragma once

#include <QCoro/QCoroTask>
#include <QProcessEnvironment>

#include <memory>
#include <optional>

// The environment the user's own terminal gives the programs they run: where their version
// managers and toolchains put themselves on PATH.
class ShellEnvironment
{
public:
    virtual ~ShellEnvironment() = default;

    // The environment the shell ends up with; nullopt, after a log line saying why, when it
    // cannot be told. Never throws.
    virtual QCoro::Task<std::optional<QProcessEnvironment>> resolve() = 0;

    // The user's login shell, started with wisp's own environment.
    static std::shared_ptr<ShellEnvironment> makeLoginShellEnvironment();
};
