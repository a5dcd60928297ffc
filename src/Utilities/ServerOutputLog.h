#pragma once

#include "Utilities/OutputLines.h"

#include <QList>
#include <QObject>
#include <QString>

// What the server output window shows: the output of the selected project's server as it
// arrives (its dependency install too), its last `maxLines` lines, and which project and command
// wrote it. A run of another project replaces the lines; the same project's runs follow on.
class ServerOutputLog : public QObject
{
    Q_OBJECT
public:
    static constexpr qsizetype maxLines = 5000;

    explicit ServerOutputLog(QObject* parent = nullptr);

    // `command` is about to run for the project named `projectName` in `folder`.
    void begin(const QString& projectName, const QString& folder, const QString& command);
    // A chunk of output as it was read.
    void append(const QString& text, bool isError);
    // Forgets the lines; the project and command stay.
    void clear();

    const QList<OutputLines::Line>& lines() const { return buffer.lines(); }
    QString projectName() const { return name; }
    QString command() const { return commandLine; }
    // "Server Output", then the project and its command once something ran.
    QString title() const;

Q_SIGNALS:
    // The lines were replaced (cleared, or another project's run began).
    void reset();
    void titleChanged(const QString& title);
    // New lines at the end; as many of the oldest as go past maxLines are gone.
    void linesAdded(const QList<OutputLines::Line>& lines);

private:
    OutputLines buffer{maxLines};
    QString name;
    QString folderPath;
    QString commandLine;
};
