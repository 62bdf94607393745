#pragma once

#include <QAbstractSocket>
#include <QObject>
#include <QSharedPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <functional>

/// A test of the local machine's own TCP: a listener on port 33672, and a client that connects to it on the
/// loopback address. An object is one or the other.
/// Thread: main.
class NetworkAvailable : public QObject
{
    Q_OBJECT

public:
    using Callback = std::function<void()>;

    explicit NetworkAvailable(QObject* parent);
    /// A client disconnects.
    ~NetworkAvailable() override;

    /// Listens on every address. A port that is taken is logged and leaves no server.
    void createServer();
    /// Makes the client, not yet connected.
    void createClient();

    /// Connects the client, if there is one. `connected` runs once there is a connection, `disconnected`
    /// at its end and at each error, so twice when the other end closes it. Either may be empty.
    void connectClient(Callback connected, Callback disconnected);
    /// Closes the client's connection, if there is a client.
    void closeClient();

private slots:
    void onDisconnected() {}
    void onErrorOccurred(QAbstractSocket::SocketError /*socketError*/) {}

private:
    Q_DISABLE_COPY_MOVE(NetworkAvailable)
    enum class Mode
    {
        None,
        Server,
        Client
    };

    void onNewConnection();
    void onClientConnected();
    void onClientDisconnected();
    void onClientError(QAbstractSocket::SocketError error);

    Mode m_mode = Mode::None;
    Callback m_connected;
    Callback m_disconnected;
    QSharedPointer<QTcpServer> m_server;
    QSharedPointer<QTcpSocket> m_client;
    QTcpSocket* m_peerSocket = nullptr; // deletes itself when it has disconnected
};
