#include "Views/OnboardingView.h"

#include "HotKey/ShortcutText.h"
#include "Managers/HotKeyManager.h"
#include "Managers/PermissionsManager.h"
#include "Managers/SettingsManager.h"
#include "Protocols/ProjectManaging.h"
#include "Utilities/Theme.h"
#include "Views/FolderChooser.h"
#include "Views/OnboardingShortcutRecorder.h"
#include "Views/PermissionRow.h"
#include "Views/RegistrationLine.h"
#include "Views/ShortcutRecorderView.h"
#include "Views/SymbolImage.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QStackedWidget>
#include <QSvgRenderer>
#include <QVBoxLayout>

namespace {

// The shortcut written when the shortcut step first appears: L with Control and Option.
constexpr std::uint32_t defaultHotKeyCode = 37;
constexpr std::uint32_t defaultHotKeyModifiers = 0x1800;

constexpr int appIconSize = 96;
constexpr int stepSymbolSize = 44;
constexpr int dotSize = 8;

enum Step { welcome = 0, projectsFolder = 1, shortcut = 2, permissions = 3 };

QCoro::Task<> scan(QPointer<ProjectManaging> projectManager, QUrl folder)
{
    if (projectManager) {
        co_await projectManager->scanFolder(folder);
    }
}

QLabel* label(const QString& text, QWidget* parent, qreal scale = 1.0,
              QFont::Weight weight = QFont::Normal)
{
    auto* result = new QLabel(text, parent);
    QFont font = result->font();
    font.setPointSizeF(font.pointSizeF() * scale);
    font.setWeight(weight);
    result->setFont(font);
    result->setAlignment(Qt::AlignCenter);
    return result;
}

void setTextColor(QWidget* widget, const QColor& color)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::WindowText, color);
    widget->setPalette(palette);
}

QLabel* title(const QString& text, QWidget* parent)
{
    return label(text, parent, 1.45, QFont::DemiBold);
}

QLabel* body(const QString& text, QWidget* parent)
{
    auto* result = label(text, parent);
    setTextColor(result, Theme::secondary());
    return result;
}

QLabel* caption(const QString& text, QWidget* parent)
{
    auto* result = label(text, parent, 0.85);
    setTextColor(result, Theme::secondary());
    return result;
}

QLabel* symbol(const QString& name, const QColor& tint, QWidget* parent)
{
    auto* result = new QLabel(parent);
    result->setPixmap(SymbolImage::pixmap(name, stepSymbolSize, tint, parent->devicePixelRatioF()));
    result->setAlignment(Qt::AlignCenter);
    result->setAccessibleName(name);
    return result;
}

QPixmap appIcon(int size, qreal dpr)
{
    QSvgRenderer renderer(QStringLiteral(":/images/AppIcon.svg"));
    QPixmap pixmap(QSize(size, size) * dpr);
    pixmap.fill(Qt::transparent);
    if (renderer.isValid()) {
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter);
    }
    pixmap.setDevicePixelRatio(dpr);
    return pixmap;
}

// A page's widgets stacked and centred, with room above and below.
QWidget* page(QWidget* parent, const QList<QWidget*>& widgets)
{
    auto* result = new QWidget(parent);
    auto* layout = new QVBoxLayout(result);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    layout->addStretch(1);
    for (QWidget* widget : widgets) {
        widget->setParent(result);
        layout->addWidget(widget, 0, Qt::AlignHCenter);
    }
    layout->addStretch(1);
    return result;
}

} // namespace

OnboardingView::OnboardingView(SettingsManager* settingsManager,
                               PermissionsManager* permissionsManager,
                               ProjectManaging* projectManager, HotKeyManager* hotKeyManager,
                               std::function<void()> onComplete,
                               std::shared_ptr<FolderChooser> folderChooser, QWidget* parent)
    : QWidget(parent)
    , settingsManager(settingsManager)
    , permissionsManager(permissionsManager)
    , projectManager(projectManager)
    , hotKeyManager(hotKeyManager)
    , onComplete(std::move(onComplete))
    , folderChooser(folderChooser ? std::move(folderChooser) : FolderChooser::makeDialogChooser())
{
    pages = new QStackedWidget(this);
    pages->addWidget(makeWelcomePage());
    pages->addWidget(makeFolderPage());
    pages->addWidget(makeShortcutPage());
    pages->addWidget(makePermissionsPage());

    auto* dotRow = new QHBoxLayout();
    dotRow->setSpacing(8);
    dotRow->addStretch(1);
    for (int step = 0; step < totalSteps; ++step) {
        auto* stepDot = new QLabel(this);
        stepDot->setFixedSize(dotSize, dotSize);
        dots.append(stepDot);
        dotRow->addWidget(stepDot);
    }
    dotRow->addStretch(1);

    back = new QPushButton(QStringLiteral("Back"), this);
    back->setFlat(true);
    back->setAutoDefault(false);
    connect(back, &QPushButton::clicked, this, &OnboardingView::goBack);

    next = new QPushButton(QStringLiteral("Continue"), this);
    next->setDefault(true);
    connect(next, &QPushButton::clicked, this, &OnboardingView::continueToNextStep);

    finisher = new QPushButton(QStringLiteral("Finish"), this);
    finisher->setDefault(true);
    connect(finisher, &QPushButton::clicked, this, &OnboardingView::finish);

    auto* navigation = new QHBoxLayout();
    navigation->addWidget(back);
    navigation->addStretch(1);
    navigation->addWidget(next);
    navigation->addWidget(finisher);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 20, 28, 20);
    layout->setSpacing(16);
    layout->addWidget(pages, 1);
    layout->addLayout(dotRow);
    layout->addLayout(navigation);

    if (projectManager) {
        connect(projectManager, &ProjectManaging::projectsChanged, this,
                &OnboardingView::updateContent);
    }
    if (permissionsManager) {
        connect(permissionsManager, &PermissionsManager::automationPermissionChanged, automation,
                &PermissionRow::setGranted);
        connect(permissionsManager, &PermissionsManager::accessibilityPermissionChanged,
                accessibility, &PermissionRow::setGranted);
    }
    showStep();
}

