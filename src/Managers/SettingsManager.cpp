#include "Managers/SettingsManager.h"

#include "Platform/FolderAccess.h"
#include "Platform/SettingsStore.h"
#include "Utilities/Log.h"

#include <QtGlobal>

#include <limits>

namespace Keys {
const QString targetURL = QStringLiteral("targetURL");
const QString customURL = QStringLiteral("customURL");
const QString isCustomURLActive = QStringLiteral("isCustomURLActive");
const QString behaviorMode = QStringLiteral("behaviorMode");
const QString preferredBrowser = QStringLiteral("preferredBrowser");
const QString projectsFolderBookmark = QStringLiteral("projectsFolderBookmark");
const QString selectedProjectId = QStringLiteral("selectedProjectId");
const QString selectedProjectPath = QStringLiteral("selectedProjectPath");
const QString projectCommands = QStringLiteral("projectCommands");
const QString projectPorts = QStringLiteral("projectPorts");
const QString hotKeyCode = QStringLiteral("hotKeyCode");
const QString hotKeyModifiers = QStringLiteral("hotKeyModifiers");
const QString appearanceDark = QStringLiteral("appearanceDark");
const QString hasCompletedOnboarding = QStringLiteral("hasCompletedOnboarding");
} // namespace Keys

namespace {

// Booleans read the way the defaults database reads them: native booleans and numbers as they
// are, and only the usual true spellings of a text.
bool toBool(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::QString:
    case QMetaType::QByteArray: {
        const QString text = value.toString().trimmed().toLower();
        if (text == QLatin1String("true") || text == QLatin1String("yes")) {
            return true;
        }
        bool isNumber = false;
        const double number = text.toDouble(&isNumber);
        return isNumber && number != 0;
    }
    default:
        return value.toDouble() != 0;
    }
}

// Integers as the defaults database reads them: a text that is no number reads as 0.
qint64 toInteger(const QVariant& value)
{
    if (value.typeId() == QMetaType::Bool) {
        return value.toBool() ? 1 : 0;
    }
    bool ok = false;
    const qint64 integer = value.toLongLong(&ok);
    if (ok) {
        return integer;
    }
    // Written so that "nan" fails too, and 2^63 (the nearest double to the largest qint64) is
    // out: converting either is undefined.
    const double number = value.toString().trimmed().toDouble(&ok);
    const double limit = -static_cast<double>(std::numeric_limits<qint64>::min());
    if (!ok || !(number >= -limit && number < limit)) {
        return 0;
    }
    return static_cast<qint64>(number);
}

std::uint32_t checkedUInt32(qint64 value, const QString& key)
{
    if (value < 0 || value > static_cast<qint64>(std::numeric_limits<std::uint32_t>::max())) {
        qFatal("SettingsManager: stored \"%s\" value %lld is outside 0 ... 4294967295",
               qPrintable(key), static_cast<long long>(value));
    }
    return static_cast<std::uint32_t>(value);
}

} // namespace

SettingsManager::SettingsManager(std::unique_ptr<QSettings> store,
                                 std::shared_ptr<FolderAccess> access, QObject* parent)
    : QObject(parent)
    , settings(store ? std::move(store) : SettingsStore::makeSystemStore())
    , folderAccess(access ? std::move(access) : FolderAccess::makeSystemFolderAccess())
{}

SettingsManager::~SettingsManager() = default;

// --- plain properties ---

QString SettingsManager::targetURL() const
{
    return settings->value(Keys::targetURL, QStringLiteral("localhost:3000")).toString();
}

void SettingsManager::setTargetURL(const QString& value)
{
    write(Keys::targetURL, value);
}

QString SettingsManager::customURL() const
{
    return settings->value(Keys::customURL, QString()).toString();
}

void SettingsManager::setCustomURL(const QString& value)
{
    write(Keys::customURL, value);
}

bool SettingsManager::isCustomURLActive() const
{
    return toBool(settings->value(Keys::isCustomURLActive, false));
}

void SettingsManager::setIsCustomURLActive(bool value)
{
    write(Keys::isCustomURLActive, value);
}

BehaviorMode SettingsManager::behaviorMode() const
{
    return BehaviorMode::fromRawValue(
        settings->value(Keys::behaviorMode, QStringLiteral("find_url")).toString());
}

void SettingsManager::setBehaviorMode(BehaviorMode value)
{
    write(Keys::behaviorMode, value.rawValue());
}

Browser SettingsManager::preferredBrowser() const
{
    return Browser::fromRawValue(
               settings->value(Keys::preferredBrowser, QStringLiteral("auto")).toString())
        .value_or(Browser::auto_);
}

void SettingsManager::setPreferredBrowser(Browser value)
{
    write(Keys::preferredBrowser, value.rawValue());
}

std::optional<QByteArray> SettingsManager::projectsFolderBookmark() const
{
    return readData(Keys::projectsFolderBookmark);
}

void SettingsManager::setProjectsFolderBookmark(const std::optional<QByteArray>& value)
{
    writeOptional(Keys::projectsFolderBookmark, value ? QVariant(*value) : QVariant());
}

QString SettingsManager::selectedProjectId() const
{
    return settings->value(Keys::selectedProjectId, QString()).toString();
}

