#pragma once

#include <cstddef>

/// Memory that is taken from the system by whole pages and goes back to it with the object. For the few large
/// blocks that come and go with a session: in the heap they would leave holes that fit the next ones no more,
/// and the process would grow with every session.
/// Errors: std::bad_alloc if the system has none left.
class Pages
{
public:
    /// At least `bytes` bytes, 1 or more, all zero. A page costs memory from its first use on.
    explicit Pages(std::size_t bytes);
    ~Pages();
    /// What was moved from holds nothing.
    Pages(Pages&& other) noexcept;
    Pages& operator=(Pages&& other) noexcept;

    /// The first byte, which begins a page.
    [[nodiscard]] void* data() const { return m_data; }

private:
    std::size_t m_size;
    void* m_data;
};
