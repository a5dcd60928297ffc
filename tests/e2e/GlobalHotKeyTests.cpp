#include "Controllers/StatusBarController.h"
#include "Desktop.h"
#include "HotKey/HotKey.h"
#include "HotKey/HotKeysController.h"
#include "HotKey/x11/X11HotKeyBackend.h"
#include "HotKey/x11/X11KeyTable.h"
#include "Managers/HotKeyManager.h"
#include "Managers/PermissionsManager.h"
#include "Managers/SettingsManager.h"
#include "Platform/PermissionProbes.h"
#include "Views/SettingsView.h"
#include "Views/ShortcutRecorderView.h"

#include "fakes/FakeBrowserManager.h"
#include "fakes/FakeFolderAccess.h"
#include "fakes/FakeProjectManager.h"
#include "fakes/FakeServerManager.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSupport.h"

#include <QAction>
#include <QDir>
#include <QGuiApplication>
#include <QLabel>
#include <QMenu>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QWindow>
#include <QtGui/qguiapplication_platform.h>

#include <gtest/gtest.h>

#include <memory>

// Xlib's macros (None, Bool, Status, ...) come last, after every C++ header.
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

using namespace std::chrono_literals;
using TestSupport::waitUntil;

// The real X11 backend on the private Xvfb display: key grabs on the root window, key presses
// sent by xdotool through the XTEST extension.
namespace {

Display* appDisplay()
{
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->display() : nullptr;
}

class GlobalHotKeyTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty()) {
            GTEST_SKIP() << "xdotool is not installed";
        }
        ASSERT_NE(appDisplay(), nullptr);
        numLockWasOn = lockIsOn(XK_Num_Lock);
        capsLockWasOn = lockIsOn(XK_Caps_Lock);
        locksRecorded = true;
        settings = std::make_unique<SettingsManager>(
            std::make_unique<QSettings>(dir.filePath(QStringLiteral("wisp.conf")),
                                        QSettings::IniFormat),
            std::make_shared<FakeFolderAccess>());
        // A second shortcut that stays registered: once its press has arrived, every press sent
        // before it has arrived too.
        sentinel = std::make_unique<HotKey>(
            KeyCombo(Key::k, ModifierFlags::control | ModifierFlags::option),
            [this] { ++sentinelPresses; });
    }

    // The display outlives the test: a lock left on would change the keys of the next one.
    void TearDown() override
    {
        if (!locksRecorded) {
            return;
        }
        if (lockIsOn(XK_Num_Lock) != numLockWasOn) {
            toggleLock(QStringLiteral("Num_Lock"), XK_Num_Lock);
        }
        if (lockIsOn(XK_Caps_Lock) != capsLockWasOn) {
            toggleLock(QStringLiteral("Caps_Lock"), XK_Caps_Lock);
        }
    }

    static void xdotool(const QStringList& arguments)
    {
        QProcess process;
        process.start(QStringLiteral("xdotool"), arguments);
        ASSERT_TRUE(process.waitForFinished(30000)) << arguments.join(' ').toStdString();
        ASSERT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    }

    // Presses the sentinel and waits until it has arrived.
    void flushPresses()
    {
        const int before = sentinelPresses;
        xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+k")});
        ASSERT_TRUE(waitUntil([&] { return sentinelPresses == before + 1; }, 20s));
    }

    static bool lockIsOn(KeySym lockKey)
    {
        Display* display = appDisplay();
        XkbStateRec state;
        if (XkbGetState(display, XkbUseCoreKbd, &state) != Success) {
            return false;
        }
        const unsigned int mask = XkbKeysymToModifiers(display, lockKey);
        return mask != 0 && (state.locked_mods & mask) == mask;
    }

    void toggleLock(const QString& keyName, KeySym lockKey)
    {
        const bool wasOn = lockIsOn(lockKey);
        xdotool({QStringLiteral("key"), keyName});
        ASSERT_TRUE(waitUntil([&] { return lockIsOn(lockKey) != wasOn; }, 20s))
            << keyName.toStdString() << " did not toggle";
    }

    static X11HotKeyBackend* x11Backend()
    {
        return dynamic_cast<X11HotKeyBackend*>(&HotKeysController::backend());
    }

    // The key that carries `keysym` now, as a client connecting afresh sees it.
    static unsigned int currentKeycode(KeySym keysym)
    {
        Display* display = XOpenDisplay(nullptr);
        if (!display) {
            return 0;
        }
        const unsigned int keycode = XKeysymToKeycode(display, keysym);
        XCloseDisplay(display);
        return keycode;
    }

    // Moves a key symbol to a key that had none while it lives, as xmodmap would (the same core
    // request from a client of its own), and puts both keys back when it goes.
    class MovedKeySymbol
    {
    public:
        explicit MovedKeySymbol(KeySym keysym) : display(XOpenDisplay(nullptr))
        {
            if (!display) {
                return;
            }
            from = XKeysymToKeycode(display, keysym);
            int minKeycode = 0;
            int maxKeycode = 0;
            XDisplayKeycodes(display, &minKeycode, &maxKeycode);
            // The highest key without any symbol.
            for (int keycode = maxKeycode; keycode >= minKeycode && !to; --keycode) {
                if (row(keycode).count(NoSymbol) == perKeycode) {
                    to = static_cast<KeyCode>(keycode);
                }
            }
            if (!from || !to) {
                return;
            }
            fromRow = row(from);
            toRow = row(to);
            // Taken away first, then given: the symbol is never on two keys at once.
            write(from, toRow);
            write(to, fromRow);
        }
        ~MovedKeySymbol()
        {
            if (from && to) {
                write(to, toRow);
                write(from, fromRow);
            }
            if (display) {
                XCloseDisplay(display);
            }
        }
        MovedKeySymbol(const MovedKeySymbol&) = delete;
        MovedKeySymbol& operator=(const MovedKeySymbol&) = delete;

        bool moved() const { return from && to; }

        Display* display;
        KeyCode from = 0;
        KeyCode to = 0;

    private:
        QList<KeySym> row(int keycode)
        {
            QList<KeySym> symbols;
            KeySym* map =
                XGetKeyboardMapping(display, static_cast<KeyCode>(keycode), 1, &perKeycode);
            for (int column = 0; map && column < perKeycode; ++column) {
                symbols.append(map[column]);
            }
            if (map) {
                XFree(map);
            }
            return symbols;
        }
        void write(KeyCode keycode, QList<KeySym> symbols)
        {
            XChangeKeyboardMapping(display, keycode, static_cast<int>(symbols.size()),
                                   symbols.data(), 1);
            XSync(display, False);
        }

        int perKeycode = 0;
        QList<KeySym> fromRow;
        QList<KeySym> toRow;
    };

    // The box of a hot key; null when it has none.
    static const HotKeysController::HotKeyBox* boxOf(const HotKey& hotKey)
    {
        for (const auto& [id, box] : HotKeysController::hotKeys) {
            if (box.identifier == hotKey.identifier) {
                return &box;
            }
        }
        return nullptr;
    }

    QTemporaryDir dir;
    std::unique_ptr<SettingsManager> settings;
    std::unique_ptr<HotKey> sentinel;
    int sentinelPresses = 0;
    bool locksRecorded = false;
    bool numLockWasOn = false;
    bool capsLockWasOn = false;
};

