#include "Utilities/Log.h"

#include <QApplication>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("wisp"));
    QCoreApplication::setApplicationName(QStringLiteral("wisp"));
    Log::line(QStringLiteral("🚀 [WispApp] wisp started"));
    return 0;
}
