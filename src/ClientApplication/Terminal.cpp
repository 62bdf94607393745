#include "ClientApplication/Terminal.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

bool isProgressShown = false;
int outputError = 0; // as errno numbers it, of the first write that failed

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

bool writeOut(const QByteArray& bytes)
{
    if (writeAll(STDOUT_FILENO, bytes)) {
        return true;
    }
    const bool isFirst = outputError == 0;
    outputError = errno;
    if (isFirst && outputError != EPIPE) {
        Terminal::error(QStringLiteral("can't write to standard output: %1; send it elsewhere")
                            .arg(QString::fromLocal8Bit(std::strerror(outputError))));
    }
    return false;
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
    return writeOut(toBytes(line) + '\n');
}

bool Terminal::write(const QByteArray& bytes)
{
    return writeOut(bytes);
}

ExitCode Terminal::outputCode()
{
    return outputError == 0 || outputError == EPIPE ? ExitCode::Done : ExitCode::Failed;
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
