#include "Platform/Pages.h"

#include <new>
#include <utility>

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/mman.h>
#endif

namespace
{

void* take(std::size_t size)
{
#ifdef _WIN32
    void* const data = VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
#else
    void* data = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (data == MAP_FAILED) {
        data = nullptr;
    }
#endif
    if (data == nullptr) {
        throw std::bad_alloc();
    }
    return data;
}

} // namespace

Pages::Pages(std::size_t bytes)
    : m_size(bytes)
    , m_data(take(bytes))
{
}

Pages::Pages(Pages&& other) noexcept
    : m_size(other.m_size)
    , m_data(std::exchange(other.m_data, nullptr))
{
}

Pages& Pages::operator=(Pages&& other) noexcept
{
    std::swap(m_size, other.m_size);
    std::swap(m_data, other.m_data);
    return *this;
}

Pages::~Pages()
{
    if (m_data == nullptr) {
        return;
    }
#ifdef _WIN32
    VirtualFree(m_data, 0, MEM_RELEASE);
#else
    munmap(m_data, m_size);
#endif
}
