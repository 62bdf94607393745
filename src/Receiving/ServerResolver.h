#pragma once

#include "Client/ClientSession.h"
#include "Client/ServerFinder.h"
#include "Receiving/ServerArgument.h"

#include <QObject>

class QHostInfo;
class QTimer;

/// Finds out where a server is and what its receiver is called: listens on the local network for one named by
/// its address alone, looks up the host of one that is named in full.
/// Thread: the one that made it, which runs an event loop.
class ServerResolver : public QObject
{
    Q_OBJECT

public:
    enum class Problem
    {
        IdentificatorMissing, ///< Needed with a host, for a wrong one would drive out whoever is connected.
        CanNotListen,         ///< The detail is the system's error.
        NotHeard,             ///< Off, busy or elsewhere.
        ClaimedTwice,         ///< The detail and the other are the two addresses.
        OtherIdentificator,   ///< The detail is the announced one, as a stranger wrote it.
        OtherVersion,         ///< The detail is the server's major version.
        UnknownHost,          ///< The detail is the host, the other is the system's error.
    };
    struct Failure
    {
        Problem problem;
        QString detail;
        QString other;
    };

    explicit ServerResolver(QObject* parent = nullptr);

    /// `identificator`: as given by the user, or empty. `listenMs`: how long to listen for a server on the
    /// local network. `found` or `failed` follows, at once or later.
    void start(const ServerArgument& server, const QString& identificator, int listenMs);

signals:
    void found(const ClientSession::Target& target);
    void failed(const ServerResolver::Failure& failure);

private slots:
    void onLookedUp(const QHostInfo& info); // found by name

private:
    void listen(int listenMs);
    void onFound(const ServerFinder::Server& server);
    void onListened();
    void lookUp();

    ServerArgument m_server;
    QString m_identificator;
    ServerFinder m_finder;
    QTimer* m_timer;
};
