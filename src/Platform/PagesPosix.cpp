#include "Platform/Pages.h"

#include <new>
#include <sys/mman.h>

Pages::Pages(std::size_t bytes)
    : m_data(nullptr, {bytes})
{
    void* const data = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (data == MAP_FAILED) {
        throw std::bad_alloc();
    }
    m_data.reset(data);
}

void Pages::GiveBack::operator()(void* data) const
{
    munmap(data, size);
}
