#include "Controllers/StatusMenuStyle.h"

#include <QAction>
#include <QApplication>
#include <QFontDatabase>
#include <QImage>
#include <QMenu>
#include <QPainter>
#include <QPointer>
#include <QStyleOptionMenuItem>

namespace {

const char* const projectTitleProperty = "wispProjectTitle";

// The small system font size against the menu font size.
constexpr qreal portFontScale = 0.85;

// The leftmost column in which two images of the same size differ, or -1.
int firstDifferingColumn(const QImage& a, const QImage& b)
{
    for (int x = 0; x < a.width(); ++x) {
        for (int y = 0; y < a.height(); ++y) {
            if (a.pixel(x, y) != b.pixel(x, y)) {
                return x;
            }
        }
    }
    return -1;
}

} // namespace

StatusMenuStyle::StatusMenuStyle() : QProxyStyle() {}

StatusMenuStyle* StatusMenuStyle::shared()
{
    static QPointer<StatusMenuStyle> instance;
    if (!instance) {
        instance = new StatusMenuStyle();
        instance->setParent(qApp);
    }
    return instance;
}

void StatusMenuStyle::setProjectTitle(QAction* action, const QString& name, const QString& port)
{
    action->setProperty(projectTitleProperty, name.isEmpty() && port.isEmpty()
                                                  ? QVariant()
                                                  : QVariant(QStringList{name, port}));
}

QStringList StatusMenuStyle::projectTitle(const QAction* action)
{
    return action ? action->property(projectTitleProperty).toStringList() : QStringList();
}

QFont StatusMenuStyle::portFont(const QFont& menuFont)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    if (menuFont.pointSizeF() > 0) {
        font.setPointSizeF(menuFont.pointSizeF() * portFontScale);
    } else {
        font.setPixelSize(qMax(1, qRound(menuFont.pixelSize() * portFontScale)));
    }
    font.setWeight(QFont::Normal);
    return font;
}

void StatusMenuStyle::drawControl(ControlElement element, const QStyleOption* option,
                                  QPainter* painter, const QWidget* widget) const
{
    const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
    const auto* menu = qobject_cast<const QMenu*>(widget);
    if (element != CE_MenuItem || !item || !menu || option->direction != Qt::LeftToRight) {
        QProxyStyle::drawControl(element, option, painter, widget);
        return;
    }
    const QStringList parts = projectTitle(menu->actionAt(option->rect.center()));
    if (parts.size() != 2) {
        QProxyStyle::drawControl(element, option, painter, widget);
        return;
    }

    // The item as usual, titled with the name alone; the port goes right after it.
    QStyleOptionMenuItem nameOnly = *item;
    nameOnly.text = QString(parts.at(0)).replace(QLatin1Char('&'), QStringLiteral("&&"));
    QProxyStyle::drawControl(element, &nameOnly, painter, widget);

    const QFontMetricsF nameMetrics(item->font);
    const QFont font = portFont(item->font);
    const qreal x = option->rect.left() + textOffset(*item, widget) +
                    nameMetrics.horizontalAdvance(parts.at(0) + QLatin1Char(' '));
    // Both parts on one baseline, the name's being centred in the item as the style does.
    const qreal baseline = option->rect.top() +
                           (option->rect.height() - nameMetrics.height()) / 2.0 +
                           nameMetrics.ascent();

    const bool selected = option->state.testFlag(State_Selected);
    const bool enabled = option->state.testFlag(State_Enabled);
    QColor color = selected ? option->palette.color(QPalette::HighlightedText)
                            : option->palette.color(QPalette::PlaceholderText);
    if (selected) {
        color.setAlphaF(0.75);
    }
    if (!enabled) {
        color = option->palette.color(QPalette::Disabled, QPalette::Text);
    }

    painter->save();
    painter->setFont(font);
    painter->setPen(color);
    painter->setClipRect(option->rect);
    painter->drawText(QPointF(x, baseline), parts.at(1));
    painter->restore();
}

int StatusMenuStyle::textOffset(const QStyleOptionMenuItem& option, const QWidget* widget) const
{
    // Styles do not publish where an item's text starts; it is found once per kind of item by
    // drawing one with and one without a letter and seeing where they differ.
    const QString key = QStringLiteral("%1/%2/%3/%4/%5")
                            .arg(option.maxIconWidth)
                            .arg(static_cast<int>(option.checkType))
                            .arg(option.rect.height())
                            .arg(option.icon.isNull() ? 0 : 1)
                            .arg(option.font.key());
    const auto found = textOffsets.constFind(key);
    if (found != textOffsets.constEnd()) {
        return *found;
    }

    QStyleOptionMenuItem probe = option;
    probe.rect = QRect(QPoint(0, 0), option.rect.size());
    probe.state &= ~State_Selected;
    probe.text.clear();
    probe.palette.setColor(QPalette::Text, Qt::black);
    probe.palette.setColor(QPalette::WindowText, Qt::black);
    QImage empty(probe.rect.size(), QImage::Format_ARGB32_Premultiplied);
    empty.fill(Qt::white);
    QImage lettered = empty;
    {
        QPainter painter(&empty);
        QProxyStyle::drawControl(CE_MenuItem, &probe, &painter, widget);
    }
    probe.text = QStringLiteral("H");
    {
        QPainter painter(&lettered);
        QProxyStyle::drawControl(CE_MenuItem, &probe, &painter, widget);
    }
    const int column = firstDifferingColumn(empty, lettered);
    const QFontMetrics metrics(option.font);
    // Without a visible difference, the text starts after the check and icon column.
    const int offset = column >= 0 ? column - qMax(0, metrics.leftBearing(QLatin1Char('H')))
                                   : option.maxIconWidth + 8;
    textOffsets.insert(key, offset);
    return offset;
}
