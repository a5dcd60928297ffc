#include "Views/ServerOutputWindow.h"

#include "App/AuxiliaryWindows.h"
#include "Managers/ServerLogFolder.h"
#include "Utilities/ServerOutputLog.h"
#include "fakes/FakeProjectManager.h"
#include "fakes/FakeServerManager.h"
#include "support/QtPrinters.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"

#include <QClipboard>
#include <QFontInfo>
#include <QGuiApplication>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

#include <gtest/gtest.h>

namespace {

QString numbered(int from, int to)
{
    QString text;
    for (int line = from; line <= to; ++line) {
        text += QStringLiteral("line %1\n").arg(line);
    }
    return text;
}

class ServerOutputWindowTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        log.begin(QStringLiteral("web"), QStringLiteral("/p/web"), QStringLiteral("npm run dev"));
        window = std::make_unique<ServerOutputWindow>(&log);
        window->openFolder = [this](const QUrl& url) {
            openedFolders.append(url);
        };
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }

    QPlainTextEdit* view() const { return window->textView(); }
    QScrollBar* bar() const { return view()->verticalScrollBar(); }
    // The text of the line at the top of the view.
    QString topLine() const { return view()->cursorForPosition(QPoint(2, 2)).block().text(); }

    ServerOutputLog log;
    std::unique_ptr<ServerOutputWindow> window;
    QList<QUrl> openedFolders;
};

} // namespace

TEST_F(ServerOutputWindowTest, TitleNamesTheProjectAndTheCommandAndFollowsTheNextProject)
{
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Server Output — web (npm run dev)"));
    log.append(QStringLiteral("web ready\n"), false);

    log.begin(QStringLiteral("api"), QStringLiteral("/p/api"), QStringLiteral("cargo run"));
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Server Output — api (cargo run)"));
    EXPECT_EQ(view()->toPlainText(), QString());
    log.append(QStringLiteral("api ready\n"), false);
    EXPECT_EQ(view()->toPlainText(), QStringLiteral("api ready"));
}

TEST_F(ServerOutputWindowTest, ShowsBothStreamsInArrivalOrderWithStandardErrorMarked)
{
    log.append(QStringLiteral("> dev\n"), false);
    log.append(QStringLiteral("sh: 1: vite: not found\n"), true);
    log.append(QStringLiteral("exited\n"), false);

    EXPECT_EQ(view()->toPlainText(), QStringLiteral("> dev\nsh: 1: vite: not found\nexited"));
    const QTextDocument* document = view()->document();
    ASSERT_EQ(document->blockCount(), 3);
    EXPECT_NE(document->findBlockByNumber(0).userState(), ServerOutputWindow::errorLineState);
    EXPECT_EQ(document->findBlockByNumber(1).userState(), ServerOutputWindow::errorLineState);
    EXPECT_NE(document->findBlockByNumber(2).userState(), ServerOutputWindow::errorLineState);
    const auto colourOf = [&](int block) {
        QTextCursor cursor(document->findBlockByNumber(block));
        cursor.movePosition(QTextCursor::NextCharacter);
        return cursor.charFormat().foreground().color();
    };
    EXPECT_EQ(colourOf(1), ServerOutputWindow::errorColor());
    EXPECT_NE(colourOf(0), ServerOutputWindow::errorColor());
    EXPECT_NE(colourOf(2), ServerOutputWindow::errorColor());
}

TEST_F(ServerOutputWindowTest, MonospacedReadOnlyAndSelectable)
{
    EXPECT_TRUE(QFontInfo(view()->font()).fixedPitch());
    EXPECT_TRUE(view()->isReadOnly());
    EXPECT_TRUE(view()->textInteractionFlags().testFlag(Qt::TextSelectableByMouse));
    EXPECT_EQ(window->copyButton()->text(), QStringLiteral("Copy"));
    EXPECT_EQ(window->clearButton()->text(), QStringLiteral("Clear"));
    EXPECT_EQ(window->openLogFolderButton()->text(), QStringLiteral("Open Log Folder"));
}

