#include "Views/LoginItemSwitch.h"

#include "Managers/PermissionsManager.h"
#include "Platform/linux/LinuxLoginItem.h"
#include "Views/SettingsView.h"
#include "fakes/FakePermissionProbes.h"
#include "fakes/FakeProjectManager.h"
#include "fakes/FakeServerManager.h"
#include "fakes/FakeSystemSettingsOpener.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/ScopedConfigHome.h"
#include "support/TestSettings.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QStyleOptionButton>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>

// The "Open at login" switch over the real autostart entry, in a private configuration home.
namespace {

class LoginItemSwitchTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(home.isValid()); }

    QString configHome() const { return home.path(); }
    QString entry() const { return configHome() + QStringLiteral("/autostart/wisp.desktop"); }

    LoginItemSwitch* makeSwitch()
    {
        loginSwitch = std::make_unique<LoginItemSwitch>();
        loginSwitch->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(loginSwitch.get()));
        return loginSwitch.get();
    }

    // A real click on the check box's indicator.
    static void click(QAbstractButton* button)
    {
        QStyleOptionButton option;
        option.initFrom(button);
        const QRect indicator =
            button->style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, button);
        QTest::mouseClick(button, Qt::LeftButton, Qt::NoModifier, indicator.center());
    }

    ScopedConfigHome home;
    std::unique_ptr<LoginItemSwitch> loginSwitch;
};

} // namespace

TEST_F(LoginItemSwitchTest, ClickingWritesAndRemovesTheAutostartEntry)
{
    LogCapture log;
    LoginItemSwitch* toggle = makeSwitch();
    EXPECT_EQ(toggle->text(), QStringLiteral("Open at login"));
    EXPECT_FALSE(toggle->isChecked());

    click(toggle);
    EXPECT_TRUE(toggle->isChecked());
    ASSERT_TRUE(QFileInfo(entry()).isFile());
    QFile file(entry());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(file.readAll()),
              LinuxLoginItem::entryText(QCoreApplication::applicationFilePath()));

    click(toggle);
    EXPECT_FALSE(toggle->isChecked());
    EXPECT_FALSE(QFileInfo::exists(entry()));
    EXPECT_EQ(log.linesStartingWith(QStringLiteral("✅ [LoginItem]")),
              (QStringList{QStringLiteral("✅ [LoginItem] wisp opens at login"),
                           QStringLiteral("✅ [LoginItem] wisp no longer opens at login")}));
}

TEST_F(LoginItemSwitchTest, ShowsTheEntryFoundWhenShown)
{
    LinuxLoginItem loginItem;
    QString error;
    ASSERT_TRUE(loginItem.setEnabled(true, &error));
    LoginItemSwitch* toggle = makeSwitch();
    EXPECT_TRUE(toggle->isChecked());

    // Removed behind wisp's back while the panel was closed.
    toggle->hide();
    ASSERT_TRUE(QFile::remove(entry()));
    toggle->show();
    EXPECT_FALSE(toggle->isChecked());
}

TEST_F(LoginItemSwitchTest, ARefusedChangeIsLoggedAndTheSwitchGoesBack)
{
    ASSERT_TRUE(QDir().mkpath(configHome()));
    QFile blocker(configHome() + QStringLiteral("/autostart"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();

    LogCapture log;
    LoginItemSwitch* toggle = makeSwitch();
    click(toggle);
    EXPECT_FALSE(toggle->isChecked());
    EXPECT_EQ(log.linesStartingWith(QStringLiteral("❌ [LoginItem]")),
              QStringList{QStringLiteral("❌ [LoginItem] Could not open wisp at login: ") +
                          configHome() + QStringLiteral("/autostart: cannot create the folder")});
}

TEST_F(LoginItemSwitchTest, SettingsViewHasTheSwitchBesideTheServerStatus)
{
    TestSettings settings;
    FakeProjectManager projects;
    FakeServerManager servers;
    PermissionsManager permissions(std::make_shared<FakePermissionProbes>(),
                                   std::make_shared<FakeSystemSettingsOpener>());
    SettingsView view(settings.get(), &projects, &servers, &permissions);
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));

    LoginItemSwitch* toggle = view.loginItemSwitch();
    ASSERT_NE(toggle, nullptr);
    EXPECT_TRUE(view.sections().last()->isAncestorOf(toggle));
    EXPECT_TRUE(view.sections().last()->isAncestorOf(view.statusLabel()));
    EXPECT_TRUE(toggle->isVisible());
    // Fits the panel's width beside the status text.
    EXPECT_LE(toggle->geometry().right(), view.sections().last()->width());

    click(toggle);
    EXPECT_TRUE(QFileInfo(entry()).isFile());
    permissions.stopPolling();
}
