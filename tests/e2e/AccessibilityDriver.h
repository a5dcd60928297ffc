#pragma once

#include "AccessibleNode.h"

#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>

#include <optional>

// What a screen reader was told: an object took the focus, a window became active.
struct AccessibleEvent
{
    // "focus:", "object:state-changed:focused" or "window:activate".
    QString type;
    QString role;
    QString name;
};

// a11y_driver.py, kept running beside one application: it answers with the application's
// accessibility tree, with the tree of the popup shown last (menus, which Qt leaves out of the
// application's children), and with the announcements made since it was last asked.
class AccessibilityDriver
{
public:
    AccessibilityDriver() = default;
    ~AccessibilityDriver();
    AccessibilityDriver(const AccessibilityDriver&) = delete;
    AccessibilityDriver& operator=(const AccessibilityDriver&) = delete;

    // `environment` names the display and the session bus. Starts listening before the
    // application shows anything worth reading.
    bool start(qint64 pid, const QProcessEnvironment& environment, QString* error);
    void stop();

    // Nothing when there is no such tree (yet); `error` then says why.
    std::optional<AccessibleNode> tree(QString* error = nullptr);
    std::optional<AccessibleNode> popup(QString* error = nullptr);
    // The announcements since the last call (or the start), oldest first.
    std::optional<QList<AccessibleEvent>> events(QString* error = nullptr);

    static QString scriptPath();

private:
    std::optional<QJsonObject> askObject(const QByteArray& command, QString* error);
    std::optional<AccessibleNode> ask(const QByteArray& command, QString* error);
    // One line of output, or nothing when the driver ended or stayed silent for a minute.
    std::optional<QByteArray> readLine();

    QProcess driver;
};
