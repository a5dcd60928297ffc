// A stand-in for the desktop's global shortcuts portal, for tests on a private session bus.
// It answers CreateSession and BindShortcuts the way the real portal does (a request object
// per call, its Response signal), and takes orders from the test on /control:
//   Activate(s id)   emits Activated then Deactivated for the last session
//   Calls() -> as    the calls received so far, one line each
//   Waiting() -> u   how many BindShortcuts requests wait for Answer (with --answer later)
//   Answer(s answer) answers every waiting BindShortcuts request: grant|cancel|unbound
// Arguments: --answer grant|cancel|unbound|later  (what the user does in the consent dialog;
//                                                  later: nothing until the test says Answer)
//            --without-shortcuts                  (a portal service whose desktop has no backend)
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QDateTime>
#include <QStringList>
#include <QTextStream>
#include <QTimer>

#include <utility>

namespace {

constexpr auto shortcutsInterface = "org.freedesktop.portal.GlobalShortcuts";
constexpr auto portalPath = "/org/freedesktop/portal/desktop";

struct Shortcut
{
    QString id;
    QVariantMap properties;
};

const QDBusArgument& operator>>(const QDBusArgument& argument, Shortcut& shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const Shortcut& shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

} // namespace

Q_DECLARE_METATYPE(Shortcut)

namespace {

class StandInPortal final : public QDBusVirtualObject
{
public:
    StandInPortal(QString answer, bool withShortcuts)
        : answer(std::move(answer)), withShortcuts(withShortcuts)
    {}

