#include "Views/RegistrationLine.h"

#include "HotKey/HotKeysController.h"
#include "Managers/HotKeyManager.h"
#include "Managers/PermissionsManager.h"
#include "Views/SettingsPopover.h"
#include "Views/SettingsView.h"

#include "fakes/FakeFolderChooser.h"
#include "fakes/FakeHotKeyBackend.h"
#include "fakes/FakePermissionProbes.h"
#include "fakes/FakeProjectManager.h"
#include "fakes/FakeServerManager.h"
#include "fakes/FakeSystemSettingsOpener.h"
#include "support/QtPrinters.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QStyle>
#include <QTest>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

// The shortcut problem line must be readable: at least 4.5:1 against the window behind it, in a
// light palette and in a dark one (the contrast of text that must be read).
using TestSupport::waitUntil;

namespace {

// WCAG relative luminance of an sRGB colour.
double luminance(const QColor& colour)
{
    const auto linear = [](double channel) {
        return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
    };
    const QColor rgb = colour.toRgb();
    return 0.2126 * linear(rgb.redF()) + 0.7152 * linear(rgb.greenF()) +
           0.0722 * linear(rgb.blueF());
}

double contrast(const QColor& one, const QColor& other)
{
    const double lighter = std::max(luminance(one), luminance(other));
    const double darker = std::min(luminance(one), luminance(other));
    return (lighter + 0.05) / (darker + 0.05);
}

QPalette lightPalette()
{
    QPalette light = QApplication::style()->standardPalette();
    light.setColor(QPalette::Window, QColor(246, 246, 246));
    light.setColor(QPalette::WindowText, QColor(29, 29, 31));
    return light;
}

QPalette darkPalette()
{
    QPalette dark = QApplication::style()->standardPalette();
    dark.setColor(QPalette::Window, QColor(45, 45, 48));
    dark.setColor(QPalette::WindowText, QColor(230, 230, 230));
    dark.setColor(QPalette::Base, QColor(30, 30, 30));
    dark.setColor(QPalette::Text, QColor(230, 230, 230));
    dark.setColor(QPalette::Button, QColor(60, 60, 63));
    dark.setColor(QPalette::ButtonText, QColor(230, 230, 230));
    dark.setColor(QPalette::PlaceholderText, QColor(160, 160, 165));
    return dark;
}

QString screenshotFolder()
{
    return QDir::cleanPath(QStringLiteral(WISP_BIN_DIR "/../test-output/shortcut-problem-line"));
}

class RegistrationLineTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        backend = FakeHotKeyBackend::install();
        backend->refusedCombos = {{KeyCombo(37, 0x1800), HotKeyRegistration::taken}};
        settings->setHotKeyCode(37);
        settings->setHotKeyModifiers(0x1800);
        hotKeyManager = std::make_unique<HotKeyManager>(settings.get());
        ASSERT_EQ(hotKeyManager->registration(), std::optional(HotKeyRegistration::taken));
    }

    void TearDown() override
    {
        popover.reset();
        QApplication::setPalette(original);
    }

    // The settings popover, shown, with the problem line under the recorder.
    void showSettings()
    {
        popover = std::make_unique<SettingsPopover>();
        auto* view = new SettingsView(settings.get(), &projectManager, &serverManager,
                                      permissions.get(), std::make_shared<FakeFolderChooser>());
        view->setHotKeyManager(hotKeyManager.get());
        popover->setContent(view);
        popover->showRelativeTo(QRect(400, 0, 20, 20));
        ASSERT_TRUE(QTest::qWaitForWindowExposed(popover.get()));
        line = view->shortcutRegistrationLine();
        ASSERT_TRUE(line->isVisible());
    }

    // The contrast of the line's text with the window behind it, as drawn now.
    double lineContrast() const
    {
        const QLabel* text = line->textLabel();
        return contrast(text->palette().color(text->foregroundRole()),
                        popover->palette().color(popover->backgroundRole()));
    }

    void saveScreenshot(const QString& name)
    {
        ASSERT_TRUE(QDir().mkpath(screenshotFolder()));
        const QString path = QDir(screenshotFolder()).filePath(name + QStringLiteral(".png"));
        EXPECT_TRUE(popover->grab().save(path)) << path.toStdString();
    }

    const QPalette original = QApplication::palette();
    FakeHotKeyBackend* backend = nullptr;
    TestSettings settings;
    FakeProjectManager projectManager;
    FakeServerManager serverManager;
    std::unique_ptr<PermissionsManager> permissions = std::make_unique<PermissionsManager>(
        std::make_shared<FakePermissionProbes>(), std::make_shared<FakeSystemSettingsOpener>());
    std::unique_ptr<HotKeyManager> hotKeyManager;
    std::unique_ptr<SettingsPopover> popover;
    RegistrationLine* line = nullptr;
};

} // namespace

TEST_F(RegistrationLineTest, ProblemLineIsReadableOnALightWindow)
{
    QApplication::setPalette(lightPalette());
    ASSERT_NO_FATAL_FAILURE(showSettings());

    EXPECT_GE(lineContrast(), 4.5);
    // The warning yellow stays, as the mark in front of the text.
    EXPECT_TRUE(line->markLabel()->isVisible());
    const QImage mark = line->markLabel()->pixmap().toImage();
    QColor painted;
    for (int y = 0; y < mark.height() && !painted.isValid(); ++y) {
        for (int x = 0; x < mark.width() && !painted.isValid(); ++x) {
            if (mark.pixelColor(x, y).alpha() == 255) {
                painted = mark.pixelColor(x, y);
            }
        }
    }
    EXPECT_EQ(painted.rgb(), QColor(255, 214, 10).rgb());
    saveScreenshot(QStringLiteral("light"));
}

TEST_F(RegistrationLineTest, ProblemLineIsReadableOnADarkWindowAndFollowsTheSwitch)
{
    QApplication::setPalette(lightPalette());
    ASSERT_NO_FATAL_FAILURE(showSettings());

    QApplication::setPalette(darkPalette());
    ASSERT_TRUE(waitUntil(
        [&] { return popover->palette().color(QPalette::Window) == QColor(45, 45, 48); }));

    EXPECT_GE(lineContrast(), 4.5);
    saveScreenshot(QStringLiteral("dark"));
}

TEST_F(RegistrationLineTest, WarningYellowAsTextWouldNotBeReadableOnALightWindow)
{
    // What the line must not go back to: the yellow is a mark, not a text colour.
    EXPECT_LT(contrast(QColor(255, 214, 10), lightPalette().color(QPalette::Window)), 4.5);
    EXPECT_NEAR(contrast(QColor(0, 0, 0), QColor(255, 255, 255)), 21.0, 0.01);
}

TEST_F(RegistrationLineTest, WaitingIsANoteWithoutTheWarningMark)
{
    RegistrationLine waiting;
    waiting.setRegistration(HotKeyRegistration::waiting, QStringLiteral("Ctrl+Alt+L"));
    EXPECT_FALSE(waiting.isHidden());
    EXPECT_TRUE(waiting.markLabel()->isHidden());
    EXPECT_EQ(waiting.textLabel()->text(),
              QStringLiteral("Waiting for the desktop to allow Ctrl+Alt+L"));

    waiting.setRegistration(HotKeyRegistration::registered, QStringLiteral("Ctrl+Alt+L"));
    EXPECT_TRUE(waiting.isHidden());
    waiting.setRegistration(std::nullopt, QString());
    EXPECT_TRUE(waiting.isHidden());
}
