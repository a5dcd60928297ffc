#pragma once

#include "HotKey/HotKeyRegistration.h"

#include <QWidget>

#include <optional>

class QLabel;

// The one line under a shortcut control that says how the desktop answered its registration:
// why it cannot be had, or that the answer is still awaited. Hidden when there is nothing to say.
// The text is drawn in the window's own text colour, which is readable on the window in light
// and dark palettes alike; a failure gets the theme's warning mark in front of it.
class RegistrationLine : public QWidget
{
    Q_OBJECT
public:
    explicit RegistrationLine(QWidget* parent = nullptr);

    // Shows the line for `registration` of the shortcut shown as `shortcut`; hides it when the
    // shortcut is registered or there is none.
    void setRegistration(std::optional<HotKeyRegistration> registration, const QString& shortcut);

    QLabel* textLabel() const { return text; }
    // The warning mark; shown only for a failure.
    QLabel* markLabel() const { return mark; }

protected:
    void changeEvent(QEvent* event) override;

private:
    void updateMark();

    QLabel* mark = nullptr;
    QLabel* text = nullptr;
};
