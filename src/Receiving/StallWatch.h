#pragma once

#include <QObject>
#include <QTimer>

/// Notices that what is received has ceased to come. Counts ticks and looks at no clock, so the time
/// that the whole process or machine is suspended doesn't count.
/// Thread: that of the session.
class StallWatch : public QObject
{
    Q_OBJECT

public:
    /// ms without anything after which it is stalled, and after which it is lost.
    StallWatch(int stalledMs, int lostMs);

    void start();
    /// Something has come; cheap enough for every block.
    void arrived() { m_hasArrived = true; }
    /// False while nothing can come, as the session has broken off; waiting begins again with true. At first
    /// true.
    void setExpecting(bool expecting);
    /// ms without anything up to now, or up to a fifth of the time to `stalled` less.
    [[nodiscard]] int silence() const { return m_silence; }

signals:
    void stalled(); ///< Once in each silence.
    void lost();    ///< Likewise.

private:
    void onTick();

    int m_stalledMs;
    int m_lostMs;
    int m_silence = 0;
    int m_waited = 0;          // ms, of the silence, while something was expected
    bool m_hasArrived = false; // since the last tick
    bool m_isExpecting = true;
    QTimer m_tick;
};
