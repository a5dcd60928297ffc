#pragma once

#include <QUrl>

#include <functional>
#include <memory>

class QFileDialog;
class QWidget;

// Lets the user pick the projects folder without blocking; calls back only when a folder was
// confirmed.
class FolderChooser
{
public:
    virtual ~FolderChooser() = default;

    virtual void choose(QWidget* parent, std::function<void(const QUrl& folder)> onChosen) = 0;

    // The directory dialog: "Select Projects Folder", accept button "Select", folders only, one
    // selection, no folder creation.
    static QFileDialog* makeDialog(QWidget* parent);
    // Chooses through makeDialog, shown non-modally.
    static std::shared_ptr<FolderChooser> makeDialogChooser();
};
