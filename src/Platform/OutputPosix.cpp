#include "Platform/Output.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <langinfo.h>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

std::string_view environment(const char* name)
{
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string_view() : value;
}

} // namespace

void Output::ignoreBrokenPipes()
{
    std::signal(SIGPIPE, SIG_IGN);
}

bool Output::write(int descriptor, const char* data, int size)
{
    int written = 0;
    while (written < size) {
        const ssize_t count = ::write(descriptor, data + written, static_cast<std::size_t>(size - written));
        if (count < 0 && errno != EINTR) {
            return false;
        }
        written += std::max(static_cast<int>(count), 0);
    }
    return true;
}

int Output::writeReady(int descriptor, const char* data, int size, int patience)
{
    pollfd ready{descriptor, POLLOUT, 0};
    if (poll(&ready, 1, patience) <= 0) {
        return 0;
    }
    // A pipe that is ready takes as much as this without waiting.
    const auto fitting = static_cast<std::size_t>(std::min(size, PIPE_BUF));
    const ssize_t count = ::write(descriptor, data, fitting);
    return count < 0 && (errno == EINTR || errno == EAGAIN) ? 0 : static_cast<int>(count);
}

bool Output::isTerminal(int descriptor)
{
    return isatty(descriptor) == 1;
}

Output::TerminalSize Output::terminalSize(int descriptor)
{
    winsize size{};
    if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {80, 24};
    }
    return {size.ws_col, size.ws_row};
}

Output::Colours Output::colours()
{
    const std::string_view terminal = environment("TERM");
    const std::string_view depth = environment("COLORTERM");
    if (!environment("NO_COLOR").empty() || terminal.empty() || terminal == "dumb") {
        return Colours::None;
    }
    return depth == "truecolor" || depth == "24bit" ? Colours::True : Colours::Palette;
}

bool Output::isUnicode()
{
    return std::string_view(nl_langinfo(CODESET)) == "UTF-8";
}
