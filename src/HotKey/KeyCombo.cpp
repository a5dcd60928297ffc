#include "KeyCombo.h"

#include <QAction>
#include <QApplication>
#include <QKeyCombination>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>
#include <QMetaType>
#include <QStringList>
#include <QtGlobal>

#include <cmath>
#include <limits>

namespace {

enum class IntegerRead { absent, outOfRange, value };

// Reads an integer-valued entry: integer types, and doubles that hold a whole number. Strings,
// booleans and fractions are not integers.
IntegerRead readInteger(const QVariant& value, std::uint32_t* out)
{
    qint64 integer = 0;
    switch (value.metaType().id()) {
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::SChar:
        integer = value.toLongLong();
        break;
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::UShort:
    case QMetaType::UChar: {
        integer = static_cast<qint64>(value.toULongLong());
        break;
    }
    case QMetaType::ULongLong: {
        const qulonglong unsignedValue = value.toULongLong();
        if (unsignedValue > std::numeric_limits<std::uint32_t>::max()) {
            return IntegerRead::outOfRange;
        }
        integer = static_cast<qint64>(unsignedValue);
        break;
    }
    case QMetaType::Double:
    case QMetaType::Float: {
        const double number = value.toDouble();
        if (!std::isfinite(number) || std::trunc(number) != number ||
            number < static_cast<double>(std::numeric_limits<qint64>::min()) ||
            number >= static_cast<double>(std::numeric_limits<qint64>::max())) {
            return IntegerRead::absent;
        }
        integer = static_cast<qint64>(number);
        break;
    }
    default:
        return IntegerRead::absent;
    }
    if (integer < 0 || integer > static_cast<qint64>(std::numeric_limits<std::uint32_t>::max())) {
        return IntegerRead::outOfRange;
    }
    *out = static_cast<std::uint32_t>(integer);
    return IntegerRead::value;
}

bool isNumber(const QVariant& value)
{
    switch (value.metaType().id()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Double:
    case QMetaType::Float:
        return true;
    default:
        return false;
    }
}

// The key equivalent text a menu item would carry for a Qt key, in the spellings Key reads.
QString keyEquivalentText(Qt::Key key)
{
    if (key >= Qt::Key_Space && key <= Qt::Key_AsciiTilde) {
        return QString(QChar(static_cast<char16_t>(key)));
    }
    if (key >= Qt::Key_F1 && key <= Qt::Key_F20) {
        return QStringLiteral("f") + QString::number(key - Qt::Key_F1 + 1);
    }
    switch (key) {
    case Qt::Key_section:
        return QStringLiteral("§");
    case Qt::Key_Return:
        return QStringLiteral("\r");
    case Qt::Key_Enter:
        return QStringLiteral("keypadenter");
    case Qt::Key_Tab:
        return QStringLiteral("\t");
    case Qt::Key_Escape:
        return QStringLiteral("escape");
    case Qt::Key_Backspace:
        return QStringLiteral("delete");
    case Qt::Key_Delete:
        return QStringLiteral("forwarddelete");
    case Qt::Key_Home:
        return QStringLiteral("home");
    case Qt::Key_End:
        return QStringLiteral("end");
    case Qt::Key_PageUp:
        return QStringLiteral("pageup");
    case Qt::Key_PageDown:
        return QStringLiteral("pagedown");
    case Qt::Key_Left:
        return QStringLiteral("leftarrow");
    case Qt::Key_Right:
        return QStringLiteral("rightarrow");
    case Qt::Key_Up:
        return QStringLiteral("uparrow");
    case Qt::Key_Down:
        return QStringLiteral("downarrow");
    case Qt::Key_Help:
        return QStringLiteral("help");
    case Qt::Key_VolumeUp:
        return QStringLiteral("volumeup");
    case Qt::Key_VolumeDown:
        return QStringLiteral("volumedown");
    case Qt::Key_VolumeMute:
        return QStringLiteral("mute");
    default:
        return {};
    }
}

} // namespace

std::optional<KeyCombo> KeyCombo::fromDictionary(const QVariantMap& dictionary)
{
    const auto keyCode = dictionary.constFind(QStringLiteral("keyCode"));
    const auto modifiers = dictionary.constFind(QStringLiteral("modifiers"));
    if (keyCode == dictionary.constEnd() || modifiers == dictionary.constEnd()) {
        return std::nullopt;
    }
    std::uint32_t code = 0;
    std::uint32_t mask = 0;
    const IntegerRead codeRead = readInteger(*keyCode, &code);
    const IntegerRead maskRead = readInteger(*modifiers, &mask);
    if (codeRead == IntegerRead::outOfRange || maskRead == IntegerRead::outOfRange) {
        qFatal("KeyCombo: dictionary value keyCode=%s modifiers=%s is outside 0 ... 4294967295",
               qPrintable(keyCode->toString()), qPrintable(modifiers->toString()));
    }
    if (codeRead != IntegerRead::value || maskRead != IntegerRead::value) {
        return std::nullopt;
    }
    return KeyCombo(code, mask);
}