    QString introspect(const QString&) const override { return QString(); }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        if (message.type() != QDBusMessage::MethodCallMessage) {
            return false;
        }
        const QString member = message.member();
        const QString interface = message.interface();
        if (message.path() == QLatin1String("/control")) {
            return handleControl(message, connection);
        }
        if (interface == QLatin1String("org.freedesktop.DBus.Properties") &&
            member == QLatin1String("Get")) {
            const QVariantList arguments = message.arguments();
            if (withShortcuts && message.signature() == QLatin1String("ss") &&
                arguments.value(0).toString() == QLatin1String(shortcutsInterface) &&
                arguments.value(1).toString() == QLatin1String("version")) {
                connection.send(message.createReply(
                    QVariant::fromValue(QDBusVariant(QVariant::fromValue(uint(1))))));
            } else {
                connection.send(message.createErrorReply(
                    QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"),
                    QStringLiteral("No such interface")));
            }
            return true;
        }
        if (interface == QLatin1String("org.freedesktop.portal.Session") &&
            member == QLatin1String("Close")) {
            calls << QStringLiteral("Close %1").arg(message.path());
            connection.send(message.createReply());
            return true;
        }
        if (!withShortcuts || interface != QLatin1String(shortcutsInterface)) {
            connection.send(message.createErrorReply(
                QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"),
                QStringLiteral("No such method %1.%2").arg(interface, member)));
            return true;
        }
        if (member == QLatin1String("CreateSession")) {
            return createSession(message, connection);
        }
        if (member == QLatin1String("BindShortcuts")) {
            return bindShortcuts(message, connection);
        }
        connection.send(message.createErrorReply(
            QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"), member));
        return true;
    }

private:
    bool wrongSignature(const QDBusMessage& message, const QDBusConnection& connection,
                        const QString& expected)
    {
        if (message.signature() == expected) {
            return false;
        }
        calls << QStringLiteral("%1 with signature %2").arg(message.member(), message.signature());
        connection.send(
            message.createErrorReply(QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"),
                                     QStringLiteral("expected signature %1").arg(expected)));
        return true;
    }

    static QString requestPath(const QDBusMessage& message, const QString& token)
    {
        QString sender = message.service().mid(1);
        sender.replace(QLatin1Char('.'), QLatin1Char('_'));
        return QStringLiteral("%1/request/%2/%3").arg(QLatin1String(portalPath), sender, token);
    }

    static QVariantMap options(const QVariant& value)
    {
        QVariantMap map;
        value.value<QDBusArgument>() >> map;
        return map;
    }

    // Replies with the request's path, then answers on it, as the real portal does.
    void answerLater(const QDBusMessage& message, const QDBusConnection& connection,
                     const QString& path, uint response, const QVariantMap& results)
    {
        connection.send(message.createReply(QVariant::fromValue(QDBusObjectPath(path))));
        QTimer::singleShot(0, [connection, path, response, results] {
            QDBusMessage signal = QDBusMessage::createSignal(
                path, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
            signal << response << results;
            QDBusConnection(connection).send(signal);
        });
    }

    bool createSession(const QDBusMessage& message, const QDBusConnection& connection)
    {
        if (wrongSignature(message, connection, QStringLiteral("a{sv}"))) {
            return true;
        }
        const QVariantMap given = options(message.arguments().value(0));
        const QString handleToken = given.value(QStringLiteral("handle_token")).toString();
        const QString sessionToken = given.value(QStringLiteral("session_handle_token")).toString();
        QString sender = message.service().mid(1);
        sender.replace(QLatin1Char('.'), QLatin1Char('_'));
        session =
            QStringLiteral("%1/session/%2/%3").arg(QLatin1String(portalPath), sender, sessionToken);
        calls << QStringLiteral("CreateSession");
        answerLater(message, connection, requestPath(message, handleToken), 0,
                    {{QStringLiteral("session_handle"), session}});
        return true;
    }

    bool bindShortcuts(const QDBusMessage& message, const QDBusConnection& connection)
    {
        if (wrongSignature(message, connection, QStringLiteral("oa(sa{sv})sa{sv}"))) {
            return true;
        }
        const QVariantList arguments = message.arguments();
        const QString sessionHandle = arguments.value(0).value<QDBusObjectPath>().path();
        QList<Shortcut> shortcuts;
        arguments.value(1).value<QDBusArgument>() >> shortcuts;
        const QVariantMap given = options(arguments.value(3));
        for (const Shortcut& shortcut : shortcuts) {
            calls << QStringLiteral("BindShortcuts %1 %2 description=%3 preferred_trigger=%4")
                         .arg(sessionHandle == session ? QStringLiteral("session")
                                                       : QStringLiteral("unknown-session"),
                              shortcut.id,
                              shortcut.properties.value(QStringLiteral("description")).toString(),
                              shortcut.properties.value(QStringLiteral("preferred_trigger"))
                                  .toString());
        }
        const QString path =
            requestPath(message, given.value(QStringLiteral("handle_token")).toString());
        if (answer == QLatin1String("later")) {
            // The consent dialog stays open: the request is answered when the test says so.
            connection.send(message.createReply(QVariant::fromValue(QDBusObjectPath(path))));
            waiting.append({path, shortcuts});
            return true;
        }
        respond(connection, path, shortcuts, answer, &message);
        return true;
    }

    // Answers a BindShortcuts request on `path` as the user's `choice` in the dialog; replies to
    // `call` first when it is still unanswered.
    void respond(const QDBusConnection& connection, const QString& path,
                 const QList<Shortcut>& shortcuts, const QString& choice,
                 const QDBusMessage* call = nullptr)
    {
        QVariantMap results;
        uint response = 0;
        if (choice == QLatin1String("cancel")) {
            response = 1;
        } else {
            QList<Shortcut> bound;
            if (choice == QLatin1String("grant")) {
                for (const Shortcut& shortcut : shortcuts) {
                    bound << Shortcut{
                        shortcut.id,
                        {{QStringLiteral("description"),
                          shortcut.properties.value(QStringLiteral("description"))},
                         {QStringLiteral("trigger_description"), QStringLiteral("Ctrl+Alt+L")}}};
                }
            }
            results.insert(QStringLiteral("shortcuts"), QVariant::fromValue(bound));
        }
        if (call) {
            answerLater(*call, connection, path, response, results);
        } else {
            QDBusMessage signal = QDBusMessage::createSignal(
                path, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
            signal << response << results;
            QDBusConnection(connection).send(signal);
        }
    }

    bool handleControl(const QDBusMessage& message, const QDBusConnection& connection)
    {
        if (message.member() == QLatin1String("Calls")) {
            connection.send(message.createReply(calls));
            return true;
        }
        if (message.member() == QLatin1String("Waiting")) {
            connection.send(message.createReply(uint(waiting.size())));
            return true;
        }
        if (message.member() == QLatin1String("Answer")) {
            const QString choice = message.arguments().value(0).toString();
            const QList<WaitingRequest> requests = std::exchange(waiting, {});
            for (const WaitingRequest& request : requests) {
                respond(connection, request.path, request.shortcuts, choice);
            }
            connection.send(message.createReply());
            return true;
        }
        if (message.member() == QLatin1String("Activate")) {
            const QString id = message.arguments().value(0).toString();
            const auto timestamp = qulonglong(QDateTime::currentMSecsSinceEpoch());
            for (const QString& name :
                 {QStringLiteral("Activated"), QStringLiteral("Deactivated")}) {
                QDBusMessage signal = QDBusMessage::createSignal(
                    QLatin1String(portalPath), QLatin1String(shortcutsInterface), name);
                signal << QVariant::fromValue(QDBusObjectPath(session)) << id << timestamp
                       << QVariantMap();
                QDBusConnection(connection).send(signal);
            }
            connection.send(message.createReply());
            return true;
        }
        connection.send(message.createErrorReply(
            QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"), message.member()));
        return true;
    }

    struct WaitingRequest
    {
        QString path;
        QList<Shortcut> shortcuts;
    };

    QString answer;
    bool withShortcuts;
    QList<WaitingRequest> waiting;
    QString session;
    QStringList calls;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    qDBusRegisterMetaType<Shortcut>();
    qDBusRegisterMetaType<QList<Shortcut>>();

    QCommandLineParser parser;
    const QCommandLineOption answer(QStringLiteral("answer"),
                                    QStringLiteral("grant|cancel|unbound|later"),
                                    QStringLiteral("answer"), QStringLiteral("grant"));
    const QCommandLineOption withoutShortcuts(QStringLiteral("without-shortcuts"),
                                              QStringLiteral("no global shortcuts backend"));
    parser.addOptions({answer, withoutShortcuts});
    parser.process(application);

    QDBusConnection bus = QDBusConnection::sessionBus();
    StandInPortal portal(parser.value(answer), !parser.isSet(withoutShortcuts));
    if (!bus.registerVirtualObject(QLatin1String(portalPath), &portal, QDBusConnection::SubPath) ||
        !bus.registerVirtualObject(QStringLiteral("/control"), &portal)) {
        QTextStream(stderr) << "portal-stand-in: cannot register objects\n";
        return 1;
    }
    // The name goes last: once a test sees it, the portal answers.
    if (!bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop"))) {
        QTextStream(stderr) << "portal-stand-in: cannot own the portal's name\n";
        return 1;
    }
    return application.exec();
}
