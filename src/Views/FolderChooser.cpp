#include "Views/FolderChooser.h"

#include "Views/SettingsPopover.h"

#include <QFileDialog>
#include <QToolButton>

namespace {

// A read-only dialog only disables its "Create New Folder" button; it should not be there.
void hideNewFolderButton(QFileDialog* dialog)
{
    if (auto* button = dialog->findChild<QToolButton*>(QStringLiteral("newFolderButton"))) {
        button->hide();
    }
}

class DialogFolderChooser final : public FolderChooser
{
public:
    void choose(QWidget* parent, std::function<void(const QUrl& folder)> onChosen) override
    {
        QFileDialog* dialog = makeDialog(parent);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        // Qt's own dialog never reports a directory through urlSelected; the accepted selection
        // is where the choice is, for the native dialogs as well.
        QObject::connect(dialog, &QDialog::accepted, dialog,
                         [dialog, onChosen = std::move(onChosen)]() {
                             const QList<QUrl> urls = dialog->selectedUrls();
                             if (!urls.isEmpty() && urls.first().isValid() && onChosen) {
                                 onChosen(urls.first());
                             }
                         });
        // The settings panel would close as the dialog appears, and take its clicks meanwhile.
        if (auto* popover = qobject_cast<SettingsPopover*>(parent ? parent->window() : nullptr)) {
            popover->holdOpenWhile(dialog);
        }
        dialog->show();
        hideNewFolderButton(dialog);
        dialog->raise();
        dialog->activateWindow();
    }
};

} // namespace

QFileDialog* FolderChooser::makeDialog(QWidget* parent)
{
    auto* dialog = new QFileDialog(parent, QStringLiteral("Select Projects Folder"));
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly, true);
    // Read-only: the dialog offers no "new folder" button.
    dialog->setOption(QFileDialog::ReadOnly, true);
    dialog->setLabelText(QFileDialog::Accept, QStringLiteral("Select"));
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    // Above other windows, as a modal panel would be, but without blocking.
    dialog->setWindowModality(Qt::NonModal);
    dialog->setWindowFlag(Qt::WindowStaysOnTopHint, true);
    hideNewFolderButton(dialog);
    return dialog;
}

std::shared_ptr<FolderChooser> FolderChooser::makeDialogChooser()
{
    return std::make_shared<DialogFolderChooser>();
}
