#include "Utilities/ServerOutputLog.h"

ServerOutputLog::ServerOutputLog(QObject* parent) : QObject(parent) {}

void ServerOutputLog::begin(const QString& projectName, const QString& folder,
                            const QString& command)
{
    const bool otherProject = folder != folderPath;
    name = projectName;
    folderPath = folder;
    commandLine = command;
    if (otherProject && !buffer.lines().isEmpty()) {
        buffer.clear();
        Q_EMIT reset();
    }
    Q_EMIT titleChanged(title());
}

void ServerOutputLog::append(const QString& text, bool isError)
{
    const QList<OutputLines::Line> added = buffer.append(text, isError);
    if (!added.isEmpty()) {
        Q_EMIT linesAdded(added);
    }
}

void ServerOutputLog::clear()
{
    buffer.clear();
    Q_EMIT reset();
}

QString ServerOutputLog::title() const
{
    if (name.isEmpty()) {
        return QStringLiteral("Server Output");
    }
    return QStringLiteral("Server Output — %1 (%2)").arg(name, commandLine);
}
