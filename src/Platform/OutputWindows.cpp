#include "Platform/Output.h"

#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace
{

HANDLE handleOf(int descriptor)
{
    return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
}

} // namespace

void Output::ignoreBrokenPipes()
{
    // They never end a process here.
}

bool Output::write(int descriptor, const char* data, int size)
{
    int written = 0;
    while (written < size) {
        const int count = writeReady(descriptor, data + written, size - written, 0);
        if (count < 0) {
            return false;
        }
        written += count;
    }
    return true;
}

int Output::writeReady(int descriptor, const char* data, int size, int /*patience*/)
{
    _setmode(descriptor, _O_BINARY);
    return _write(descriptor, data, static_cast<unsigned>(size));
}

bool Output::isTerminal(int descriptor)
{
    DWORD mode = 0;
    if (GetConsoleMode(handleOf(descriptor), &mode) == 0) {
        return false;
    }
    SetConsoleMode(handleOf(descriptor), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    return true;
}

Output::TerminalSize Output::terminalSize(int descriptor)
{
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (GetConsoleScreenBufferInfo(handleOf(descriptor), &info) == 0) {
        return {80, 24};
    }
    return {info.srWindow.Right - info.srWindow.Left + 1, info.srWindow.Bottom - info.srWindow.Top + 1};
}

Output::Colours Output::colours()
{
    const char* const unwanted = std::getenv("NO_COLOR");
    return unwanted == nullptr || *unwanted == '\0' ? Colours::True : Colours::None;
}

bool Output::isUnicode()
{
    return GetACP() == CP_UTF8 && GetConsoleOutputCP() == CP_UTF8;
}
