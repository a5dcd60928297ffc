#include "HotKey/Key.h"

#include "support/QtPrinters.h"

#include <QSet>

#include <gtest/gtest.h>

#include <vector>

namespace {

struct Row
{
    Key key;
    std::uint32_t code;
    QString description;
    QString shortText;
};

QString fKey(int number)
{
    return QString(QChar(number < 10 ? 0xF860 : 0xF861)) + QStringLiteral("F") +
           QString::number(number);
}

// Every key in case order with its Carbon code, its symbol and the application's short text.
const std::vector<Row>& rows()
{
    static const std::vector<Row> table = {
        {Key::a, 0, "A", "A"},
        {Key::b, 11, "B", "B"},
        {Key::c, 8, "C", "C"},
        {Key::d, 2, "D", "D"},
        {Key::e, 14, "E", "E"},
        {Key::f, 3, "F", "F"},
        {Key::g, 5, "G", "G"},
        {Key::h, 4, "H", "H"},
        {Key::i, 34, "I", "I"},
        {Key::j, 38, "J", "J"},
        {Key::k, 40, "K", "K"},
        {Key::l, 37, "L", "L"},
        {Key::m, 46, "M", "M"},
        {Key::n, 45, "N", "N"},
        {Key::o, 31, "O", "O"},
        {Key::p, 35, "P", "P"},
        {Key::q, 12, "Q", "Q"},
        {Key::r, 15, "R", "R"},
        {Key::s, 1, "S", "S"},
        {Key::t, 17, "T", "T"},
        {Key::u, 32, "U", "U"},
        {Key::v, 9, "V", "V"},
        {Key::w, 13, "W", "W"},
        {Key::x, 7, "X", "X"},
        {Key::y, 16, "Y", "Y"},
        {Key::z, 6, "Z", "Z"},
        {Key::zero, 29, "0", "0"},
        {Key::one, 18, "1", "1"},
        {Key::two, 19, "2", "2"},
        {Key::three, 20, "3", "3"},
        {Key::four, 21, "4", "4"},
        {Key::five, 23, "5", "5"},
        {Key::six, 22, "6", "6"},
        {Key::seven, 26, "7", "7"},
        {Key::eight, 28, "8", "8"},
        {Key::nine, 25, "9", "9"},
        {Key::period, 47, ".", "?"},
        {Key::quote, 39, "\"", "?"},
        {Key::rightBracket, 30, "]", "?"},
        {Key::semicolon, 41, ";", "?"},
        {Key::slash, 44, "/", "?"},
        {Key::backslash, 42, "\\", "?"},
        {Key::comma, 43, ",", "?"},
        {Key::equal, 24, "=", "?"},
        {Key::grave, 50, "`", "?"},
        {Key::leftBracket, 33, "[", "?"},
        {Key::minus, 27, "-", "?"},
        {Key::section, 10, "§", "?"},
        {Key::space, 49, "␣", "Space"},
        {Key::tab, 48, "⇥", "Tab"},
        {Key::return_, 36, QString::fromUtf16(u"\u21A9\uFE0E"), "Return"},
        {Key::command, 55, "⌘", "?"},
        {Key::rightCommand, 54, "⌘", "?"},
        {Key::option, 58, "⌥", "?"},
        {Key::rightOption, 61, "⌥", "?"},
        {Key::control, 59, "⌃", "?"},
        {Key::rightControl, 62, "⌃", "?"},
        {Key::shift, 56, "⇧", "?"},
        {Key::rightShift, 60, "⇧", "?"},
        {Key::function, 63, "fn", "?"},
        {Key::capsLock, 57, "⇪", "?"},
        {Key::pageUp, 116, "⇞", "PgUp"},
        {Key::pageDown, 121, "⇟", "PgDn"},
        {Key::home, 115, "↖", "Home"},
        {Key::end, 119, "↘", "End"},
        {Key::upArrow, 126, "↑", "↑"},
        {Key::rightArrow, 124, "→", "→"},
        {Key::downArrow, 125, "↓", "↓"},
        {Key::leftArrow, 123, "←", "←"},
        {Key::f1, 122, fKey(1), "?"},
        {Key::f2, 120, fKey(2), "?"},
        {Key::f3, 99, fKey(3), "?"},
        {Key::f4, 118, fKey(4), "?"},
        {Key::f5, 96, fKey(5), "?"},
        {Key::f6, 97, fKey(6), "?"},
        {Key::f7, 98, fKey(7), "?"},
        {Key::f8, 100, fKey(8), "?"},
        {Key::f9, 101, fKey(9), "?"},
        {Key::f10, 109, fKey(10), "?"},
        {Key::f11, 103, fKey(11), "?"},
        {Key::f12, 111, fKey(12), "?"},
        {Key::f13, 105, fKey(13), "?"},
        {Key::f14, 107, fKey(14), "?"},
        {Key::f15, 113, fKey(15), "?"},
        {Key::f16, 106, fKey(16), "?"},
        {Key::f17, 64, fKey(17), "?"},
        {Key::f18, 79, fKey(18), "?"},
        {Key::f19, 80, fKey(19), "?"},
        {Key::f20, 90, fKey(20), "?"},
        {Key::keypad0, 82, "0", "?"},
        {Key::keypad1, 83, "1", "?"},
        {Key::keypad2, 84, "2", "?"},
        {Key::keypad3, 85, "3", "?"},
        {Key::keypad4, 86, "4", "?"},
        {Key::keypad5, 87, "5", "?"},
        {Key::keypad6, 88, "6", "?"},
        {Key::keypad7, 89, "7", "?"},
        {Key::keypad8, 91, "8", "?"},
        {Key::keypad9, 92, "9", "?"},
        {Key::keypadClear, 71, "⌧", "?"},
        {Key::keypadDecimal, 65, ".", "?"},
        {Key::keypadDivide, 75, "/", "?"},
        {Key::keypadEnter, 76, QString::fromUtf16(u"\u21A9\uFE0E"), "?"},
        {Key::keypadEquals, 81, "=", "?"},
        {Key::keypadMinus, 78, "-", "?"},
        {Key::keypadMultiply, 67, QString::fromUtf16(u"\U0001D5D1"), "?"},
        {Key::keypadPlus, 69, "+", "?"},
        {Key::escape, 53, "⎋", "Esc"},
        {Key::delete_, 51, "⌫", "Delete"},
        {Key::forwardDelete, 117, "⌦", "⌦"},
        {Key::help, 114, QString::fromUtf16(u"?\u20DD"), "?"},
        {Key::volumeUp, 72, "🔊", "?"},
        {Key::volumeDown, 73, "🔉", "?"},
        {Key::mute, 74, "🔇", "?"},
    };
    return table;
}

} // namespace

