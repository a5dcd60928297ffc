#include "Views/PermissionRow.h"

#include "Utilities/Theme.h"
#include "Views/SymbolImage.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int statusImageSize = 20;
constexpr qreal captionScale = 0.85;

QLabel* caption(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * captionScale);
    label->setFont(font);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, Theme::secondary());
    label->setPalette(palette);
    return label;
}

} // namespace

PermissionRow::PermissionRow(QString title, QString description, bool isGranted, bool isOptional,
                             std::function<void()> onRequest, QWidget* parent)
    : QWidget(parent)
    , title(std::move(title))
    , description(std::move(description))
    , isGranted(isGranted)
    , isOptional(isOptional)
    , onRequest(std::move(onRequest))
{
    statusLabel = new QLabel(this);
    statusLabel->setFixedSize(statusImageSize, statusImageSize);

    auto* titleLabel = new QLabel(this->title, this);
    QFont titleFont = titleLabel->font();
    titleFont.setWeight(QFont::Medium);
    titleLabel->setFont(titleFont);

    optionalCaption = caption(QStringLiteral("(optional)"), this);
    optionalCaption->setVisible(this->isOptional);

    auto* descriptionLabel = caption(this->description, this);
    descriptionLabel->setWordWrap(true);

    grant = new QPushButton(QStringLiteral("Grant →"), this);
    grant->setAutoDefault(false);
    connect(grant, &QPushButton::clicked, this, [this]() {
        if (this->onRequest) {
            this->onRequest();
        }
    });

    auto* titleRow = new QHBoxLayout();
    titleRow->setSpacing(4);
    titleRow->addWidget(titleLabel);
    titleRow->addWidget(optionalCaption);
    titleRow->addStretch(1);

    auto* texts = new QVBoxLayout();
    texts->setSpacing(2);
    texts->addLayout(titleRow);
    texts->addWidget(descriptionLabel);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    layout->addWidget(statusLabel, 0, Qt::AlignVCenter);
    layout->addLayout(texts, 1);
    layout->addWidget(grant, 0, Qt::AlignVCenter);

    updateContent();
}

void PermissionRow::setGranted(bool granted)
{
    isGranted = granted;
    updateContent();
}

QString PermissionRow::statusSymbol() const
{
    return isGranted ? QStringLiteral("checkmark.circle.fill") : QStringLiteral("circle");
}

void PermissionRow::updateContent()
{
    const QColor tint = isGranted ? Theme::running() : Theme::secondary();
    statusLabel->setPixmap(
        SymbolImage::pixmap(statusSymbol(), statusImageSize, tint, devicePixelRatioF()));
    statusLabel->setAccessibleName(isGranted ? QStringLiteral("Granted")
                                             : QStringLiteral("Not granted"));
    grant->setVisible(!isGranted);
}
