#include "App/CommandLine.h"

#include <QCommandLineOption>
#include <QCommandLineParser>

#include <cstdio>

namespace {

const QCommandLineOption helpOption({QStringLiteral("h"), QStringLiteral("help")},
                                    QStringLiteral("Print this help text and exit."));
const QCommandLineOption versionOption({QStringLiteral("v"), QStringLiteral("version")},
                                       QStringLiteral("Print the version and exit."));

} // namespace

std::optional<int> CommandLine::handle(const QStringList& arguments)
{
    QCommandLineParser parser;
    // Whole words after one dash, as Qt's own options are written: "-reverse" is no "-v".
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.addOption(helpOption);
    parser.addOption(versionOption);
    // Qt's own options are unknown here and are read by the application object later.
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