// A separate X client, for grabs that compete with ours.
class OtherClient
{
public:
    OtherClient() : display(XOpenDisplay(nullptr)) {}
    ~OtherClient()
    {
        if (display) {
            XCloseDisplay(display);
        }
    }

    // True when the grab of `keysym` with `modifiers` succeeded.
    bool grab(KeySym keysym, unsigned int modifiers)
    {
        static bool failed;
        failed = false;
        const XErrorHandler previous = XSetErrorHandler([](Display*, XErrorEvent*) {
            failed = true;
            return 0;
        });
        XGrabKey(display, XKeysymToKeycode(display, keysym), modifiers, DefaultRootWindow(display),
                 True, GrabModeAsync, GrabModeAsync);
        XSync(display, False);
        XSetErrorHandler(previous);
        return !failed;
    }

    Display* display;
};

} // namespace

TEST_F(GlobalHotKeyTest, ControlOptionLRunsTheCallbackExactlyOnce)
{
    settings->setHotKeyCode(37);
    settings->setHotKeyModifiers(0x1800);
    HotKeyManager manager(settings.get());
    int presses = 0;
    manager.onHotKeyPressed = [&] {
        ++presses;
    };
    ASSERT_NE(manager.hotKey, nullptr);
    ASSERT_NE(boxOf(*manager.hotKey), nullptr);
    EXPECT_NE(boxOf(*manager.hotKey)->carbonEventHotKey, nullptr);

    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+l")});
    ASSERT_TRUE(waitUntil([&] { return presses == 1; }, 20s));
    flushPresses();
    EXPECT_EQ(presses, 1);
}

