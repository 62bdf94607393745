#include "ClientApplication/Console/Terminal.h"

#include "Platform/Output.h"

#include <cerrno>
#include <cstring>

namespace
{

bool isProgressShown = false;
int outputError = 0; // as errno numbers it, of the first write that failed

QByteArray toBytes(const QString& text)
{
    return text.toLocal8Bit();
}

// A note that can't be written can't be told either.
void writeError(const QByteArray& bytes)
{
    [[maybe_unused]] const bool isWritten = Output::write(Output::kError, bytes.constData(), bytes.size());
}

bool writeOut(const QByteArray& bytes)
{
    if (Output::write(Output::kStandard, bytes.constData(), bytes.size())) {
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
    writeError(toBytes(line) + '\n');
}

void Terminal::progress(const QString& line)
{
    if (!line.isEmpty() || isProgressShown) {
        // Cut to the width, or it would wrap and no longer be one line.
        const QString shown = line.left(Output::terminalSize(Output::kError).columns - 1);
        writeError("\r\x1b[K" + toBytes(shown));
        isProgressShown = !line.isEmpty();
    }
}
