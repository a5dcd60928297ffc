#include "HotKey/HotKeysController.h"
#include "HotKey/ModifierFlags.h"
#include "HotKey/portal/PortalHotKeyBackend.h"
#include "Managers/HotKeyManager.h"
#include "Managers/PermissionsManager.h"
#include "Views/RegistrationLine.h"
#include "Views/SettingsView.h"
#include "Views/ShortcutRecorderView.h"

#include "fakes/FakeFolderChooser.h"
#include "fakes/FakeHotKeyBackend.h"
#include "fakes/FakePermissionProbes.h"
#include "fakes/FakeProjectManager.h"
#include "fakes/FakeServerManager.h"
#include "fakes/FakeSystemSettingsOpener.h"
#include "support/LogCapture.h"
#include "support/PortalTest.h"
#include "support/QtPrinters.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QLabel>
#include <QLineEdit>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>

// The settings' shortcut recorder on a desktop whose global shortcuts portal asks the user
// before it answers (the stand-in portal, answering when the test says so).
using TestSupport::waitUntil;

namespace {

class PortalShortcutSettingsTest : public PortalTest
{
protected:
    void SetUp() override
    {
        PortalTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        QString error;
        ASSERT_TRUE(standIn.start({QStringLiteral("--answer"), QStringLiteral("later")}, &error))
            << error.toStdString();
        HotKeysController::setBackend(std::make_unique<PortalHotKeyBackend>(bus.connection()));
    }

    void TearDown() override
    {
        view.reset();
        hotKeyManager.reset();
        PortalTest::TearDown();
    }

    // Ctrl+Alt+L stored, asked for, and allowed by the user.
    void startWithWorkingShortcut()
    {
        settings->setHotKeyCode(37);
        settings->setHotKeyModifiers(0x1800);
        hotKeyManager = std::make_unique<HotKeyManager>(settings.get());
        ASSERT_EQ(hotKeyManager->registration(), std::optional(HotKeyRegistration::waiting));
        ASSERT_TRUE(waitUntil([&] { return standIn.waiting() == 1; }));
        ASSERT_TRUE(standIn.answer(QStringLiteral("grant")));
        ASSERT_TRUE(waitUntil([&] { return hotKeyManager->isRegistered(); }));
    }

    void openSettings()
    {
        view = std::make_unique<SettingsView>(settings.get(), &projectManager, &serverManager,
                                              permissions.get(), chooser);
        view->setHotKeyManager(hotKeyManager.get());
        view->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
    }

    // Records Ctrl+Alt+K in the settings' recorder.
    void recordCtrlAltK()
    {
        ShortcutRecorderView* recorder = view->shortcutRecorder();
        QLineEdit* field = view->customURLField();
        field->setFocus();
        QTest::mouseClick(recorder, Qt::LeftButton);
        ASSERT_TRUE(recorder->isRecording());
        QTest::keyClick(field, Qt::Key_K, (ModifierFlags::control | ModifierFlags::option).toQt());
        ASSERT_FALSE(recorder->isRecording());
        ASSERT_EQ(settings->hotKeyCode(), 40u);
        ASSERT_EQ(settings->hotKeyModifiers(), 0x1800u);
    }

    TestSettings settings;
    FakeProjectManager projectManager;
    FakeServerManager serverManager;
    std::unique_ptr<PermissionsManager> permissions = std::make_unique<PermissionsManager>(
        std::make_shared<FakePermissionProbes>(), std::make_shared<FakeSystemSettingsOpener>());
    std::shared_ptr<FakeFolderChooser> chooser = std::make_shared<FakeFolderChooser>();
    std::unique_ptr<HotKeyManager> hotKeyManager;
    std::unique_ptr<SettingsView> view;
};

} // namespace

