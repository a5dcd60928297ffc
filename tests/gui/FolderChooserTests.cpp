#include "Views/FolderChooser.h"

#include "support/QtPrinters.h"

#include <QDir>
#include <QFileDialog>

#include <gtest/gtest.h>

#include <memory>

TEST(FolderChooserTest, DialogAsksForOneFolderWithSelect)
{
    std::unique_ptr<QFileDialog> dialog(FolderChooser::makeDialog(nullptr));
    EXPECT_EQ(dialog->windowTitle(), QStringLiteral("Select Projects Folder"));
    EXPECT_EQ(dialog->labelText(QFileDialog::Accept), QStringLiteral("Select"));
    EXPECT_EQ(dialog->fileMode(), QFileDialog::Directory);
    EXPECT_TRUE(dialog->testOption(QFileDialog::ShowDirsOnly));
    EXPECT_TRUE(dialog->testOption(QFileDialog::ReadOnly));
    EXPECT_EQ(dialog->acceptMode(), QFileDialog::AcceptOpen);
    EXPECT_FALSE(dialog->isModal());
    EXPECT_TRUE(dialog->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_EQ(QDir(dialog->directory()).canonicalPath(), QDir(QDir::homePath()).canonicalPath());
}
