#pragma once

#include "Embedded/Deadline.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

/// Items on their way from one thread to another. When it is full the oldest go.
/// Thread: any.
template <typename Item>
class Mailbox
{
public:
    explicit Mailbox(std::size_t capacity)
        : m_capacity(capacity)
    {
    }

    void put(Item item)
    {
        const std::lock_guard lock(m_mutex);
        if (m_items.size() == m_capacity) {
            m_items.pop_front();
        }
        m_items.push_back(std::move(item));
        m_filled.notify_one();
    }

    /// The oldest one; nothing at the time limit.
    [[nodiscard]] std::optional<Item> take(std::chrono::milliseconds limit)
    {
        std::unique_lock lock(m_mutex);
        if (!m_filled.wait_until(lock, deadlineAfter(limit), [this] { return !m_items.empty(); })) {
            return std::nullopt;
        }
        std::optional<Item> item(std::move(m_items.front()));
        m_items.pop_front();
        return item;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_filled;
    std::deque<Item> m_items;
    std::size_t m_capacity;
};