TEST_F(PortalShortcutSettingsTest, RecordingWhileTheShortcutWorksWaitsForTheDesktopThenSaysNothing)
{
    ASSERT_NO_FATAL_FAILURE(startWithWorkingShortcut());
    ASSERT_NO_FATAL_FAILURE(openSettings());
    QLabel* line = view->shortcutProblemLabel();
    EXPECT_FALSE(line->isVisible());
    LogCapture log;

    ASSERT_NO_FATAL_FAILURE(recordCtrlAltK());

    // The desktop asks the user about the new combination: a wait, not a failure.
    ShortcutRecorderView* recorder = view->shortcutRecorder();
    EXPECT_TRUE(line->isVisible());
    EXPECT_EQ(line->text(), QStringLiteral("Waiting for the desktop to allow Ctrl+Alt+K"));
    EXPECT_FALSE(view->shortcutRegistrationLine()->markLabel()->isVisible());
    EXPECT_TRUE(recorder->isAvailable());
    EXPECT_EQ(recorder->label(), QStringLiteral("Ctrl+Alt+K"));
    ASSERT_TRUE(waitUntil([&] { return standIn.waiting() == 1; }));
    EXPECT_EQ(line->text(), QStringLiteral("Waiting for the desktop to allow Ctrl+Alt+K"));

    ASSERT_TRUE(standIn.answer(QStringLiteral("grant")));

    ASSERT_TRUE(waitUntil([&] { return !line->isVisible(); })) << line->text().toStdString();
    EXPECT_TRUE(recorder->isAvailable());
    EXPECT_EQ(recorder->label(), QStringLiteral("Ctrl+Alt+K"));
    EXPECT_TRUE(log.linesStartingWith(QStringLiteral("⚠️")).isEmpty())
        << log.lines().join('\n').toStdString();
    // The working shortcut stays the live one until the next start; the trial's session closed.
    EXPECT_TRUE(hotKeyManager->isRegistered());
    EXPECT_EQ(hotKeyManager->hotKey->keyCombo, KeyCombo(37, 0x1800));
    EXPECT_TRUE(waitUntil([&] {
        const QStringList calls = standIn.calls();
        return calls.count() == 5 && calls.last().startsWith(QStringLiteral("Close /"));
    })) << standIn.calls().join('\n').toStdString();
}

TEST_F(PortalShortcutSettingsTest, RecordingACombinationTheUserDeclinesWaitsThenSaysSo)
{
    ASSERT_NO_FATAL_FAILURE(startWithWorkingShortcut());
    ASSERT_NO_FATAL_FAILURE(openSettings());
    QLabel* line = view->shortcutProblemLabel();

    ASSERT_NO_FATAL_FAILURE(recordCtrlAltK());
    EXPECT_EQ(line->text(), QStringLiteral("Waiting for the desktop to allow Ctrl+Alt+K"));
    ASSERT_TRUE(waitUntil([&] { return standIn.waiting() == 1; }));

    ASSERT_TRUE(standIn.answer(QStringLiteral("cancel")));

    ASSERT_TRUE(waitUntil([&] {
        return line->text() ==
               QStringLiteral(
                   "Ctrl+Alt+K was not allowed by the desktop. Choose another shortcut.");
    })) << line->text().toStdString();
    EXPECT_TRUE(line->isVisible());
    EXPECT_TRUE(view->shortcutRegistrationLine()->markLabel()->isVisible());
    EXPECT_FALSE(view->shortcutRecorder()->isAvailable());
    EXPECT_EQ(view->shortcutRecorder()->label(), QStringLiteral("Click to set"));
    EXPECT_TRUE(hotKeyManager->isRegistered());
}

TEST_F(PortalShortcutSettingsTest, StoredShortcutWaitsWhileTheDesktopAsksThenIsRefused)
{
    settings->setHotKeyCode(37);
    settings->setHotKeyModifiers(0x1800);
    LogCapture log;
    hotKeyManager = std::make_unique<HotKeyManager>(settings.get());
    ASSERT_NO_FATAL_FAILURE(openSettings());
    QLabel* line = view->shortcutProblemLabel();

    // The consent dialog is open: waiting, said as such, and nothing logged as a failure.
    EXPECT_EQ(hotKeyManager->registration(), std::optional(HotKeyRegistration::waiting));
    EXPECT_EQ(line->text(), QStringLiteral("Waiting for the desktop to allow Ctrl+Alt+L"));
    EXPECT_TRUE(line->isVisible());
    EXPECT_EQ(log.lines(), QStringList{QStringLiteral(
                               "⏳ [HotKeyManager] Waiting for the desktop to allow Ctrl+Alt+L")});
    ASSERT_TRUE(waitUntil([&] { return standIn.waiting() == 1; }));

    ASSERT_TRUE(standIn.answer(QStringLiteral("cancel")));

    ASSERT_TRUE(
        waitUntil([&] { return hotKeyManager->registration() == HotKeyRegistration::refused; }));
    EXPECT_EQ(
        line->text(),
        QStringLiteral("Ctrl+Alt+L was not allowed by the desktop. Choose another shortcut."));
    EXPECT_EQ(
        log.lines(),
        (QStringList{
            QStringLiteral("⏳ [HotKeyManager] Waiting for the desktop to allow Ctrl+Alt+L"),
            QStringLiteral(
                "⚠️ [HotKeyManager] Shortcut Ctrl+Alt+L was not allowed by the desktop")}));
}
