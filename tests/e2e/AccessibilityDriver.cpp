#include "AccessibilityDriver.h"

#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

AccessibilityDriver::~AccessibilityDriver()
{
    stop();
}

QString AccessibilityDriver::scriptPath()
{
    return QStringLiteral(WISP_SOURCE_DIR "/tests/e2e/a11y_driver.py");
}

bool AccessibilityDriver::start(qint64 pid, const QProcessEnvironment& environment, QString* error)
{
    driver.setProcessEnvironment(environment);
    driver.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // Debian's pyatspi belongs to the system's Python, whatever python3 comes first on PATH.
    driver.start(QStringLiteral("/usr/bin/python3"), {scriptPath(), QString::number(pid)});
    if (!driver.waitForStarted(10000)) {
        *error = QStringLiteral("a11y_driver.py did not start: ") + driver.errorString();
        return false;
    }
    const std::optional<QByteArray> greeting = readLine();
    if (greeting != QByteArray("ready")) {
        *error = QStringLiteral("a11y_driver.py did not get ready");
        stop();
        return false;
    }
    return true;
}

void AccessibilityDriver::stop()
{
    if (driver.state() == QProcess::NotRunning) {
        return;
    }
    driver.closeWriteChannel();
    if (!driver.waitForFinished(5000)) {
        driver.kill();
        driver.waitForFinished(5000);
    }
}

std::optional<AccessibleNode> AccessibilityDriver::tree(QString* error)
{
    return ask("tree\n", error);
}

std::optional<AccessibleNode> AccessibilityDriver::popup(QString* error)
{
    return ask("popup\n", error);
}

std::optional<QList<AccessibleEvent>> AccessibilityDriver::events(QString* error)
{
    const std::optional<QJsonObject> answer = askObject("events\n", error);
    if (!answer) {
        return std::nullopt;
    }
    QList<AccessibleEvent> events;
    const QJsonArray list = answer->value(QStringLiteral("events")).toArray();
    for (const QJsonValue& value : list) {
        const QJsonObject event = value.toObject();
        events.append({event.value(QStringLiteral("type")).toString(),
                       event.value(QStringLiteral("role")).toString(),
                       event.value(QStringLiteral("name")).toString()});
    }
    return events;
}

std::optional<AccessibleNode> AccessibilityDriver::ask(const QByteArray& command, QString* error)
{
    const std::optional<QJsonObject> answer = askObject(command, error);
    if (!answer) {
        return std::nullopt;
    }
    return AccessibleNode::fromJson(*answer);
}

std::optional<QJsonObject> AccessibilityDriver::askObject(const QByteArray& command, QString* error)
{
    QString ignored;
    QString& reason = error ? *error : ignored;
    if (driver.state() != QProcess::Running) {
        reason = QStringLiteral("a11y_driver.py is not running");
        return std::nullopt;
    }
    driver.write(command);
    const std::optional<QByteArray> line = readLine();
    if (!line) {
        reason = QStringLiteral("a11y_driver.py did not answer");
        return std::nullopt;
    }
    QJsonParseError parseError;
    const QJsonDocument answer = QJsonDocument::fromJson(*line, &parseError);
    if (!answer.isObject()) {
        reason = QStringLiteral("a11y_driver.py answered no JSON: ") + parseError.errorString();
        return std::nullopt;
    }
    const QJsonObject object = answer.object();
    if (object.contains(QStringLiteral("error"))) {
        reason = object.value(QStringLiteral("error")).toString();
        return std::nullopt;
    }
    return object;
}

std::optional<QByteArray> AccessibilityDriver::readLine()
{
    QDeadlineTimer deadline(60000);
    while (!driver.canReadLine()) {
        if (driver.state() != QProcess::Running || deadline.hasExpired() ||
            !driver.waitForReadyRead(static_cast<int>(deadline.remainingTime()))) {
            if (!driver.canReadLine()) {
                return std::nullopt;
            }
        }
    }
    return driver.readLine().trimmed();
}
