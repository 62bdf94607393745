#include "ClientApplication/Interrupt.h"

#include <QSocketNotifier>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace
{

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};

int writer = -1;

void onSignal(int /*number*/)
{
    const char byte = 0;
    [[maybe_unused]] const ssize_t count = ::write(writer, &byte, 1);
}

} // namespace

Interrupt::Interrupt(QObject* parent)
    : QObject(parent)
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        return; // then a signal ends the process, as it does by itself
    }
    m_reader = ends[0];
    writer = ends[1];
    auto* notifier = new QSocketNotifier(m_reader, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &Interrupt::onReadable);
    for (const int number : kSignals) {
        struct sigaction action
        {
        };
        action.sa_handler = &onSignal;
        // The second time it does what it does by itself.
        action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
        ::sigaction(number, &action, nullptr);
    }
}

Interrupt::~Interrupt()
{
    for (const int number : kSignals) {
        ::signal(number, SIG_DFL);
    }
    if (m_reader >= 0) {
        ::close(m_reader);
        ::close(writer);
    }
}

void Interrupt::onReadable()
{
    std::array<char, 16> bytes{};
    [[maybe_unused]] const ssize_t count = ::read(m_reader, bytes.data(), bytes.size());
    emit interrupted();
}
