#include "Views/ShortcutRecorderView.h"

#include "HotKey/ModifierFlags.h"
#include "HotKey/ShortcutText.h"
#include "Utilities/Theme.h"
#include "support/KeyLog.h"
#include "support/QtPrinters.h"

#include <QAction>
#include <QFontInfo>
#include <QLineEdit>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <memory>

namespace {

Qt::KeyboardModifiers qtModifiers(ModifierFlags flags)
{
    return flags.toQt();
}

// The display in the platform's style: symbols on macOS, the desktop's words on Linux.
QString shown(const QString& symbols, const QString& words)
{
    return ShortcutText::platformStyle() == ShortcutText::Style::symbols ? symbols : words;
}

class ShortcutRecorderViewTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        window = std::make_unique<KeyLog>();
        auto* layout = new QVBoxLayout(window.get());
        field = new QLineEdit(window.get());
        layout->addWidget(field);
        view = new ShortcutRecorderView(window.get());
        layout->addWidget(view);
        window->show();
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        field->setFocus();
    }

    std::unique_ptr<KeyLog> window;
    QLineEdit* field = nullptr;
    ShortcutRecorderView* view = nullptr;
};

} // namespace

TEST_F(ShortcutRecorderViewTest, StoredCodeZeroShowsClickToSetInTheSecondaryColour)
{
    view->setModifiers(0x1800);
    EXPECT_EQ(view->keyCode(), 0u);
    EXPECT_EQ(view->label(), QStringLiteral("Click to set"));
    EXPECT_EQ(view->text(), QStringLiteral("Click to set"));
    EXPECT_EQ(view->labelColor(), Theme::secondary());
    EXPECT_EQ(view->outlineColor(), Theme::border());
}

TEST_F(ShortcutRecorderViewTest, StoredShortcutShowsItsDisplayStringInAFixedWidthFont)
{
    view->setKeyCode(37);
    view->setModifiers(0x1800);
    EXPECT_EQ(view->label(), shown("⌃⌥L", "Ctrl+Alt+L"));
    EXPECT_TRUE(QFontInfo(view->labelFont()).fixedPitch());
    EXPECT_EQ(view->outlineColor(), Theme::border());
    EXPECT_NE(view->labelColor(), Theme::accent());
    EXPECT_NE(view->labelColor(), Theme::secondary());
}

TEST_F(ShortcutRecorderViewTest, ClickTogglesRecording)
{
    QSignalSpy changes(view, &ShortcutRecorderView::recordingChanged);
    QTest::mouseClick(view, Qt::LeftButton);
    EXPECT_TRUE(view->isRecording());
    EXPECT_EQ(view->label(), QStringLiteral("Press keys..."));
    EXPECT_EQ(view->labelColor(), Theme::accent());
    EXPECT_EQ(view->outlineColor(), Theme::accent());
    QTest::mouseClick(view, Qt::LeftButton);
    EXPECT_FALSE(view->isRecording());
    ASSERT_EQ(changes.size(), 2);
    EXPECT_TRUE(changes.at(0).at(0).toBool());
    EXPECT_FALSE(changes.at(1).at(0).toBool());
}

TEST_F(ShortcutRecorderViewTest, PlainLetterIsSwallowedAndRecordingGoesOn)
{
    view->setRecording(true);
    QSignalSpy codes(view, &ShortcutRecorderView::keyCodeChanged);
    QTest::keyClick(field, Qt::Key_L);
    EXPECT_TRUE(view->isRecording());
    EXPECT_TRUE(codes.isEmpty());
    EXPECT_EQ(view->keyCode(), 0u);
    EXPECT_TRUE(field->text().isEmpty());
}

TEST_F(ShortcutRecorderViewTest, ControlPlusAKeyIsRecordedAndEndsRecordingAtOnce)
{
    view->setRecording(true);
    QSignalSpy codes(view, &ShortcutRecorderView::keyCodeChanged);
    QSignalSpy modifiers(view, &ShortcutRecorderView::modifiersChanged);
    QSignalSpy changes(view, &ShortcutRecorderView::recordingChanged);
    QTest::keyClick(field, Qt::Key_K, qtModifiers(ModifierFlags::control));
    // Synchronously, without waiting for the event loop.
    EXPECT_FALSE(view->isRecording());
    EXPECT_EQ(view->keyCode(), 40u);
    EXPECT_EQ(view->modifiers(), 0x1000u);
    ASSERT_EQ(codes.size(), 1);
    EXPECT_EQ(codes.at(0).at(0).value<std::uint32_t>(), 40u);
    ASSERT_EQ(modifiers.size(), 1);
    EXPECT_EQ(modifiers.at(0).at(0).value<std::uint32_t>(), 0x1000u);
    ASSERT_EQ(changes.size(), 1);
    EXPECT_EQ(view->label(), shown("⌃K", "Ctrl+K"));
}

TEST_F(ShortcutRecorderViewTest, RecordedF1ShowsOnlyItsModifiers)
{
    view->setRecording(true);
    QTest::keyClick(field, Qt::Key_F1, qtModifiers(ModifierFlags::control | ModifierFlags::option));
    EXPECT_EQ(view->keyCode(), 122u);
    EXPECT_EQ(view->modifiers(), 0x1800u);
    EXPECT_EQ(view->label(), shown("⌃⌥", "Ctrl+Alt"));
}

