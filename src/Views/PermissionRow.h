#pragma once

#include <QString>
#include <QWidget>

#include <functional>

class QLabel;
class QPushButton;

// One permission in the onboarding window: a check mark once granted (an empty circle before),
// the title, "(optional)" where it is, the description, and "Grant →" while not granted.
class PermissionRow : public QWidget
{
    Q_OBJECT
public:
    PermissionRow(QString title, QString description, bool isGranted, bool isOptional,
                  std::function<void()> onRequest, QWidget* parent = nullptr);

    void setGranted(bool granted);

    const QString title;
    const QString description;
    bool isGranted = false;
    const bool isOptional = false;
    std::function<void()> onRequest;

    // The symbol the status image shows: "checkmark.circle.fill" or "circle".
    QString statusSymbol() const;
    QLabel* statusImage() const { return statusLabel; }
    QLabel* optionalLabel() const { return optionalCaption; }
    QPushButton* grantButton() const { return grant; }

private:
    void updateContent();

    QLabel* statusLabel = nullptr;
    QLabel* optionalCaption = nullptr;
    QPushButton* grant = nullptr;
};
