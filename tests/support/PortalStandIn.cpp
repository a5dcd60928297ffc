#include "support/PortalStandIn.h"

#include "support/TestSupport.h"

#include <QDBusMessage>
#include <QDBusReply>
#include <QProcessEnvironment>

namespace {

const QString portalName = QStringLiteral("org.freedesktop.portal.Desktop");

QDBusMessage control(const QString& method)
{
    return QDBusMessage::createMethodCall(portalName, QStringLiteral("/control"),
                                          QStringLiteral("org.wisp.PortalControl"), method);
}

} // namespace

PortalStandIn::~PortalStandIn()
{
    stop();
}

QString PortalStandIn::executablePath()
{
    return QStringLiteral(WISP_BIN_DIR "/portal-stand-in");
}

bool PortalStandIn::start(const QStringList& arguments, QString* error)
{
    process = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    bus.addTo(environment);
    process->setProcessEnvironment(environment);
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->start(executablePath(), arguments);
    if (!process->waitForStarted(10000)) {
        *error = QStringLiteral("the stand-in portal did not start: ") + process->errorString();
        return false;
    }
    TestSupport::waitUntil(
        [&] { return bus.hasOwner(portalName) || process->state() != QProcess::Running; });
    if (!bus.hasOwner(portalName)) {
        *error = QStringLiteral("the stand-in portal never owned the portal's name");
        return false;
    }
    return true;
}

void PortalStandIn::stop()
{
    if (process && process->state() != QProcess::NotRunning) {
        process->kill();
        process->waitForFinished(5000);
    }
    process.reset();
}

QStringList PortalStandIn::calls() const
{
    const QDBusReply<QStringList> reply = bus.connection().call(control(QStringLiteral("Calls")));
    return reply.isValid() ? reply.value() : QStringList{reply.error().message()};
}

int PortalStandIn::waiting() const
{
    const QDBusReply<uint> reply = bus.connection().call(control(QStringLiteral("Waiting")));
    return reply.isValid() ? int(reply.value()) : -1;
}

bool PortalStandIn::answer(const QString& choice) const
{
    QDBusMessage call = control(QStringLiteral("Answer"));
    call << choice;
    return bus.connection().call(call).type() == QDBusMessage::ReplyMessage;
}

bool PortalStandIn::press(const QString& id) const
{
    QDBusMessage call = control(QStringLiteral("Activate"));
    call << id;
    return bus.connection().call(call).type() == QDBusMessage::ReplyMessage;
}
