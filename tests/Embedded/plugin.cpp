#include "Embedded/HostSession.h"

#include <orvenlink/Log.h>

#include <cstring>

// What a program loads at run time that knows the library by its plug-ins only.
extern "C" __attribute__((visibility("default"))) int use(const char* place, const char* identificator,
                                                          char* trouble, std::size_t size)
{
    orvenlink::setLogHandler([](orvenlink::LogLevel, const std::string&) {});
    const std::string text = useLibrary(place, identificator);
    orvenlink::setLogHandler({});
    std::strncpy(trouble, text.c_str(), size - 1);
    return text.empty() ? 0 : 1;
}