void SettingsManager::setSelectedProjectId(const QString& value)
{
    write(Keys::selectedProjectId, value);
}

std::optional<QString> SettingsManager::selectedProjectPath() const
{
    const QVariant value = settings->value(Keys::selectedProjectPath);
    if (!value.isValid() || value.isNull()) {
        return std::nullopt;
    }
    return value.toString();
}

void SettingsManager::setSelectedProjectPath(const std::optional<QString>& value)
{
    writeOptional(Keys::selectedProjectPath, value ? QVariant(*value) : QVariant());
}

std::optional<QByteArray> SettingsManager::projectCommands() const
{
    return readData(Keys::projectCommands);
}

void SettingsManager::setProjectCommands(const std::optional<QByteArray>& value)
{
    writeOptional(Keys::projectCommands, value ? QVariant(*value) : QVariant());
}

std::optional<QByteArray> SettingsManager::projectPorts() const
{
    return readData(Keys::projectPorts);
}

void SettingsManager::setProjectPorts(const std::optional<QByteArray>& value)
{
    writeOptional(Keys::projectPorts, value ? QVariant(*value) : QVariant());
}

qint64 SettingsManager::hotKeyCodeInt() const
{
    return toInteger(settings->value(Keys::hotKeyCode, 0));
}

qint64 SettingsManager::hotKeyModifiersInt() const
{
    return toInteger(settings->value(Keys::hotKeyModifiers, 0));
}

std::uint32_t SettingsManager::hotKeyCode() const
{
    return checkedUInt32(hotKeyCodeInt(), Keys::hotKeyCode);
}

void SettingsManager::setHotKeyCode(std::uint32_t value)
{
    write(Keys::hotKeyCode, static_cast<qint64>(value));
}

std::uint32_t SettingsManager::hotKeyModifiers() const
{
    return checkedUInt32(hotKeyModifiersInt(), Keys::hotKeyModifiers);
}

void SettingsManager::setHotKeyModifiers(std::uint32_t value)
{
    write(Keys::hotKeyModifiers, static_cast<qint64>(value));
}

std::optional<bool> SettingsManager::appearanceDark() const
{
    const QVariant value = settings->value(Keys::appearanceDark);
    if (!value.isValid() || value.isNull()) {
        return std::nullopt;
    }
    return toBool(value);
}

void SettingsManager::setAppearanceDark(const std::optional<bool>& value)
{
    writeOptional(Keys::appearanceDark, value ? QVariant(*value) : QVariant());
}

bool SettingsManager::hasCompletedOnboarding() const
{
    return toBool(settings->value(Keys::hasCompletedOnboarding, false));
}

void SettingsManager::setHasCompletedOnboarding(bool value)
{
    write(Keys::hasCompletedOnboarding, value);
}

// --- derived values ---

bool SettingsManager::hasCustomURL() const
{
    const QString trimmed = customURL().trimmed();
    if (trimmed.isEmpty()) {
        return false;
    }
    if (trimmed.startsWith(QLatin1String("http://")) ||
        trimmed.startsWith(QLatin1String("https://"))) {
        return true;
    }
    return trimmed.contains(QLatin1Char('.'));
}

std::optional<QUrl> SettingsManager::projectsFolderURL()
{
    const auto bookmark = projectsFolderBookmark();
    if (!bookmark) {
        return std::nullopt;
    }
    const auto resolved = folderAccess->resolveBookmark(*bookmark);
    if (!resolved) {
        return std::nullopt;
    }
    if (!resolved->isStale) {
        return resolved->url;
    }

    if (!folderAccess->startAccessing(resolved->url)) {
        return resolved->url;
    }
    QString error;
    // A refresh that fails clears the bookmark, so the next launch asks for the folder again.
    setProjectsFolderBookmark(folderAccess->createBookmark(resolved->url, &error));
    folderAccess->stopAccessing(resolved->url);
    return resolved->url;
}

void SettingsManager::setProjectsFolder(const QUrl& url)
{
    folderAccess->startAccessing(url);
    QString error;
    if (const auto bookmark = folderAccess->createBookmark(url, &error)) {
        setProjectsFolderBookmark(*bookmark);
    } else {
        Log::print(QStringLiteral("Failed to create bookmark: ") + error);
    }
    folderAccess->stopAccessing(url);
}

// --- storage ---

std::optional<QByteArray> SettingsManager::readData(const QString& key) const
{
    const QVariant value = settings->value(key);
    switch (value.typeId()) {
    case QMetaType::QByteArray:
        return value.toByteArray();
    case QMetaType::QString:
        // A hand-edited INI file holds plain text where wisp wrote bytes.
        return value.toString().toUtf8();
    default:
        return std::nullopt;
    }
}

void SettingsManager::write(const QString& key, const QVariant& value)
{
    settings->setValue(key, value);
    settings->sync();
    Q_EMIT changed(key);
}

void SettingsManager::writeOptional(const QString& key, const QVariant& value)
{
    if (value.isValid()) {
        settings->setValue(key, value);
    } else {
        settings->remove(key);
    }
    settings->sync();
    Q_EMIT changed(key);
}
