#pragma once

#include "Network/Data/NodeInfo.h"
#include "Network/Data/int160.h"
#include "Server/TakeoverBucket.h"
#include "Server/UnprovenSessions.h"

#include <QJsonObject>
#include <QObject>
#include <QSharedPointer>
#include <memory>

class AbstractRadioDevice;
class Discovery;
class FFTStream;
class InfoRadioDevice;
class IPFromDNS;
class IQStream;
class PingActiveConnection;
class QTimer;
class RpcSocket;
class Socket;
class SourceObject;
class UserSocket;

/// Lives as long as the process: holds the identity and the one UDP port, announces the receiver while it
/// is free, and serves it to one client at a time.
/// Thread:    the main one, and with it everything it owns but the signal path of the device.
/// Ownership: the device is made new for each client and stays until the next one comes.
/// Errors:    a port that can't be bound ends the process with -1, inside the constructor.
class Server : public QObject
{
    Q_OBJECT

public:
    /// `port` 0 lets the system choose. `compress` holds for IQ and spectrum alike.
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
    void printAddress(const QString& identificator) const;
    void declareFunctions();
    QJsonObject connectToHost(const QJsonObject& request, const NodeInfo& client);
    [[nodiscard]] bool initDevice(const NodeInfo& client);
    void dropDevice();
    void connectDevice();
    void onRendezvousAddress(const QHostAddress& address);
    void onNoData();
    void stopStreams();
    void endUserSocket();
    void resetAnnouncements();

    const int160 m_id;
    QSharedPointer<Socket> m_socket;
    QTimer* m_timer = nullptr;
    const bool m_compress;

    QSharedPointer<RpcSocket> m_rpcSocket;
    QSharedPointer<UserSocket> m_userSocket; // kept after the end of a session until the next client
    QSharedPointer<SourceObject> m_sourceObject;
    QSharedPointer<InfoRadioDevice> m_deviceInfo;
    Discovery* m_discovery = nullptr;
    std::unique_ptr<IQStream> m_iqStream;
    std::unique_ptr<FFTStream> m_fftStream;
    AbstractRadioDevice* m_device = nullptr;
    bool m_deviceUnsaved = false; // started, and its properties not saved since
    NodeInfo m_handshakeNode;
    PingActiveConnection* m_pingActiveConnection = nullptr;
    IPFromDNS* m_ipFromDns = nullptr;
    bool m_sameIdentificator = false;
    quint32 m_countConnections = 0;
    TakeoverBucket m_takeovers;
    UnprovenSessions m_unprovenSessions;
};