TEST_F(GlobalHotKeyTest, OtherModifiersDoNotTriggerTheShortcut)
{
    HotKey hotKey(KeyCombo(Key::l, ModifierFlags::control | ModifierFlags::option));
    int presses = 0;
    hotKey.keyDownHandler = [&] {
        ++presses;
    };
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+l")});
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+shift+l")});
    xdotool({QStringLiteral("key"), QStringLiteral("l")});
    flushPresses();
    EXPECT_EQ(presses, 0);
}

TEST_F(GlobalHotKeyTest, ReleaseRunsTheKeyUpHandler)
{
    int downs = 0;
    int ups = 0;
    HotKey hotKey(
        KeyCombo(Key::l, ModifierFlags::control | ModifierFlags::option), [&] { ++downs; },
        [&] { ++ups; });
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+l")});
    ASSERT_TRUE(waitUntil([&] { return ups == 1; }, 20s));
    EXPECT_EQ(downs, 1);
}

TEST_F(GlobalHotKeyTest, ReleaseAfterTheModifiersStillEndsThePress)
{
    int downs = 0;
    int ups = 0;
    HotKey hotKey(
        KeyCombo(Key::l, ModifierFlags::control | ModifierFlags::option), [&] { ++downs; },
        [&] { ++ups; });
    xdotool({QStringLiteral("keydown"), QStringLiteral("ctrl+alt+l")});
    ASSERT_TRUE(waitUntil([&] { return downs == 1; }, 20s));
    xdotool({QStringLiteral("keyup"), QStringLiteral("ctrl")});
    xdotool({QStringLiteral("keyup"), QStringLiteral("alt")});
    xdotool({QStringLiteral("keyup"), QStringLiteral("l")});
    ASSERT_TRUE(waitUntil([&] { return ups == 1; }, 20s));
}

TEST_F(GlobalHotKeyTest, HeldShortcutRunsTheActionOnceAndReleasesOnce)
{
    settings->setHotKeyCode(37);
    settings->setHotKeyModifiers(0x1800);
    HotKeyManager manager(settings.get());
    int presses = 0;
    int releases = 0;
    manager.onHotKeyPressed = [&] {
        ++presses;
    };
    ASSERT_NE(manager.hotKey, nullptr);
    manager.hotKey->keyUpHandler = [&] {
        ++releases;
    };
    const X11HotKeyBackend* backend = x11Backend();
    ASSERT_NE(backend, nullptr);
    const int repeatsBefore = backend->ignoredRepeats();

    xdotool({QStringLiteral("keydown"), QStringLiteral("ctrl+alt+l")});
    ASSERT_TRUE(waitUntil([&] { return presses == 1; }, 20s));
    // The server's auto-repeat goes on pressing while the key is held.
    ASSERT_TRUE(waitUntil([&] { return backend->ignoredRepeats() >= repeatsBefore + 3; }, 20s));
    xdotool({QStringLiteral("keyup"), QStringLiteral("l")});
    xdotool({QStringLiteral("keyup"), QStringLiteral("ctrl+alt")});
    ASSERT_TRUE(waitUntil([&] { return releases == 1; }, 20s));
    flushPresses();
    EXPECT_EQ(presses, 1);
    EXPECT_EQ(releases, 1);

    // The next press counts again.
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+l")});
    ASSERT_TRUE(waitUntil([&] { return releases == 2; }, 20s));
    EXPECT_EQ(presses, 2);
}