QWidget* OnboardingView::makeWelcomePage()
{
    auto* icon = new QLabel(this);
    icon->setPixmap(appIcon(appIconSize, devicePixelRatioF()));
    icon->setAccessibleName(QStringLiteral("AppIcon"));
    auto* name = label(QStringLiteral("Wisp"), this, 2.4, QFont::Bold);
    auto* tagline = label(QStringLiteral("Stop searching. Start finding."), this);
    return page(this, {icon, name, tagline});
}

QWidget* OnboardingView::makeFolderPage()
{
    auto* icon = symbol(QStringLiteral("folder.fill"), Theme::accent(), this);
    auto* heading = title(QStringLiteral("Where are your projects?"), this);
    auto* text =
        body(QStringLiteral("Select the folder containing your\ndevelopment projects."), this);

    auto* row = new QWidget(this);
    pathField = new QLineEdit(row);
    pathField->setReadOnly(true);
    pathField->setPlaceholderText(QStringLiteral("Select folder..."));
    pathField->setAccessibleName(QStringLiteral("Select folder..."));
    pathField->setFocusPolicy(Qt::ClickFocus);
    pathField->setMinimumWidth(240);
    chooser = new QPushButton(QStringLiteral("Choose..."), row);
    chooser->setAutoDefault(false);
    connect(chooser, &QPushButton::clicked, this, &OnboardingView::selectFolder);
    auto* rowLayout = new QHBoxLayout(row);
    rowLayout->setContentsMargins(0, 6, 0, 0);
    rowLayout->addWidget(pathField, 1);
    rowLayout->addWidget(chooser);

    foundLabel = caption(QString(), this);
    // The count line appears and disappears; the page keeps its place.
    QSizePolicy keepSpace = foundLabel->sizePolicy();
    keepSpace.setRetainSizeWhenHidden(true);
    foundLabel->setSizePolicy(keepSpace);
    return page(this, {icon, heading, text, row, foundLabel});
}

QWidget* OnboardingView::makeShortcutPage()
{
    auto* icon = symbol(QStringLiteral("keyboard"), Theme::accent(), this);
    auto* heading = title(QStringLiteral("Quick access shortcut"), this);
    // Fixed on purpose: it names the default, whatever is recorded below, in the desktop's words.
    auto* text = body(QStringLiteral("Press ") + defaultShortcutText() +
                          QStringLiteral(" anywhere to find\nyour localhost instantly."),
                      this);

    recorder = new OnboardingShortcutRecorder(this);
    recorder->setAccessibleName(QStringLiteral("Shortcut"));
    recorder->setMinimumWidth(160);
    recorder->onShortcutRecorded = [this](std::uint32_t keyCode, std::uint32_t modifiers) {
        shortcutRecorded(keyCode, modifiers);
    };
    connect(recorder, &OnboardingShortcutRecorder::recordingChanged, this,
            [this](bool recording) { isRecordingShortcut = recording; });

    shortcutProblem = new RegistrationLine(this);
    shortcutProblem->setMaximumWidth(360);
    if (hotKeyManager) {
        connect(hotKeyManager, &HotKeyManager::registrationChanged, this,
                &OnboardingView::updateShortcutText);
    }

    auto* note = caption(QStringLiteral("You can change this anytime in Settings"), this);
    return page(this, {icon, heading, text, recorder, shortcutProblem, note});
}

