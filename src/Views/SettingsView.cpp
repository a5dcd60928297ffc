#include "Views/SettingsView.h"

#include "Managers/HotKeyManager.h"
#include "Managers/PermissionsManager.h"
#include "Managers/SettingsManager.h"
#include "Models/BehaviorMode.h"
#include "Models/Browser.h"
#include "Protocols/ProjectManaging.h"
#include "Protocols/ServerManaging.h"
#include "Utilities/FrameworkCatalogue.h"
#include "Utilities/Theme.h"
#include "Views/Caption.h"
#include "Views/FolderChooser.h"
#include "Views/LoginItemSwitch.h"
#include "Views/ProjectOverridesEditor.h"
#include "Views/RegistrationLine.h"
#include "Views/ShortcutRecorderView.h"
#include "Views/SymbolImage.h"

#include <QButtonGroup>
#include <QEvent>
#include <QFontDatabase>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QToolButton>
#include <QVBoxLayout>

#include <utility>

namespace {

constexpr int sectionPadding = 16;
constexpr int sectionSpacing = 6;
constexpr int dotSize = 8;
// Wide enough for every section; a long folder path is cut off rather than widening the panel.
constexpr int viewWidth = 300;

QCoro::Task<> scan(QPointer<ProjectManaging> projectManager, QUrl folder)
{
    if (projectManager) {
        co_await projectManager->scanFolder(folder);
    }
}

QFont monospacedFont(qreal scale)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(font.pointSizeF() * scale);
    return font;
}

QFrame* divider(QWidget* parent)
{
    auto* line = new QFrame(parent);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

} // namespace

SettingsView::SettingsView(SettingsManager* settingsManager, ProjectManaging* projectManager,
                           ServerManaging* serverManager, PermissionsManager* permissionsManager,
                           std::shared_ptr<FolderChooser> folderChooser,
                           ProjectOverrides* overrides, QWidget* parent)
    : QWidget(parent)
    , settingsManager(settingsManager)
    , projectManager(projectManager)
    , serverManager(serverManager)
    , permissionsManager(permissionsManager)
    , folderChooser(folderChooser ? std::move(folderChooser) : FolderChooser::makeDialogChooser())
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    setFixedWidth(viewWidth);

    makeCurrentProjectSection(overrides);
    makeProjectsSection();
    makeBehaviorSection();
    makeBrowserSection();
    makeShortcutSection();
    makeCustomURLSection();
    makeStatusSection();

    if (projectManager) {
        connect(projectManager, &ProjectManaging::projectsChanged, this,
                &SettingsView::updateProjects);
        connect(projectManager, &ProjectManaging::selectedProjectChanged, this,
                &SettingsView::updateCurrentProject);
    }
    if (settingsManager) {
        connect(settingsManager, &SettingsManager::changed, this, &SettingsView::settingChanged);
    }
    if (serverManager) {
        connect(serverManager, &ServerManaging::statusChanged, this, &SettingsView::updateStatus);
    }
    if (permissionsManager) {
        connect(permissionsManager, &PermissionsManager::accessibilityPermissionChanged, this,
                [this](bool granted) {
                    updateAccessibilityWarning();
                    // A permission revoked since polling ended is watched again while the
                    // warning is on screen, so granting it removes the row.
                    if (!granted && isVisible() && this->permissionsManager) {
                        this->permissionsManager->startPollingIfNeeded();
                    }
                });
    }

    updateCurrentProject();
    updateProjects();
    updateBehavior();
    updateBrowser();
    updateCustomURL();
    updateAccessibilityWarning();
    updateStatus(serverManager ? serverManager->status() : ServerStatus::unknown);
    applyLinkColor();
}

