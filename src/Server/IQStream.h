#pragma once

#include "Core/Signal/DoubleComplex.h"
#include "Core/Worker/RingBuffer.h"
#include "Core/Worker/RingPosition.h"
#include "Server/DeviceStream.h"
#include "Server/Turns.h"

#include <QVector>

class IQSocket;

/// Sends the down-converted samples of a device to the client: 128 samples a datagram, 16-bit, real part
/// first, as many datagrams a tick as the ring has full blocks.
/// Thread:    the main one; the ring is written by another, under its mutex.
/// Errors:    none: what can't be sent is lost, and a reader that the ring has overrun reads on, with what it
///            missed counted (Losses).
class IQStream : public DeviceStream
{
    Q_OBJECT

public:
    /// A place in a ring, from which blocks are taken one after the other.
    struct Reader
    {
        int readIndex = 0;
        QSharedPointer<RingBuffer<DoubleComplex>> buffer;
        RingPosition position{};

        /// Begins at `readIndex`: what is overrun from here on counts as lost.
        void start();
        /// Takes `count` samples and steps over them; false, and no step, if fewer wait. Holds the ring's
        /// mutex for the copy alone, so that the writer hardly ever waits.
        [[nodiscard]] bool read(DoubleComplex* samples, int count);
    };

    IQStream(const QSharedPointer<Socket>& socket, bool compress, QObject* parent);

    /// Reads the device's outBuffer from index 0 on.
    void setDevice(AbstractRadioDevice* device) override;
    void stop() override;

public slots:
    /// Sends all that waits; of a long backlog the rest follows in later turns of the event loop, so that
    /// whatever else waits is not held up by its compression.
    void onTimeout() override;

private:
    IQStream(QSharedPointer<IQSocket> iqSocket, QSharedPointer<Socket> socket, bool compress,
             QObject* parent);
    [[nodiscard]] bool sendBlock();

    QSharedPointer<IQSocket> m_iqSocket;
    Turns m_turns; // of a backlog
    QSharedPointer<Reader> m_reader;
    QVector<DoubleComplex> m_block;
    QVector<qint16> m_samples;
    const bool m_compress;
};
