#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <QSet>

#include <optional>

class QDBusObjectPath;
class QDBusPendingCallWatcher;

// One session with the desktop's global shortcuts portal, holding one shortcut. The portal asks
// the user (in a dialog of its own) whether to allow it, so the answer arrives later through
// `finished`; presses of the shortcut then arrive as `activated` and `deactivated`.
class GlobalShortcutsPortal : public QObject, protected QDBusContext
{
    Q_OBJECT
public:
    enum class Outcome {
        // The portal bound the shortcut.
        Granted,
        // The user or the desktop declined it.
        Refused,
        // The session bus offers no global shortcuts portal.
        Absent,
    };
    Q_ENUM(Outcome)

    static constexpr const char* serviceName = "org.freedesktop.portal.Desktop";
    static constexpr const char* objectPath = "/org/freedesktop/portal/desktop";
    static constexpr const char* interfaceName = "org.freedesktop.portal.GlobalShortcuts";

    explicit GlobalShortcutsPortal(const QDBusConnection& bus = QDBusConnection::sessionBus(),
                                   QObject* parent = nullptr);
    // Closes the session, which releases the shortcut.
    ~GlobalShortcutsPortal() override;

    // Asks for one shortcut. `preferredTrigger` is written as the XDG shortcuts standard
    // does ("CTRL+ALT+l"). Call once.
    void bind(const QString& shortcutId, const QString& description,
              const QString& preferredTrigger);

    // Unset until the portal has answered.
    std::optional<Outcome> outcome() const { return result; }
    // What the portal says about the trigger it bound ("Ctrl+Alt+L"); may be empty.
    QString triggerDescription() const { return boundTriggerDescription; }
    // Why the shortcut was refused or is absent, for the log.
    QString reason() const { return failureReason; }

signals:
    void finished(GlobalShortcutsPortal::Outcome outcome);
    void activated(const QString& shortcutId);
    void deactivated(const QString& shortcutId);

private slots:
    void onRequestResponse(uint response, const QVariantMap& results);
    void onActivated(const QDBusObjectPath& sessionHandle, const QString& shortcutId,
                     qulonglong timestamp, const QVariantMap& options);
    void onDeactivated(const QDBusObjectPath& sessionHandle, const QString& shortcutId,
                       qulonglong timestamp, const QVariantMap& options);

private:
    enum class Step { Idle, Probing, CreatingSession, Binding, Done };

    void createSession();
    void bindShortcut();
    // Sends a portal request whose answer comes as a Response signal on its request object.
    void sendRequest(const QString& method, const QVariantList& arguments,
                     const QString& handleToken);
    void listenForResponse(const QString& requestPath);
    void finish(Outcome outcome, const QString& why = QString());
    QString newToken();

    QDBusConnection bus;
    Step step = Step::Idle;
    QString shortcutId;
    QString description;
    QString preferredTrigger;
    // The request whose answer is awaited; empty when none is.
    QString requestPath;
    // Request objects listened to. Never disconnected by hand: QtDBus drops a receiver's
    // connections when it is destroyed, and disconnecting just before that races its bus
    // thread.
    QSet<QString> listenedPaths;
    QString sessionHandle;
    std::optional<Outcome> result;
    QString boundTriggerDescription;
    QString failureReason;
};