TEST_F(GlobalHotKeyTest, ShortcutHeldByAnotherClientIsReportedAndAnotherOneCanBeRecorded)
{
    OtherClient other;
    ASSERT_NE(other.display, nullptr);
    ASSERT_TRUE(other.grab(XK_l, ControlMask | Mod1Mask));
    settings->setHotKeyCode(37);
    settings->setHotKeyModifiers(0x1800);
    LogCapture log;
    HotKeyManager manager(settings.get());
    int presses = 0;
    manager.onHotKeyPressed = [&] {
        ++presses;
    };
    EXPECT_EQ(manager.registration(), std::optional(HotKeyRegistration::taken));
    EXPECT_EQ(log.count(QStringLiteral(
                  "⚠️ [HotKeyManager] Shortcut Ctrl+Alt+L is taken by another app")),
              1);
    const QString problem =
        QStringLiteral("Ctrl+Alt+L is taken by another app. Choose another shortcut.");

    // The menu's main item shows no key equivalent.
    FakeServerManager serverManager;
    FakeProjectManager projectManager;
    FakeBrowserManager browserManager;
    const Project web = TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web"));
    projectManager.setProjects({web});
    projectManager.setSelectedProject(web);
    StatusBarController controller(settings.get(), &serverManager, &projectManager, &browserManager,
                                   nullptr, &manager, {}, {});
    QAction* mainItem = controller.menu->actions().first();
    EXPECT_EQ(mainItem->text(), QStringLiteral("Find localhost:3000"));
    EXPECT_TRUE(mainItem->shortcut().isEmpty());
    EXPECT_EQ(mainItem->toolTip(), problem);

    // The settings' recorder says so.
    SettingsView view(settings.get(), &projectManager, &serverManager, nullptr);
    view.setHotKeyManager(&manager);
    view.show();
    ASSERT_TRUE(
        waitUntil([&] { return view.windowHandle() && view.windowHandle()->isExposed(); }, 30s));
    ShortcutRecorderView* recorder = view.shortcutRecorder();
    EXPECT_EQ(recorder->label(), QStringLiteral("Click to set"));
    EXPECT_EQ(view.shortcutProblemLabel()->text(), problem);
    EXPECT_TRUE(view.shortcutProblemLabel()->isVisible());
    const QString shots =
        QDir::cleanPath(QStringLiteral(WISP_BIN_DIR "/../test-output/e2e-shortcut"));
    ASSERT_TRUE(QDir().mkpath(shots));
    EXPECT_TRUE(Desktop::screenshot(shots + QStringLiteral("/shortcut-taken.png")));

    // Recording another combination on the keyboard registers it at once.
    xdotool(
        {QStringLiteral("windowfocus"), QStringLiteral("--sync"), QString::number(view.winId())});
    ASSERT_TRUE(
        waitUntil([&] { return QGuiApplication::focusWindow() == view.windowHandle(); }, 30s));
    recorder->setRecording(true);
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+j")});
    ASSERT_TRUE(waitUntil([&] { return !recorder->isRecording(); }, 20s));
    EXPECT_EQ(settings->hotKeyCode(), 38u);
    EXPECT_EQ(settings->hotKeyModifiers(), 0x1800u);
    EXPECT_TRUE(manager.isRegistered());
    EXPECT_EQ(recorder->label(), QStringLiteral("Ctrl+Alt+J"));
    EXPECT_FALSE(view.shortcutProblemLabel()->isVisible());
    mainItem = controller.menu->actions().first();
    EXPECT_EQ(mainItem->shortcut().toString(), QStringLiteral("Ctrl+Alt+J"));
    EXPECT_FALSE(mainItem->toolTip().contains(QStringLiteral("taken")));

    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+j")});
    ASSERT_TRUE(waitUntil([&] { return presses == 1; }, 20s));
    // The other client keeps its combination.
    flushPresses();
    EXPECT_EQ(presses, 1);
}

TEST_F(GlobalHotKeyTest, ShortcutFollowsAKeyboardMappingChange)
{
    settings->setHotKeyCode(37);
    settings->setHotKeyModifiers(0x1800);
    HotKeyManager manager(settings.get());
    int presses = 0;
    manager.onHotKeyPressed = [&] {
        ++presses;
    };
    ASSERT_TRUE(manager.isRegistered());
    const X11HotKeyBackend* backend = x11Backend();
    ASSERT_NE(backend, nullptr);
    const unsigned int usualKey = currentKeycode(XK_l);
    const int remappingsBefore = backend->remappings();

    {
        MovedKeySymbol moved(XK_l);
        ASSERT_TRUE(moved.moved());
        ASSERT_EQ(currentKeycode(XK_l), moved.to);
        ASSERT_TRUE(waitUntil(
            [&] { return backend->remappings() > remappingsBefore && manager.isRegistered(); },
            20s));
        // xdotool types L on the key that carries it now.
        xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+l")});
        ASSERT_TRUE(waitUntil([&] { return presses == 1; }, 20s));
        EXPECT_TRUE(manager.isRegistered());
        flushPresses();
        EXPECT_EQ(presses, 1);
    }

    // And back on its usual key.
    ASSERT_EQ(currentKeycode(XK_l), usualKey);
    const int remappingsMoved = backend->remappings();
    ASSERT_TRUE(waitUntil(
        [&] { return backend->remappings() > remappingsMoved && manager.isRegistered(); }, 20s));
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+l")});
    ASSERT_TRUE(waitUntil([&] { return presses == 2; }, 20s));
    EXPECT_TRUE(manager.isRegistered());
}

