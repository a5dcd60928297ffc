#include "App/CommandLine.h"

#include <QCommandLineOption>
#include <QCommandLineParser>

#include <cstdio>

namespace {

const QCommandLineOption helpOption({QStringLiteral("h"), QStringLiteral("help")},
                                    QStringLiteral("Print this help text and exit."));
const QCommandLineOption versionOption({QStringLiteral("v"), QStringLiteral("version")},
                                       QStringLiteral("Print the version and exit."));

QCommandLineOption makePollingIntervalOption()
{
    QCommandLineOption option(QStringLiteral("polling-interval-ms"),
                              QStringLiteral("How often the server is watched (tests only)."),
                              QStringLiteral("milliseconds"));
    option.setFlags(QCommandLineOption::HiddenFromHelp);
    return option;
}

const QCommandLineOption pollingIntervalOption = makePollingIntervalOption();

// Every option wisp reads; Qt's own are unknown here and are read by the application object
// later.
void addOptions(QCommandLineParser& parser)
{
    // Whole words after one dash, as Qt's own options are written: "-reverse" is no "-v".
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.addOption(helpOption);
    parser.addOption(versionOption);
    parser.addOption(pollingIntervalOption);
}

} // namespace

std::optional<int> CommandLine::handle(const QStringList& arguments)
{
    QCommandLineParser parser;
    addOptions(parser);
    parser.parse(arguments);
    if (parser.isSet(helpOption)) {
        std::fputs(qPrintable(helpText()), stdout);
        return 0;
    }
    if (parser.isSet(versionOption)) {
        std::fputs(qPrintable(versionText()), stdout);
        return 0;
    }
    return std::nullopt;
}

std::optional<std::chrono::milliseconds> CommandLine::pollingInterval(const QStringList& arguments)
{
    QCommandLineParser parser;
    addOptions(parser);
    parser.parse(arguments);
    bool ok = false;
    const int milliseconds = parser.value(pollingIntervalOption).toInt(&ok);
    if (!ok || milliseconds <= 0) {
        return std::nullopt;
    }
    return std::chrono::milliseconds(milliseconds);
}

QString CommandLine::helpText()
{
    return QStringLiteral(
        "Usage: wisp [--help | --version]\n"
        "\n"
        "Keeps your local development site one click away: a tray icon that opens the\n"
        "selected project's site in your browser and starts or stops its development server.\n"
        "Without options it starts in the system tray; started again while it runs, it does\n"
        "what a single click on the icon does.\n"
        "\n"
        "Options:\n"
        "  -h, --help     Print this help text and exit.\n"
        "  -v, --version  Print the version and exit.\n");
}

QString CommandLine::versionText()
{
    return QStringLiteral("wisp " WISP_VERSION "\n");
}
