#pragma once

#include "Utilities/OutputLines.h"

#include <QPointer>
#include <QUrl>
#include <QWidget>

#include <functional>

class QPlainTextEdit;
class QPushButton;
class ServerOutputLog;

// The server output window: the log's lines in a monospaced, selectable view, standard error
// in red, following new output unless the user has scrolled up. "Copy" copies the selection, or
// everything when nothing is selected; "Clear" empties the log; "Open Log Folder" shows the
// folder of the servers' output files.
class ServerOutputWindow : public QWidget
{
    Q_OBJECT
public:
    // Block state of a standard error line.
    static constexpr int errorLineState = 1;

    explicit ServerOutputWindow(ServerOutputLog* log, QWidget* parent = nullptr);

    void copy();
    void clearOutput();
    void openLogFolder();

    // Whether the view is scrolled to its end, so new lines scroll into view.
    bool isFollowing() const;
    static QColor errorColor();

    QPlainTextEdit* textView() const { return view; }
    QPushButton* copyButton() const { return copyAction; }
    QPushButton* clearButton() const { return clearAction; }
    QPushButton* openLogFolderButton() const { return openFolderAction; }

    // Opens a folder; the desktop's file manager by default.
    std::function<void(const QUrl&)> openFolder;

private:
    void reload();
    void appendLines(const QList<OutputLines::Line>& lines);

    QPointer<ServerOutputLog> log;
    QPlainTextEdit* view = nullptr;
    QPushButton* copyAction = nullptr;
    QPushButton* clearAction = nullptr;
    QPushButton* openFolderAction = nullptr;
    int shownLines = 0;
};