TEST(Key, HasAllCasesInTheDocumentedOrder)
{
    const QList<Key> cases = Key::allCases();
    ASSERT_EQ(rows().size(), 114u);
    ASSERT_EQ(cases.size(), 114);
    EXPECT_EQ(Key::caseCount, 114);
    for (std::size_t index = 0; index < rows().size(); ++index) {
        EXPECT_EQ(cases[static_cast<qsizetype>(index)], rows()[index].key) << "case " << index;
        EXPECT_EQ(static_cast<int>(Key::Value(rows()[index].key)), static_cast<int>(index));
    }
}

TEST(Key, EveryCaseHasItsCarbonKeyCode)
{
    for (const Row& row : rows()) {
        EXPECT_EQ(row.key.carbonKeyCode(), row.code) << row.description.toStdString();
    }
}

TEST(Key, EveryCarbonKeyCodeGivesItsCase)
{
    for (const Row& row : rows()) {
        const std::optional<Key> key = Key::fromCarbonKeyCode(row.code);
        ASSERT_TRUE(key.has_value()) << row.code;
        EXPECT_EQ(*key, row.key) << row.code;
    }
}

TEST(Key, CodeZeroIsTheAKey)
{
    EXPECT_EQ(Key::fromCarbonKeyCode(0), std::optional<Key>(Key::a));
}

TEST(Key, CodesAbove126GiveNone)
{
    for (std::uint32_t code : {127u, 128u, 200u, 255u, 256u, 65535u, 4294967295u}) {
        EXPECT_FALSE(Key::fromCarbonKeyCode(code).has_value()) << code;
    }
}

TEST(Key, UnassignedCodesGiveNone)
{
    const QSet<std::uint32_t> unassigned = {52, 66,  68,  70,  77,  93, 94,
                                            95, 102, 104, 108, 110, 112};
    for (std::uint32_t code : unassigned) {
        EXPECT_FALSE(Key::fromCarbonKeyCode(code).has_value()) << code;
    }
    // Every other code up to 126 has a key: 127 codes, 13 gaps, 114 keys.
    int assigned = 0;
    for (std::uint32_t code = 0; code <= 126; ++code) {
        if (!unassigned.contains(code)) {
            EXPECT_TRUE(Key::fromCarbonKeyCode(code).has_value()) << code;
            ++assigned;
        }
    }
    EXPECT_EQ(assigned, 114);
}