TEST_F(ServerOutputWindowTest, FollowsNewOutputWhileAtTheEnd)
{
    log.append(numbered(1, 200), false);
    ASSERT_GT(bar()->maximum(), 0);
    EXPECT_EQ(bar()->value(), bar()->maximum());

    log.append(numbered(201, 300), false);
    EXPECT_EQ(bar()->value(), bar()->maximum());
    EXPECT_TRUE(window->isFollowing());
    // The newest line is in view.
    const QRect last = view()->cursorRect(QTextCursor(view()->document()->lastBlock()));
    EXPECT_TRUE(view()->viewport()->rect().contains(last.center()));
}

TEST_F(ServerOutputWindowTest, ScrolledUpStaysPutAsOutputArrives)
{
    log.append(numbered(1, 200), false);
    bar()->setValue(20);
    const QString shown = topLine();
    EXPECT_FALSE(window->isFollowing());

    log.append(numbered(201, 400), true);
    EXPECT_EQ(bar()->value(), 20);
    EXPECT_EQ(topLine(), shown);

    // Back at the end, it follows again.
    bar()->setValue(bar()->maximum());
    log.append(numbered(401, 410), false);
    EXPECT_EQ(bar()->value(), bar()->maximum());
}

TEST_F(ServerOutputWindowTest, KeepsTheLastFiveThousandLinesAndScrolledUpStaysOnItsLines)
{
    log.append(numbered(1, 5000), false);
    bar()->setValue(1000);
    const QString shown = topLine();

    log.append(numbered(5001, 5600), false);
    const QTextDocument* document = view()->document();
    EXPECT_EQ(document->blockCount(), 5000);
    EXPECT_EQ(document->firstBlock().text(), QStringLiteral("line 601"));
    EXPECT_EQ(document->lastBlock().text(), QStringLiteral("line 5600"));
    EXPECT_EQ(topLine(), shown);

    // A window opened now shows the same bounded lines.
    ServerOutputWindow second(&log);
    EXPECT_EQ(second.textView()->document()->blockCount(), 5000);
    EXPECT_EQ(second.textView()->document()->firstBlock().text(), QStringLiteral("line 601"));
}

TEST_F(ServerOutputWindowTest, CopyTakesEverythingOrTheSelection)
{
    log.append(QStringLiteral("first\n"), false);
    log.append(QStringLiteral("second\n"), true);

    QTest::mouseClick(window->copyButton(), Qt::LeftButton);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("first\nsecond"));

    QTextCursor cursor(view()->document()->findBlockByNumber(1));
    cursor.select(QTextCursor::LineUnderCursor);
    view()->setTextCursor(cursor);
    QTest::mouseClick(window->copyButton(), Qt::LeftButton);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("second"));
}

TEST_F(ServerOutputWindowTest, ClearEmptiesTheWindowAndTheLogAndNewOutputFollows)
{
    log.append(numbered(1, 50), false);
    QTest::mouseClick(window->clearButton(), Qt::LeftButton);

    EXPECT_EQ(view()->toPlainText(), QString());
    EXPECT_TRUE(log.lines().isEmpty());
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Server Output — web (npm run dev)"));
    log.append(QStringLiteral("after\n"), false);
    EXPECT_EQ(view()->toPlainText(), QStringLiteral("after"));
}

TEST_F(ServerOutputWindowTest, OpenLogFolderOpensTheServersOutputFolder)
{
    QTest::mouseClick(window->openLogFolderButton(), Qt::LeftButton);
    EXPECT_EQ(openedFolders, QList<QUrl>{QUrl::fromLocalFile(ServerLogFolder::path())});
}

TEST(ServerOutputWindowOwnerTest, ShowingTheWindowTwiceReusesIt)
{
    TestSettings settings;
    FakeProjectManager projectManager;
    FakeServerManager serverManager;
    ServerOutputLog log;
    AuxiliaryWindows windows{settings.get(), &projectManager, &serverManager, nullptr, nullptr};
    windows.serverOutputLog = &log;
    log.begin(QStringLiteral("web"), QStringLiteral("/p/web"), QStringLiteral("npm run dev"));
    log.append(QStringLiteral("ready\n"), false);

    EXPECT_EQ(windows.serverOutputWindow, nullptr);
    windows.showServerOutput();
    ServerOutputWindow* first = windows.serverOutputWindow;
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(first->isVisible());
    EXPECT_EQ(first->textView()->toPlainText(), QStringLiteral("ready"));
    first->close();
    windows.showServerOutput();
    EXPECT_EQ(windows.serverOutputWindow, first);
    EXPECT_TRUE(first->isVisible());
}