TEST_F(ShortcutRecorderViewTest, CapsLockOrFunctionAsTheOnlyModifierCountsAsNone)
{
    view->setRecording(true);
    for (const Qt::KeyboardModifiers modifiers :
         {Qt::KeyboardModifiers(Qt::KeypadModifier), Qt::KeyboardModifiers(Qt::GroupSwitchModifier),
          Qt::KeypadModifier | Qt::GroupSwitchModifier}) {
        QTest::keyClick(field, Qt::Key_L, modifiers);
    }
    QTest::keyClick(field, Qt::Key_CapsLock);
    EXPECT_TRUE(view->isRecording());
    EXPECT_EQ(view->keyCode(), 0u);
    EXPECT_EQ(view->modifiers(), 0u);
}

TEST_F(ShortcutRecorderViewTest, KeyPressesPassThroughUntouchedWhenNotRecording)
{
    view->setKeyCode(37);
    view->setModifiers(0x1800);
    QTest::keyClicks(field, QStringLiteral("abc"));
    QTest::keyClick(field, Qt::Key_K, qtModifiers(ModifierFlags::control));
    EXPECT_EQ(field->text(), QStringLiteral("abc"));
    EXPECT_EQ(view->keyCode(), 37u);
    EXPECT_EQ(view->modifiers(), 0x1800u);
    // A key the field ignores still travels on to the window.
    window->keys.clear();
    QTest::keyClick(field, Qt::Key_F5);
    EXPECT_EQ(window->nonModifierKeys(), QList<int>{Qt::Key_F5});
}

TEST_F(ShortcutRecorderViewTest, WhileRecordingNoKeyPressReachesTheFocusedWidget)
{
    view->setRecording(true);
    QTest::keyClicks(field, QStringLiteral("xyz"));
    QTest::keyClick(field, Qt::Key_F5);
    QTest::keyClick(field, Qt::Key_J, qtModifiers(ModifierFlags::shift));
    EXPECT_TRUE(field->text().isEmpty());
    EXPECT_TRUE(window->keys.isEmpty());
    EXPECT_EQ(view->keyCode(), 38u);
    EXPECT_EQ(view->modifiers(), 0x200u);
    // Recording is over: the next keys are the field's.
    QTest::keyClicks(field, QStringLiteral("ok"));
    EXPECT_EQ(field->text(), QStringLiteral("ok"));
}

TEST_F(ShortcutRecorderViewTest, WindowShortcutsDoNotFireWhileRecording)
{
    auto* action = new QAction(window.get());
    action->setShortcut(
        QKeySequence(QKeyCombination(qtModifiers(ModifierFlags::control), Qt::Key_K)));
    window->addAction(action);
    int triggered = 0;
    QObject::connect(action, &QAction::triggered, [&] { ++triggered; });

    view->setRecording(true);
    QTest::keyClick(field, Qt::Key_K, qtModifiers(ModifierFlags::control));
    EXPECT_EQ(triggered, 0);
    EXPECT_EQ(view->keyCode(), 40u);
    QTest::keyClick(field, Qt::Key_K, qtModifiers(ModifierFlags::control));
    EXPECT_EQ(triggered, 1);
}

TEST_F(ShortcutRecorderViewTest, RecordKeyIgnoresAKeyWithoutModifiers)
{
    view->setRecording(true);
    QKeyEvent plain(QEvent::KeyPress, Qt::Key_L, Qt::NoModifier);
    view->recordKey(&plain);
    EXPECT_TRUE(view->isRecording());
    EXPECT_EQ(view->keyCode(), 0u);

    QKeyEvent combination(QEvent::KeyPress, Qt::Key_L, qtModifiers(ModifierFlags::command));
    view->recordKey(&combination);
    EXPECT_FALSE(view->isRecording());
    EXPECT_EQ(view->keyCode(), 37u);
    EXPECT_EQ(view->modifiers(), 0x100u);
}

TEST_F(ShortcutRecorderViewTest, EachShowAddsAMonitorThatLivesAsLongAsTheView)
{
    EXPECT_EQ(view->monitorCount(), 1);
    window->hide();
    window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    EXPECT_EQ(view->monitorCount(), 2);

    // Several monitors still record one key once.
    view->setRecording(true);
    QSignalSpy codes(view, &ShortcutRecorderView::keyCodeChanged);
    QTest::keyClick(field, Qt::Key_K, qtModifiers(ModifierFlags::control));
    EXPECT_EQ(codes.size(), 1);

    const QList<QObject*> monitors = view->findChildren<QObject*>(Qt::FindDirectChildrenOnly);
    QList<QPointer<QObject>> watched;
    for (QObject* monitor : monitors) {
        watched.append(monitor);
    }
    window.reset();
    for (const QPointer<QObject>& monitor : watched) {
        EXPECT_TRUE(monitor.isNull());
    }
    // The application still delivers keys with the view and its monitors gone.
    QLineEdit other;
    QTest::keyClicks(&other, QStringLiteral("still"));
    EXPECT_EQ(other.text(), QStringLiteral("still"));
}

TEST_F(ShortcutRecorderViewTest, HidingTheRecorderEndsRecordingSoKeysReachTheApplicationAgain)
{
    view->setRecording(true);
    window->hide();
    EXPECT_FALSE(view->isRecording());
    QLineEdit other;
    QTest::keyClicks(&other, QStringLiteral("typed"));
    EXPECT_EQ(other.text(), QStringLiteral("typed"));
    EXPECT_EQ(view->keyCode(), 0u);
}

TEST_F(ShortcutRecorderViewTest, StartingToRecordDoesNotShrinkTheControl)
{
    view->setKeyCode(37);
    view->setModifiers(0x1800);
    const QSize idle = view->sizeHint();
    view->setRecording(true);
    EXPECT_GE(idle.width(), view->sizeHint().width() - 1);
    EXPECT_GE(view->sizeHint().width(),
              view->fontMetrics().horizontalAdvance(QStringLiteral("Press keys...")) + 16);
}
