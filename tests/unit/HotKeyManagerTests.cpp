#include "Managers/HotKeyManager.h"

#include "HotKey/HotKeysController.h"
#include "Managers/SettingsManager.h"

#include "fakes/FakeFolderAccess.h"
#include "fakes/FakeHotKeyBackend.h"
#include "support/QtPrinters.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

namespace {

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
    EXPECT_EQ(manager.hotkeyDisplayString(), QStringLiteral("⌃⌥L"));
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
    EXPECT_EQ(manager.hotkeyDisplayString(), QStringLiteral("⌃⌥"));
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
    EXPECT_EQ(manager.hotkeyDisplayString(), QStringLiteral("⌃⌥?"));
}

TEST_F(HotKeyManagerTest, ReRegisteringReplacesTheRegistration)
{
    store(37, 0x1800);
    // Ids are process-wide: the replacement takes the id after the first registration's.
    const std::uint32_t firstId = HotKeysController::lastHotKeyID() + 1;
    HotKeyManager manager(settings.get());
    int presses = 0;
    manager.onHotKeyPressed = [&] {
        ++presses;
    };
    // What onboarding does after recording ⇧⌘K.
    store(40, 0x300);
    manager.registerHotKey();
    ASSERT_EQ(backend->live.size(), 1);
    EXPECT_EQ(backend->live[0].keyCombo, KeyCombo(40, 0x300));
    EXPECT_EQ(backend->live[0].hotKeyID.id, firstId + 1);
    EXPECT_EQ(HotKeysController::hotKeys.size(), 1u);
    EXPECT_EQ(backend->press(KeyCombo(40, 0x300)), HotKeysController::noErr);
    EXPECT_EQ(presses, 1);
    EXPECT_EQ(manager.hotkeyDisplayString(), QStringLiteral("⇧⌘K"));
}

TEST_F(HotKeyManagerTest, OnlyTheFourModifierBitsAreCarried)
{
    // alphaLock 0x400 and rightShiftKey 0x2000 are dropped.
    store(37, 0x1800 | 0x400 | 0x2000);
    HotKeyManager manager(settings.get());
    ASSERT_NE(manager.hotKey, nullptr);
    EXPECT_EQ(manager.hotKey->keyCombo.carbonModifiers, 0x1800u);
    EXPECT_EQ(manager.hotkeyDisplayString(), QStringLiteral("⌃⌥L"));
}

TEST_F(HotKeyManagerTest, DisplayShowsModifiersInControlOptionShiftCommandOrder)
{
    HotKeyManager manager(settings.get());
    store(37, 0x100 | 0x200 | 0x800 | 0x1000);
    EXPECT_EQ(manager.hotkeyDisplayString(), QStringLiteral("⌃⌥⇧⌘L"));
    store(29, 0x100);
    EXPECT_EQ(manager.hotkeyDisplayString(), QStringLiteral("⌘0"));
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
        EXPECT_EQ(manager.hotkeyDisplayString(), QStringLiteral("⌃") + text) << key.carbonKeyCode();
    }
}

TEST_F(HotKeyManagerTest, DisplayReadsTheStoreEachTime)
{
    HotKeyManager manager(settings.get());
    EXPECT_EQ(manager.hotkeyDisplayString(), QStringLiteral("Not set"));
    store(37, 0x1800);
    // The settings view writes without re-registering; the display follows the store anyway.
    EXPECT_EQ(manager.hotkeyDisplayString(), QStringLiteral("⌃⌥L"));
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
