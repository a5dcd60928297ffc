#include "HotKey/ModifierFlags.h"

#include "support/QtPrinters.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

// Qt names the Command key Control on macOS unless the application sets
// AA_MacDontSwapCtrlAndMeta; application and global shortcuts follow the attribute alike.
namespace {

class ModifierFlagsMacTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        QCoreApplication::setAttribute(Qt::AA_MacDontSwapCtrlAndMeta, swapAttribute);
    }

    const bool swapAttribute = QCoreApplication::testAttribute(Qt::AA_MacDontSwapCtrlAndMeta);
};

} // namespace

TEST_F(ModifierFlagsMacTest, CommandIsQtsControlWhileQtSwapsTheNames)
{
    QCoreApplication::setAttribute(Qt::AA_MacDontSwapCtrlAndMeta, false);
    const ModifierFlags command(ModifierFlags::command);
    const ModifierFlags control(ModifierFlags::control);
    EXPECT_EQ(command.toQtApplicationShortcut(), Qt::KeyboardModifiers(Qt::ControlModifier));
    EXPECT_EQ(control.toQtApplicationShortcut(), Qt::KeyboardModifiers(Qt::MetaModifier));
    EXPECT_EQ(command.toQt(), Qt::KeyboardModifiers(Qt::ControlModifier));
}

TEST_F(ModifierFlagsMacTest, CommandIsQtsMetaWhenTheApplicationKeepsTheNames)
{
    QCoreApplication::setAttribute(Qt::AA_MacDontSwapCtrlAndMeta, true);
    const ModifierFlags command(ModifierFlags::command);
    const ModifierFlags control(ModifierFlags::control);
    EXPECT_EQ(command.toQtApplicationShortcut(), Qt::KeyboardModifiers(Qt::MetaModifier));
    EXPECT_EQ(control.toQtApplicationShortcut(), Qt::KeyboardModifiers(Qt::ControlModifier));
    EXPECT_EQ(ModifierFlags::fromQt(command.toQtApplicationShortcut()), command);
}
