#include "Views/SettingsView.h"

#include "Managers/SettingsManager.h"
#include "Protocols/ProjectManaging.h"
#include "Protocols/ServerManaging.h"
#include "Views/FolderChooser.h"

#include <QFontDatabase>
#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QCoro::Task<> scan(QPointer<ProjectManaging> projectManager, QUrl folder)
{
    if (projectManager) {
        co_await projectManager->scanFolder(folder);
    }
}

QLabel* sectionTitle(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.85);
    label->setFont(font);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
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
                           std::shared_ptr<FolderChooser> folderChooser, QWidget* parent)
    : QWidget(parent)
    , settingsManager(settingsManager)
    , projectManager(projectManager)
    , serverManager(serverManager)
    , permissionsManager(permissionsManager)
    , folderChooser(folderChooser ? std::move(folderChooser) : FolderChooser::makeDialogChooser())
{
    currentProject = new QLabel(this);
    QFont headline = currentProject->font();
    headline.setWeight(QFont::DemiBold);
    currentProject->setFont(headline);

    projectCount = new QLabel(this);
    folderPath = new QLabel(this);
    QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    mono.setPointSizeF(mono.pointSizeF() * 0.85);
    folderPath->setFont(mono);
    folderPath->setTextInteractionFlags(Qt::TextSelectableByMouse);
    browse = new QPushButton(QStringLiteral("Browse..."), this);
    connect(browse, &QPushButton::clicked, this, &SettingsView::selectFolder);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 16, 16, 16);
    layout->addWidget(sectionTitle(QStringLiteral("Current Project"), this));
    layout->addWidget(currentProject);
    layout->addWidget(divider(this));
    layout->addWidget(sectionTitle(QStringLiteral("Projects"), this));
    layout->addWidget(projectCount);
    layout->addWidget(folderPath);
    layout->addWidget(browse, 0, Qt::AlignLeft);

    if (projectManager) {
        connect(projectManager, &ProjectManaging::projectsChanged, this,
                &SettingsView::updateContent);
        connect(projectManager, &ProjectManaging::selectedProjectChanged, this,
                &SettingsView::updateContent);
    }
    if (settingsManager) {
        connect(settingsManager, &SettingsManager::changed, this, [this](const QString& key) {
            if (key == QLatin1String("projectsFolderBookmark")) {
                updateContent();
            }
        });
    }
    updateContent();
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

void SettingsView::updateContent()
{
    const std::optional<Project> selected =
        projectManager ? projectManager->selectedProject() : std::nullopt;
    currentProject->setText(selected ? selected->name + QStringLiteral("  :") +
                                           QString::number(selected->port)
                                     : QStringLiteral("No project selected"));

    const qsizetype count = projectManager ? projectManager->projects().size() : 0;
    projectCount->setText(QString::number(count) + QStringLiteral(" found"));

    const std::optional<QUrl> folder =
        settingsManager ? settingsManager->projectsFolderURL() : std::nullopt;
    folderPath->setText(folder ? folder->toLocalFile() : QStringLiteral("Not set"));
}
