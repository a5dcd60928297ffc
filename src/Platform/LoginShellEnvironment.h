#pragma once

#include "Platform/ShellEnvironment.h"

#include <QByteArray>
#include <QString>

#include <chrono>

// Asks the user's login shell for its environment: `$SHELL`, else the account's shell from the
// password database, run as an interactive login shell (so that rc files which only set things
// up for terminals count too) without a terminal, reading nothing. The environment is read from
// between two markers, so whatever the rc files print does not matter.
class LoginShellEnvironment : public ShellEnvironment
{
public:
    static constexpr std::chrono::milliseconds defaultDeadline{10'000};

    // `environment` is what the shell starts with (HOME and SHELL come from it).
    explicit LoginShellEnvironment(
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment(),
        std::chrono::milliseconds deadline = defaultDeadline);

    QCoro::Task<std::optional<QProcessEnvironment>> resolve() override;

    std::chrono::milliseconds deadline() const { return shellDeadline; }
    // The shell that `resolve` runs.
    QString shell() const;

    // The variables between the first `marker` in `output` and the last one, as `env -0`
    // prints them; nullopt when the markers are missing.
    static std::optional<QProcessEnvironment> parse(const QByteArray& output,
                                                    const QByteArray& marker);

private:
    QProcessEnvironment startEnvironment;
    std::chrono::milliseconds shellDeadline;
};