QWidget* OnboardingView::makePermissionsPage()
{
    auto* icon = symbol(QStringLiteral("lock.shield.fill"), Theme::accent(), this);
    auto* heading = title(QStringLiteral("Permissions needed"), this);

    const QPointer<PermissionsManager> monitor = permissionsManager;
    automation = new PermissionRow(
        QStringLiteral("Automation"), QStringLiteral("Control browsers to open incognito windows"),
        monitor && monitor->hasAutomationPermission(), false, [monitor]() {
            if (monitor) {
                monitor->requestAutomationPermission();
            }
        });
    accessibility =
        new PermissionRow(QStringLiteral("Accessibility"),
                          QStringLiteral("Enable global keyboard shortcut (optional)"),
                          monitor && monitor->hasAccessibilityPermission(), true, [monitor]() {
                              if (monitor) {
                                  monitor->requestAccessibilityPermission();
                              }
                          });

    auto* rows = new QWidget(this);
    auto* rowsLayout = new QVBoxLayout(rows);
    rowsLayout->setContentsMargins(8, 8, 8, 0);
    rowsLayout->setSpacing(14);
    automation->setParent(rows);
    accessibility->setParent(rows);
    rowsLayout->addWidget(automation);
    rowsLayout->addWidget(accessibility);
    rows->setMinimumWidth(360);
    return page(this, {icon, heading, rows});
}

QWidget* OnboardingView::currentPage() const
{
    return pages->currentWidget();
}

void OnboardingView::selectFolder()
{
    window()->activateWindow();
    const QPointer<OnboardingView> self(this);
    folderChooser->choose(window(), [self](const QUrl& folder) {
        if (!self) {
            return;
        }
        self->selectedFolderURL = folder;
        self->updateContent();
        scan(self->projectManager, folder);
    });
}

void OnboardingView::continueToNextStep()
{
    if (currentStep >= totalSteps - 1) {
        return;
    }
    if (currentStep == projectsFolder) {
        if (!selectedFolderURL) {
            return;
        }
        if (settingsManager) {
            settingsManager->setProjectsFolder(*selectedFolderURL);
        }
        scan(projectManager, *selectedFolderURL);
    }
    ++currentStep;
    showStep();
}

void OnboardingView::goBack()
{
    if (currentStep <= 0) {
        return;
    }
    --currentStep;
    showStep();
}

QString OnboardingView::defaultShortcutText()
{
    return ShortcutText::build(defaultHotKeyModifiers,
                               ShortcutRecorderView::keyCodeToString(defaultHotKeyCode));
}

void OnboardingView::finish()
{
    if (settingsManager) {
        settingsManager->setHasCompletedOnboarding(true);
    }
    if (onComplete) {
        onComplete();
    }
}

void OnboardingView::showStep()
{
    pages->setCurrentIndex(currentStep);
    if (currentStep != shortcut && recorder->isRecording()) {
        recorder->setRecording(false);
    }
    if (currentStep == shortcut) {
        shortcutStepAppeared();
    }
    updateContent();
}

void OnboardingView::shortcutStepAppeared()
{
    if (settingsManager && settingsManager->hotKeyCode() == 0) {
        settingsManager->setHotKeyCode(defaultHotKeyCode);
        settingsManager->setHotKeyModifiers(defaultHotKeyModifiers);
        if (hotKeyManager) {
            hotKeyManager->registerHotKey();
        }
    }
    updateShortcutText();
}

void OnboardingView::shortcutRecorded(std::uint32_t keyCode, std::uint32_t carbonModifiers)
{
    if (settingsManager) {
        settingsManager->setHotKeyCode(keyCode);
        settingsManager->setHotKeyModifiers(carbonModifiers);
    }
    if (hotKeyManager) {
        hotKeyManager->registerHotKey();
    }
    updateShortcutText();
}

QLabel* OnboardingView::shortcutProblemLabel() const
{
    return shortcutProblem->textLabel();
}

void OnboardingView::updateShortcutText()
{
    // A shortcut the desktop did not let us have is not shown as if it worked; one it has not
    // answered for yet is, with a line saying that the answer is awaited.
    const std::optional<HotKeyRegistration> registration =
        hotKeyManager ? hotKeyManager->registration() : std::nullopt;
    if (registration && HotKeyManager::isFailure(*registration)) {
        recorder->setDisplayText(QStringLiteral("Click to set"));
    } else {
        recorder->setDisplayText(hotKeyManager ? hotKeyManager->hotkeyDisplayString()
                                               : QStringLiteral("Not set"));
    }
    shortcutProblem->setRegistration(
        registration, hotKeyManager ? hotKeyManager->hotkeyDisplayString() : QString());
}

void OnboardingView::updateContent()
{
    pathField->setText(selectedFolderURL ? selectedFolderURL->toLocalFile() : QString());
    const qsizetype count = projectManager ? projectManager->projects().size() : 0;
    foundLabel->setText(count > 0 ? QStringLiteral("Found: %1 projects").arg(count) : QString());
    foundLabel->setVisible(count > 0);

    const bool last = currentStep >= totalSteps - 1;
    back->setVisible(currentStep > 0);
    next->setVisible(!last);
    next->setEnabled(currentStep != projectsFolder || selectedFolderURL.has_value());
    finisher->setVisible(last);
    updateDots();
}

void OnboardingView::updateDots()
{
    QColor inactive = Theme::secondary();
    inactive.setAlphaF(inactive.alphaF() * 0.3);
    for (int step = 0; step < dots.size(); ++step) {
        const QColor color = step == currentStep ? Theme::accent() : inactive;
        dots[step]->setPixmap(SymbolImage::dot(color, dotSize, devicePixelRatioF()));
        dots[step]->setProperty("current", step == currentStep);
    }
}
