#include "Platform/linux/LinuxLoginItem.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

// An Exec value of a freedesktop desktop entry: a path with reserved characters is quoted,
// with ", `, $ and \ escaped inside the quotes; then, as for any string value, \ is escaped.
QString execValue(const QString& executable)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    bool needsQuotes = false;
    for (const QChar character : executable) {
        needsQuotes = needsQuotes || reserved.contains(character);
    }
    QString value = executable;
    if (needsQuotes) {
        QString quoted;
        for (const QChar character : executable) {
            if (character == u'"' || character == u'`' || character == u'$' || character == u'\\') {
                quoted += u'\\';
            }
            quoted += character;
        }
        value = u'"' + quoted + u'"';
    }
    return value.replace(QStringLiteral("\\"), QStringLiteral("\\\\"));
}

} // namespace

QString LinuxLoginItem::entryPath()
{
    QString configHome = qEnvironmentVariable("XDG_CONFIG_HOME");
    // XDG base directories ignore a relative value.
    if (configHome.isEmpty() || !QDir::isAbsolutePath(configHome)) {
        configHome = QDir::homePath() + QStringLiteral("/.config");
    }
    return configHome + QStringLiteral("/autostart/wisp.desktop");
}

QString LinuxLoginItem::entryText(const QString& executable)
{
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=wisp\n"
                          "Comment=Your local development site, one click away\n"
                          "Exec=%1\n"
                          "Icon=wisp\n"
                          "Terminal=false\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(execValue(executable));
}

bool LinuxLoginItem::isEnabled() const
{
    return QFileInfo(entryPath()).isFile();
}

bool LinuxLoginItem::setEnabled(bool enabled, QString* error)
{
    const QString path = entryPath();
    if (!enabled) {
        QFile entry(path);
        if (!entry.exists() || entry.remove()) {
            return true;
        }
        if (error) {
            *error = QStringLiteral("%1: %2").arg(path, entry.errorString());
        }
        return false;
    }

    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder)) {
        if (error) {
            *error = QStringLiteral("%1: cannot create the folder").arg(folder);
        }
        return false;
    }
    QSaveFile entry(path);
    if (!entry.open(QIODevice::WriteOnly) ||
        entry.write(entryText(QCoreApplication::applicationFilePath()).toUtf8()) < 0 ||
        !entry.commit()) {
        if (error) {
            *error = QStringLiteral("%1: %2").arg(path, entry.errorString());
        }
        return false;
    }
    return true;
}

std::shared_ptr<LoginItem> LoginItem::makeSystemLoginItem()
{
    return std::make_shared<LinuxLoginItem>();
}
