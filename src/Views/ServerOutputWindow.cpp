#include "Views/ServerOutputWindow.h"

#include "Managers/ServerLogFolder.h"
#include "Utilities/ServerOutputLog.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr int defaultWidth = 760;
constexpr int defaultHeight = 440;

} // namespace

ServerOutputWindow::ServerOutputWindow(ServerOutputLog* log, QWidget* parent)
    : QWidget(parent, Qt::Window), log(log)
{
    view = new QPlainTextEdit(this);
    view->setReadOnly(true);
    view->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    view->setUndoRedoEnabled(false);
    view->setLineWrapMode(QPlainTextEdit::NoWrap);
    view->setMaximumBlockCount(static_cast<int>(ServerOutputLog::maxLines));
    view->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    view->setAccessibleName(QStringLiteral("Server output"));

    copyAction = new QPushButton(QStringLiteral("Copy"), this);
    clearAction = new QPushButton(QStringLiteral("Clear"), this);
    openFolderAction = new QPushButton(QStringLiteral("Open Log Folder"), this);
    connect(copyAction, &QPushButton::clicked, this, &ServerOutputWindow::copy);
    connect(clearAction, &QPushButton::clicked, this, &ServerOutputWindow::clearOutput);
    connect(openFolderAction, &QPushButton::clicked, this, &ServerOutputWindow::openLogFolder);

    auto* buttons = new QHBoxLayout();
    buttons->addWidget(copyAction);
    buttons->addWidget(clearAction);
    buttons->addStretch();
    buttons->addWidget(openFolderAction);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(view);
    layout->addLayout(buttons);
    resize(defaultWidth, defaultHeight);

    openFolder = [](const QUrl& url) {
        QDesktopServices::openUrl(url);
    };

    if (log) {
        connect(log, &ServerOutputLog::reset, this, &ServerOutputWindow::reload);
        connect(log, &ServerOutputLog::linesAdded, this, &ServerOutputWindow::appendLines);
        connect(log, &ServerOutputLog::titleChanged, this, &QWidget::setWindowTitle);
        setWindowTitle(log->title());
    } else {
        setWindowTitle(QStringLiteral("Server Output"));
    }
    reload();
}

QColor ServerOutputWindow::errorColor()
{
    // Readable on light and dark backgrounds alike.
    return QColor(0xd0, 0x3a, 0x3a);
}

bool ServerOutputWindow::isFollowing() const
{
    const QScrollBar* bar = view->verticalScrollBar();
    return bar->value() >= bar->maximum();
}

void ServerOutputWindow::reload()
{
    view->clear();
    shownLines = 0;
    if (log) {
        appendLines(log->lines());
    }
}

void ServerOutputWindow::appendLines(const QList<OutputLines::Line>& lines)
{
    if (lines.isEmpty()) {
        return;
    }
    QScrollBar* bar = view->verticalScrollBar();
    const bool following = isFollowing();
    const int position = bar->value();
    const int before = shownLines;

    QTextCharFormat plain;
    QTextCharFormat error;
    error.setForeground(errorColor());
    QTextCursor cursor(view->document());
    cursor.beginEditBlock();
    cursor.movePosition(QTextCursor::End);
    for (const OutputLines::Line& line : lines) {
        if (shownLines > 0) {
            cursor.insertBlock(QTextBlockFormat(), line.isError ? error : plain);
        }
        cursor.insertText(line.text, line.isError ? error : plain);
        cursor.block().setUserState(line.isError ? errorLineState : -1);
        ++shownLines;
    }
    cursor.endEditBlock();
    // The view keeps at most maxLines; the oldest went.
    shownLines = std::min(shownLines, view->document()->blockCount());
    const int removed = std::max(0, before + static_cast<int>(lines.size()) - shownLines);

    if (following) {
        bar->setValue(bar->maximum());
    } else {
        // The lines in view stay in view, although lines went from above them.
        bar->setValue(std::max(0, position - removed));
    }
}

void ServerOutputWindow::copy()
{
    const QString selected = view->textCursor().selection().toPlainText();
    QGuiApplication::clipboard()->setText(selected.isEmpty() ? view->toPlainText() : selected);
}

void ServerOutputWindow::clearOutput()
{
    if (log) {
        log->clear();
    } else {
        reload();
    }
}

void ServerOutputWindow::openLogFolder()
{
    if (openFolder) {
        openFolder(QUrl::fromLocalFile(ServerLogFolder::path()));
    }
}