QString KeyCombo::description() const
{
    const std::optional<Key> comboKey = key();
    return modifiers().description() + (comboKey ? comboKey->description() : QString());
}

QVariantMap KeyCombo::dictionary() const
{
    return {{QStringLiteral("keyCode"), QVariant::fromValue<qlonglong>(carbonKeyCode)},
            {QStringLiteral("modifiers"), QVariant::fromValue<qlonglong>(carbonModifiers)}};
}

QList<KeyCombo> KeyCombo::fromSymbolicHotKeys(const QVariantList& entries)
{
    QList<KeyCombo> combos;
    for (const QVariant& entry : entries) {
        const QVariantMap map = entry.toMap();
        const QVariant enabled = map.value(QStringLiteral("kHISymbolicHotKeyEnabled"));
        const QVariant code = map.value(QStringLiteral("kHISymbolicHotKeyCode"));
        const QVariant modifiers = map.value(QStringLiteral("kHISymbolicHotKeyModifiers"));
        if (!isNumber(enabled) || !enabled.toBool() || !isNumber(code) || !isNumber(modifiers)) {
            continue;
        }
        // Read as unsigned 32-bit, as Carbon hands them out.
        combos.append(KeyCombo(static_cast<std::uint32_t>(code.toLongLong()),
                               static_cast<std::uint32_t>(modifiers.toLongLong())));
    }
    return combos;
}

QList<KeyCombo> KeyCombo::mainMenuKeyCombos()
{
    // The main menu is the menu bar without a parent window (the global menu bar on macOS).
    if (!qobject_cast<QApplication*>(QCoreApplication::instance())) {
        return {};
    }
    const QWidgetList topLevels = QApplication::topLevelWidgets();
    for (QWidget* widget : topLevels) {
        if (auto* menuBar = qobject_cast<QMenuBar*>(widget); menuBar && !menuBar->parent()) {
            return keyCombos(menuBar->actions());
        }
    }
    return {};
}

QList<KeyCombo> KeyCombo::keyCombos(const QMenu* menu)
{
    return menu ? keyCombos(menu->actions()) : QList<KeyCombo>();
}

QList<KeyCombo> KeyCombo::keyCombos(const QList<QAction*>& actions)
{
    QList<KeyCombo> combos;
    for (const QAction* action : actions) {
        const QKeySequence shortcut = action->shortcut();
        if (!shortcut.isEmpty()) {
            const QKeyCombination combination = shortcut[0];
            if (const std::optional<Key> key =
                    Key::fromString(keyEquivalentText(combination.key()))) {
                combos.append(
                    KeyCombo(*key, ModifierFlags::fromQt(combination.keyboardModifiers())));
            }
        }
        if (const QMenu* submenu = action->menu<QMenu*>()) {
            combos.append(keyCombos(submenu));
        }
    }
    return combos;
}

QList<KeyCombo> KeyCombo::standardKeyCombos()
{
    using F = ModifierFlags;
    static const QList<KeyCombo> combos = {
        KeyCombo(Key::q, F::command),                  // Quit
        KeyCombo(Key::w, F::command),                  // Close
        KeyCombo(Key::w, F::command | F::option),      // Close all
        KeyCombo(Key::h, F::command),                  // Hide
        KeyCombo(Key::h, F::command | F::option),      // Hide others
        KeyCombo(Key::m, F::command),                  // Minimise
        KeyCombo(Key::n, F::command),                  // New
        KeyCombo(Key::o, F::command),                  // Open
        KeyCombo(Key::s, F::command),                  // Save
        KeyCombo(Key::s, F::command | F::shift),       // Save as
        KeyCombo(Key::p, F::command),                  // Print
        KeyCombo(Key::z, F::command),                  // Undo
        KeyCombo(Key::z, F::command | F::shift),       // Redo
        KeyCombo(Key::x, F::command),                  // Cut
        KeyCombo(Key::c, F::command),                  // Copy
        KeyCombo(Key::v, F::command),                  // Paste
        KeyCombo(Key::a, F::command),                  // Select all
        KeyCombo(Key::f, F::command),                  // Find
        KeyCombo(Key::g, F::command),                  // Find next
        KeyCombo(Key::comma, F::command),              // Settings
        KeyCombo(Key::tab, F::command),                // Switch applications
        KeyCombo(Key::tab, F::command | F::shift),     // Switch applications backwards
        KeyCombo(Key::grave, F::command),              // Switch windows
        KeyCombo(Key::space, F::command),              // Spotlight
        KeyCombo(Key::space, F::control),              // Input source
        KeyCombo(Key::escape, F::command | F::option), // Force quit
        KeyCombo(Key::three, F::command | F::shift),   // Screenshot
        KeyCombo(Key::four, F::command | F::shift),    // Screenshot of a selection
        KeyCombo(Key::five, F::command | F::shift),    // Screenshot tools
        KeyCombo(Key::q, F::command | F::control),     // Lock screen
    };
    return combos;
}
