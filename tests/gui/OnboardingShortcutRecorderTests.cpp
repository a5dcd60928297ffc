#include "Views/OnboardingShortcutRecorder.h"

#include "HotKey/ModifierFlags.h"
#include "Utilities/Theme.h"
#include "support/KeyLog.h"
#include "support/KeyPresses.h"
#include "support/QtPrinters.h"

#include <QAction>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

namespace {

// The Qt modifiers of the physical keys, whatever names Qt gives them on this platform.
Qt::KeyboardModifiers qtModifiers(ModifierFlags flags)
{
    return flags.toQt();
}

class OnboardingShortcutRecorderTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        window = std::make_unique<KeyLog>();
        auto* layout = new QVBoxLayout(window.get());
        recorder = new OnboardingShortcutRecorder(window.get());
        layout->addWidget(recorder);
        recorder->setDisplayText(QStringLiteral("⌃⌥L"));
        recorder->onShortcutRecorded = [this](std::uint32_t keyCode, std::uint32_t modifiers) {
            recorded.emplace_back(keyCode, modifiers);
        };
        window->show();
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }

    void startRecording()
    {
        QTest::mouseClick(recorder, Qt::LeftButton);
        ASSERT_TRUE(recorder->isRecording());
    }

    std::unique_ptr<KeyLog> window;
    OnboardingShortcutRecorder* recorder = nullptr;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> recorded;
};

} // namespace

TEST_F(OnboardingShortcutRecorderTest, ShowsTheDisplayTextInMediumWeightWithTheBorderOutline)
{
    EXPECT_FALSE(recorder->isRecording());
    EXPECT_EQ(recorder->label(), QStringLiteral("⌃⌥L"));
    EXPECT_EQ(recorder->text(), QStringLiteral("⌃⌥L"));
    EXPECT_EQ(recorder->labelFont().weight(), QFont::Medium);
    EXPECT_EQ(recorder->outlineColor(), Theme::border());
    EXPECT_NE(recorder->labelColor(), Theme::accent());
}

TEST_F(OnboardingShortcutRecorderTest, ClickStartsRecordingInTheAccentColourAndTakesTheFocus)
{
    QSignalSpy changes(recorder, &OnboardingShortcutRecorder::recordingChanged);
    QTest::mouseClick(recorder, Qt::LeftButton);
    EXPECT_TRUE(recorder->isRecording());
    ASSERT_EQ(changes.size(), 1);
    EXPECT_EQ(changes.at(0).at(0).toBool(), true);
    EXPECT_EQ(recorder->label(), QStringLiteral("Press keys..."));
    EXPECT_EQ(recorder->labelColor(), Theme::accent());
    EXPECT_EQ(recorder->outlineColor(), Theme::accent());
    EXPECT_EQ(window->focusWidget(), recorder);
}

TEST_F(OnboardingShortcutRecorderTest, ClickingAgainDoesNotStopRecording)
{
    startRecording();
    QTest::mouseClick(recorder, Qt::LeftButton);
    EXPECT_TRUE(recorder->isRecording());
}

TEST_F(OnboardingShortcutRecorderTest, PlainLetterIsSwallowedAndRecordingGoesOn)
{
    startRecording();
    QTest::keyClick(recorder, Qt::Key_L);
    QCoreApplication::processEvents();
    EXPECT_TRUE(recorded.empty());
    EXPECT_TRUE(recorder->isRecording());
    // Swallowed: the window around the recorder never saw it.
    EXPECT_TRUE(window->keys.isEmpty());
}

TEST_F(OnboardingShortcutRecorderTest, ControlPlusAKeyIsAcceptedWithTheControlBit)
{
    startRecording();
    QTest::keyClick(recorder, Qt::Key_K, qtModifiers(ModifierFlags::control));
    ASSERT_EQ(recorded.size(), 1u);
    EXPECT_EQ(recorded[0].first, 40u);
    EXPECT_EQ(recorded[0].second, 0x1000u);
    EXPECT_TRUE(window->keys.isEmpty());
}

TEST_F(OnboardingShortcutRecorderTest, RecordingStopsOnTheNextEventLoopTurnAfterOneAcceptedPress)
{
    startRecording();
    QSignalSpy changes(recorder, &OnboardingShortcutRecorder::recordingChanged);
    QTest::keyClick(recorder, Qt::Key_L,
                    qtModifiers(ModifierFlags::control | ModifierFlags::option));
    ASSERT_EQ(recorded.size(), 1u);
    EXPECT_EQ(recorded[0], std::make_pair(37u, 0x1800u));
    // Still recording until the event loop turns.
    EXPECT_TRUE(recorder->isRecording());
    EXPECT_TRUE(changes.isEmpty());

    QCoreApplication::processEvents();
    EXPECT_FALSE(recorder->isRecording());
    ASSERT_EQ(changes.size(), 1);
    EXPECT_EQ(changes.at(0).at(0).toBool(), false);
    EXPECT_EQ(recorder->label(), QStringLiteral("⌃⌥L"));

    // A later press is the window's again.
    QTest::keyClick(recorder, Qt::Key_J, qtModifiers(ModifierFlags::control));
    EXPECT_EQ(recorded.size(), 1u);
    EXPECT_EQ(window->nonModifierKeys(), QList<int>{Qt::Key_J});
}

