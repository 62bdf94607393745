#pragma once

#include "Client/SpectrumFrame.h"

#include <QObject>

/// The spectrum stream of a session as frames, put together from a header and packets without numbers. A
/// frame is whole or dropped: it is handed out when the next one begins and every packet between has the
/// length that its place asks for.
/// Thread: that of the session.
class SpectrumReceiver : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// Frames handed out since `reset`.
    [[nodiscard]] qint64 receivedFrames() const { return m_receivedFrames; }
    /// Frames begun and not whole since `reset`. One whose header got lost is not seen, but spoils the one
    /// before it.
    [[nodiscard]] qint64 droppedFrames() const { return m_droppedFrames; }

    /// The session's: one datagram's values as the wire has them; empty for a damaged one.
    void receive(const QVector<qint16>& values);
    /// The server has taken up this range: frames that begin from now on answer it, and those of another
    /// length are dropped. Until then none is handed out.
    void setRange(const SpectrumRange& range);
    /// Forgets counts, range and the frame that has begun.
    void reset();

signals:
    void frameReceived(const SpectrumFrame& frame);

private:
    void begin(int dataSize);
    void finish();

    enum class Progress
    {
        None,    // no frame has begun, or one that answers another range
        Growing, // so far so good
        Spoilt,  // a packet is missing, double or damaged
    };

    SpectrumRange m_range;
    SpectrumRange m_frameRange; // of the frame that has begun
    int m_frameSize = 0;        // points, as its header tells
    QVector<qint16> m_points;
    Progress m_progress = Progress::None;
    qint64 m_time = 0; // ms since the epoch, of the header
    qint64 m_receivedFrames = 0;
    qint64 m_droppedFrames = 0;
};
