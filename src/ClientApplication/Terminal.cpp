#include "ClientApplication/Terminal.h"

#include <algorithm>
#include <cerrno>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

bool isProgressShown = false;

bool writeAll(int descriptor, const QByteArray& bytes)
{
    int written = 0;
    while (written < bytes.size()) {
        const ssize_t count =
            ::write(descriptor, bytes.constData() + written, static_cast<size_t>(bytes.size() - written));
        if (count < 0 && errno != EINTR) {
            return false;
        }
        written += static_cast<int>(std::max<ssize_t>(count, 0));
    }
    return true;
}

QByteArray toBytes(const QString& text)
{
    return text.toLocal8Bit();
}

} // namespace

bool Terminal::isTerminal(int descriptor)
{
    return ::isatty(descriptor) == 1;
}

QSize Terminal::size(int descriptor)
{
    winsize size{};
    if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {80, 24};
    }
    return {size.ws_col, size.ws_row};
}

Terminal::Colours Terminal::colours()
{
    const QByteArray terminal = qgetenv("TERM");
    const QByteArray depth = qgetenv("COLORTERM");
    if (!qgetenv("NO_COLOR").isEmpty() || terminal.isEmpty() || terminal == "dumb") {
        return Colours::None;
    }
    return depth == "truecolor" || depth == "24bit" ? Colours::True : Colours::Palette;
}

bool Terminal::isUnicode()
{
    return qstrcmp(::nl_langinfo(CODESET), "UTF-8") == 0;
}

bool Terminal::print(const QString& line)
{
    return writeAll(STDOUT_FILENO, toBytes(line) + '\n');
}

bool Terminal::write(const QByteArray& bytes)
{
    return writeAll(STDOUT_FILENO, bytes);
}

void Terminal::error(const QString& line)
{
    note(QStringLiteral("orvenlink-client: ") + line);
}

void Terminal::note(const QString& line)
{
    progress({});
    writeAll(STDERR_FILENO, toBytes(line) + '\n');
}

void Terminal::progress(const QString& line)
{
    if (!line.isEmpty() || isProgressShown) {
        // Cut to the width, or it would wrap and no longer be one line.
        const QString shown = line.left(size(STDERR_FILENO).width() - 1);
        writeAll(STDERR_FILENO, "\r\x1b[K" + toBytes(shown));
        isProgressShown = !line.isEmpty();
    }
}