TEST_F(OnboardingShortcutRecorderTest, CapsLockOrFunctionAsTheOnlyModifierCountsAsNone)
{
    startRecording();
    // Qt has no Caps Lock or Fn modifier: the keypad and group-switch flags are all such keys
    // leave behind, and the lock shows only in the native state.
    for (const Qt::KeyboardModifiers modifiers :
         {Qt::KeyboardModifiers(Qt::KeypadModifier), Qt::KeyboardModifiers(Qt::GroupSwitchModifier),
          Qt::KeypadModifier | Qt::GroupSwitchModifier}) {
        QTest::keyClick(recorder, Qt::Key_L, modifiers);
    }
    EXPECT_TRUE(KeyPresses::press(
        recorder, {Qt::Key_L, Qt::NoModifier, 0, /* Caps Lock held */ 0x2, QStringLiteral("L")}));
    QTest::keyClick(recorder, Qt::Key_CapsLock);
    QCoreApplication::processEvents();
    EXPECT_TRUE(recorded.empty());
    EXPECT_TRUE(recorder->isRecording());
    EXPECT_TRUE(window->keys.isEmpty());
}

TEST_F(OnboardingShortcutRecorderTest, ModifierKeyPressedOnItsOwnIsNotAShortcut)
{
    startRecording();
    QTest::keyPress(recorder, Qt::Key_Control, qtModifiers(ModifierFlags::control));
    QTest::keyPress(recorder, Qt::Key_Shift,
                    qtModifiers(ModifierFlags::control | ModifierFlags::shift));
    EXPECT_TRUE(recorded.empty());
    QTest::keyPress(recorder, Qt::Key_P,
                    qtModifiers(ModifierFlags::control | ModifierFlags::shift));
    ASSERT_EQ(recorded.size(), 1u);
    EXPECT_EQ(recorded[0], std::make_pair(35u, 0x1200u));
    QTest::keyRelease(recorder, Qt::Key_P,
                      qtModifiers(ModifierFlags::control | ModifierFlags::shift));
}

TEST_F(OnboardingShortcutRecorderTest, EachOfTheFourModifiersIsEnough)
{
    const std::vector<std::pair<ModifierFlags, std::uint32_t>> modifiers = {
        {ModifierFlags::control, 0x1000},
        {ModifierFlags::option, 0x800},
        {ModifierFlags::shift, 0x200},
        {ModifierFlags::command, 0x100},
    };
    for (const auto& [flags, carbon] : modifiers) {
        recorded.clear();
        startRecording();
        QTest::keyClick(recorder, Qt::Key_M, qtModifiers(flags));
        ASSERT_EQ(recorded.size(), 1u) << carbon;
        EXPECT_EQ(recorded[0], std::make_pair(46u, carbon));
        QCoreApplication::processEvents();
        EXPECT_FALSE(recorder->isRecording());
    }
}

TEST_F(OnboardingShortcutRecorderTest, TabCombinationsAreRecordedInsteadOfMovingTheFocus)
{
    startRecording();
    QTest::keyClick(recorder, Qt::Key_Backtab, qtModifiers(ModifierFlags::shift));
    ASSERT_EQ(recorded.size(), 1u);
    EXPECT_EQ(recorded[0], std::make_pair(48u, 0x200u));
    EXPECT_EQ(window->focusWidget(), recorder);
}

TEST_F(OnboardingShortcutRecorderTest, WindowShortcutsDoNotTakeTheCombinationBeingRecorded)
{
    auto* action = new QAction(window.get());
    action->setShortcut(
        QKeySequence(QKeyCombination(qtModifiers(ModifierFlags::control), Qt::Key_K)));
    window->addAction(action);
    int triggered = 0;
    QObject::connect(action, &QAction::triggered, [&] { ++triggered; });

    startRecording();
    QTest::keyClick(recorder, Qt::Key_K, qtModifiers(ModifierFlags::control));
    EXPECT_EQ(triggered, 0);
    ASSERT_EQ(recorded.size(), 1u);
    EXPECT_EQ(recorded[0], std::make_pair(40u, 0x1000u));

    QCoreApplication::processEvents();
    ASSERT_FALSE(recorder->isRecording());
    QTest::keyClick(recorder, Qt::Key_K, qtModifiers(ModifierFlags::control));
    EXPECT_EQ(triggered, 1);
}

TEST_F(OnboardingShortcutRecorderTest, KeyPressesPassOnWhenNotRecording)
{
    QTest::keyClick(recorder, Qt::Key_L,
                    qtModifiers(ModifierFlags::control | ModifierFlags::option));
    QTest::keyClick(recorder, Qt::Key_X);
    EXPECT_TRUE(recorded.empty());
    EXPECT_EQ(window->nonModifierKeys(), (QList<int>{Qt::Key_L, Qt::Key_X}));
    EXPECT_FALSE(recorder->isRecording());
}

TEST_F(OnboardingShortcutRecorderTest, SpaceStartsRecordingLikeAClick)
{
    recorder->setFocus();
    QTest::keyClick(recorder, Qt::Key_Space);
    EXPECT_TRUE(recorder->isRecording());
}

TEST_F(OnboardingShortcutRecorderTest, RecordingWithoutACallbackStillEnds)
{
    recorder->onShortcutRecorded = nullptr;
    startRecording();
    QTest::keyClick(recorder, Qt::Key_L, qtModifiers(ModifierFlags::control));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !recorder->isRecording(); }, 5000));
}

TEST_F(OnboardingShortcutRecorderTest, RecorderGoneBeforeTheNextTurnIsHarmless)
{
    startRecording();
    QTest::keyClick(recorder, Qt::Key_L, qtModifiers(ModifierFlags::control));
    delete recorder;
    recorder = nullptr;
    QCoreApplication::processEvents();
    EXPECT_EQ(recorded.size(), 1u);
}

TEST_F(OnboardingShortcutRecorderTest, RecordingKeepsTheControlsSize)
{
    const QSize idle = recorder->sizeHint();
    startRecording();
    EXPECT_EQ(recorder->sizeHint(), idle);
    EXPECT_GE(idle.width(),
              recorder->fontMetrics().horizontalAdvance(QStringLiteral("Press keys...")) + 16);
}
