#include "Server/Turns.h"

#include <QTimer>
#include <utility>

Turns::Turns(int stepsPerTurn, std::function<bool()> step)
    : m_stepsPerTurn(stepsPerTurn)
    , m_step(std::move(step))
    , m_next(new QTimer(this))
{
    m_next->setSingleShot(true);
    m_next->setInterval(0);
    connect(m_next, &QTimer::timeout, this, &Turns::run);
}

void Turns::run()
{
    for (int i = 0; i < m_stepsPerTurn; ++i) {
        if (!m_step()) {
            return;
        }
    }
    m_next->start();
}

void Turns::stop()
{
    m_next->stop();
}
