#include "FakeLog.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

void FakeLog::line(const std::string& text)
{
    const char* name = std::getenv("FAKE_LOG");
    const int file = name != nullptr ? open(name, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600) : -1;
    if (file < 0) {
        return;
    }
    // In one piece, so that lines of two threads never mix.
    const std::string whole = text + "\n";
    if (write(file, whole.data(), whole.size()) != static_cast<ssize_t>(whole.size())) {
        std::abort();
    }
    close(file);
}