QVBoxLayout* SettingsView::addSection(const QString& title)
{
    auto* outer = static_cast<QVBoxLayout*>(layout());
    if (!sectionWidgets.isEmpty()) {
        outer->addWidget(divider(this));
    }
    auto* section = new QWidget(this);
    auto* sectionLayout = new QVBoxLayout(section);
    sectionLayout->setContentsMargins(sectionPadding, sectionPadding, sectionPadding,
                                      sectionPadding);
    sectionLayout->setSpacing(sectionSpacing);
    if (!title.isEmpty()) {
        sectionLayout->addWidget(Caption::label(title, section));
    }
    outer->addWidget(section);
    sectionWidgets.append(section);
    return sectionLayout;
}

void SettingsView::makeCurrentProjectSection(ProjectOverrides* overrides)
{
    QVBoxLayout* section = addSection(QStringLiteral("Current Project"));
    QWidget* parent = section->parentWidget();
    currentProject = new QLabel(parent);
    QFont headline = currentProject->font();
    headline.setWeight(QFont::DemiBold);
    currentProject->setFont(headline);
    projectType = Caption::label(QString(), parent);
    projectPort = Caption::label(QString(), parent);

    auto* row = new QHBoxLayout();
    row->setSpacing(4);
    row->addWidget(currentProject);
    row->addWidget(projectType);
    row->addWidget(projectPort);
    row->addStretch(1);
    section->addLayout(row);

    editor = new ProjectOverridesEditor(overrides, parent);
    section->addWidget(editor);
}

void SettingsView::makeProjectsSection()
{
    QVBoxLayout* section = addSection(QStringLiteral("Projects"));
    QWidget* parent = section->parentWidget();
    projectCount = Caption::label(QString(), parent);
    folderPath = new QLabel(parent);
    folderPath->setFont(monospacedFont(0.85));
    folderPath->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // The path never widens the panel; the whole of it is in the tool tip.
    folderPath->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    browse = new QPushButton(QStringLiteral("Browse..."), parent);
    connect(browse, &QPushButton::clicked, this, &SettingsView::selectFolder);

    section->addWidget(projectCount);
    section->addWidget(folderPath);
    section->addWidget(browse, 0, Qt::AlignLeft);
}

void SettingsView::makeBehaviorSection()
{
    QVBoxLayout* section = addSection(QStringLiteral("Behavior"));
    behaviors = new QButtonGroup(this);
    for (const BehaviorMode mode : BehaviorMode::allCases()) {
        auto* radio = new QRadioButton(mode.displayName(), section->parentWidget());
        behaviors->addButton(radio, static_cast<int>(BehaviorMode::Value(mode)));
        section->addWidget(radio);
    }
    connect(behaviors, &QButtonGroup::idToggled, this, [this](int id, bool checked) {
        if (checked && settingsManager) {
            settingsManager->setBehaviorMode(static_cast<BehaviorMode::Value>(id));
        }
    });
}

void SettingsView::makeBrowserSection()
{
    QVBoxLayout* section = addSection(QStringLiteral("Browser"));
    browsers = new QButtonGroup(this);
    for (const Browser browser : Browser::allCases()) {
        auto* radio = new QRadioButton(browser.displayName(), section->parentWidget());
        browsers->addButton(radio, static_cast<int>(Browser::Value(browser)));
        section->addWidget(radio);
    }
    connect(browsers, &QButtonGroup::idToggled, this, [this](int id, bool checked) {
        if (checked && settingsManager) {
            settingsManager->setPreferredBrowser(static_cast<Browser::Value>(id));
        }
    });
}

