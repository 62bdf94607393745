#include "support/AllocationCounter.h"

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define HEAP_HAS_HOOKS
// Told here, since GCC's packages bring the function but not the header that declares it.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void* memory,
                                                                          std::size_t size),
                                                         void (*onFree)(const volatile void* memory));
#endif

namespace
{

// Of this thread alone: the others of the process go on with their work.
thread_local int* current = nullptr;

void note()
{
    if (current != nullptr) {
        ++*current;
    }
}

} // namespace

#ifdef HEAP_HAS_HOOKS

// A sanitizer brings its own heap, and tells of each allocation.
namespace
{

const int hooks = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void* /*memory*/, std::size_t /*size*/) { note(); },
    [](const volatile void* /*memory*/) {});

} // namespace

#else

// The program's own malloc comes before the library's, which has these names.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) noexcept
{
    note();
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    note();
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept
{
    note();
    return __libc_realloc(memory, size);
}
}

#endif

AllocationCounter::AllocationCounter()
{
#ifdef HEAP_HAS_HOOKS
    Q_ASSERT(hooks > 0);
#endif
    Q_ASSERT(current == nullptr);
    current = &m_count;
}

AllocationCounter::~AllocationCounter()
{
    current = nullptr;
}
