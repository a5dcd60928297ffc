#include "Managers/HotKeyManager.h"

#include "HotKey/HotKeysController.h"
#include "HotKey/ShortcutText.h"
#include "Managers/SettingsManager.h"

#include "fakes/FakeFolderAccess.h"
#include "fakes/FakeHotKeyBackend.h"
#include "support/AwaitTask.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

namespace {

// The display in the platform's style: symbols on macOS, the desktop's words on Linux.
QString shown(const QString& symbols, const QString& words)
{
    return ShortcutText::platformStyle() == ShortcutText::Style::symbols ? symbols : words;
}

class HotKeyManagerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        backend = FakeHotKeyBackend::install();
        settings = std::make_unique<SettingsManager>(
            std::make_unique<QSettings>(dir.filePath(QStringLiteral("wisp.conf")),
                                        QSettings::IniFormat),
            std::make_shared<FakeFolderAccess>());
    }

    void store(std::uint32_t code, std::uint32_t modifiers)
    {
        settings->setHotKeyCode(code);
        settings->setHotKeyModifiers(modifiers);
    }

    QTemporaryDir dir;
    FakeHotKeyBackend* backend = nullptr;
    std::unique_ptr<SettingsManager> settings;
};

} // namespace

TEST_F(HotKeyManagerTest, CodeZeroRegistersNothingAndReadsNotSet)
{
    HotKeyManager manager(settings.get());
    EXPECT_EQ(manager.settingsManager, settings.get());
    EXPECT_EQ(manager.hotKey, nullptr);
    EXPECT_TRUE(backend->attempts.isEmpty());
    EXPECT_TRUE(HotKeysController::hotKeys.empty());
    EXPECT_EQ(manager.hotkeyDisplayString(), QStringLiteral("Not set"));
}

TEST_F(HotKeyManagerTest, CodeZeroWithModifiersStillMeansNoShortcut)
{
    store(0, 0x1800);
    HotKeyManager manager(settings.get());
    EXPECT_EQ(manager.hotKey, nullptr);
    EXPECT_TRUE(backend->attempts.isEmpty());
    EXPECT_EQ(manager.hotkeyDisplayString(), QStringLiteral("Not set"));
}

TEST_F(HotKeyManagerTest, CreationRegistersTheStoredShortcut)
{
    store(37, 0x1800);
    HotKeyManager manager(settings.get());
    ASSERT_NE(manager.hotKey, nullptr);
    EXPECT_EQ(manager.hotKey->keyCombo, KeyCombo(37, 0x1800));
    ASSERT_EQ(backend->live.size(), 1);
    EXPECT_EQ(backend->live[0].keyCombo, KeyCombo(37, 0x1800));
    EXPECT_FALSE(manager.hotKey->keyUpHandler);
}

TEST_F(HotKeyManagerTest, ControlOptionLReadsControlOptionL)
{
    store(37, 0x1800);
    HotKeyManager manager(settings.get());
    EXPECT_EQ(manager.hotkeyDisplayString(), shown("⌃⌥L", "Ctrl+Alt+L"));
}

TEST_F(HotKeyManagerTest, KeyDownRunsTheCallback)
{
    store(37, 0x1800);
    HotKeyManager manager(settings.get());
    int presses = 0;
    manager.onHotKeyPressed = [&] {
        ++presses;
    };
    EXPECT_EQ(backend->press(KeyCombo(37, 0x1800)), HotKeysController::noErr);
    EXPECT_EQ(presses, 1);
    // No key-up handler: the release is not handled and calls nothing.
    EXPECT_EQ(backend->release(KeyCombo(37, 0x1800)), HotKeysController::eventNotHandledErr);
    EXPECT_EQ(presses, 1);
}

TEST_F(HotKeyManagerTest, KeyDownWithoutCallbackIsHarmless)
{
    store(37, 0x1800);
    HotKeyManager manager(settings.get());
    EXPECT_EQ(backend->press(KeyCombo(37, 0x1800)), HotKeysController::noErr);
}

