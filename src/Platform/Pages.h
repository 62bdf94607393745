#pragma once

#include <cstddef>
#include <memory>

/// Memory that is taken from the system by whole pages and goes back to it with the object. For the few large
/// blocks that come and go with a session: in the heap they would leave holes that no longer fit the next
/// ones, and the process would grow with every session.
/// Thread: any, one at a time.
/// Errors: std::bad_alloc if the system has none left.
class Pages
{
public:
    /// At least `bytes` bytes, 1 or more, all zero. A page costs memory only once it is used.
    explicit Pages(std::size_t bytes);

    /// The first byte, which begins a page; null in an object that was moved from.
    [[nodiscard]] void* data() const { return m_data.get(); }

private:
    struct GiveBack
    {
        std::size_t size;
        void operator()(void* data) const;
    };

    std::unique_ptr<void, GiveBack> m_data;
};
