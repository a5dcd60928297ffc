#include "GlobalShortcutsPortal.h"

#include "PortalShortcut.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QRandomGenerator>

namespace {

constexpr const char* requestInterface = "org.freedesktop.portal.Request";
constexpr const char* sessionInterface = "org.freedesktop.portal.Session";
constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

// Response codes of a portal request.
constexpr uint responseSuccess = 0;
constexpr uint responseCancelled = 1;

} // namespace

GlobalShortcutsPortal::GlobalShortcutsPortal(const QDBusConnection& bus, QObject* parent)
    : QObject(parent), bus(bus)
{
    PortalShortcut::registerMetaTypes();
}

GlobalShortcutsPortal::~GlobalShortcutsPortal()
{
    if (!sessionHandle.isEmpty() && bus.isConnected()) {
        bus.call(QDBusMessage::createMethodCall(QString::fromLatin1(serviceName), sessionHandle,
                                                QString::fromLatin1(sessionInterface),
                                                QStringLiteral("Close")),
                 QDBus::NoBlock);
    }
}

void GlobalShortcutsPortal::bind(const QString& id, const QString& text, const QString& trigger)
{
    if (step != Step::Idle) {
        return;
    }
    shortcutId = id;
    description = text;
    preferredTrigger = trigger;
    if (!bus.isConnected()) {
        finish(Outcome::Absent, QStringLiteral("no session bus"));
        return;
    }
    // The interface's version property tells whether the desktop implements it at all; a portal
    // service without a global shortcuts backend answers with an error.
    step = Step::Probing;
    QDBusMessage probe = QDBusMessage::createMethodCall(
        QString::fromLatin1(serviceName), QString::fromLatin1(objectPath),
        QString::fromLatin1(propertiesInterface), QStringLiteral("Get"));
    probe << QString::fromLatin1(interfaceName) << QStringLiteral("version");
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(probe), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this](QDBusPendingCallWatcher* call) {
                call->deleteLater();
                const QDBusPendingReply<QDBusVariant> reply = *call;
                if (reply.isError()) {
                    finish(Outcome::Absent, reply.error().message());
                    return;
                }
                createSession();
            });
}

void GlobalShortcutsPortal::createSession()
{
    step = Step::CreatingSession;
    const QString handleToken = newToken();
    QVariantMap options{{QStringLiteral("handle_token"), handleToken},
                        {QStringLiteral("session_handle_token"), newToken()}};
    sendRequest(QStringLiteral("CreateSession"), {options}, handleToken);
}

void GlobalShortcutsPortal::bindShortcut()
{
    step = Step::Binding;
    QVariantMap properties{{QStringLiteral("description"), description}};
    if (!preferredTrigger.isEmpty()) {
        properties.insert(QStringLiteral("preferred_trigger"), preferredTrigger);
    }
    const QList<PortalShortcut> shortcuts{{shortcutId, properties}};
    const QString handleToken = newToken();
    const QVariantMap options{{QStringLiteral("handle_token"), handleToken}};
    sendRequest(QStringLiteral("BindShortcuts"),
                {QVariant::fromValue(QDBusObjectPath(sessionHandle)),
                 QVariant::fromValue(shortcuts), QString(), options},
                handleToken);
}

void GlobalShortcutsPortal::sendRequest(const QString& method, const QVariantList& arguments,
                                        const QString& handleToken)
{
    // The request object is listened to before the call, so that an answer given at once is not
    // missed; its path is made of the caller's unique name and the token.
    QString sender = bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    listenForResponse(
        QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, handleToken));

    QDBusMessage call = QDBusMessage::createMethodCall(QString::fromLatin1(serviceName),
                                                       QString::fromLatin1(objectPath),
                                                       QString::fromLatin1(interfaceName), method);
    call.setArguments(arguments);
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, method](QDBusPendingCallWatcher* pending) {
                pending->deleteLater();
                const QDBusPendingReply<QDBusObjectPath> reply = *pending;
                if (reply.isError()) {
                    finish(Outcome::Refused,
                           QStringLiteral("%1 failed: %2").arg(method, reply.error().message()));
                    return;
                }
                // Older portals pick a path of their own.
                if (reply.value().path() != requestPath && step != Step::Done) {
                    listenForResponse(reply.value().path());
                }
            });
}

void GlobalShortcutsPortal::listenForResponse(const QString& path)
{
    requestPath = path;
    if (listenedPaths.contains(path)) {
        return;
    }
    listenedPaths.insert(path);
    bus.connect(QString::fromLatin1(serviceName), path, QString::fromLatin1(requestInterface),
                QStringLiteral("Response"), this, SLOT(onRequestResponse(uint, QVariantMap)));
}

void GlobalShortcutsPortal::onRequestResponse(uint response, const QVariantMap& results)
{
    // Answers to requests no longer awaited (an earlier guess of the path, a finished bind).
    if (!calledFromDBus() || requestPath.isEmpty() || message().path() != requestPath) {
        return;
    }
    requestPath.clear();
    if (response != responseSuccess) {
        finish(Outcome::Refused, response == responseCancelled
                                     ? QStringLiteral("the user declined it")
                                     : QStringLiteral("the portal could not bind it"));
        return;
    }
    if (step == Step::CreatingSession) {
        // A string in the interface's first version, an object path in later ones.
        const QVariant handle = results.value(QStringLiteral("session_handle"));
        sessionHandle = handle.canConvert<QDBusObjectPath>()
                            ? handle.value<QDBusObjectPath>().path()
                            : handle.toString();
        if (sessionHandle.isEmpty()) {
            finish(Outcome::Refused, QStringLiteral("the portal gave no session"));
            return;
        }
        bus.connect(QString::fromLatin1(serviceName), QString::fromLatin1(objectPath),
                    QString::fromLatin1(interfaceName), QStringLiteral("Activated"), this,
                    SLOT(onActivated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
        bus.connect(QString::fromLatin1(serviceName), QString::fromLatin1(objectPath),
                    QString::fromLatin1(interfaceName), QStringLiteral("Deactivated"), this,
                    SLOT(onDeactivated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
        bindShortcut();
        return;
    }
    if (step != Step::Binding) {
        return;
    }
    // The portal lists the shortcuts it bound; one the user left without a trigger is missing.
    for (const PortalShortcut& bound :
         PortalShortcut::listFrom(results.value(QStringLiteral("shortcuts")))) {
        if (bound.id == shortcutId) {
            boundTriggerDescription =
                bound.properties.value(QStringLiteral("trigger_description")).toString();
            finish(Outcome::Granted);
            return;
        }
    }
    finish(Outcome::Refused, QStringLiteral("the portal bound no trigger to it"));
}

void GlobalShortcutsPortal::onActivated(const QDBusObjectPath& session, const QString& id,
                                        qulonglong, const QVariantMap&)
{
    if (result == Outcome::Granted && session.path() == sessionHandle && id == shortcutId) {
        emit activated(id);
    }
}

void GlobalShortcutsPortal::onDeactivated(const QDBusObjectPath& session, const QString& id,
                                          qulonglong, const QVariantMap&)
{
    if (result == Outcome::Granted && session.path() == sessionHandle && id == shortcutId) {
        emit deactivated(id);
    }
}

void GlobalShortcutsPortal::finish(Outcome outcome, const QString& why)
{
    if (step == Step::Done) {
        return;
    }
    step = Step::Done;
    requestPath.clear();
    result = outcome;
    failureReason = why;
    emit finished(outcome);
}

QString GlobalShortcutsPortal::newToken()
{
    return QStringLiteral("wisp%1").arg(QRandomGenerator::global()->generate());
}
