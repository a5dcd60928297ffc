#include "Utilities/Addresses.h"

namespace {
const QString http = QStringLiteral("http");
} // namespace

QString Addresses::customAddress(const QString& text)
{
    const QString trimmed = text.trimmed();
    return trimmed.startsWith(http) ? trimmed : QStringLiteral("https://") + trimmed;
}

QString Addresses::localAddress(int port)
{
    return QStringLiteral("localhost:") + QString::number(port);
}

QString Addresses::browserAddress(const QString& text)
{
    return text.startsWith(http) ? text : QStringLiteral("http://") + text;
}
