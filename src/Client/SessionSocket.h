#pragma once

#include "Network/Socket/UserSocket.h"

/// The client's end of a session, which can tell why it ended.
/// Thread: that of the session.
class SessionSocket : public UserSocket
{
    Q_OBJECT

public:
    using UserSocket::UserSocket;

    /// True while `disconnected` is emitted because the peer has fallen silent.
    [[nodiscard]] bool isPeerSilent() const { return m_inHeartbeat; }

    void onTimeout() override;

private:
    bool m_inHeartbeat = false;
};
