#pragma once

#include "App/AlertPresenter.h"

class QMessageBox;

// Alerts as application-modal QMessageBoxes.
class MessageBoxAlertPresenter final : public AlertPresenter
{
public:
    int runModal(const Alert& alert) override;

    // The configured box with its buttons in order, not yet shown.
    static QMessageBox* makeMessageBox(const Alert& alert);
    // The index of the box's clicked button in the alert's order.
    static int answer(const QMessageBox& box, const Alert& alert);
};