void SettingsView::makeShortcutSection()
{
    QVBoxLayout* section = addSection(QStringLiteral("Shortcut"));
    QWidget* parent = section->parentWidget();

    // Stored at once, and registered only when the live shortcut does not work (see
    // shortcutRecordingEnded).
    recorder = new ShortcutRecorderView(parent);
    if (settingsManager) {
        recorder->setKeyCode(settingsManager->hotKeyCode());
        recorder->setModifiers(settingsManager->hotKeyModifiers());
    }
    connect(recorder, &ShortcutRecorderView::keyCodeChanged, this, [this](std::uint32_t keyCode) {
        if (settingsManager && settingsManager->hotKeyCode() != keyCode) {
            shortcutEdited = shortcutEdited || recorder->isRecording();
            settingsManager->setHotKeyCode(keyCode);
        }
    });
    connect(recorder, &ShortcutRecorderView::modifiersChanged, this,
            [this](std::uint32_t modifiers) {
                if (settingsManager && settingsManager->hotKeyModifiers() != modifiers) {
                    shortcutEdited = shortcutEdited || recorder->isRecording();
                    settingsManager->setHotKeyModifiers(modifiers);
                }
            });
    connect(recorder, &ShortcutRecorderView::recordingChanged, this, [this](bool recording) {
        if (!recording) {
            shortcutRecordingEnded();
        }
    });
    section->addWidget(recorder, 0, Qt::AlignLeft);

    shortcutProblem = new RegistrationLine(parent);
    section->addWidget(shortcutProblem);

    accessibilityRow = new QWidget(parent);
    auto* row = new QHBoxLayout(accessibilityRow);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(4);
    QLabel* caption =
        Caption::label(QStringLiteral("Accessibility permission required"), accessibilityRow);
    // The symbol at the caption's size.
    accessibilityIcon = new QLabel(accessibilityRow);
    const int iconSize = caption->fontMetrics().height();
    accessibilityIcon->setFixedSize(iconSize, iconSize);
    accessibilityIcon->setPixmap(
        SymbolImage::pixmap(QStringLiteral("exclamationmark.triangle.fill"), iconSize,
                            Theme::warning(), devicePixelRatioF()));
    row->addWidget(accessibilityIcon);
    row->addWidget(caption);
    grant = new QPushButton(QStringLiteral("Grant"), accessibilityRow);
    grant->setFlat(true);
    grant->setFont(Caption::font(grant->font()));
    grant->setCursor(Qt::PointingHandCursor);
    // A link, not a bordered button: no padding around the text.
    grant->setStyleSheet(QStringLiteral("QPushButton { border: none; padding: 0px; }"));
    connect(grant, &QPushButton::clicked, this, [this] {
        if (permissionsManager) {
            permissionsManager->requestAccessibilityPermission();
        }
    });
    row->addWidget(grant);
    row->addStretch(1);
    section->addWidget(accessibilityRow);
}

void SettingsView::makeCustomURLSection()
{
    QVBoxLayout* section = addSection(QStringLiteral("Custom URL"));
    QWidget* parent = section->parentWidget();
    customURL = new QLineEdit(parent);
    customURL->setFont(monospacedFont(1.0));
    customURL->setPlaceholderText(QStringLiteral("https://staging.example.com"));
    connect(customURL, &QLineEdit::textEdited, this, [this](const QString& text) {
        if (settingsManager) {
            settingsManager->setCustomURL(text);
        }
    });

    clearCustomURL = new QToolButton(parent);
    clearCustomURL->setAutoRaise(true);
    clearCustomURL->setFocusPolicy(Qt::NoFocus);
    clearCustomURL->setToolTip(QStringLiteral("Clear"));
    clearCustomURL->setAccessibleName(QStringLiteral("Clear"));
    clearCustomURL->setIcon(SymbolImage::icon(QStringLiteral("xmark.circle.fill")));
    connect(clearCustomURL, &QToolButton::clicked, this, [this] {
        if (settingsManager) {
            settingsManager->setCustomURL(QString());
        }
    });
    connect(customURL, &QLineEdit::textChanged, clearCustomURL,
            [this](const QString& text) { clearCustomURL->setVisible(!text.isEmpty()); });

    auto* row = new QHBoxLayout();
    row->setSpacing(4);
    row->addWidget(customURL, 1);
    row->addWidget(clearCustomURL);
    section->addLayout(row);
}

