#include "Receiving/Sinks/OutputPipe.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <poll.h>
#include <unistd.h>

namespace
{

constexpr int kLook = 100; // ms between two looks at whether it is to stop

} // namespace

OutputPipe::OutputPipe(int descriptor)
    : m_descriptor(descriptor)
{
}

IqSink::Outcome OutputPipe::write(const QByteArray& bytes)
{
    int written = 0;
    while (written < bytes.size() && !m_stopped) {
        pollfd ready{m_descriptor, POLLOUT, 0};
        if (::poll(&ready, 1, kLook) == 0) {
            continue;
        }
        // A pipe that is ready takes as much as this without blocking.
        const auto size = static_cast<size_t>(std::min(bytes.size() - written, PIPE_BUF));
        const ssize_t count = ::write(m_descriptor, bytes.constData() + written, size);
        if (count >= 0) {
            written += static_cast<int>(count);
            m_size += count;
        } else if (errno == EPIPE) {
            return IqSink::Outcome::ReaderGone;
        } else if (errno != EINTR && errno != EAGAIN) {
            m_error = QString::fromLocal8Bit(std::strerror(errno));
            return IqSink::Outcome::Failed;
        }
    }
    return IqSink::Outcome::Going;
}
