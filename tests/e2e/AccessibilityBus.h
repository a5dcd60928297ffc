#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>

#include <memory>

// A private D-Bus session for wisp and a11y_driver.py. The session bus starts the
// accessibility bus (at-spi2-core) on demand, so wisp's widgets appear on a bus of their own,
// apart from any desktop session and from other test runs.
class AccessibilityBus
{
public:
    AccessibilityBus() = default;
    ~AccessibilityBus();
    AccessibilityBus(const AccessibilityBus&) = delete;
    AccessibilityBus& operator=(const AccessibilityBus&) = delete;

    bool start(QString* error);
    void stop();

    // Points a process at this session and switches Qt's accessibility on in it.
    void addTo(QProcessEnvironment& environment) const;

    // A reason when a program or module the session needs is missing.
    static QString missingTool();

private:
    std::unique_ptr<QProcess> daemon;
    std::unique_ptr<QTemporaryDir> runtime;
    QString address;
};