TEST(Key, EveryCaseHasItsDescription)
{
    for (const Row& row : rows()) {
        EXPECT_EQ(row.key.description(), row.description) << row.code;
    }
}

TEST(Key, FunctionKeyLabelsKeepTheirPrivateUsePrefixes)
{
    EXPECT_EQ(Key(Key::f1).description(), QString::fromUtf16(u"\uF860F1"));
    EXPECT_EQ(Key(Key::f9).description(), QString::fromUtf16(u"\uF860F9"));
    EXPECT_EQ(Key(Key::f10).description(), QString::fromUtf16(u"\uF861F10"));
    EXPECT_EQ(Key(Key::f20).description(), QString::fromUtf16(u"\uF861F20"));
}

TEST(Key, SymbolsAreTheExactCodePoints)
{
    EXPECT_EQ(Key(Key::return_).description().toUcs4(), (QList<uint>{0x21A9, 0xFE0E}));
    EXPECT_EQ(Key(Key::keypadMultiply).description().toUcs4(), QList<uint>{0x1D5D1});
    EXPECT_EQ(Key(Key::help).description().toUcs4(), (QList<uint>{0x3F, 0x20DD}));
    EXPECT_EQ(Key(Key::backslash).description().toUcs4(), QList<uint>{0x5C});
    EXPECT_EQ(Key(Key::grave).description().toUcs4(), QList<uint>{0x60});
    EXPECT_EQ(Key(Key::quote).description().toUcs4(), QList<uint>{0x22});
}

TEST(Key, EveryCaseHasTheApplicationsShortText)
{
    for (const Row& row : rows()) {
        EXPECT_EQ(row.key.shortText(), row.shortText) << row.code;
    }
}

TEST(Key, LettersAndDigitsReadFromTheirCharacterInEitherCase)
{
    for (const Row& row : rows()) {
        if (row.key >= Key::a && row.key <= Key::z) {
            EXPECT_EQ(Key::fromString(row.description.toLower()), std::optional<Key>(row.key));
            EXPECT_EQ(Key::fromString(row.description), std::optional<Key>(row.key));
        }
        if (row.key >= Key::zero && row.key <= Key::nine) {
            EXPECT_EQ(Key::fromString(row.description), std::optional<Key>(row.key));
        }
    }
}

TEST(Key, EveryDocumentedSpellingReadsItsKey)
{
    const std::vector<std::pair<QString, Key>> spellings = {
        {"zero", Key::zero},
        {"one", Key::one},
        {"two", Key::two},
        {"three", Key::three},
        {"four", Key::four},
        {"five", Key::five},
        {"six", Key::six},
        {"seven", Key::seven},
        {"eight", Key::eight},
        {"nine", Key::nine},
        {"=", Key::equal},
        {"equal", Key::equal},
        {"-", Key::minus},
        {"minus", Key::minus},
        {",", Key::comma},
        {"comma", Key::comma},
        {"/", Key::slash},
        {"slash", Key::slash},
        {".", Key::period},
        {"period", Key::period},
        {QString::fromUtf16(u"\u0060"), Key::grave},
        {"ˋ", Key::grave},
        {"｀", Key::grave},
        {"grave", Key::grave},
        {"quote", Key::quote},
        {"\"", Key::quote},
        {";", Key::semicolon},
        {"semicolon", Key::semicolon},
        {QString::fromUtf16(u"\u005C"), Key::backslash},
        {"backslash", Key::backslash},
        {"]", Key::rightBracket},
        {"[", Key::leftBracket},
        {"keypaddecimal", Key::keypadDecimal},
        {"keypadmultiply", Key::keypadMultiply},
        {"keypadplus", Key::keypadPlus},
        {"keypadclear", Key::keypadClear},
        {"keypaddivide", Key::keypadDivide},
        {"keypadenter", Key::keypadEnter},
        {"keypadminus", Key::keypadMinus},
        {"keypadequals", Key::keypadEquals},
        {"return", Key::return_},
        {"tab", Key::tab},
        {"space", Key::space},
        {"delete", Key::delete_},
        {"escape", Key::escape},
        {"command", Key::command},
        {"shift", Key::shift},
        {"capslock", Key::capsLock},
        {"option", Key::option},
        {"control", Key::control},
        {"rightcommand", Key::rightCommand},
        {"rightshift", Key::rightShift},
        {"rightoption", Key::rightOption},
        {"rightcontrol", Key::rightControl},
        {"function", Key::function},
        {"volumeup", Key::volumeUp},
        {"volumedown", Key::volumeDown},
        {"mute", Key::mute},
        {"help", Key::help},
        {"home", Key::home},
        {"pageup", Key::pageUp},
        {"forwarddelete", Key::forwardDelete},
        {"end", Key::end},
        {"pagedown", Key::pageDown},
        {"leftarrow", Key::leftArrow},
        {"rightarrow", Key::rightArrow},
        {"downarrow", Key::downArrow},
        {"uparrow", Key::upArrow},
        {"section", Key::section},
        {"⌘", Key::command},
        {"⇧", Key::shift},
        {"⌃", Key::control},
        {"⎋", Key::escape},
        {"⌫", Key::delete_},
        {"⇥", Key::tab},
        {"␣", Key::space},
        {"fn", Key::function},
        {"🔊", Key::volumeUp},
        {"🔉", Key::volumeDown},
        {"🔇", Key::mute},
        {QString::fromUtf16(u"?\u20DD"), Key::help},
        {"↖", Key::home},
        {"⇞", Key::pageUp},
        {"⌦", Key::forwardDelete},
        {"←", Key::leftArrow},
        {"↑", Key::upArrow},
        {"§", Key::section},
        {"\r", Key::return_},
        {QString::fromUtf16(u"\u21A9\uFE0E"), Key::return_},
        {"⏎", Key::return_},
        {"⮐", Key::return_},
        {"\t", Key::tab},
        {" ", Key::space},
        {QString(QChar(0xF8FF)), Key::command},
    };
    for (const auto& [spelling, key] : spellings) {
        EXPECT_EQ(Key::fromString(spelling), std::optional<Key>(key)) << spelling.toStdString();
    }
}

