#pragma once

#include "Platform/ShellEnvironment.h"
#include "fakes/Gate.h"

#include <QProcessEnvironment>

#include <optional>

// Answers with the environment the test sets (nullopt: the shell failed), silently, and counts
// how often it was asked. A gate holds the answers until the test opens it.
class FakeShellEnvironment : public ShellEnvironment
{
public:
    explicit FakeShellEnvironment(std::optional<QProcessEnvironment> answer = std::nullopt)
        : answer(std::move(answer))
    {}

    QCoro::Task<std::optional<QProcessEnvironment>> resolve() override
    {
        ++asked;
        if (gate) {
            co_await gate->pass();
        }
        co_return answer;
    }

    std::optional<QProcessEnvironment> answer;
    Gate* gate = nullptr;
    int asked = 0;
};
