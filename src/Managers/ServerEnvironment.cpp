#include "Managers/ServerEnvironment.h"

#include "Platform/ShellEnvironment.h"
#include "Platform/SystemTools.h"
#include "Utilities/ProjectToolchains.h"

#include <QSet>
#include <QStringList>

namespace {

const QString pathName = QStringLiteral("PATH");

// Set by every shell for itself; in a server started elsewhere they would only mislead.
bool isShellBookkeeping(const QString& name)
{
    static const QSet<QString> names{QStringLiteral("PWD"), QStringLiteral("OLDPWD"),
                                     QStringLiteral("SHLVL"), QStringLiteral("_")};
    return names.contains(name);
}

} // namespace

ServerEnvironment::ServerEnvironment(std::shared_ptr<ShellEnvironment> shell,
                                     std::optional<QProcessEnvironment> own)
    : shell(std::move(shell)), own(std::move(own))
{}

QProcessEnvironment ServerEnvironment::combine(const QProcessEnvironment& own,
                                               const std::optional<QProcessEnvironment>& shell)
{
    QProcessEnvironment combined = own;
    const QString fixed = SystemTools::serverSearchPath();
    if (!shell) {
        combined.insert(pathName, fixed);
        return combined;
    }
    for (const QString& name : shell->keys()) {
        if (!own.contains(name) && !isShellBookkeeping(name)) {
            combined.insert(name, shell->value(name));
        }
    }
    QStringList path = shell->value(pathName).split(QLatin1Char(':'), Qt::SkipEmptyParts);
    for (const QString& directory : fixed.split(QLatin1Char(':'))) {
        if (!path.contains(directory)) {
            path.append(directory);
        }
    }
    combined.insert(pathName, path.join(QLatin1Char(':')));
    return combined;
}

QCoro::Task<std::optional<QProcessEnvironment>> ServerEnvironment::shellAnswer()
{
    // Kept alive while a shell is asked, whoever owned it.
    const std::shared_ptr<ServerEnvironment> self = shared_from_this();
    const TurnQueue::Turn turn = co_await asking.take();
    if (answered) {
        co_return answer;
    }
    const int asked = generation;
    std::optional<QProcessEnvironment> fresh = co_await shell->resolve();
    if (asked == generation) {
        answered = true;
        answer = fresh;
    }
    co_return fresh;
}

QCoro::Task<QProcessEnvironment> ServerEnvironment::forProject(QString folder)
{
    const std::shared_ptr<ServerEnvironment> self = shared_from_this();
    const std::optional<QProcessEnvironment> fromShell = co_await shellAnswer();
    co_return ProjectToolchains::apply(
        folder, combine(own.value_or(QProcessEnvironment::systemEnvironment()), fromShell));
}

void ServerEnvironment::refresh()
{
    const bool hadAnswer = answered;
    answered = false;
    answer.reset();
    ++generation;
    if (hadAnswer) {
        shellAnswer();
    }
}
