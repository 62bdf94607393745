#include "Platform/Interrupt.h"

#include <mutex>
#include <utility>
#include <windows.h>

namespace
{

std::mutex mutex;
Interrupt* instance = nullptr;
bool isAsked = false;

// On a thread of the system's own.
BOOL WINAPI onControl(DWORD event)
{
    {
        const std::lock_guard lock(mutex);
        if (instance == nullptr || std::exchange(isAsked, true)) {
            return FALSE;
        }
        QMetaObject::invokeMethod(instance, &Interrupt::interrupted, Qt::QueuedConnection);
    }
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        Sleep(INFINITE); // the system ends the process when this returns; the event loop does so before
    }
    return TRUE;
}

} // namespace

Interrupt::Interrupt(Program /*program*/, QObject* parent)
    : QObject(parent)
{
    {
        const std::lock_guard lock(mutex);
        instance = this;
        isAsked = false;
    }
    // Not under the mutex: the system may hold a lock of its own while it calls the handler.
    SetConsoleCtrlHandler(onControl, TRUE);
}

Interrupt::~Interrupt()
{
    const std::lock_guard lock(mutex);
    instance = nullptr;
}
