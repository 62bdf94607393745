#include "Embedded/HostSession.h"

#include <iostream>

// A host that knows nothing of Qt: PLACE IDENTIFICATOR TIMES.
int main(int argc, char** argv)
{
    if (argc != 4) {
        return 2;
    }
    const int before = threadCount();
    for (int times = std::stoi(argv[3]); times > 0; --times) {
        if (const std::string trouble = useLibrary(argv[1], argv[2]); !trouble.empty()) {
            std::cerr << trouble << '\n';
            return 1;
        }
    }
    if (threadCount() != before) {
        std::cerr << threadCount() - before << " threads are left\n";
        return 1;
    }
    return 0;
}