TEST(Key, KeypadDigitsAndFunctionKeysReadByName)
{
    for (int digit = 0; digit <= 9; ++digit) {
        EXPECT_EQ(Key::fromString(QStringLiteral("keypad%1").arg(digit)),
                  std::optional<Key>(Key(static_cast<Key::Value>(Key::keypad0 + digit))));
    }
    for (int number = 1; number <= 20; ++number) {
        const Key expected(static_cast<Key::Value>(Key::f1 + number - 1));
        EXPECT_EQ(Key::fromString(QStringLiteral("f%1").arg(number)), std::optional<Key>(expected));
        EXPECT_EQ(Key::fromString(QStringLiteral("F%1").arg(number)), std::optional<Key>(expected));
        // The function-key labels are accepted too.
        EXPECT_EQ(Key::fromString(fKey(number)), std::optional<Key>(expected));
    }
}

TEST(Key, NamesReadInAnyCase)
{
    EXPECT_EQ(Key::fromString(QStringLiteral("Return")), std::optional<Key>(Key::return_));
    EXPECT_EQ(Key::fromString(QStringLiteral("PAGEDOWN")), std::optional<Key>(Key::pageDown));
    EXPECT_EQ(Key::fromString(QStringLiteral("KeypadEnter")), std::optional<Key>(Key::keypadEnter));
    EXPECT_EQ(Key::fromString(QStringLiteral("ForwardDelete")),
              std::optional<Key>(Key::forwardDelete));
}

TEST(Key, BracketWordsNeverMatch)
{
    EXPECT_FALSE(Key::fromString(QStringLiteral("rightbracket")).has_value());
    EXPECT_FALSE(Key::fromString(QStringLiteral("leftbracket")).has_value());
    EXPECT_FALSE(Key::fromString(QStringLiteral("rightBracket")).has_value());
    EXPECT_FALSE(Key::fromString(QStringLiteral("leftBracket")).has_value());
    EXPECT_FALSE(Key::fromString(QStringLiteral("RIGHTBRACKET")).has_value());
}

TEST(Key, AnythingElseReadsAsNone)
{
    for (const QString& text :
         {QString(), QStringLiteral("ab"), QStringLiteral("enter"), QStringLiteral("esc"),
          QStringLiteral("f21"), QStringLiteral("f0"), QStringLiteral("keypad10"),
          QStringLiteral("'"), QStringLiteral("+"), QStringLiteral("\n"), QStringLiteral("  ")}) {
        EXPECT_FALSE(Key::fromString(text).has_value()) << text.toStdString();
    }
}

TEST(Key, EqualityAndHashingFollowTheCase)
{
    EXPECT_EQ(Key(Key::l), Key(Key::l));
    EXPECT_NE(Key(Key::l), Key(Key::k));
    QSet<Key> keys;
    for (const Key& key : Key::allCases()) {
        keys.insert(key);
    }
    keys.insert(Key::a);
    EXPECT_EQ(keys.size(), 114);
}
