#include "Views/ProjectOverridesEditor.h"

#include "Managers/ProjectOverrides.h"
#include "Platform/FileNameCase.h"
#include "Platform/SystemTools.h"
#include "Utilities/CommandSuggestions.h"
#include "Utilities/FrameworkCatalogue.h"
#include "Views/Caption.h"

#include <QEvent>
#include <QFontDatabase>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QToolButton>

namespace {

// A caption-sized button that looks like a link.
QPushButton* linkButton(const QString& text, const QString& accessibleName, QWidget* parent)
{
    auto* button = new QPushButton(text, parent);
    button->setFlat(true);
    button->setFont(Caption::font(button->font()));
    button->setCursor(Qt::PointingHandCursor);
    button->setAccessibleName(accessibleName);
    button->setStyleSheet(QStringLiteral("QPushButton { border: none; padding: 0px; }"));
    return button;
}

// The caption and the reset button under a field.
QHBoxLayout* sourceRow(QLabel* caption, QPushButton* reset)
{
    auto* row = new QHBoxLayout();
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(6);
    row->addWidget(caption);
    row->addStretch(1);
    row->addWidget(reset);
    return row;
}

} // namespace

ProjectOverridesEditor::ProjectOverridesEditor(ProjectOverrides* overrides, QWidget* parent)
    : QWidget(parent), overrides(overrides)
{
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(8);
    grid->setVerticalSpacing(2);

    QLabel* commandTitle = Caption::label(QStringLiteral("Command"), this);
    command = new QLineEdit(this);
    command->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    command->setAccessibleName(QStringLiteral("Start command"));
    commandTitle->setBuddy(command);
    suggestions = new QToolButton(this);
    suggestions->setText(QStringLiteral("Suggestions"));
    suggestions->setToolTip(QStringLiteral("Commands suggested by the project's files"));
    suggestions->setAccessibleName(QStringLiteral("Suggested commands"));
    suggestions->setArrowType(Qt::DownArrow);
    suggestions->setPopupMode(QToolButton::InstantPopup);
    suggestions->setAutoRaise(true);
    suggestions->setFocusPolicy(Qt::NoFocus);
    suggestionMenu = new QMenu(suggestions);
    suggestions->setMenu(suggestionMenu);
    connect(suggestionMenu, &QMenu::triggered, this, [this](QAction* action) {
        command->setText(action->data().toString());
        applyCommand();
    });
    auto* commandRow = new QHBoxLayout();
    commandRow->setSpacing(2);
    commandRow->addWidget(command, 1);
    commandRow->addWidget(suggestions);
    commandSource = Caption::label(QString(), this);
    commandReset = linkButton(QStringLiteral("Reset"), QStringLiteral("Reset command"), this);
    commandReset->setToolTip(QStringLiteral("Start with the default command again"));
    connect(command, &QLineEdit::editingFinished, this, &ProjectOverridesEditor::applyCommand);
    connect(commandReset, &QPushButton::clicked, this, [this] {
        if (this->overrides && project) {
            this->overrides->setCommand(project->folderPath(), std::nullopt);
        }
    });

    QLabel* portTitle = Caption::label(QStringLiteral("Port"), this);
    port = new QSpinBox(this);
    port->setRange(1, 65535);
    port->setKeyboardTracking(false);
    port->setAccessibleName(QStringLiteral("Port"));
    portTitle->setBuddy(port);
    portSource = Caption::label(QString(), this);
    portReset = linkButton(QStringLiteral("Reset"), QStringLiteral("Reset port"), this);
    portReset->setToolTip(QStringLiteral("Use the detected port again"));
    connect(port, &QSpinBox::editingFinished, this, &ProjectOverridesEditor::applyPort);
    connect(portReset, &QPushButton::clicked, this, [this] {
        if (this->overrides && project) {
            this->overrides->setPort(project->folderPath(), std::nullopt);
        }
    });

    grid->addWidget(commandTitle, 0, 0);
    grid->addLayout(commandRow, 0, 1);
    grid->addLayout(sourceRow(commandSource, commandReset), 1, 1);
    grid->addWidget(portTitle, 2, 0);
    grid->addWidget(port, 2, 1, Qt::AlignLeft);
    grid->addLayout(sourceRow(portSource, portReset), 3, 1);
    grid->setColumnStretch(1, 1);

    applyLinkColor();
    setProject(std::nullopt);
}

