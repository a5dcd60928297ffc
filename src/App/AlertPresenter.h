#pragma once

#include "App/Alert.h"

// Shows an alert application-modally and blocks until it is answered.
class AlertPresenter
{
public:
    // The answer of the first button.
    static constexpr int firstButton = 0;

    virtual ~AlertPresenter() = default;

    // The index of the chosen button in `alert.buttons` (0 for the default button of an alert
    // without buttons), or -1 when the alert was dismissed without one.
    virtual int runModal(const Alert& alert) = 0;
};
