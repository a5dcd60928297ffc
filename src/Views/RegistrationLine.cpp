#include "Views/RegistrationLine.h"

#include "Managers/HotKeyManager.h"
#include "Utilities/Theme.h"
#include "Views/Caption.h"
#include "Views/SymbolImage.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>

RegistrationLine::RegistrationLine(QWidget* parent) : QWidget(parent)
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);

    text = new QLabel(this);
    text->setFont(Caption::font(text->font()));
    text->setWordWrap(true);
    // The yellow of the warning mark is far too light to read as text on a light window.
    text->setForegroundRole(QPalette::WindowText);

    mark = new QLabel(this);
    mark->setAccessibleName(QStringLiteral("Warning"));
    updateMark();
    mark->setVisible(false);

    layout->addWidget(mark, 0, Qt::AlignTop);
    layout->addWidget(text, 1);
    setVisible(false);
}

void RegistrationLine::setRegistration(std::optional<HotKeyRegistration> registration,
                                       const QString& shortcut)
{
    const QString line =
        registration ? HotKeyManager::registrationText(*registration, shortcut) : QString();
    text->setText(line);
    mark->setVisible(registration && HotKeyManager::isFailure(*registration));
    setVisible(!line.isEmpty());
}

void RegistrationLine::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange) {
        updateMark();
    }
}

void RegistrationLine::updateMark()
{
    // The symbol at the height of the text's first line.
    const int size = text->fontMetrics().height();
    mark->setFixedSize(size, size);
    mark->setPixmap(SymbolImage::pixmap(QStringLiteral("exclamationmark.triangle.fill"), size,
                                        Theme::warning(), devicePixelRatioF()));
}
