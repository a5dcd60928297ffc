#pragma once

#include "App/AlertPresenter.h"

#include <QList>

// Answers every alert at once from a script and keeps what it was shown.
class PreAnsweredAlertPresenter : public AlertPresenter
{
public:
    // Answers in order; once used up, `defaultAnswer`.
    QList<int> answers;
    int defaultAnswer = AlertPresenter::firstButton;

    QList<Alert> shown;

    int runModal(const Alert& alert) override
    {
        shown.append(alert);
        return answers.isEmpty() ? defaultAnswer : answers.takeFirst();
    }
};
