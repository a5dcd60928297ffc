#pragma once

#include "Utilities/TurnQueue.h"

#include <QCoro/QCoroTask>
#include <QProcessEnvironment>
#include <QString>

#include <memory>
#include <optional>

class ShellEnvironment;

// The environment a development server runs in: wisp's own, with the search path and the
// variables of the user's login shell, and the toolchains of the project's folder. The shell is
// asked once, at the first server start, and its answer kept until `refresh`.
class ServerEnvironment : public std::enable_shared_from_this<ServerEnvironment>
{
public:
    // `own` stands for wisp's own environment, which is otherwise read at every start.
    explicit ServerEnvironment(std::shared_ptr<ShellEnvironment> shell,
                               std::optional<QProcessEnvironment> own = std::nullopt);

    // For a server in `folder`. Waits for the shell when it has not answered in this run yet;
    // starts that are asked for meanwhile wait for the same answer.
    QCoro::Task<QProcessEnvironment> forProject(QString folder);

    // Forgets the shell's answer, so that tools installed since are found. When it had answered,
    // it is asked again at once, so that the next start need not wait for it.
    void refresh();

    // `own` with the shell's PATH, followed by those of the fixed directories it lacks, and the
    // variables the shell sets that `own` lacks. Without a shell (it failed): `own` with the
    // fixed search path in place of its PATH.
    static QProcessEnvironment combine(const QProcessEnvironment& own,
                                       const std::optional<QProcessEnvironment>& shell);

private:
    // The shell's answer, asking it first when this run has none yet.
    QCoro::Task<std::optional<QProcessEnvironment>> shellAnswer();

    std::shared_ptr<ShellEnvironment> shell;
    std::optional<QProcessEnvironment> own;
    bool answered = false;
    std::optional<QProcessEnvironment> answer;
    // Bumped by every refresh: an answer asked for before it is not kept.
    int generation = 0;
    TurnQueue asking;
};
