#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

// Points XDG_CONFIG_HOME at a configuration home of one test's own, "config" in a fresh
// temporary folder (not made yet, so a test can see it made), and gives the old value back.
class ScopedConfigHome
{
public:
    ScopedConfigHome();
    ~ScopedConfigHome();
    ScopedConfigHome(const ScopedConfigHome&) = delete;
    ScopedConfigHome& operator=(const ScopedConfigHome&) = delete;

    bool isValid() const { return folder.isValid(); }
    // The configuration home.
    QString path() const { return folder.filePath(QStringLiteral("config")); }
    // A file in the temporary folder, beside the configuration home.
    QString filePath(const QString& name) const { return folder.filePath(name); }

private:
    QTemporaryDir folder;
    QByteArray previous;
};
