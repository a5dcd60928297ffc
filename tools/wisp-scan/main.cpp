// wisp-scan FOLDER: prints the projects wisp finds in FOLDER as a JSON array, in the order the
// status menu lists them, with sub-projects nested, each with the command that starts it. A
// development and benchmark tool.
#include "Managers/ProjectManager.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QDir>
#include <QFileInfo>
#include <QUrl>

#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("wisp-scan"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Prints the projects wisp finds in FOLDER as JSON."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("FOLDER"), QStringLiteral("The projects folder."));
    parser.process(app);

    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 1) {
        std::fprintf(stderr, "usage: wisp-scan FOLDER\n");
        return 2;
    }

    const QFileInfo folder(arguments.first());
    const QString path = QDir::cleanPath(folder.absoluteFilePath());
    if (!folder.exists()) {
        std::fprintf(stderr, "wisp-scan: %s: no such folder\n", qPrintable(path));
        return 2;
    }
    if (!folder.isDir()) {
        std::fprintf(stderr, "wisp-scan: %s: not a folder\n", qPrintable(path));
        return 2;
    }
    if (!folder.isReadable() || !QDir(path).isReadable()) {
        std::fprintf(stderr, "wisp-scan: %s: cannot read the folder\n", qPrintable(path));
        return 2;
    }

    ProjectManager manager;
    QCoro::waitFor(manager.scanFolder(QUrl::fromLocalFile(path)));

    const QByteArray json = Project::toReadableJson(manager.projects());
    std::fwrite(json.constData(), 1, static_cast<size_t>(json.size()), stdout);
    std::fputc('\n', stdout);
    return 0;
}
