#pragma once

#include <QObject>
#include <functional>

class QTimer;

/// Long work in turns of the event loop, so that whatever else waits is not held up by it.
/// Thread: the one that made it.
class Turns : public QObject
{
    Q_OBJECT

public:
    /// `step` does some of the work and tells whether there is more; `stepsPerTurn` of them make a turn.
    Turns(int stepsPerTurn, std::function<bool()> step);

    /// Takes a turn at once; if there is more to do after it, the next one follows when the event loop has
    /// been around.
    void run();
    /// Takes no more turns.
    void stop();

private:
    const int m_stepsPerTurn;
    const std::function<bool()> m_step;
    QTimer* m_next;
};
