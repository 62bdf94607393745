#pragma once

#include "Core/Signal/AlignedSamples.h"
#include "Core/Signal/DoubleComplex.h"
#include "Core/Worker/RingBuffer.h"
#include "Server/DeviceStream.h"
#include "Server/FrameSender.h"

#include <QVector>
#include <array>

class FftEngine;
class FFTSocket;

/// Sends the client a spectrum of a device's raw input, 25 frames a second, each from one windowed transform
/// of the newest samples: the bins asked for, thinned or repeated to the number of points asked for.
/// A point is -4 times the power in dB; 800 marks a point without a bin. There is no frame for a tick at
/// which the one before is not sent yet. A frame that has begun is sent whole, even if the stream is stopped
/// or the range or host changes. The range outlives a session.
/// Thread:    the main one; the ring is written by another, under its mutex.
class FFTStream : public DeviceStream
{
    Q_OBJECT

public:
    FFTStream(const QSharedPointer<Socket>& socket, bool compress, QObject* parent);

    /// Reads the device's inBuffer.
    void setDevice(AbstractRadioDevice* device) override;

    /// `dataSize` points a frame, spread evenly over the bins from `startIndex` up to, not including,
    /// `stopIndex`; bin `fftSize` / 2 is the receiver's centre. Bins may lie outside the transform.
    /// `fftSize`: a power of two, 2..65,536; below 1 there are no frames. `dataSize`: up to 65,536, of which
    /// the frame's header holds the low 16 bits; below 1 there are no frames.
    /// Anything else is refused whole with a warning, and the stream goes on as it was.
    void setDataRange(int startIndex, int stopIndex, int dataSize, int fftSize);

public slots:
    /// One frame; of a long one the rest follows in later turns of the event loop.
    void onTimeout() override;

private:
    static constexpr int kRun = 256; // points made at a time

    struct Reader
    {
        int readIndex = 0; // stays: every frame takes the newest samples
        QSharedPointer<RingBuffer<DoubleComplex>> buffer;
    };

    FFTStream(const QSharedPointer<FFTSocket>& fftSocket, QSharedPointer<Socket> socket, bool compress,
              QObject* parent);
    void setFftSize(int fftSize);
    void readBlock();
    void applyWindow();
    void fillPoints(int first, int count);

    QSharedPointer<Reader> m_reader;
    FrameSender m_sender;
    QVector<qint16> m_points; // of a frame
    int m_startIndex = 0;
    int m_stopIndex = 0;
    int m_dataSize = 0;
    int m_fftSize = 0;
    double m_scale = 0.0;
    QSharedPointer<FftEngine> m_fft;
    QVector<float> m_window;
    AlignedSamples m_block{1};
    std::array<DoubleComplex, kRun> m_bins{}; // of a run of points, where they don't lie side by side
};