void SettingsView::makeStatusSection()
{
    QVBoxLayout* section = addSection(QString());
    QWidget* parent = section->parentWidget();
    statusIndicator = new QLabel(parent);
    statusIndicator->setFixedSize(dotSize, dotSize);
    statusText = Caption::label(QString(), parent);

    auto* row = new QHBoxLayout();
    row->setSpacing(6);
    row->addWidget(statusIndicator);
    row->addWidget(statusText);
    row->addStretch(1);
    loginSwitch = new LoginItemSwitch(nullptr, parent);
    loginSwitch->setFont(Caption::font(loginSwitch->font()));
    row->addWidget(loginSwitch);
    section->addLayout(row);
}

void SettingsView::selectFolder()
{
    const QPointer<SettingsView> self(this);
    folderChooser->choose(window(), [self](const QUrl& folder) {
        if (!self || !self->settingsManager) {
            return;
        }
        self->settingsManager->setProjectsFolder(folder);
        scan(self->projectManager, folder);
    });
}

void SettingsView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (permissionsManager) {
        permissionsManager->checkPermissions();
        permissionsManager->startPollingIfNeeded();
    }
}

void SettingsView::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyLinkColor();
    }
}

void SettingsView::settingChanged(const QString& key)
{
    if (key == QLatin1String("projectsFolderBookmark")) {
        updateProjects();
    } else if (key == QLatin1String("behaviorMode")) {
        updateBehavior();
    } else if (key == QLatin1String("preferredBrowser")) {
        updateBrowser();
    } else if (key == QLatin1String("customURL")) {
        updateCustomURL();
    } else if (key == QLatin1String("hotKeyCode")) {
        // One key at a time: a recording sets the code before the modifiers.
        recorder->setKeyCode(settingsManager->hotKeyCode());
        if (!recorder->isRecording()) {
            updateShortcutAvailability();
        }
    } else if (key == QLatin1String("hotKeyModifiers")) {
        recorder->setModifiers(settingsManager->hotKeyModifiers());
        if (!recorder->isRecording()) {
            updateShortcutAvailability();
        }
    }
}

void SettingsView::setHotKeyManager(HotKeyManager* manager)
{
    disconnect(registrationConnection);
    hotKeyManager = manager;
    if (manager) {
        registrationConnection = connect(manager, &HotKeyManager::registrationChanged, this,
                                         &SettingsView::updateShortcutAvailability);
    }
    updateShortcutAvailability();
}

void SettingsView::shortcutRecordingEnded()
{
    const bool edited = std::exchange(shortcutEdited, false);
    // While the live shortcut works, a new one waits for the next start, as it always has: the
    // recording only finds out whether it could be had. While the live one does not work there
    // is nothing to keep, so the new one is registered at once and works right away.
    if (edited && hotKeyManager && settingsManager && settingsManager->hotKeyCode() != 0 &&
        !hotKeyManager->isRegistered()) {
        hotKeyManager->registerHotKey();
    }
    updateShortcutAvailability();
}

QLabel* SettingsView::shortcutProblemLabel() const
{
    return shortcutProblem->textLabel();
}

void SettingsView::updateShortcutAvailability()
{
    if (shortcutProblem) {
        checkShortcutAvailability();
    }
}

QCoro::Task<> SettingsView::checkShortcutAvailability()
{
    const quint64 check = ++availabilityChecks;
    const std::uint32_t keyCode = settingsManager ? settingsManager->hotKeyCode() : 0;
    const std::uint32_t modifiers = settingsManager ? settingsManager->hotKeyModifiers() : 0;
    const QString shortcut = ShortcutRecorderView::displayString(keyCode, modifiers);
    if (!hotKeyManager || keyCode == 0) {
        showShortcutAvailability(HotKeyRegistration::registered, shortcut);
        co_return;
    }
    QCoro::Task<HotKeyRegistration> probing = hotKeyManager->probe(keyCode, modifiers);
    // A desktop that asks the user first answers later; until then the line says so.
    if (!probing.isReady()) {
        showShortcutAvailability(HotKeyRegistration::waiting, shortcut);
    }
    const QPointer<SettingsView> self(this);
    const HotKeyRegistration registration = co_await probing;
    // Gone, or overtaken by a newer check (another recording) meanwhile.
    if (!self || availabilityChecks != check) {
        co_return;
    }
    showShortcutAvailability(registration, shortcut);
}

