#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

class QLocalServer;
class QLocalSocket;

// One running wisp per user. The first instance listens on a local socket; a later launch finds
// it there, asks it to perform the main action and ends. A socket file left behind by an
// instance that crashed answers nobody and is taken over.
class SingleInstance : public QObject
{
    Q_OBJECT
public:
    enum class Role {
        // This instance answers re-open requests (or runs alone when it could not listen).
        primary,
        // Another instance runs and has been asked to perform the main action.
        secondary,
    };

    // The request a later launch sends.
    static constexpr const char* reopenRequest = "reopen\n";

    // A socket name of its own per user, in the user's temporary folder.
    static QString defaultName();

    explicit SingleInstance(QString name = defaultName(), QObject* parent = nullptr);
    ~SingleInstance() override;

    Role start();

    bool isListening() const;
    // The socket's path while listening.
    QString serverPath() const;

Q_SIGNALS:
    // A later launch asked for the main action.
    void reopenRequested();

private:
    // True when a running instance took the request.
    bool askRunningInstance();
    QString socketPath() const;
    bool listen();
    void acceptConnection();
    void readRequest(QLocalSocket* socket);

    QString name;
    QPointer<QLocalServer> server;
};
