#include "Views/OnboardingShortcutRecorder.h"
#include "Views/ShortcutRecorderView.h"

#include "support/KeyLog.h"
#include "support/KeyPresses.h"
#include "support/QtPrinters.h"

#include <QLineEdit>
#include <QTest>
#include <QVBoxLayout>

#include <X11/keysym.h>

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

// Key presses as the xcb platform reports them: the X key symbol is the native virtual key and
// X's modifier state the native modifiers (ShiftMask 0x1, LockMask 0x2, ControlMask 0x4,
// Mod1Mask 0x8 Alt, Mod2Mask 0x10 Num Lock, Mod4Mask 0x40 Super).
namespace {

class NativeKeyRecordingTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        window = std::make_unique<KeyLog>();
        auto* layout = new QVBoxLayout(window.get());
        field = new QLineEdit(window.get());
        onboarding = new OnboardingShortcutRecorder(window.get());
        view = new ShortcutRecorderView(window.get());
        layout->addWidget(field);
        layout->addWidget(onboarding);
        layout->addWidget(view);
        onboarding->onShortcutRecorded = [this](std::uint32_t keyCode, std::uint32_t modifiers) {
            recorded.emplace_back(keyCode, modifiers);
        };
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }

    std::unique_ptr<KeyLog> window;
    QLineEdit* field = nullptr;
    OnboardingShortcutRecorder* onboarding = nullptr;
    ShortcutRecorderView* view = nullptr;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> recorded;
};

} // namespace

TEST_F(NativeKeyRecordingTest, OnboardingRecorderTakesTheKeySymbolsKey)
{
    onboarding->setRecording(true);
    EXPECT_TRUE(KeyPresses::press(onboarding, {Qt::Key_L, Qt::ControlModifier | Qt::AltModifier,
                                               XK_l, 0x4 | 0x8, QStringLiteral("l")}));
    ASSERT_EQ(recorded.size(), 1u);
    EXPECT_EQ(recorded[0], std::make_pair(37u, 0x1800u));
}

TEST_F(NativeKeyRecordingTest, OnboardingRecorderSwallowsAPlainLetter)
{
    onboarding->setRecording(true);
    EXPECT_TRUE(
        KeyPresses::press(onboarding, {Qt::Key_L, Qt::NoModifier, XK_l, 0, QStringLiteral("l")}));
    QCoreApplication::processEvents();
    EXPECT_TRUE(recorded.empty());
    EXPECT_TRUE(onboarding->isRecording());
    EXPECT_TRUE(window->keys.isEmpty());
}

TEST_F(NativeKeyRecordingTest, CapsLockOrNumLockHeldIsNoModifier)
{
    onboarding->setRecording(true);
    // Caps Lock on: an upper-case symbol and the lock bit, but no Qt modifier.
    KeyPresses::press(onboarding, {Qt::Key_L, Qt::NoModifier, XK_L, 0x2, QStringLiteral("L")});
    // Num Lock on, a keypad digit.
    KeyPresses::press(onboarding,
                      {Qt::Key_7, Qt::KeypadModifier, XK_KP_7, 0x10, QStringLiteral("7")});
    view->setRecording(true);
    KeyPresses::press(field, {Qt::Key_L, Qt::NoModifier, XK_L, 0x2, QStringLiteral("L")});
    QCoreApplication::processEvents();
    EXPECT_TRUE(recorded.empty());
    EXPECT_TRUE(onboarding->isRecording());
    EXPECT_TRUE(view->isRecording());
    EXPECT_EQ(view->keyCode(), 0u);
}

TEST_F(NativeKeyRecordingTest, ShiftedSymbolIsTheKeyItIsTypedOn)
{
    view->setRecording(true);
    // Ctrl+Shift+L reports the upper-case symbol.
    EXPECT_TRUE(KeyPresses::press(field, {Qt::Key_L, Qt::ControlModifier | Qt::ShiftModifier, XK_L,
                                          0x4 | 0x1, QStringLiteral("L")}));
    EXPECT_EQ(view->keyCode(), 37u);
    EXPECT_EQ(view->modifiers(), 0x1200u);
    EXPECT_EQ(view->label(), QStringLiteral("Ctrl+Shift+L"));
    EXPECT_TRUE(field->text().isEmpty());
}

TEST_F(NativeKeyRecordingTest, SuperIsTheCommandModifier)
{
    view->setRecording(true);
    KeyPresses::press(field, {Qt::Key_K, Qt::MetaModifier, XK_k, 0x40, QStringLiteral("k")});
    EXPECT_EQ(view->keyCode(), 40u);
    EXPECT_EQ(view->modifiers(), 0x100u);
    EXPECT_EQ(view->label(), QStringLiteral("Super+K"));
}

TEST_F(NativeKeyRecordingTest, RecordedF1ShowsOnlyItsModifierWords)
{
    view->setRecording(true);
    KeyPresses::press(field, {Qt::Key_F1, Qt::ControlModifier | Qt::AltModifier, XK_F1, 0x4 | 0x8});
    EXPECT_EQ(view->keyCode(), 122u);
    EXPECT_EQ(view->modifiers(), 0x1800u);
    EXPECT_EQ(view->label(), QStringLiteral("Ctrl+Alt"));
}

TEST_F(NativeKeyRecordingTest, NotRecordingTheViewLetsNativeKeysThrough)
{
    KeyPresses::press(field, {Qt::Key_L, Qt::NoModifier, XK_l, 0, QStringLiteral("l")});
    EXPECT_EQ(field->text(), QStringLiteral("l"));
    EXPECT_EQ(view->keyCode(), 0u);
}