TEST_F(GlobalHotKeyTest, UnregisteredShortcutNoLongerFires)
{
    settings->setHotKeyCode(37);
    settings->setHotKeyModifiers(0x1800);
    HotKeyManager manager(settings.get());
    int presses = 0;
    manager.onHotKeyPressed = [&] {
        ++presses;
    };
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+l")});
    ASSERT_TRUE(waitUntil([&] { return presses == 1; }, 20s));

    settings->setHotKeyCode(0);
    manager.registerHotKey();
    ASSERT_EQ(manager.hotKey, nullptr);

    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+l")});
    flushPresses();
    EXPECT_EQ(presses, 1);

    // The grab is really gone: another client may take the combination now.
    OtherClient other;
    ASSERT_NE(other.display, nullptr);
    EXPECT_TRUE(other.grab(XK_l, ControlMask | Mod1Mask));
}

TEST_F(GlobalHotKeyTest, PausedHotKeyDoesNotFireAndResumedOneDoes)
{
    int presses = 0;
    HotKey hotKey(KeyCombo(Key::l, ModifierFlags::control | ModifierFlags::option),
                  [&] { ++presses; });
    hotKey.setPaused(true);
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+l")});
    flushPresses();
    EXPECT_EQ(presses, 0);

    hotKey.setPaused(false);
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+l")});
    ASSERT_TRUE(waitUntil([&] { return presses == 1; }, 20s));
}

TEST_F(GlobalHotKeyTest, GrabWorksWithNumLockOn)
{
    int presses = 0;
    HotKey hotKey(KeyCombo(Key::l, ModifierFlags::control | ModifierFlags::option),
                  [&] { ++presses; });
    ASSERT_FALSE(lockIsOn(XK_Num_Lock));
    toggleLock(QStringLiteral("Num_Lock"), XK_Num_Lock);
    ASSERT_TRUE(lockIsOn(XK_Num_Lock));

    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+l")});
    ASSERT_TRUE(waitUntil([&] { return presses == 1; }, 20s));
    flushPresses();
    EXPECT_EQ(presses, 1);
}

TEST_F(GlobalHotKeyTest, GrabWorksWithCapsLockAndWithBothLocksOn)
{
    int presses = 0;
    HotKey hotKey(KeyCombo(Key::l, ModifierFlags::control | ModifierFlags::option),
                  [&] { ++presses; });
    toggleLock(QStringLiteral("Caps_Lock"), XK_Caps_Lock);
    ASSERT_TRUE(lockIsOn(XK_Caps_Lock));
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+l")});
    ASSERT_TRUE(waitUntil([&] { return presses == 1; }, 20s));

    toggleLock(QStringLiteral("Num_Lock"), XK_Num_Lock);
    ASSERT_TRUE(lockIsOn(XK_Num_Lock) && lockIsOn(XK_Caps_Lock));
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+l")});
    ASSERT_TRUE(waitUntil([&] { return presses == 2; }, 20s));
}

TEST_F(GlobalHotKeyTest, RegisteredAfterNumLockWasTurnedOnStillFires)
{
    toggleLock(QStringLiteral("Num_Lock"), XK_Num_Lock);
    int presses = 0;
    HotKey hotKey(KeyCombo(Key::f5, ModifierFlags::control | ModifierFlags::shift),
                  [&] { ++presses; });
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+shift+F5")});
    ASSERT_TRUE(waitUntil([&] { return presses == 1; }, 20s));
}

TEST_F(GlobalHotKeyTest, CombinationHeldByAnotherClientFailsToRegister)
{
    OtherClient other;
    ASSERT_NE(other.display, nullptr);
    ASSERT_TRUE(other.grab(XK_j, ControlMask | Mod1Mask));

    Display* display = appDisplay();
    const XErrorHandler before = XSetErrorHandler(nullptr);
    XSetErrorHandler(before);

    int presses = 0;
    HotKey hotKey(KeyCombo(Key::j, ModifierFlags::control | ModifierFlags::option),
                  [&] { ++presses; });
    const HotKeysController::HotKeyBox* box = boxOf(hotKey);
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->carbonEventHotKey, nullptr);

    // The application's error handler is back in place, and the connection still works.
    const XErrorHandler after = XSetErrorHandler(nullptr);
    XSetErrorHandler(after);
    EXPECT_EQ(after, before);
    XSync(display, False);

    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+j")});
    flushPresses();
    EXPECT_EQ(presses, 0);
}

