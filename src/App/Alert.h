#pragma once

#include <QString>
#include <QStringList>

// A modal alert as data: what it says, how it looks and its buttons in order. The first button
// gives the first-button answer; any other answer is a refusal.
struct Alert
{
    enum class Style { informational, warning, critical };

    QString messageText;
    QString informativeText;
    Style style = Style::warning;
    // Empty: the platform's single default button.
    QStringList buttons;
    // The button the Escape key answers with; -1 for the last one.
    int escapeButton = -1;

    bool operator==(const Alert&) const = default;
};
