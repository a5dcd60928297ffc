#pragma once

#include <QColor>

// The application's fixed colour palette. Every colour is made once, on first use, and the
// same value is returned on every later access. The first four come from the application
// palette at that moment; the four status colours are fixed sRGB values for light and dark.
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
