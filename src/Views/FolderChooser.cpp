#include "Views/FolderChooser.h"

#include <QFileDialog>

namespace {

class DialogFolderChooser final : public FolderChooser
{
public:
    void choose(QWidget* parent, std::function<void(const QUrl& folder)> onChosen) override
    {
        QFileDialog* dialog = makeDialog(parent);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        QObject::connect(dialog, &QFileDialog::urlSelected, dialog,
                         [onChosen = std::move(onChosen)](const QUrl& url) {
                             if (url.isValid() && onChosen) {
                                 onChosen(url);
                             }
                         });
        dialog->show();
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
    return dialog;
}

std::shared_ptr<FolderChooser> FolderChooser::makeDialogChooser()
{
    return std::make_shared<DialogFolderChooser>();
}
