#pragma once

#include "Server/Turns.h"

#include <QHostAddress>
#include <QObject>
#include <QSharedPointer>
#include <QVector>

class FFTSocket;

/// Sends spectrum frames, one at a time: a header of three values, then datagrams of 252 points, the last one
/// shorter. A long frame takes several turns of the event loop, so that whatever else waits is not held up by
/// its compression. A frame that has begun is sent whole, whatever becomes of the session: half of one is of
/// no use to its receiver.
/// Thread:    that of the Socket.
/// Ownership: shares the FFTSocket.
/// Errors:    none: what can't be sent is lost.
class FrameSender : public QObject
{
    Q_OBJECT

public:
    FrameSender(QSharedPointer<FFTSocket> fftSocket, bool compress, QObject* parent);

    /// A frame has begun, and its last datagram has not been sent yet.
    [[nodiscard]] bool isSending() const { return m_sent < m_points.size(); }

    /// Begins a frame, and sends a short one at once. Not while isSending(). `points`: 1 or more; the header
    /// holds the low 16 bits of their number.
    void send(const QVector<qint16>& points, const QHostAddress& address, quint16 port);

private:
    [[nodiscard]] bool sendPacket();

    QSharedPointer<FFTSocket> m_fftSocket;
    QVector<qint16> m_header;
    QVector<qint16> m_packet;
    QVector<qint16> m_lastPacket;
    QVector<qint16> m_points; // of the frame; none once it is sent
    int m_sent = 0;           // of those points
    QHostAddress m_address;
    quint16 m_port = 0;
    Turns m_turns;
    const bool m_compress;
};
