#include "Utilities/Theme.h"

#include <QGuiApplication>
#include <QPalette>

namespace {

QColor paletteColor(QPalette::ColorRole role)
{
    return QGuiApplication::palette().color(QPalette::Active, role);
}

} // namespace

const QColor& Theme::surface()
{
    static const QColor color = paletteColor(QPalette::Base);
    return color;
}

const QColor& Theme::border()
{
    static const QColor color = paletteColor(QPalette::Mid);
    return color;
}

const QColor& Theme::secondary()
{
    static const QColor color = [] {
        const QColor placeholder = paletteColor(QPalette::PlaceholderText);
        return placeholder.isValid() ? placeholder : QColor(128, 128, 128);
    }();
    return color;
}

const QColor& Theme::accent()
{
    static const QColor color = paletteColor(QPalette::Highlight);
    return color;
}

const QColor& Theme::running()
{
    static const QColor color = QColor::fromRgb(48, 209, 88);
    return color;
}

const QColor& Theme::stopped()
{
    static const QColor color = QColor::fromRgb(142, 142, 147);
    return color;
}

const QColor& Theme::starting()
{
    static const QColor color = QColor::fromRgb(255, 159, 10);
    return color;
}

const QColor& Theme::warning()
{
    static const QColor color = QColor::fromRgb(255, 214, 10);
    return color;
}
