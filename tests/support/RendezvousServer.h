#pragma once

#include "support/WirePeer.h"

/// A rendezvous server for tests, at its own port 29365 unless told otherwise: records what servers announce
/// (`calls("new_server")`, `calls("busy")`, `calls("drop")`), names a client to them, and commands them.
class RendezvousServer : public WirePeer
{
    Q_OBJECT

public:
    static constexpr quint16 kPort = 29365;

    explicit RendezvousServer(const QByteArray& id, const QHostAddress& address = QHostAddress::LocalHost,
                              quint16 port = kPort, QObject* parent = nullptr);

    /// Every answer to `new_server` names this client from now on, by `chp_id`, `chp_addr` and `chp_port`.
    void offerClient(const QByteArray& clientId, const QHostAddress& clientAddress, quint16 clientPort);
    /// Answers to `new_server` name no client any more.
    void offerNoClient();

    /// Commands to the server that sent `announcement`; each gives the message number.
    quint32 dropClient(const Message& announcement);
    quint32 setTimeoutTimerPing(const Message& announcement, int intervalMs);
};
