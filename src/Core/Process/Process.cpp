#include "Core/Process/Process.h"

#include <cstdio>
#include <cstdlib>

void Process::exit(int code)
{
    std::fflush(nullptr);
    std::_Exit(code);
}