TEST_F(HotKeyManagerTest, KeyDownAfterTheManagerIsGoneCallsNothing)
{
    store(37, 0x1800);
    auto manager = std::make_unique<HotKeyManager>(settings.get());
    int presses = 0;
    manager->onHotKeyPressed = [&] {
        ++presses;
    };
    // The hot key outlives its manager, as a handler captured elsewhere might.
    std::unique_ptr<HotKey> survivor = std::move(manager->hotKey);
    manager.reset();
    EXPECT_EQ(backend->press(KeyCombo(37, 0x1800)), HotKeysController::noErr);
    EXPECT_EQ(presses, 0);
}

TEST_F(HotKeyManagerTest, CodeWithoutAKeyClearsTheOldRegistrationAndRegistersNothing)
{
    store(37, 0x1800);
    HotKeyManager manager(settings.get());
    ASSERT_EQ(backend->live.size(), 1);
    const HotKeyBackend::Ref oldRef = backend->live[0].ref;

    store(52, 0x1800);
    manager.registerHotKey();
    EXPECT_EQ(manager.hotKey, nullptr);
    EXPECT_TRUE(backend->live.isEmpty());
    EXPECT_EQ(backend->unregistered, QList<HotKeyBackend::Ref>{oldRef});
    EXPECT_EQ(backend->attempts.size(), 1);
    EXPECT_TRUE(HotKeysController::hotKeys.empty());
    // Only the modifiers show for a code without a key.
    EXPECT_EQ(manager.hotkeyDisplayString(), shown("⌃⌥", "Ctrl+Alt"));
}

TEST_F(HotKeyManagerTest, ChangingToZeroClearsTheOldRegistration)
{
    store(37, 0x1800);
    HotKeyManager manager(settings.get());
    store(0, 0);
    manager.registerHotKey();
    EXPECT_EQ(manager.hotKey, nullptr);
    EXPECT_TRUE(backend->live.isEmpty());
    EXPECT_EQ(backend->unregistered.size(), 1);
}

TEST_F(HotKeyManagerTest, FunctionKeyRegistersButDisplaysAQuestionMark)
{
    store(122, 0x1800);
    HotKeyManager manager(settings.get());
    ASSERT_NE(manager.hotKey, nullptr);
    EXPECT_EQ(manager.hotKey->keyCombo,
              KeyCombo(Key::f1, ModifierFlags::control | ModifierFlags::option));
    EXPECT_EQ(backend->live.size(), 1);
    EXPECT_EQ(manager.hotkeyDisplayString(), shown("⌃⌥?", "Ctrl+Alt+?"));
}

TEST_F(HotKeyManagerTest, ReRegisteringReplacesTheRegistration)
{
    store(37, 0x1800);
    HotKeyManager manager(settings.get());
    int presses = 0;
    manager.onHotKeyPressed = [&] {
        ++presses;
    };
    ASSERT_EQ(backend->live.size(), 1);
    // Identifiers count on across the process, so earlier tests' registrations do not matter.
    const std::uint32_t firstID = backend->live[0].hotKeyID.id;
    // What onboarding does after recording ⇧⌘K.
    store(40, 0x300);
    manager.registerHotKey();
    ASSERT_EQ(backend->live.size(), 1);
    EXPECT_EQ(backend->live[0].keyCombo, KeyCombo(40, 0x300));
    EXPECT_EQ(backend->live[0].hotKeyID.id, firstID + 1);
    EXPECT_EQ(HotKeysController::hotKeys.size(), 1u);
    EXPECT_EQ(backend->press(KeyCombo(40, 0x300)), HotKeysController::noErr);
    EXPECT_EQ(presses, 1);
    EXPECT_EQ(manager.hotkeyDisplayString(), shown("⇧⌘K", "Shift+Super+K"));
}

TEST_F(HotKeyManagerTest, OnlyTheFourModifierBitsAreCarried)
{
    // alphaLock 0x400 and rightShiftKey 0x2000 are dropped.
    store(37, 0x1800 | 0x400 | 0x2000);
    HotKeyManager manager(settings.get());
    ASSERT_NE(manager.hotKey, nullptr);
    EXPECT_EQ(manager.hotKey->keyCombo.carbonModifiers, 0x1800u);
    EXPECT_EQ(manager.hotkeyDisplayString(), shown("⌃⌥L", "Ctrl+Alt+L"));
}