TEST_F(GlobalHotKeyTest, SameCombinationTwiceRegistersOnlyTheFirst)
{
    int first = 0;
    int second = 0;
    HotKey one(KeyCombo(Key::l, ModifierFlags::control | ModifierFlags::option), [&] { ++first; });
    HotKey two(KeyCombo(Key::l, ModifierFlags::control | ModifierFlags::option), [&] { ++second; });
    EXPECT_NE(boxOf(one)->carbonEventHotKey, nullptr);
    EXPECT_EQ(boxOf(two)->carbonEventHotKey, nullptr);
    xdotool({QStringLiteral("key"), QStringLiteral("ctrl+alt+l")});
    ASSERT_TRUE(waitUntil([&] { return first == 1; }, 20s));
    flushPresses();
    EXPECT_EQ(second, 0);
}

TEST_F(GlobalHotKeyTest, CommandIsTheSuperKey)
{
    int presses = 0;
    HotKey hotKey(KeyCombo(Key::space, ModifierFlags::command | ModifierFlags::option),
                  [&] { ++presses; });
    ASSERT_NE(boxOf(hotKey)->carbonEventHotKey, nullptr);
    xdotool({QStringLiteral("key"), QStringLiteral("super+alt+space")});
    ASSERT_TRUE(waitUntil([&] { return presses == 1; }, 20s));
}

TEST_F(GlobalHotKeyTest, KeyWithoutAnXKeyFailsToRegister)
{
    HotKey function(KeyCombo(Key::function, ModifierFlags::control));
    HotKey unassigned(KeyCombo(52, 0x1000));
    EXPECT_EQ(boxOf(function)->carbonEventHotKey, nullptr);
    EXPECT_EQ(boxOf(unassigned)->carbonEventHotKey, nullptr);
}

TEST(X11KeyTable, TranslatesCarbonCodesToKeySymbols)
{
    EXPECT_EQ(X11KeyTable::keysym(37), std::optional<unsigned long>(XK_l));
    EXPECT_EQ(X11KeyTable::keysym(0), std::optional<unsigned long>(XK_a));
    EXPECT_EQ(X11KeyTable::keysym(6), std::optional<unsigned long>(XK_z));
    EXPECT_EQ(X11KeyTable::keysym(29), std::optional<unsigned long>(XK_0));
    EXPECT_EQ(X11KeyTable::keysym(25), std::optional<unsigned long>(XK_9));
    EXPECT_EQ(X11KeyTable::keysym(49), std::optional<unsigned long>(XK_space));
    EXPECT_EQ(X11KeyTable::keysym(36), std::optional<unsigned long>(XK_Return));
    EXPECT_EQ(X11KeyTable::keysym(51), std::optional<unsigned long>(XK_BackSpace));
    EXPECT_EQ(X11KeyTable::keysym(117), std::optional<unsigned long>(XK_Delete));
    EXPECT_EQ(X11KeyTable::keysym(53), std::optional<unsigned long>(XK_Escape));
    EXPECT_EQ(X11KeyTable::keysym(122), std::optional<unsigned long>(XK_F1));
    EXPECT_EQ(X11KeyTable::keysym(90), std::optional<unsigned long>(XK_F20));
    EXPECT_EQ(X11KeyTable::keysym(82), std::optional<unsigned long>(XK_KP_0));
    EXPECT_EQ(X11KeyTable::keysym(76), std::optional<unsigned long>(XK_KP_Enter));
    EXPECT_EQ(X11KeyTable::keysym(126), std::optional<unsigned long>(XK_Up));
    EXPECT_EQ(X11KeyTable::keysym(116), std::optional<unsigned long>(XK_Page_Up));
    EXPECT_EQ(X11KeyTable::keysym(55), std::optional<unsigned long>(XK_Super_L));
    EXPECT_EQ(X11KeyTable::keysym(58), std::optional<unsigned long>(XK_Alt_L));
    EXPECT_FALSE(X11KeyTable::keysym(63).has_value()); // fn
    EXPECT_FALSE(X11KeyTable::keysym(52).has_value());
    EXPECT_FALSE(X11KeyTable::keysym(127).has_value());
}

