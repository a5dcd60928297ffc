#pragma once

#include <QColor>

// The application's fixed colour palette. Each accessor returns the same object every time.
// `surface` and `border` are system colours: they are taken again from the application palette
// when that palette changes (the system's light/dark switch reaches Qt as a palette change), so
// they keep one value per appearance. `secondary` and `accent` are made once, on first use; the
// four status colours are fixed sRGB values for light and dark.
class Theme
{
public:
    Theme() = delete;

    // Background of controls (the palette's Base role).
    static const QColor& surface();
    // Separator-like outline colour (the palette's Mid role).
    static const QColor& border();
    // Secondary text (the palette's placeholder text, or a mid grey without one).
    static const QColor& secondary();
    // The system highlight colour.
    static const QColor& accent();

    static const QColor& running();
    // A slightly blue grey, not a neutral one.
    static const QColor& stopped();
    static const QColor& starting();
    static const QColor& warning();
};
