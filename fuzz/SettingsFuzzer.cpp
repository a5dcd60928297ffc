// The settings as they are read back from the store: every key SettingsManager reads holds a
// value of any type (text, integer, floating point, boolean, bytes, a list, decoded JSON),
// and the manager and the project overrides still answer with sane values.

#include "FuzzSupport.h"

#include "Managers/ProjectOverrides.h"
#include "Managers/SettingsManager.h"

#include <QDir>
#include <QJsonDocument>
#include <QSettings>

#include <fuzzer/FuzzedDataProvider.h>

FUZZ_INITIALIZE()

namespace {

const char* const keys[] = {
    "targetURL",         "customURL",
    "isCustomURLActive", "behaviorMode",
    "preferredBrowser",  "projectsFolderBookmark",
    "selectedProjectId", "selectedProjectPath",
    "projectCommands",   "projectPorts",
    "hotKeyCode",        "hotKeyModifiers",
    "appearanceDark",    "hasCompletedOnboarding",
};

// A store that lives in memory: values are set on the QSettings object and never synced to
// the file, whose format writes nothing.
QSettings::Format memoryFormat()
{
    static const QSettings::Format format = QSettings::registerFormat(
        QStringLiteral("fuzz"), [](QIODevice&, QSettings::SettingsMap&) { return true; },
        [](QIODevice&, const QSettings::SettingsMap&) { return true; });
    return format;
}

QString someText(FuzzedDataProvider& input)
{
    return QString::fromStdString(input.ConsumeRandomLengthString(256));
}

QVariant someValue(FuzzedDataProvider& input)
{
    switch (input.ConsumeIntegralInRange(0, 9)) {
    case 0:
        return QVariant();
    case 1:
        return someText(input);
    case 2:
        return input.ConsumeIntegral<qint64>();
    case 3:
        return input.ConsumeIntegral<int>();
    case 4:
        return input.ConsumeBool();
    case 5:
        return QByteArray::fromStdString(input.ConsumeRandomLengthString(256));
    case 6: {
        QStringList list;
        const int count = input.ConsumeIntegralInRange(0, 4);
        for (int i = 0; i < count; ++i) {
            list.append(someText(input));
        }
        return list;
    }
    case 7:
        return input.ConsumeFloatingPoint<double>();
    case 8:
        // JSON text as a typed value: objects become maps, arrays lists.
        return QJsonDocument::fromJson(
                   QByteArray::fromStdString(input.ConsumeRandomLengthString(256)))
            .toVariant();
    default:
        return QVariant(QMetaType::fromType<QByteArray>());
    }
}

bool isValidPort(int port)
{
    return port >= 1 && port <= 65535;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    auto store = std::make_unique<QSettings>(
        QDir(fuzz::scratch().path()).filePath(QStringLiteral("wisp.fuzz")), memoryFormat());
    for (const char* key : keys) {
        const QVariant value = someValue(input);
        if (value.isValid()) {
            store->setValue(QLatin1String(key), value);
        }
    }
    SettingsManager settings(std::move(store));

    (void)settings.targetURL();
    (void)settings.customURL();
    (void)settings.isCustomURLActive();
    FUZZ_CHECK(BehaviorMode::allCases().contains(settings.behaviorMode()));
    FUZZ_CHECK(Browser::allCases().contains(settings.preferredBrowser()));
    (void)settings.projectsFolderBookmark();
    (void)settings.selectedProjectId();
    (void)settings.selectedProjectPath();
    (void)settings.projectCommands();
    (void)settings.projectPorts();
    const qint64 code = settings.hotKeyCodeInt();
    const qint64 modifiers = settings.hotKeyModifiersInt();
    // The unsigned getters stop the app on purpose for a value outside 32 bits.
    if (code >= 0 && code <= 0xffffffffLL) {
        FUZZ_CHECK(settings.hotKeyCode() == static_cast<std::uint32_t>(code));
    }
    if (modifiers >= 0 && modifiers <= 0xffffffffLL) {
        FUZZ_CHECK(settings.hotKeyModifiers() == static_cast<std::uint32_t>(modifiers));
    }
    (void)settings.appearanceDark();
    (void)settings.hasCompletedOnboarding();
    if (settings.hasCustomURL()) {
        FUZZ_CHECK(!settings.customURL().trimmed().isEmpty());
    }
    if (const auto folder = settings.projectsFolderURL()) {
        FUZZ_CHECK(folder->isLocalFile());
    }

    // The overrides read two of the keys as JSON objects keyed by folder path.
    ProjectOverrides overrides(&settings);
    QStringList folders;
    for (const auto& raw : {settings.projectCommands(), settings.projectPorts()}) {
        if (raw) {
            folders += QJsonDocument::fromJson(*raw).object().keys();
        }
    }
    folders.append(someText(input));
    for (const QString& folder : folders) {
        if (const auto command = overrides.command(folder)) {
            FUZZ_CHECK(!command->trimmed().isEmpty());
        }
        if (const auto port = overrides.port(folder)) {
            FUZZ_CHECK(isValidPort(*port));
        }
        Project project;
        project.path = QUrl::fromLocalFile(folder);
        const Project applied = overrides.applied(project);
        FUZZ_CHECK(isValidPort(applied.port) || applied.port == project.port);
    }
    return 0;
}
