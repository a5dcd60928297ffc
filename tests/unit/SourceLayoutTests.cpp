// Data flows one way through the source folders: the lower ones never include from the ones
// above them. These tests read the includes of the real tree.

#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using TestSupport::writeFile;

namespace {

// Every include in the sources under `srcRoot`/`folder` (subfolders too) that names a file of
// another folder of `srcRoot` than the `allowed` ones, as "FILE: INCLUDED", FILE relative to
// `srcRoot`. Includes of anything that is no folder of `srcRoot` (Qt, the standard library,
// system headers) are not looked at.
QStringList includesOutside(const QString& srcRoot, const QString& folder,
                            const QStringList& allowed)
{
    const QDir root(srcRoot);
    const QStringList projectFolders = root.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    static const QRegularExpression include(
        QStringLiteral(R"(^\s*#\s*(?:include|import)\s*[<"]([^>"]+)[>"])"),
        QRegularExpression::MultilineOption);

    QStringList found;
    QDirIterator files(root.filePath(folder),
                       {QStringLiteral("*.h"), QStringLiteral("*.cpp"), QStringLiteral("*.mm")},
                       QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            ADD_FAILURE() << "cannot read " << path.toStdString();
            continue;
        }
        const QString text = QString::fromUtf8(file.readAll());
        auto matches = include.globalMatch(text);
        while (matches.hasNext()) {
            const QString included = matches.next().captured(1);
            const QString first = included.section(QLatin1Char('/'), 0, 0);
            if (included.contains(QLatin1Char('/')) && projectFolders.contains(first) &&
                !allowed.contains(first)) {
                found.append(root.relativeFilePath(path) + QStringLiteral(": ") + included);
            }
        }
    }
    found.sort();
    return found;
}

QString sourceRoot()
{
    return QDir(QStringLiteral(WISP_SOURCE_DIR)).filePath(QStringLiteral("src"));
}

} // namespace

TEST(SourceLayout, ModelsIncludeOnlyModels)
{
    ASSERT_TRUE(QDir(sourceRoot()).exists(QStringLiteral("Models/Project.h")));
    EXPECT_EQ(includesOutside(sourceRoot(), QStringLiteral("Models"), {QStringLiteral("Models")}),
              QStringList());
}

TEST(SourceLayout, UtilitiesIncludeOnlyUtilitiesAndModels)
{
    ASSERT_TRUE(QDir(sourceRoot()).exists(QStringLiteral("Utilities/PortDetector.h")));
    EXPECT_EQ(includesOutside(sourceRoot(), QStringLiteral("Utilities"),
                              {QStringLiteral("Utilities"), QStringLiteral("Models")}),
              QStringList());
}

TEST(SourceLayout, CheckFindsAnIncludeThatReachesUp)
{
    QTemporaryDir tree;
    ASSERT_TRUE(tree.isValid());
    for (const char* folder : {"App", "Controllers", "Managers", "Platform", "Utilities"}) {
        writeFile(tree.path(), QLatin1String(folder) + QStringLiteral("/Some.h"));
    }
    writeFile(
        tree.path(), QStringLiteral("Models/Fine.h"),
        "#pragma once\n#include \"Models/Other.h\"\n#include <QString>\n#include <sys/types.h>\n");
    writeFile(tree.path(), QStringLiteral("Models/Reaching.cpp"),
              "#include \"Models/Reaching.h\"\n\n#include \"Platform/Some.h\"\n"
              "  #  include <Utilities/Some.h>\n// #include \"App/Some.h\" in a comment\n");
    writeFile(tree.path(), QStringLiteral("Models/deeper/Nested.h"),
              "#include \"Managers/Some.h\"\n#import \"Controllers/Some.h\"\n");

    EXPECT_EQ(includesOutside(tree.path(), QStringLiteral("Models"), {QStringLiteral("Models")}),
              QStringList({QStringLiteral("Models/Reaching.cpp: Platform/Some.h"),
                           QStringLiteral("Models/Reaching.cpp: Utilities/Some.h"),
                           QStringLiteral("Models/deeper/Nested.h: Controllers/Some.h"),
                           QStringLiteral("Models/deeper/Nested.h: Managers/Some.h")}));
}
