#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

// Monochrome symbols shipped with the application ("eye", "folder.fill", ...), drawn from the
// vector files under :/symbols and tinted on demand. They are never looked up in an icon theme,
// which a desktop may not have.
class SymbolImage
{
public:
    SymbolImage() = delete;

    // Whether a symbol of that name ships with the application.
    static bool exists(const QString& name);

    // An icon painted in `tint` at any size and pixel ratio; disabled icons are faded. Without a
    // valid tint, the icon takes the text colour of the application palette at paint time, so it
    // follows a light/dark change. A null icon for an unknown name.
    static QIcon icon(const QString& name, const QColor& tint = QColor());

    // The symbol in a `size` × `size` square (device-independent pixels), every opaque pixel
    // painted in `tint`. A null pixmap for an unknown name or a size below 1.
    static QPixmap pixmap(const QString& name, int size, const QColor& tint, qreal dpr = 1.0);

    // A filled circle of `size` device-independent pixels: the step dots and the status dot.
    static QPixmap dot(const QColor& color, int size, qreal dpr = 1.0);

    // Resource path of a symbol's vector file.
    static QString resourcePath(const QString& name);
};
