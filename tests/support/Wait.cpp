#include "support/Wait.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

bool waitUntil(const std::function<bool()>& fact, int milliseconds)
{
    const QDeadlineTimer deadline(milliseconds);
    QTimer wake; // facts that come without an event, such as a line in a file
    wake.start(20);
    while (!fact()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return true;
}
