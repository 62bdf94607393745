#pragma once

#include "Server/IQStream.h"

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "DatagramReceiver.h"
#include "Network/Socket/Socket.h"

#include <QMutexLocker>

constexpr int kBlock = 128;
constexpr int kCapacity = 65536;

inline QSharedPointer<InfoRadioDevice> anyInfo()
{
    return QSharedPointer<InfoRadioDevice>::create();
}

/// A stream that plays a device's samples to a receiver on loopback.
struct Session
{
    explicit Session(bool compress = false)
        : stream(socket, compress, nullptr)
    {
        stream.setHost(QHostAddress::LocalHost, receiver.port());
        stream.setDevice(&device);
    }

    void write(const QVector<DoubleComplex>& samples)
    {
        RingBuffer<DoubleComplex>& ring = *device.outBuffer();
        const QMutexLocker lock(&ring.mutex);
        ring.write(samples.constData(), samples.size());
    }

    QList<QByteArray> tick()
    {
        stream.onTimeout();
        return receiver.take();
    }

    QSharedPointer<Socket> socket = QSharedPointer<Socket>::create();
    AbstractRadioDevice device{anyInfo(), nullptr};
    DatagramReceiver receiver;
    IQStream stream;
};

/// Sample number i is first + i counts in its real part, and minus that in its imaginary part.
inline QVector<DoubleComplex> ramp(int first, int count)
{
    QVector<DoubleComplex> samples;
    for (int i = first; i < first + count; ++i) {
        samples.append({i / 32768.0, -i / 32768.0});
    }
    return samples;
}

inline QVector<qint16> rampValues(int first, int count)
{
    QVector<qint16> values;
    for (int i = first; i < first + count; ++i) {
        values << static_cast<qint16>(i) << static_cast<qint16>(-i);
    }
    return values;
}
