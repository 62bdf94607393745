#pragma once

#include "Network/Socket/Socket.h"

#include <functional>
#include <tuple>
#include <utility>

/// What the stream sockets share: the Socket that they send through, what came with the last packet, and who
/// is told of it.
/// Thread:    that of the Socket.
/// Ownership: the owner attaches it with Socket::addSocket. It shares the Socket.
template <typename... Received>
class CallbackSocket : public QObject, public InterfaceSocket
{
public:
    using Callback = std::function<void(const Received&...)>;

    /// Empty at first.
    void setCallback(Callback callback) { m_callback = std::move(callback); }

protected:
    CallbackSocket(QSharedPointer<Socket> socket, QObject* parent)
        : QObject(parent)
        , m_socket(std::move(socket))
    {
    }

    [[nodiscard]] Socket& socket() const { return *m_socket; }
    [[nodiscard]] bool hasCallback() const { return bool(m_callback); }
    /// Raises std::bad_function_call while the callback is empty.
    void deliver(Received... received)
    {
        m_received = std::tuple<Received...>(std::move(received)...);
        std::apply(m_callback, m_received);
    }

private:
    QSharedPointer<Socket> m_socket;
    std::tuple<Received...> m_received;
    Callback m_callback;
};
