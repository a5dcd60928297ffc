#pragma once

#include "Models/Project.h"

#include <QPointer>
#include <QStringList>
#include <QWidget>

#include <optional>

class ProjectOverrides;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QSpinBox;
class QToolButton;

// The selected project's start command and port, each with where its value comes from, as two
// editable fields. An edit is stored as the project's override when editing finishes; "Reset"
// removes the override again. Suggested commands from the project's files are one click away.
class ProjectOverridesEditor : public QWidget
{
    Q_OBJECT
public:
    explicit ProjectOverridesEditor(ProjectOverrides* overrides, QWidget* parent = nullptr);
    ~ProjectOverridesEditor() override;

    // Shows `project` as published (its overrides applied); none hides the fields.
    void setProject(const std::optional<Project>& project);

    QLineEdit* commandField() const { return command; }
    QLabel* commandSourceLabel() const { return commandSource; }
    QPushButton* commandResetButton() const { return commandReset; }
    QToolButton* suggestionsButton() const { return suggestions; }
    QMenu* suggestionsMenu() const { return suggestionMenu; }
    QSpinBox* portField() const { return port; }
    QLabel* portSourceLabel() const { return portSource; }
    QPushButton* portResetButton() const { return portReset; }

    // Where a port comes from, as the caption under the port says it.
    // `framework` is the display name of the project's framework, empty when none.
    static QString portSourceCaption(const std::optional<PortSource>& source,
                                     const QString& framework = QString());

protected:
    void changeEvent(QEvent* event) override;

private:
    void applyCommand();
    void applyPort();
    void applyLinkColor();

    QPointer<ProjectOverrides> overrides;
    std::optional<Project> project;
    QLineEdit* command = nullptr;
    QLabel* commandSource = nullptr;
    QPushButton* commandReset = nullptr;
    QToolButton* suggestions = nullptr;
    QMenu* suggestionMenu = nullptr;
    QSpinBox* port = nullptr;
    QLabel* portSource = nullptr;
    QPushButton* portReset = nullptr;
};
