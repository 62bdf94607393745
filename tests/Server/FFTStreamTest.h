#pragma once

#include "Server/FFTStream.h"

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "DatagramReceiver.h"
#include "Network/Socket/FFTSocket.h"
#include "Network/Socket/Socket.h"
#include "support/LogCapture.h"

#include <QMutexLocker>
#include <optional>

/// A stream that shows a device's samples to a receiver on loopback.
struct Session
{
    explicit Session(bool compress = false)
        : stream(socket, compress, nullptr)
    {
        stream.setHost(QHostAddress::LocalHost, receiver.port());
        stream.setDevice(&device);
    }

    [[nodiscard]] RingBuffer<DoubleComplex>& ring() const { return *device.inBuffer(); }

    void write(const QVector<DoubleComplex>& samples) const
    {
        const QMutexLocker lock(&ring().mutex);
        ring().write(samples.constData(), samples.size());
    }

    QList<QByteArray> tick()
    {
        stream.onTimeout();
        return receiver.take();
    }

    // The points of one frame, header taken off.
    QVector<qint16> frame()
    {
        QVector<qint16> points;
        for (const QByteArray& datagram : tick().mid(1)) {
            points += valuesOf(datagram);
        }
        return points;
    }

    QVector<qint16> frameOf(const QVector<DoubleComplex>& samples)
    {
        write(samples);
        return frame();
    }

    QSharedPointer<Socket> socket = QSharedPointer<Socket>::create();
    AbstractRadioDevice device{QSharedPointer<InfoRadioDevice>::create(), nullptr};
    DatagramReceiver receiver;
    FFTStream stream;
};

QVector<DoubleComplex> noise(int count);

/// What a receiver gives for a carrier `bins` above its centre: re = Q, im = I.
QVector<DoubleComplex> carrier(int count, int bins, int fftSize);

int strongest(const QVector<qint16>& points);

/// Equal, save that a power next to a step of the scale may come out on either side of it.
QByteArray difference(const QVector<qint16>& actual, const QVector<qint16>& expected);

/// Nothing is warned of but what a test has looked for, and that lines were left out where it all goes so
/// fast.
class FFTStreamTest : public QObject
{
    Q_OBJECT

protected:
    std::optional<LogCapture> m_log;

private slots:
    void init() { m_log.emplace(); }
    void cleanup();
};