TEST(X11KeyTable, EveryKeyButFunctionHasAKeySymbolOfItsOwn)
{
    QSet<unsigned long> seen;
    for (const Key& key : Key::allCases()) {
        const std::optional<unsigned long> keysym = X11KeyTable::keysym(key.carbonKeyCode());
        if (key == Key::function) {
            EXPECT_FALSE(keysym.has_value());
            continue;
        }
        ASSERT_TRUE(keysym.has_value()) << key.carbonKeyCode();
        EXPECT_FALSE(seen.contains(*keysym)) << key.carbonKeyCode();
        seen.insert(*keysym);
    }
}

TEST(X11KeyTable, LettersDigitsAndCommonKeysExistOnTheDisplay)
{
    Display* display = appDisplay();
    ASSERT_NE(display, nullptr);
    for (const Key& key : Key::allCases()) {
        const bool common = (key >= Key::a && key <= Key::leftBracket) || key == Key::minus ||
                            (key >= Key::space && key <= Key::return_) ||
                            (key >= Key::pageUp && key <= Key::f12) || key == Key::escape ||
                            key == Key::delete_ || key == Key::forwardDelete;
        if (common) {
            EXPECT_NE(XKeysymToKeycode(display, *X11KeyTable::keysym(key.carbonKeyCode())), 0)
                << key.carbonKeyCode();
        }
    }
}

TEST(X11KeyTable, CarbonModifiersBecomeXMasks)
{
    EXPECT_EQ(X11KeyTable::modifierMask(0x1000), unsigned(ControlMask));
    EXPECT_EQ(X11KeyTable::modifierMask(0x800), unsigned(Mod1Mask));
    EXPECT_EQ(X11KeyTable::modifierMask(0x200), unsigned(ShiftMask));
    EXPECT_EQ(X11KeyTable::modifierMask(0x100), unsigned(Mod4Mask));
    EXPECT_EQ(X11KeyTable::modifierMask(0x1800), unsigned(ControlMask | Mod1Mask));
    EXPECT_EQ(X11KeyTable::modifierMask(0x400 | 0x2000 | 0x1), 0u);
}

TEST(X11ModifierFlags, QtModifiersMapToTheKeysAsPrinted)
{
    EXPECT_EQ(ModifierFlags::fromQt(Qt::ControlModifier), ModifierFlags(ModifierFlags::control));
    EXPECT_EQ(ModifierFlags::fromQt(Qt::AltModifier), ModifierFlags(ModifierFlags::option));
    EXPECT_EQ(ModifierFlags::fromQt(Qt::ShiftModifier), ModifierFlags(ModifierFlags::shift));
    EXPECT_EQ(ModifierFlags::fromQt(Qt::MetaModifier), ModifierFlags(ModifierFlags::command));
    EXPECT_EQ(ModifierFlags::fromQt(Qt::KeypadModifier), ModifierFlags());
}

TEST(X11KeyCombo, ThereAreNoSystemKeyCombosToAsk)
{
    EXPECT_TRUE(KeyCombo::systemKeyCombos().isEmpty());
}

TEST(LinuxPermissions, BothPermissionsAreGranted)
{
    const std::shared_ptr<PermissionProbes> probes = PermissionProbes::makeSystemProbes();
    EXPECT_TRUE(probes->checkAutomationPermission());
    EXPECT_TRUE(probes->checkAccessibilityPermission());
    probes->triggerAutomationPermission();
}

TEST(LinuxPermissions, RequestingAccessibilityOnlyLogsThatNoPaneExists)
{
    PermissionsManager manager;
    LogCapture log;
    manager.requestAccessibilityPermission();
    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral(
                  "⚠️ [SystemSettings] No settings pane for "
                  "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility "
                  "on this platform")});
}

TEST(LinuxPermissions, MonitorSeesBothGrantedAndStopsPollingOnTheFirstTick)
{
    PermissionsManager manager;
    ASSERT_TRUE(waitUntil(
        [&] { return manager.hasAutomationPermission() && manager.hasAccessibilityPermission(); }));
    ASSERT_TRUE(
        waitUntil([&] { return !manager.automationTimer() && !manager.accessibilityTimer(); }));
}