QString ProjectOverridesEditor::portSourceCaption(const std::optional<PortSource>& source,
                                                  const QString& framework)
{
    if (!source) {
        return QStringLiteral("Default port");
    }
    switch (*source) {
    case PortSource::env:
        return QStringLiteral("Detected from .env");
    case PortSource::packageJson:
        return QStringLiteral("Detected from package.json scripts");
    case PortSource::viteConfig:
        return QStringLiteral("Detected from vite.config");
    case PortSource::vueConfig:
        return QStringLiteral("Detected from vue.config.js");
    case PortSource::angularJson:
        return QStringLiteral("Detected from angular.json");
    case PortSource::nuxtConfig:
        return QStringLiteral("Detected from nuxt.config");
    case PortSource::manual:
        return QStringLiteral("Set by you");
    case PortSource::defaultValue:
        return QStringLiteral("Framework default");
    case PortSource::framework:
        return framework.isEmpty() ? QStringLiteral("Framework default")
                                   : QStringLiteral("Default for %1").arg(framework);
    case PortSource::entryFile:
        return QStringLiteral("Detected from the server's code");
    }
    return QStringLiteral("Default port");
}

ProjectOverridesEditor::~ProjectOverridesEditor()
{
    // Closing the window while a field has the focus finishes its editing, by then on an
    // editor that is half destroyed; an edit is applied while the editor lives only.
    command->disconnect(this);
    port->disconnect(this);
}

void ProjectOverridesEditor::setProject(const std::optional<Project>& shown)
{
    project = shown;
    setVisible(shown.has_value());
    if (!shown) {
        return;
    }
    const QString folder = shown->folderPath();
    const bool commandOverridden = overrides && overrides->command(folder).has_value();
    const bool portOverridden = overrides && overrides->port(folder).has_value();

    // Text being typed is left alone; it is applied when editing finishes.
    if (!command->hasFocus() || !command->isModified()) {
        command->setText(shown->effectiveCommand());
        command->setModified(false);
        command->setCursorPosition(0);
    }
    const QString typeDefault = shown->type.defaultCommand();
    if (commandOverridden) {
        commandSource->setText(QStringLiteral("Set by you"));
    } else if (shown->customCommand) {
        commandSource->setText(QStringLiteral("Set for this project"));
    } else if (typeDefault.isEmpty()) {
        commandSource->setText(QStringLiteral("No default for this kind of project"));
    } else if (shown->framework && shown->frameworkCommand) {
        commandSource->setText(QStringLiteral("Default for %1")
                                   .arg(FrameworkCatalogue::displayName(*shown->framework)));
    } else {
        commandSource->setText(QStringLiteral("Default for %1").arg(shown->type.displayName()));
    }
    commandReset->setVisible(commandOverridden);

    // Without keyboard tracking the value trails the text while a number is being typed.
    const bool typingPort = port->hasFocus() && port->cleanText() != QString::number(port->value());
    if (!typingPort) {
        const QSignalBlocker blocker(port);
        port->setValue(shown->port);
    }
    portSource->setText(portSourceCaption(
        shown->portSource,
        shown->framework ? FrameworkCatalogue::displayName(*shown->framework) : QString()));
    portReset->setVisible(portOverridden);

    suggestionMenu->clear();
    for (const QString& suggestion : CommandSuggestions::forProject(
             folder, FileNameCase::of(folder),
             SystemTools::serverSearchPath().split(u':', Qt::SkipEmptyParts))) {
        QAction* action = suggestionMenu->addAction(suggestion);
        action->setData(suggestion);
    }
    suggestions->setEnabled(!suggestionMenu->isEmpty());

    const bool editable = overrides != nullptr;
    command->setReadOnly(!editable);
    port->setReadOnly(!editable);
}

void ProjectOverridesEditor::applyCommand()
{
    if (!overrides || !project) {
        return;
    }
    const QString text = command->text().trimmed();
    command->setModified(false);
    if (text == project->effectiveCommand()) {
        return;
    }
    // An emptied field or the framework's or kind's own default means no override.
    const bool isDefault = text.isEmpty() || text == project->type.defaultCommand() ||
                           (project->frameworkCommand && text == *project->frameworkCommand);
    overrides->setCommand(project->folderPath(),
                          isDefault ? std::nullopt : std::optional<QString>(text));
    if (text.isEmpty()) {
        command->setText(project->effectiveCommand());
    }
}

void ProjectOverridesEditor::applyPort()
{
    if (!overrides || !project || port->value() == project->port) {
        return;
    }
    overrides->setPort(project->folderPath(), port->value());
}

void ProjectOverridesEditor::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyLinkColor();
    }
}

void ProjectOverridesEditor::applyLinkColor()
{
    for (QPushButton* button : {commandReset, portReset}) {
        QPalette linkPalette = button->palette();
        linkPalette.setColor(QPalette::ButtonText, palette().color(QPalette::Link));
        button->setPalette(linkPalette);
    }
}
