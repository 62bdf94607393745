#include "Platform/Interrupt.h"

#include <QSocketNotifier>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace
{

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};

std::array<int, 2> ends{-1, -1}; // of a pipe from the signal handler to the event loop

void onSignal(int /*number*/)
{
    const int error = errno;
    const char byte = 0;
    [[maybe_unused]] const ssize_t count = write(ends[1], &byte, 1);
    errno = error;
}

auto handlerOf(int number)
{
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    return action.sa_handler;
}

void catchSignal(int number, bool isOnce)
{
    struct sigaction action = {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART | (isOnce ? static_cast<int>(SA_RESETHAND) : 0);
    sigaction(number, &action, nullptr);
}

} // namespace

Interrupt::Interrupt(Program program, QObject* parent)
    : QObject(parent)
{
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    auto* const notifier = new QSocketNotifier(ends[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] {
        std::array<char, 16> bytes;
        [[maybe_unused]] const ssize_t count = read(ends[0], bytes.data(), bytes.size());
        emit interrupted();
    });
    const bool isService = program == Program::Service;
    for (const int number : kSignals) {
        if (!isService || handlerOf(number) != SIG_IGN) {
            catchSignal(number, !isService || number != SIGHUP);
        }
    }
}

Interrupt::~Interrupt()
{
    for (const int number : kSignals) {
        if (handlerOf(number) == onSignal) {
            std::signal(number, SIG_DFL);
        }
    }
    for (int& end : ends) {
        close(std::exchange(end, -1));
    }
}
