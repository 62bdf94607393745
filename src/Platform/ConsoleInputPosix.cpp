#include "Platform/ConsoleInput.h"

#include <QSocketNotifier>
#include <QTimer>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace
{

constexpr int kReadSize = 4096;        // bytes
constexpr int kBackgroundPause = 1000; // ms

bool isTerminal()
{
    return isatty(STDIN_FILENO) == 1;
}

bool inBackground()
{
    return isTerminal() && tcgetpgrp(STDIN_FILENO) != getpgrp();
}

} // namespace

class ConsoleInput::Notifier : public QSocketNotifier
{
public:
    explicit Notifier(QObject* parent)
        : QSocketNotifier(STDIN_FILENO, Read, parent)
    {
        m_pause.setSingleShot(true);
        connect(&m_pause, &QTimer::timeout, this, [this] { setEnabled(true); });
    }

    void pause()
    {
        setEnabled(false);
        m_pause.start(kBackgroundPause);
    }

private:
    QTimer m_pause{this};
};

void ConsoleInput::prepare()
{
    // A closed descriptor 0 would become some descriptor of Qt's own.
    if (fcntl(STDIN_FILENO, F_GETFD) < 0) {
        [[maybe_unused]] const int input = open("/dev/null", O_RDONLY);
    }
    // A terminal stops a background job that uses it.
    std::signal(SIGTTIN, SIG_IGN);
    std::signal(SIGTTOU, SIG_IGN);
}

ConsoleInput::ConsoleInput()
    : m_notifier(new Notifier(this))
{
    connect(m_notifier, &Notifier::activated, this, &ConsoleInput::activated);
}

std::optional<QByteArray> ConsoleInput::read()
{
    pollfd waiting{STDIN_FILENO, POLLIN, 0};
    if (poll(&waiting, 1, 0) == 0) {
        return QByteArray(); // somebody else has read it
    }
    std::array<char, kReadSize> bytes;
    const ssize_t size = ::read(STDIN_FILENO, bytes.data(), bytes.size());
    if (size > 0) {
        return QByteArray(bytes.data(), static_cast<int>(size));
    }
    if (size < 0 && (errno == EINTR || errno == EAGAIN)) {
        return QByteArray();
    }
    if (size < 0 && inBackground()) {
        m_notifier->pause();
        return QByteArray();
    }
    // On a terminal ^D is no end: later lines still come. One that has hung up is no terminal any more.
    if (size == 0 && isTerminal()) {
        return QByteArray();
    }
    m_notifier->setEnabled(false);
    return std::nullopt;
}

void ConsoleInput::cancelRead()
{
    // No read is begun here that could wait.
}
