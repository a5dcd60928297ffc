#pragma once

#include "Models/BehaviorMode.h"
#include "Models/Browser.h"

#include <QByteArray>
#include <QObject>
#include <QSettings>
#include <QString>
#include <QUrl>

#include <cstdint>
#include <memory>
#include <optional>

class FolderAccess;

// The single store of every user setting. Each property is one key of the platform's preferences
// store, read on every access and written at once; `changed` goes out for every write.
class SettingsManager : public QObject
{
    Q_OBJECT
public:
    // With no store, the platform's own preferences store is used (the app's defaults domain on
    // macOS, $XDG_CONFIG_HOME/wisp/wisp.conf on Linux). With no access, the platform's own.
    explicit SettingsManager(std::unique_ptr<QSettings> store = nullptr,
                             std::shared_ptr<FolderAccess> folderAccess = nullptr,
                             QObject* parent = nullptr);
    ~SettingsManager() override;

    QString targetURL() const;
    void setTargetURL(const QString& value);

    QString customURL() const;
    void setCustomURL(const QString& value);

    bool isCustomURLActive() const;
    void setIsCustomURLActive(bool value);

    BehaviorMode behaviorMode() const;
    void setBehaviorMode(BehaviorMode value);

    Browser preferredBrowser() const;
    void setPreferredBrowser(Browser value);

    std::optional<QByteArray> projectsFolderBookmark() const;
    void setProjectsFolderBookmark(const std::optional<QByteArray>& value);

    QString selectedProjectId() const;
    void setSelectedProjectId(const QString& value);

    std::optional<QString> selectedProjectPath() const;
    void setSelectedProjectPath(const std::optional<QString>& value);

    std::optional<QByteArray> projectCommands() const;
    void setProjectCommands(const std::optional<QByteArray>& value);

    std::optional<QByteArray> projectPorts() const;
    void setProjectPorts(const std::optional<QByteArray>& value);

    // The stored integers as they are; the unsigned getters treat a value outside
    // 0 ... 4294967295 as a fatal error.
    qint64 hotKeyCodeInt() const;
    qint64 hotKeyModifiersInt() const;
    std::uint32_t hotKeyCode() const;
    void setHotKeyCode(std::uint32_t value);
    std::uint32_t hotKeyModifiers() const;
    void setHotKeyModifiers(std::uint32_t value);

    std::optional<bool> appearanceDark() const;
    void setAppearanceDark(const std::optional<bool>& value);

    bool hasCompletedOnboarding() const;
    void setHasCompletedOnboarding(bool value);

    // True when the custom URL is usable.
    bool hasCustomURL() const;

    // The projects folder resolved from the stored bookmark; refreshes a stale bookmark.
    std::optional<QUrl> projectsFolderURL();
    // Stores a new bookmark for `url`; keeps the old one when creation fails.
    void setProjectsFolder(const QUrl& url);

    QSettings& store() const { return *settings; }

Q_SIGNALS:
    // Emitted after every write, with the key written.
    void changed(const QString& key);

private:
    std::optional<QByteArray> readData(const QString& key) const;
    void write(const QString& key, const QVariant& value);
    void writeOptional(const QString& key, const QVariant& value);

    std::unique_ptr<QSettings> settings;
    std::shared_ptr<FolderAccess> folderAccess;
};
