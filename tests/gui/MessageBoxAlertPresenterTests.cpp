#include "App/MessageBoxAlertPresenter.h"

#include "App/AlertCoordinator.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>

#include <gtest/gtest.h>

#include <memory>

namespace {

// Clicks the button titled `text` of the modal box as soon as it is up.
void answerWith(const QString& text)
{
    QTimer::singleShot(0, [text]() {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(box, nullptr);
        for (QAbstractButton* button : box->buttons()) {
            if (button->text() == text) {
                button->click();
                return;
            }
        }
        ADD_FAILURE() << "no button " << text.toStdString();
        box->reject();
    });
}

const Project web = TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web"));

} // namespace

TEST(MessageBoxAlertPresenterTest, BoxShowsTheAlertApplicationModallyWithTheFirstButtonAsDefault)
{
    const Alert alert = AlertCoordinator::startServerAlert(web);
    std::unique_ptr<QMessageBox> box(MessageBoxAlertPresenter::makeMessageBox(alert));
    EXPECT_EQ(box->text(), QStringLiteral("Server is not running"));
    EXPECT_EQ(box->informativeText(), QStringLiteral("Would you like to start web on port 3000?"));
    EXPECT_EQ(box->icon(), QMessageBox::Information);
    EXPECT_EQ(box->windowModality(), Qt::ApplicationModal);
    ASSERT_EQ(box->buttons().size(), 2);
    EXPECT_EQ(box->defaultButton()->text(), QStringLiteral("Start Server"));
    EXPECT_EQ(box->escapeButton()->text(), QStringLiteral("Cancel"));
    EXPECT_EQ(box->buttonRole(box->defaultButton()), QMessageBox::AcceptRole);

    const Alert warning = AlertCoordinator::genericErrorAlert(QStringLiteral("boom"));
    std::unique_ptr<QMessageBox> warningBox(MessageBoxAlertPresenter::makeMessageBox(warning));
    EXPECT_EQ(warningBox->icon(), QMessageBox::Warning);
}

TEST(MessageBoxAlertPresenterTest, AnswerIsThePositionOfTheChosenButton)
{
    MessageBoxAlertPresenter presenter;
    const Alert alert = AlertCoordinator::startServerAlert(web);
    answerWith(QStringLiteral("Cancel"));
    EXPECT_EQ(presenter.runModal(alert), 1);
    answerWith(QStringLiteral("Start Server"));
    EXPECT_EQ(presenter.runModal(alert), AlertPresenter::firstButton);
}

TEST(MessageBoxAlertPresenterTest, AlertWithoutButtonsGetsThePlatformDefaultOne)
{
    MessageBoxAlertPresenter presenter;
    const Alert alert = AlertCoordinator::noProjectSelectedAlert();
    std::unique_ptr<QMessageBox> box(MessageBoxAlertPresenter::makeMessageBox(alert));
    ASSERT_EQ(box->buttons().size(), 1);
    EXPECT_EQ(box->standardButton(box->buttons().first()), QMessageBox::Ok);

    QTimer::singleShot(0, [] {
        auto* modal = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(modal, nullptr);
        modal->buttons().first()->click();
    });
    EXPECT_EQ(presenter.runModal(alert), 0);
}

TEST(MessageBoxAlertPresenterTest, FailedStartAlertEscapesWithOKAndShowsTheServersLinesAsWritten)
{
    const Alert alert = AlertCoordinator::startFailureAlert(
        QStringLiteral("Failed to start server: Process crashed during startup"),
        {QStringLiteral("<b>not bold</b>"),
         QStringLiteral("    at Object.<anonymous> (x.js:1:1)")});
    std::unique_ptr<QMessageBox> box(MessageBoxAlertPresenter::makeMessageBox(alert));
    EXPECT_EQ(box->defaultButton()->text(), QStringLiteral("OK"));
    EXPECT_EQ(box->escapeButton()->text(), QStringLiteral("OK"));
    EXPECT_EQ(box->informativeText(), alert.informativeText);
    auto* label = box->findChild<QLabel*>(QStringLiteral("qt_msgbox_informativelabel"));
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->textFormat(), Qt::PlainText);

    MessageBoxAlertPresenter presenter;
    answerWith(QStringLiteral("Show Output"));
    EXPECT_EQ(presenter.runModal(alert), 1);
}

TEST(MessageBoxAlertPresenterTest, DependencyQuestionOffersInstallFirstAndEscapesWithCancel)
{
    const Alert alert = AlertCoordinator::startServerAlert(web, true);
    std::unique_ptr<QMessageBox> box(MessageBoxAlertPresenter::makeMessageBox(alert));
    ASSERT_EQ(box->buttons().size(), 3);
    EXPECT_EQ(box->defaultButton()->text(), QStringLiteral("Install and Start"));
    EXPECT_EQ(box->escapeButton()->text(), QStringLiteral("Cancel"));

    MessageBoxAlertPresenter presenter;
    answerWith(QStringLiteral("Start Server"));
    EXPECT_EQ(presenter.runModal(alert), 1);
}
