#include "Platform/ConsoleInput.h"

#include <QWinEventNotifier>
#include <qt_windows.h>

namespace
{

constexpr int kReadSize = 4096; // bytes

HANDLE input()
{
    return GetStdHandle(STD_INPUT_HANDLE);
}

} // namespace

class ConsoleInput::Notifier : public QWinEventNotifier
{
public:
    using QWinEventNotifier::QWinEventNotifier;
};

void ConsoleInput::prepare()
{
    if (input() == nullptr || input() == INVALID_HANDLE_VALUE) {
        SetStdHandle(STD_INPUT_HANDLE, CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                                   nullptr, OPEN_EXISTING, 0, nullptr));
    }
}

ConsoleInput::ConsoleInput()
    : m_notifier(new Notifier(input(), this))
{
    connect(m_notifier, &Notifier::activated, this, &ConsoleInput::activated);
}

std::optional<QByteArray> ConsoleInput::read()
{
    // The handle of a console is signalled for keys released, for the mouse and for a new window size too,
    // and a read would then wait for a whole line: those are taken out until a key waits.
    INPUT_RECORD record;
    DWORD count = 0;
    while (PeekConsoleInputW(input(), &record, 1, &count) != 0) {
        if (count == 0) {
            return QByteArray();
        }
        if (record.EventType == KEY_EVENT && record.Event.KeyEvent.bKeyDown != 0) {
            break;
        }
        ReadConsoleInputW(input(), &record, 1, &count);
    }
    QByteArray bytes(kReadSize, Qt::Uninitialized);
    DWORD size = 0;
    const BOOL good = ReadFile(input(), bytes.data(), kReadSize, &size, nullptr);
    if (good == 0 && GetLastError() == ERROR_OPERATION_ABORTED) {
        return QByteArray();
    }
    if (good == 0 || size == 0) {
        m_notifier->setEnabled(false);
        return std::nullopt;
    }
    bytes.truncate(static_cast<int>(size));
    return bytes;
}

void ConsoleInput::cancelRead()
{
    CancelIoEx(input(), nullptr);
}
