#pragma once

#include <QCoreApplication>
#include <QEvent>
#include <QPointer>
#include <QTimer>
#include <chrono>

/// The watchdog of a device that is started while this lives: the only timer of its kind on this thread. Its
/// own ticks are swallowed, the first of them tells which timer it is, and it ticks by hand.
class Watchdog : public QObject
{
public:
    /// The interval of a device whose watchdog is to be caught.
    static constexpr std::chrono::milliseconds kAtOnce{0};

    Watchdog() { QCoreApplication::instance()->installEventFilter(this); }

    [[nodiscard]] bool isCaught() const { return !m_timer.isNull(); }
    [[nodiscard]] bool isActive() const { return m_timer->isActive(); }
    [[nodiscard]] const QTimer* timer() const { return m_timer; }
    void tick() const { QMetaObject::invokeMethod(m_timer, "timeout"); }

    bool eventFilter(QObject* object, QEvent* event) override
    {
        auto* timer = qobject_cast<QTimer*>(object);
        if (event->type() != QEvent::Timer || timer == nullptr || timer->timerType() != Qt::VeryCoarseTimer) {
            return false;
        }
        m_timer = timer;
        return true;
    }

private:
    QPointer<QTimer> m_timer;
};
