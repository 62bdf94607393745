#pragma once

#include "Network/Socket/AudioSocket.h"
#include "Network/Socket/FFTSocket.h"
#include "Network/Socket/IQSocket.h"
#include "Network/Socket/SPMSocket.h"

#include <QUdpSocket>
#include <memory>

using Samples = QVector<qint16>;
using Floats = QVector<float>;

inline QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

/// All four sockets on no port, each noting what it calls back with.
struct Receivers
{
    QSharedPointer<Socket> socket = QSharedPointer<Socket>::create();
    IQSocket iq{socket};
    FFTSocket fft{socket};
    AudioSocket audio{socket};
    SPMSocket spm{socket};
    QList<Samples> samples;
    QList<QPair<Floats, Floats>> floats;

    Receivers()
    {
        const auto note = [this](const Samples& received) { samples.append(received); };
        iq.setCallback(note);
        fft.setCallback(note);
        audio.setCallback(note);
        spm.setCallback([this](const Floats& first, const Floats& second) {
            floats.append({first, second});
        });
    }

    QList<InterfaceSocket*> all() { return {&iq, &fft, &audio, &spm}; }
};

inline bool offer(InterfaceSocket& socket, QByteArray data)
{
    return socket.readyRead(data, QHostAddress(), 0);
}

/// Stream sockets on one Socket, and its peer on loopback; new for each test.
class StreamSocketsTest : public QObject
{
    Q_OBJECT

protected:
    QByteArray sentDatagram();
    void attach(const QSharedPointer<InterfaceSocket>& socket);

    // Sends from m_socket to m_peer and back.
    QSharedPointer<Socket> m_socket;
    std::unique_ptr<QUdpSocket> m_peer;
    QList<QSharedPointer<InterfaceSocket>> m_attached;
    const QHostAddress m_local{QHostAddress::LocalHost};

private slots:
    void init();
    void cleanup();
};