void SettingsView::showShortcutAvailability(HotKeyRegistration registration,
                                            const QString& shortcut)
{
    recorder->setAvailable(!HotKeyManager::isFailure(registration));
    shortcutProblem->setRegistration(registration, shortcut);
}

void SettingsView::updateCurrentProject()
{
    const std::optional<Project> selected =
        projectManager ? projectManager->selectedProject() : std::nullopt;
    if (selected) {
        currentProject->setText(selected->name);
        currentProject->setForegroundRole(QPalette::WindowText);
        // The framework says more than the kind, when there is one.
        projectType->setText(QStringLiteral("(%1)").arg(
            selected->framework ? QStringLiteral("%1, %2").arg(
                                      selected->type.displayName(),
                                      FrameworkCatalogue::displayName(*selected->framework))
                                : selected->type.displayName()));
        projectPort->setText(QStringLiteral(":%1").arg(selected->port));
    } else {
        currentProject->setText(QStringLiteral("No project selected"));
        currentProject->setForegroundRole(QPalette::PlaceholderText);
        projectType->clear();
        projectPort->clear();
    }
    projectType->setVisible(selected.has_value());
    projectPort->setVisible(selected.has_value());
    editor->setProject(selected);
}

void SettingsView::updateProjects()
{
    const qsizetype count = projectManager ? projectManager->projects().size() : 0;
    projectCount->setText(QString::number(count) + QStringLiteral(" found"));

    const std::optional<QUrl> folder =
        settingsManager ? settingsManager->projectsFolderURL() : std::nullopt;
    folderPath->setText(folder ? folder->toLocalFile() : QStringLiteral("Not set"));
    folderPath->setToolTip(folder ? folder->toLocalFile() : QString());
}

void SettingsView::updateBehavior()
{
    if (!settingsManager) {
        return;
    }
    const QSignalBlocker blocker(behaviors);
    if (QAbstractButton* button = behaviors->button(
            static_cast<int>(BehaviorMode::Value(settingsManager->behaviorMode())))) {
        button->setChecked(true);
    }
}

void SettingsView::updateBrowser()
{
    if (!settingsManager) {
        return;
    }
    const QSignalBlocker blocker(browsers);
    if (QAbstractButton* button = browsers->button(
            static_cast<int>(Browser::Value(settingsManager->preferredBrowser())))) {
        button->setChecked(true);
    }
}

void SettingsView::updateCustomURL()
{
    const QString stored = settingsManager ? settingsManager->customURL() : QString();
    // Only a change from elsewhere is copied in, so typing keeps its cursor.
    if (customURL->text() != stored) {
        customURL->setText(stored);
    }
    clearCustomURL->setVisible(!customURL->text().isEmpty());
}

void SettingsView::updateAccessibilityWarning()
{
    accessibilityRow->setVisible(permissionsManager &&
                                 !permissionsManager->hasAccessibilityPermission());
}

void SettingsView::updateStatus(ServerStatus status)
{
    QColor color = Theme::stopped();
    if (status == ServerStatus::running) {
        color = Theme::running();
    } else if (status == ServerStatus::starting) {
        color = Theme::starting();
    }
    statusIndicator->setPixmap(SymbolImage::dot(color, dotSize, devicePixelRatioF()));
    // Only the dot tells a starting server from a stopped one.
    statusText->setText(status == ServerStatus::running ? QStringLiteral("Running")
                                                        : QStringLiteral("Stopped"));
}

void SettingsView::applyLinkColor()
{
    QPalette linkPalette = grant->palette();
    linkPalette.setColor(QPalette::ButtonText, palette().color(QPalette::Link));
    grant->setPalette(linkPalette);
}
