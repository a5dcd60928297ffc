#include "Views/OnboardingShortcutRecorder.h"
#include "Views/ShortcutRecorderView.h"

#include "support/KeyLog.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QGuiApplication>
#include <QLineEdit>
#include <QProcess>
#include <QStandardPaths>
#include <QVBoxLayout>
#include <QWindow>

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

using namespace std::chrono_literals;
using TestSupport::waitUntil;

// Both recorders on the private Xvfb display, with key presses from xdotool through the XTEST
// extension: the X server's own key codes, symbols and modifier state reach them through Qt.
namespace {

class ShortcutRecorderKeyboardTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty()) {
            GTEST_SKIP() << "xdotool is not installed";
        }
        window = std::make_unique<KeyLog>();
        auto* layout = new QVBoxLayout(window.get());
        field = new QLineEdit(window.get());
        view = new ShortcutRecorderView(window.get());
        onboarding = new OnboardingShortcutRecorder(window.get());
        onboarding->setDisplayText(QStringLiteral("Ctrl+Alt+L"));
        onboarding->onShortcutRecorded = [this](std::uint32_t keyCode, std::uint32_t modifiers) {
            recorded.emplace_back(keyCode, modifiers);
        };
        layout->addWidget(field);
        layout->addWidget(view);
        layout->addWidget(onboarding);
        window->show();
        ASSERT_TRUE(waitUntil([&] { return window->windowHandle()->isExposed(); }, 30s));

        // No window manager runs on the display: give the window the input focus directly.
        xdotool({QStringLiteral("windowfocus"), QStringLiteral("--sync"),
                 QString::number(window->winId())});
        ASSERT_TRUE(waitUntil(
            [&] { return QGuiApplication::focusWindow() == window->windowHandle(); }, 30s));
        field->setFocus();
        ASSERT_TRUE(waitUntil([&] { return field->hasFocus(); }, 30s));
    }

    void TearDown() override
    {
        // Leave no lock on for the next test.
        if (capsLockOn) {
            xdotool({QStringLiteral("key"), QStringLiteral("Caps_Lock")});
        }
    }

    static void xdotool(const QStringList& arguments)
    {
        QProcess process;
        process.start(QStringLiteral("xdotool"), arguments);
        ASSERT_TRUE(process.waitForFinished(30000)) << arguments.join(' ').toStdString();
        ASSERT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    }

    void key(const QString& keys) { xdotool({QStringLiteral("key"), keys}); }

    std::unique_ptr<KeyLog> window;
    QLineEdit* field = nullptr;
    ShortcutRecorderView* view = nullptr;
    OnboardingShortcutRecorder* onboarding = nullptr;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> recorded;
    bool capsLockOn = false;
};

} // namespace

TEST_F(ShortcutRecorderKeyboardTest, SettingsRecorderTakesTheKeyUnderTheShiftedSymbol)
{
    view->setRecording(true);
    // Shift turns the 1 key into "!"; the key is still the 1 key.
    key(QStringLiteral("ctrl+shift+1"));
    ASSERT_TRUE(waitUntil([&] { return !view->isRecording(); }, 20s));
    EXPECT_EQ(view->keyCode(), 18u);
    EXPECT_EQ(view->modifiers(), 0x1200u);
    EXPECT_EQ(view->label(), QStringLiteral("Ctrl+Shift+1"));
    EXPECT_TRUE(field->text().isEmpty());
}

TEST_F(ShortcutRecorderKeyboardTest, SettingsRecorderSwallowsPlainKeysUntilACombination)
{
    view->setRecording(true);
    key(QStringLiteral("l"));
    key(QStringLiteral("ctrl+alt+k"));
    ASSERT_TRUE(waitUntil([&] { return !view->isRecording(); }, 20s));
    EXPECT_EQ(view->keyCode(), 40u);
    EXPECT_EQ(view->modifiers(), 0x1800u);
    // Neither key reached the focused field.
    EXPECT_TRUE(field->text().isEmpty());
    EXPECT_TRUE(window->nonModifierKeys().isEmpty());
}

TEST_F(ShortcutRecorderKeyboardTest, KeysPassThroughWhenNotRecording)
{
    xdotool({QStringLiteral("type"), QStringLiteral("ok")});
    // Case aside: a lock key left on by an earlier test would type "OK".
    ASSERT_TRUE(waitUntil([&] { return field->text().toLower() == QStringLiteral("ok"); }, 20s));
    EXPECT_EQ(view->keyCode(), 0u);
    EXPECT_EQ(view->label(), QStringLiteral("Click to set"));
}

TEST_F(ShortcutRecorderKeyboardTest, OnboardingRecorderRecordsAFunctionKeyCombination)
{
    onboarding->setRecording(true);
    ASSERT_TRUE(waitUntil([&] { return onboarding->hasFocus(); }, 20s));
    key(QStringLiteral("x"));
    // Not Ctrl+Alt: X keeps Ctrl+Alt+F1 for switching to the first console.
    key(QStringLiteral("ctrl+shift+F1"));
    ASSERT_TRUE(waitUntil([&] { return !onboarding->isRecording(); }, 20s));
    ASSERT_EQ(recorded.size(), 1u);
    EXPECT_EQ(recorded[0], std::make_pair(122u, 0x1200u));
    EXPECT_TRUE(window->nonModifierKeys().isEmpty());
}

TEST_F(ShortcutRecorderKeyboardTest, CapsLockOnIsNoModifier)
{
    onboarding->setRecording(true);
    ASSERT_TRUE(waitUntil([&] { return onboarding->hasFocus(); }, 20s));
    key(QStringLiteral("Caps_Lock"));
    capsLockOn = true;
    // With the lock on, "l" arrives as "L" and Control as the only modifier.
    key(QStringLiteral("l"));
    key(QStringLiteral("ctrl+l"));
    ASSERT_TRUE(waitUntil([&] { return !onboarding->isRecording(); }, 20s));
    ASSERT_EQ(recorded.size(), 1u);
    EXPECT_EQ(recorded[0], std::make_pair(37u, 0x1000u));
}
