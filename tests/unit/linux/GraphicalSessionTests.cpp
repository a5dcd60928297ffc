#include "Platform/GraphicalSession.h"

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

namespace {

QProcessEnvironment environment(const QStringList& settings)
{
    QProcessEnvironment result;
    result.insert(QStringLiteral("HOME"), QStringLiteral("/root"));
    for (const QString& setting : settings) {
        const qsizetype equals = setting.indexOf(QLatin1Char('='));
        result.insert(setting.left(equals), setting.mid(equals + 1));
    }
    return result;
}

} // namespace

TEST(GraphicalSession, NeitherDisplayNorWaylandNorAPlatformMeansNoDisplay)
{
    EXPECT_EQ(GraphicalSession::missingDisplayReason(environment({})),
              QStringLiteral("wisp: no display to show the tray icon on (neither DISPLAY nor "
                             "WAYLAND_DISPLAY is set)"));
    // Set but empty counts as not set.
    EXPECT_FALSE(GraphicalSession::missingDisplayReason(
                     environment({QStringLiteral("DISPLAY="), QStringLiteral("WAYLAND_DISPLAY=")}))
                     .isEmpty());
}

TEST(GraphicalSession, AnX11OrWaylandDisplayOrAChosenPlatformIsEnough)
{
    EXPECT_TRUE(GraphicalSession::missingDisplayReason(environment({QStringLiteral("DISPLAY=:0")}))
                    .isEmpty());
    EXPECT_TRUE(GraphicalSession::missingDisplayReason(
                    environment({QStringLiteral("WAYLAND_DISPLAY=wayland-0")}))
                    .isEmpty());
    EXPECT_TRUE(GraphicalSession::missingDisplayReason(
                    environment({QStringLiteral("QT_QPA_PLATFORM=offscreen")}))
                    .isEmpty());
}
