#include "RadioDevice/Rsp/RspStream.h"

#include <mutex>
#include <utility>

namespace
{

struct Present
{
    std::mutex mutex;
    std::uintptr_t lastNumber = 0;
    bool isLastClosed = true;
    std::uintptr_t number = 0; // of the open stream; 0 for none
    RspStream::Receiver receiver;
};

Present& present()
{
    // Never destroyed: the library's thread may run to the end of the process.
    static auto& instance = *new Present;
    return instance;
}

} // namespace

void* RspStream::begin()
{
    const std::lock_guard lock(present().mutex);
    m_number = ++present().lastNumber;
    present().isLastClosed = false;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a number in the shape that the library takes
    return reinterpret_cast<void*>(m_number);
}

void RspStream::open(Receiver receiver)
{
    const std::lock_guard lock(present().mutex);
    present().number = m_number;
    present().receiver = std::move(receiver);
}

void RspStream::close()
{
    const std::lock_guard lock(present().mutex);
    present().isLastClosed = present().isLastClosed || present().lastNumber == m_number;
    if (present().number == m_number) {
        present().number = 0;
        present().receiver = nullptr;
    }
}

bool RspStream::isSuperseded() const
{
    const std::lock_guard lock(present().mutex);
    return present().lastNumber != m_number && !present().isLastClosed;
}

void RspStream::deliver(const void* context, const short* xi, const short* xq, unsigned count)
{
    const std::lock_guard lock(present().mutex);
    if (present().receiver && present().number == reinterpret_cast<std::uintptr_t>(context)) {
        present().receiver(xi, xq, count);
    }
}
