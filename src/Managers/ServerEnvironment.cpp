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
                                     QProcessEnvironment own)
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

QCoro::Task<QProcessEnvironment> ServerEnvironment::base()
{
    // Kept alive while a shell is asked, whoever owned it.
    const std::shared_ptr<ServerEnvironment> self = shared_from_this();
    const TurnQueue::Turn turn = co_await asking.take();
    if (!resolved) {
        const int asked = generation;
        std::optional<QProcessEnvironment> answer = co_await shell->resolve();
        const QProcessEnvironment combined = combine(own, answer);
        if (asked == generation) {
            resolved = combined;
        }
        co_return combined;
    }
    co_return *resolved;
}

QCoro::Task<QProcessEnvironment> ServerEnvironment::forProject(QString folder)
{
    const std::shared_ptr<ServerEnvironment> self = shared_from_this();
    const QProcessEnvironment environment = co_await base();
    co_return ProjectToolchains::apply(folder, environment);
}

void ServerEnvironment::refresh()
{
    const bool hadAnswer = resolved.has_value();
    resolved.reset();
    ++generation;
    if (hadAnswer) {
        base();
    }
}
