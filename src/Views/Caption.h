#pragma once

#include <QFont>
#include <QString>

class QLabel;
class QWidget;

// The small secondary text under and beside the settings' controls.
struct Caption
{
    // `font` at caption size.
    static QFont font(QFont font);
    // Caption-sized text in the secondary colour, which follows the palette.
    static QLabel* label(const QString& text, QWidget* parent);
};