TEST_F(HotKeyManagerTest, DisplayShowsModifiersInControlOptionShiftCommandOrder)
{
    HotKeyManager manager(settings.get());
    store(37, 0x100 | 0x200 | 0x800 | 0x1000);
    EXPECT_EQ(manager.hotkeyDisplayString(), shown("⌃⌥⇧⌘L", "Ctrl+Alt+Shift+Super+L"));
    store(29, 0x100);
    EXPECT_EQ(manager.hotkeyDisplayString(), shown("⌘0", "Super+0"));
    store(37, 0);
    EXPECT_EQ(manager.hotkeyDisplayString(), QStringLiteral("L"));
}

TEST_F(HotKeyManagerTest, DisplayUpperCasesTheShortKeyText)
{
    HotKeyManager manager(settings.get());
    const std::vector<std::pair<Key, QString>> texts = {
        {Key::space, "SPACE"},    {Key::tab, "TAB"},         {Key::return_, "RETURN"},
        {Key::pageUp, "PGUP"},    {Key::pageDown, "PGDN"},   {Key::home, "HOME"},
        {Key::end, "END"},        {Key::upArrow, "↑"},       {Key::rightArrow, "→"},
        {Key::downArrow, "↓"},    {Key::leftArrow, "←"},     {Key::escape, "ESC"},
        {Key::delete_, "DELETE"}, {Key::forwardDelete, "⌦"}, {Key::comma, "?"},
        {Key::keypad5, "?"},      {Key::f12, "?"},           {Key::nine, "9"},
    };
    for (const auto& [key, text] : texts) {
        store(key.carbonKeyCode(), 0x1000);
        EXPECT_EQ(manager.hotkeyDisplayString(),
                  shown(QStringLiteral("⌃") + text, QStringLiteral("Ctrl+") + text))
            << key.carbonKeyCode();
    }
}

TEST_F(HotKeyManagerTest, DisplayReadsTheStoreEachTime)
{
    HotKeyManager manager(settings.get());
    EXPECT_EQ(manager.hotkeyDisplayString(), QStringLiteral("Not set"));
    store(37, 0x1800);
    // The settings view writes without re-registering; the display follows the store anyway.
    EXPECT_EQ(manager.hotkeyDisplayString(), shown("⌃⌥L", "Ctrl+Alt+L"));
    EXPECT_EQ(manager.hotKey, nullptr);
}

TEST_F(HotKeyManagerTest, RefusedRegistrationStillKeepsTheHotKey)
{
    backend->refuseRegistrations = true;
    store(37, 0x1800);
    HotKeyManager manager(settings.get());
    EXPECT_NE(manager.hotKey, nullptr);
    EXPECT_TRUE(backend->live.isEmpty());
    EXPECT_EQ(HotKeysController::hotKeys.size(), 1u);
}

using HotKeyManagerDeathTest = HotKeyManagerTest;

TEST_F(HotKeyManagerDeathTest, OutOfRangeStoredCodeIsFatal)
{
    settings->store().setValue(QStringLiteral("hotKeyCode"), qlonglong(4294967296));
    settings->store().sync();
    EXPECT_DEATH(HotKeyManager manager(settings.get()), "outside 0 ... 4294967295");
}

TEST_F(HotKeyManagerDeathTest, OutOfRangeStoredModifiersAreFatal)
{
    settings->setHotKeyCode(37);
    settings->store().setValue(QStringLiteral("hotKeyModifiers"), -1);
    settings->store().sync();
    EXPECT_DEATH(HotKeyManager manager(settings.get()), "outside 0 ... 4294967295");
}

TEST_F(HotKeyManagerTest, RegisteredShortcutIsPublishedWithoutAProblem)
{
    store(37, 0x1800);
    LogCapture log;
    HotKeyManager manager(settings.get());
    EXPECT_EQ(manager.registration(), std::optional(HotKeyRegistration::registered));
    EXPECT_TRUE(manager.isRegistered());
    EXPECT_TRUE(manager.registrationProblem().isEmpty());
    EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join('\n').toStdString();
}

TEST_F(HotKeyManagerTest, NoStoredShortcutHasNoRegistration)
{
    HotKeyManager manager(settings.get());
    EXPECT_EQ(manager.registration(), std::nullopt);
    EXPECT_FALSE(manager.isRegistered());
    EXPECT_TRUE(manager.registrationProblem().isEmpty());
}

