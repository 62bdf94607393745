#include "System/PseudoTerminal.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

PseudoTerminal::PseudoTerminal()
    : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
{
    grantpt(m_master);
    unlockpt(m_master);
    m_device = QString::fromLatin1(ptsname(m_master));
}

void PseudoTerminal::type(const QByteArray& bytes) const
{
    [[maybe_unused]] const ssize_t written =
        write(m_master, bytes.constData(), static_cast<size_t>(bytes.size()));
}

void PseudoTerminal::hangUp()
{
    if (m_master >= 0) {
        close(m_master);
    }
    m_master = -1;
}
