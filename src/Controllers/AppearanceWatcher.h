#pragma once

#include <QObject>

// Reports the system's light/dark changes, which reach Qt as application palette and theme
// changes.
class AppearanceWatcher : public QObject
{
    Q_OBJECT
public:
    explicit AppearanceWatcher(QObject* parent = nullptr);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    void appearanceChanged();
};