TEST_F(HotKeyManagerTest, TakenShortcutIsPublishedLoggedAndExplained)
{
    backend->refusedCombos = {{KeyCombo(37, 0x1800), HotKeyRegistration::taken}};
    store(37, 0x1800);
    LogCapture log;
    HotKeyManager manager(settings.get());
    EXPECT_EQ(manager.registration(), std::optional(HotKeyRegistration::taken));
    EXPECT_FALSE(manager.isRegistered());
    const QString shortcut = shown("⌃⌥L", "Ctrl+Alt+L");
    EXPECT_EQ(manager.registrationProblem(),
              shortcut + QStringLiteral(" is taken by another app. Choose another shortcut."));
    EXPECT_EQ(log.lines(), QStringList{QStringLiteral("⚠️ [HotKeyManager] Shortcut ") +
                                       shortcut + QStringLiteral(" is taken by another app")});
    // The stored keys stay as they were.
    EXPECT_EQ(settings->hotKeyCode(), 37u);
    EXPECT_EQ(settings->hotKeyModifiers(), 0x1800u);
}

TEST_F(HotKeyManagerTest, KeyWithoutAKeyOrRefusedAsImpossibleIsUnavailable)
{
    store(52, 0x1000);
    LogCapture log;
    HotKeyManager manager(settings.get());
    EXPECT_EQ(manager.registration(), std::optional(HotKeyRegistration::unavailable));
    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral("⚠️ [HotKeyManager] Shortcut ") + shown("⌃", "Ctrl") +
                          QStringLiteral(" is not available here")});

    backend->refuseRegistrations = true;
    backend->refusal = HotKeyRegistration::unavailable;
    store(37, 0x1800);
    manager.registerHotKey();
    EXPECT_EQ(manager.registration(), std::optional(HotKeyRegistration::unavailable));
    EXPECT_EQ(manager.registrationProblem(),
              shown("⌃⌥L", "Ctrl+Alt+L") +
                  QStringLiteral(" is not available here. Choose another shortcut."));
}

TEST_F(HotKeyManagerTest, RegistrationChangesAreSignalledOncePerChange)
{
    backend->refusedCombos = {{KeyCombo(37, 0x1800), HotKeyRegistration::taken}};
    store(37, 0x1800);
    HotKeyManager manager(settings.get());
    int changes = 0;
    QObject::connect(&manager, &HotKeyManager::registrationChanged, [&] { ++changes; });

    manager.registerHotKey();
    EXPECT_EQ(changes, 0);
    store(40, 0x1800);
    manager.registerHotKey();
    EXPECT_EQ(changes, 1);
    EXPECT_TRUE(manager.isRegistered());

    // A later answer of the backend, as after a keyboard mapping change.
    std::uint32_t id = 0;
    for (const auto& [candidate, box] : HotKeysController::hotKeys) {
        if (box.identifier == manager.hotKey->identifier) {
            id = candidate;
        }
    }
    HotKeysController::reportRegistration(id, HotKeyRegistration::unavailable);
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(manager.registration(), std::optional(HotKeyRegistration::unavailable));

    store(0, 0);
    manager.registerHotKey();
    EXPECT_EQ(changes, 3);
    EXPECT_EQ(manager.registration(), std::nullopt);
}

TEST_F(HotKeyManagerTest, ProbeTriesACombinationWithoutKeepingIt)
{
    backend->refusedCombos = {{KeyCombo(37, 0x1800), HotKeyRegistration::taken}};
    store(40, 0x1800);
    HotKeyManager manager(settings.get());
    ASSERT_TRUE(manager.isRegistered());
    const qsizetype attempts = backend->attempts.size();

    EXPECT_EQ(TestSupport::awaitTask(manager.probe(37, 0x1800)), HotKeyRegistration::taken);
    EXPECT_EQ(TestSupport::awaitTask(manager.probe(38, 0x1800)), HotKeyRegistration::registered);
    // Only the live shortcut is held afterwards.
    ASSERT_EQ(backend->live.size(), 1);
    EXPECT_EQ(backend->live.first().keyCombo, KeyCombo(40, 0x1800));
    EXPECT_EQ(backend->attempts.size(), attempts + 2);

    // The live combination answers from the live registration, without another attempt.
    EXPECT_EQ(TestSupport::awaitTask(manager.probe(40, 0x1800)), HotKeyRegistration::registered);
    EXPECT_EQ(backend->attempts.size(), attempts + 2);
    // No key, or a code of no key: nothing to register.
    EXPECT_EQ(TestSupport::awaitTask(manager.probe(0, 0x1800)), HotKeyRegistration::unavailable);
    EXPECT_EQ(TestSupport::awaitTask(manager.probe(52, 0x1800)), HotKeyRegistration::unavailable);
    EXPECT_EQ(backend->attempts.size(), attempts + 2);
}

