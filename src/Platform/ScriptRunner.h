#pragma once

#include <QCoro/QCoroTask>
#include <QString>
#include <QVariantMap>

// What running one AppleScript program gave.
struct ScriptResult
{
    // False when the program could not even be handed to the runner.
    bool created = true;
    // The runner's error dictionary (BrowserError::errorNumberKey / errorMessageKey); empty
    // when the program ran to its end.
    QVariantMap error;
    // The program's result as text ("true", "false", ...); empty when it returned nothing.
    QString output;

    bool succeeded() const { return created && error.isEmpty(); }
    // The Boolean value of the result, as a descriptor's booleanValue reads it.
    bool booleanValue() const { return output == QLatin1String("true"); }
};

// Runs AppleScript programs. Never blocks the calling thread: the caller awaits the result.
class ScriptRunner
{
public:
    virtual ~ScriptRunner() = default;

    virtual QCoro::Task<ScriptResult> run(QString source) = 0;
};
