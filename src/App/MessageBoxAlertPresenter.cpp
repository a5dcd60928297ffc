#include "App/MessageBoxAlertPresenter.h"

#include <QAbstractButton>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QVariant>

#include <memory>

namespace {

const char* const alertIndexProperty = "wispAlertIndex";

QMessageBox::Icon icon(Alert::Style style)
{
    switch (style) {
    case Alert::Style::informational:
        return QMessageBox::Information;
    case Alert::Style::warning:
        return QMessageBox::Warning;
    case Alert::Style::critical:
        return QMessageBox::Critical;
    }
    return QMessageBox::Warning;
}

} // namespace

QMessageBox* MessageBoxAlertPresenter::makeMessageBox(const Alert& alert)
{
    auto* box = new QMessageBox();
    box->setWindowTitle(QStringLiteral("wisp"));
    box->setWindowModality(Qt::ApplicationModal);
    box->setIcon(icon(alert.style));
    box->setText(alert.messageText);
    box->setInformativeText(alert.informativeText);
    // A server's own lines may look like markup ("at Object.<anonymous>"): shown as written.
    if (auto* informative = box->findChild<QLabel*>(QStringLiteral("qt_msgbox_informativelabel"))) {
        informative->setTextFormat(Qt::PlainText);
    }

    if (alert.buttons.isEmpty()) {
        box->setStandardButtons(QMessageBox::Ok);
        return box;
    }
    // The first button accepts; the others refuse. The button box lays them out in the
    // platform's order; the answer is still their position in the alert.
    QPushButton* last = nullptr;
    QPushButton* escape = nullptr;
    for (qsizetype index = 0; index < alert.buttons.size(); ++index) {
        last = box->addButton(alert.buttons.at(index),
                              index == 0 ? QMessageBox::AcceptRole : QMessageBox::RejectRole);
        last->setProperty(alertIndexProperty, static_cast<int>(index));
        if (index == 0) {
            box->setDefaultButton(last);
        }
        if (index == alert.escapeButton) {
            escape = last;
        }
    }
    if (alert.buttons.size() > 1) {
        box->setEscapeButton(escape ? escape : last);
    }
    return box;
}

int MessageBoxAlertPresenter::answer(const QMessageBox& box, const Alert& alert)
{
    const QAbstractButton* clicked = box.clickedButton();
    if (!clicked) {
        return -1;
    }
    if (alert.buttons.isEmpty()) {
        return 0;
    }
    const QVariant index = clicked->property(alertIndexProperty);
    return index.isValid() ? index.toInt() : -1;
}

int MessageBoxAlertPresenter::runModal(const Alert& alert)
{
    std::unique_ptr<QMessageBox> box(makeMessageBox(alert));
    box->exec();
    return answer(*box, alert);
}