namespace {

// The controller's id of the hot key registered for `combo` other than `except`; 0 when none.
std::uint32_t trialID(const KeyCombo& combo, const HotKey* except)
{
    for (const auto& [id, box] : HotKeysController::hotKeys) {
        if (box.hotKey && box.hotKey != except && box.hotKey->keyCombo == combo) {
            return id;
        }
    }
    return 0;
}

} // namespace

TEST_F(HotKeyManagerTest, ProbeWaitsForALateAnswerAndDropsItsTrialThen)
{
    backend->refusedCombos = {{KeyCombo(38, 0x1800), HotKeyRegistration::waiting}};
    store(40, 0x1800);
    HotKeyManager manager(settings.get());
    ASSERT_TRUE(manager.isRegistered());

    QCoro::Task<HotKeyRegistration> probing = manager.probe(38, 0x1800);
    // Asked, not answered: the probe goes on, holding its trial.
    EXPECT_FALSE(probing.isReady());
    const std::uint32_t id = trialID(KeyCombo(38, 0x1800), manager.hotKey.get());
    ASSERT_NE(id, 0u);

    HotKeysController::reportRegistration(id, HotKeyRegistration::refused);

    EXPECT_EQ(TestSupport::awaitTask(std::move(probing)), HotKeyRegistration::refused);
    EXPECT_EQ(trialID(KeyCombo(38, 0x1800), manager.hotKey.get()), 0u);
    EXPECT_EQ(HotKeysController::hotKeys.size(), 1u);
    // The live registration is untouched.
    EXPECT_TRUE(manager.isRegistered());
}

TEST_F(HotKeyManagerTest, ProbeWithoutAnAnswerByItsDeadlineSaysWaitingNotUnavailable)
{
    backend->refusedCombos = {{KeyCombo(38, 0x1800), HotKeyRegistration::waiting}};
    store(40, 0x1800);
    HotKeyManager manager(settings.get());
    manager.probeDeadline = std::chrono::milliseconds(200);

    EXPECT_EQ(TestSupport::awaitTask(manager.probe(38, 0x1800)), HotKeyRegistration::waiting);
    // The trial went with the probe.
    EXPECT_EQ(trialID(KeyCombo(38, 0x1800), manager.hotKey.get()), 0u);
    EXPECT_EQ(HotKeysController::hotKeys.size(), 1u);
}

TEST_F(HotKeyManagerTest, WaitingRegistrationIsANoteAndLogsNoFailure)
{
    backend->refusedCombos = {{KeyCombo(37, 0x1800), HotKeyRegistration::waiting}};
    store(37, 0x1800);
    LogCapture log;
    HotKeyManager manager(settings.get());
    const QString shortcut = manager.hotkeyDisplayString();

    EXPECT_EQ(manager.registration(), std::optional(HotKeyRegistration::waiting));
    EXPECT_TRUE(manager.isWaiting());
    EXPECT_FALSE(manager.isRegistered());
    EXPECT_TRUE(manager.registrationProblem().isEmpty());
    EXPECT_EQ(manager.registrationText(),
              QStringLiteral("Waiting for the desktop to allow ") + shortcut);
    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral("⏳ [HotKeyManager] Waiting for the desktop to allow ") +
                          shortcut});

    HotKeysController::reportRegistration(trialID(KeyCombo(37, 0x1800), nullptr),
                                          HotKeyRegistration::refused);
    EXPECT_EQ(manager.registration(), std::optional(HotKeyRegistration::refused));
    EXPECT_EQ(manager.registrationProblem(),
              shortcut +
                  QStringLiteral(" was not allowed by the desktop. Choose another shortcut."));
    EXPECT_EQ(manager.registrationText(), manager.registrationProblem());
    EXPECT_EQ(log.lines().last(), QStringLiteral("⚠️ [HotKeyManager] Shortcut ") + shortcut +
                                      QStringLiteral(" was not allowed by the desktop"));
}
