#pragma once

#include "Network/Data/NodeInfo.h"
#include "Network/Data/int160.h"
#include "Server/TakeoverBucket.h"
#include "Server/UnprovenSessions.h"

#include <QJsonObject>
#include <QObject>
#include <QSharedPointer>
#include <memory>

class Discovery;
class FFTStream;
class IPFromDNS;
class IQStream;
class PingActiveConnection;
class QTimer;
class RpcSocket;
class ServedDevice;
class Socket;
class SourceObject;
class UserSocket;

/// Lives as long as the process: holds the identity and the one UDP port, announces the receiver while it
/// is free, and serves it to one client at a time.
/// Thread:    the main one, as for everything it owns but the signal path of the device.
/// Errors:    a port that can't be bound ends the process with -1, inside the constructor.
class Server : public QObject
{
    Q_OBJECT

public:
    /// `port` 0 lets the system choose. `compress` applies to IQ and spectrum alike.
    Server(int160 id, quint16 port, int deviceType, const QString& title, const QString& description,
           const QString& identificator, bool compress, QObject* parent);
    ~Server() override;

    /// Tells the rendezvous server that this server leaves.
    void drop();

    [[nodiscard]] bool isConnected() const;
    [[nodiscard]] quint32 countConnections() const { return m_countConnections; }
    [[nodiscard]] quint32 successHolePunching() const;
    [[nodiscard]] quint32 failHolePunching() const;

private slots:
    void onTimeout();
    void onDisconnected();
    void onRadioStopped();
    void onErrorHappen(QString text);
    void onOutSampleRateChanged(double outSampleRate);

private:
    enum class Ending
    {
        ClientLeft,    ///< Or was lost, or has been driven out.
        DeviceStopped, ///< By itself, or because the client left.
        NoData,
        ServerGoes,
    };

    void printAddress() const;
    void declareFunctions();
    void connectDevice();
    QJsonObject connectToHost(const QJsonObject& request, const NodeInfo& client);
    [[nodiscard]] QString refusal(const QJsonObject& request);
    [[nodiscard]] bool initDevice(const NodeInfo& client);
    void endSession(Ending ending);
    void onRendezvousAddress(const QHostAddress& address);

    const int160 m_id;
    QSharedPointer<Socket> m_socket;
    QTimer* m_timer = nullptr;
    const bool m_compress;

    QSharedPointer<RpcSocket> m_rpcSocket;
    QSharedPointer<UserSocket> m_userSocket; // kept after the end of a session until the next client
    QSharedPointer<SourceObject> m_sourceObject;
    Discovery* m_discovery = nullptr;
    std::unique_ptr<IQStream> m_iqStream;
    std::unique_ptr<FFTStream> m_fftStream;
    std::unique_ptr<ServedDevice> m_device;
    NodeInfo m_handshakeNode;
    PingActiveConnection* m_pingActiveConnection = nullptr;
    IPFromDNS* m_ipFromDns = nullptr;
    bool m_sameIdentificator = false;
    quint32 m_countConnections = 0;
    TakeoverBucket m_takeovers;
    UnprovenSessions m_unprovenSessions;
};
