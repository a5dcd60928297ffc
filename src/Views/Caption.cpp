#include "Views/Caption.h"

#include <QLabel>
#include <QPalette>

QFont Caption::font(QFont font)
{
    font.setPointSizeF(font.pointSizeF() * 0.85);
    return font;
}

QLabel* Caption::label(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setFont(font(label->font()));
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}
