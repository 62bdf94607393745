#include "Receiving/Sinks/OutputPipe.h"

#include "Platform/Output.h"

#include <cerrno>
#include <cstring>

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
        const int count =
            Output::writeReady(m_descriptor, bytes.constData() + written, bytes.size() - written, kLook);
        if (count >= 0) {
            written += count;
            m_size += count;
        } else if (errno == EPIPE) {
            return IqSink::Outcome::ReaderGone;
        } else {
            m_error = QString::fromLocal8Bit(std::strerror(errno));
            return IqSink::Outcome::Failed;
        }
    }
    return IqSink::Outcome::Going;
}
