#include <dlfcn.h>
#include <filesystem>
#include <iostream>
#include <string>

#ifdef WITH_QT
#include <QCoreApplication>
#endif

// A host that loads the plug-in, uses it and unloads it, again and again: PLUGIN PLACE IDENTIFICATOR TIMES.
int main(int argc, char** argv)
{
    if (argc != 5) {
        return 2;
    }
#ifdef WITH_QT
    const QCoreApplication application(argc, argv);
#endif
    const auto threads = [] {
        const std::filesystem::directory_iterator tasks("/proc/self/task");
        return std::distance(begin(tasks), end(tasks));
    };
    const auto before = threads();
    for (int times = std::stoi(argv[4]); times > 0; --times) {
        void* const plugin = dlopen(argv[1], RTLD_LAZY | RTLD_LOCAL);
        if (plugin == nullptr) {
            std::cerr << dlerror() << '\n';
            return 1;
        }
        using Use = int (*)(const char*, const char*, char*, std::size_t);
        char trouble[200] = {};
        const int result =
            reinterpret_cast<Use>(dlsym(plugin, "use"))(argv[2], argv[3], trouble, sizeof(trouble));
        dlclose(plugin);
        if (result != 0 || threads() != before) {
            std::cerr << trouble << ", " << threads() - before << " threads are left\n";
            return 1;
        }
        if (dlopen(argv[1], RTLD_LAZY | RTLD_NOLOAD) != nullptr) {
            std::cerr << "the plug-in was not unloaded\n";
            return 1;
        }
    }
    return 0;
}
