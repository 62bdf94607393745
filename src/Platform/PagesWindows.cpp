#include "Platform/Pages.h"

#include <new>
#include <windows.h>

Pages::Pages(std::size_t bytes)
    : m_data(VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE), {bytes})
{
    if (m_data == nullptr) {
        throw std::bad_alloc();
    }
}

void Pages::GiveBack::operator()(void* data) const
{
    VirtualFree(data, 0, MEM_RELEASE);
}
