#pragma once

#include "Network/Socket/Socket.h"

#include "Recorder.h"

#include <QObject>
#include <QUdpSocket>
#include <memory>

/// A Socket and its peer, both on loopback, new for each test.
class SocketTest : public QObject
{
    Q_OBJECT

protected:
    static constexpr double kMebibyte = 1048576.0;
    const QByteArray kPacket{"hello world"};

    QSharedPointer<Recorder> attach(bool accepts = true);
    void sendFromPeer(const QByteArray& data);
    /// Sends one datagram and waits until it has been read.
    void offer(const QByteArray& data);

    std::unique_ptr<Socket> m_socket;
    std::unique_ptr<QUdpSocket> m_peer;

private slots:
    void init();
    void cleanup();
};
