#include "Application/ConsoleNotifier.h"

#include <QMetaObject>

#ifdef Q_OS_WIN
#include <QWinEventNotifier>
#include <qt_windows.h>
#else
#include <QSocketNotifier>
#include <QTimer>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#endif

namespace
{

constexpr int kReadSize = 4096; // bytes

} // namespace

QStringList ConsoleNotifier::endInput()
{
    m_input->setEnabled(false);
    return m_lines.takeRest();
}

void ConsoleNotifier::resume()
{
    m_input->setEnabled(true);
}

#ifdef Q_OS_WIN

namespace
{

ConsoleNotifier* instance = nullptr;

BOOL WINAPI onControl(DWORD event)
{
    if (instance == nullptr) {
        return FALSE;
    }
    // A thread of the system's own: the wish crosses to the main thread by the receiver's queued connection.
    QMetaObject::invokeMethod(instance, &ConsoleNotifier::quitRequested, Qt::DirectConnection);
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        // The system ends the process as soon as this returns; the main thread does so before.
        Sleep(INFINITE);
    }
    return TRUE;
}

} // namespace

void ConsoleNotifier::prepare()
{
    if (GetStdHandle(STD_INPUT_HANDLE) == nullptr || GetStdHandle(STD_INPUT_HANDLE) == INVALID_HANDLE_VALUE) {
        SetStdHandle(STD_INPUT_HANDLE, CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                                   nullptr, OPEN_EXISTING, 0, nullptr));
    }
    SetConsoleCtrlHandler(onControl, TRUE);
}

ConsoleNotifier::ConsoleNotifier()
    : m_input(new QWinEventNotifier(GetStdHandle(STD_INPUT_HANDLE), this))
{
    instance = this;
    connect(m_input, &QWinEventNotifier::activated, this, &ConsoleNotifier::activated);
}

ConsoleNotifier::~ConsoleNotifier()
{
    instance = nullptr;
}

QStringList ConsoleNotifier::readLines()
{
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    // The handle of a console is signalled for keys released, for the mouse and for a new window size too,
    // and a read would then wait for a whole line: those are taken out until a key waits.
    INPUT_RECORD record;
    DWORD count = 0;
    while (PeekConsoleInputW(input, &record, 1, &count) != 0) {
        if (count == 0) {
            return {};
        }
        if (record.EventType == KEY_EVENT && record.Event.KeyEvent.bKeyDown != 0) {
            break;
        }
        ReadConsoleInputW(input, &record, 1, &count);
    }
    char bytes[kReadSize];
    DWORD size = 0;
    const BOOL good = ReadFile(input, bytes, kReadSize, &size, nullptr);
    if (good == 0 && GetLastError() == ERROR_OPERATION_ABORTED) {
        return {};
    }
    if (good == 0 || size == 0) {
        return endInput();
    }
    return m_lines.append(QByteArray::fromRawData(bytes, static_cast<int>(size)));
}

void ConsoleNotifier::cancelRead()
{
    CancelIoEx(GetStdHandle(STD_INPUT_HANDLE), nullptr);
}

#else

namespace
{

constexpr int kBackgroundPause = 1000; // ms

std::array<int, 2> signalPipe{-1, -1};

void onQuitSignal(int /*signal*/)
{
    const int error = errno;
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = write(signalPipe[1], &byte, 1);
    errno = error;
}

void setHandler(int signal, void (*handler)(int), int flags = 0)
{
    struct sigaction before = {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler == SIG_IGN) {
        return; // whoever started the process wants it so
    }
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART | flags;
    sigaction(signal, &action, nullptr);
}

bool isTerminal()
{
    return isatty(STDIN_FILENO) == 1;
}

bool inBackground()
{
    return isTerminal() && tcgetpgrp(STDIN_FILENO) != getpgrp();
}

} // namespace

void ConsoleNotifier::prepare()
{
    // A closed descriptor 0 would become some descriptor of Qt's own.
    if (fcntl(STDIN_FILENO, F_GETFD) < 0) {
        [[maybe_unused]] const int input = open("/dev/null", O_RDONLY);
    }
    // A reader of our log that goes away and a terminal that a background job may not read: none of them is a
    // reason to stop serving.
    for (const int signal : {SIGPIPE, SIGTTIN, SIGTTOU}) {
        setHandler(signal, SIG_IGN);
    }
    if (pipe2(signalPipe.data(), O_CLOEXEC | O_NONBLOCK) == 0) {
        // The second of its kind ends the process by itself, should the first one not be heard.
        setHandler(SIGINT, onQuitSignal, static_cast<int>(SA_RESETHAND));
        setHandler(SIGTERM, onQuitSignal, static_cast<int>(SA_RESETHAND));
        // A closed terminal may send two at once: the system one, the shell another.
        setHandler(SIGHUP, onQuitSignal);
    }
}

ConsoleNotifier::ConsoleNotifier()
    : m_input(new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this))
    , m_signals(signalPipe[0] < 0 ? nullptr : new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, this))
{
    connect(m_input, &QSocketNotifier::activated, this, &ConsoleNotifier::activated);
    if (m_signals != nullptr) {
        connect(m_signals, &QSocketNotifier::activated, this, &ConsoleNotifier::onSignal);
    }
}

ConsoleNotifier::~ConsoleNotifier() = default;

QStringList ConsoleNotifier::readLines()
{
    pollfd waiting{STDIN_FILENO, POLLIN, 0};
    if (poll(&waiting, 1, 0) == 0) {
        return {}; // somebody else has read it
    }
    std::array<char, kReadSize> bytes;
    const ssize_t size = read(STDIN_FILENO, bytes.data(), bytes.size());
    if (size > 0) {
        return m_lines.append(QByteArray::fromRawData(bytes.data(), static_cast<int>(size)));
    }
    if (size < 0 && (errno == EINTR || errno == EAGAIN)) {
        return {};
    }
    if (size < 0 && inBackground()) {
        pauseInBackground();
        return {};
    }
    // On a terminal ^D is no end: later lines still come. One that has hung up is no terminal any more.
    if (size == 0 && isTerminal()) {
        return {};
    }
    return endInput();
}

void ConsoleNotifier::cancelRead()
{
    // No read is begun here that could wait.
}

void ConsoleNotifier::pauseInBackground()
{
    m_input->setEnabled(false);
    QTimer::singleShot(kBackgroundPause, this, SLOT(resume()));
}

void ConsoleNotifier::onSignal()
{
    std::array<char, kReadSize> bytes;
    [[maybe_unused]] const ssize_t size = read(signalPipe[0], bytes.data(), bytes.size());
    emit quitRequested();
}

#endif
