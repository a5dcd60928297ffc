#include "Utilities/Theme.h"

#include <QGuiApplication>
#include <QPalette>

#include <map>
#include <utility>

namespace {

QColor paletteColor(QPalette::ColorRole role)
{
    return QGuiApplication::palette().color(QPalette::Active, role);
}

// A colour of the application palette, taken again only when the palette is replaced (the
// system's light/dark switch replaces it), so that repeated reads within one appearance give the
// same value. The object handed out stays the same; only its value follows the appearance.
const QColor& followingPalette(QPalette::ColorRole role)
{
    // Per role: the key of the palette the colour came from, and the colour.
    static std::map<QPalette::ColorRole, std::pair<qint64, QColor>> taken;
    const QPalette palette = QGuiApplication::palette();
    const auto [entry, inserted] = taken.try_emplace(role);
    auto& [paletteKey, color] = entry->second;
    if (inserted || paletteKey != palette.cacheKey()) {
        paletteKey = palette.cacheKey();
        color = palette.color(QPalette::Active, role);
    }
    return color;
}

} // namespace

const QColor& Theme::surface()
{
    return followingPalette(QPalette::Base);
}

const QColor& Theme::border()
{
    return followingPalette(QPalette::Mid);
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
