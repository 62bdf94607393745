#include "Application/LineBuffer.h"

#include <algorithm>

QStringList LineBuffer::append(const QByteArray& bytes)
{
    QStringList lines;
    const char* begin = bytes.constData();
    const char* const end = begin + bytes.size();
    for (const char* lineEnd = std::find(begin, end, '\n'); lineEnd != end;
         lineEnd = std::find(begin, end, '\n')) {
        keep(begin, lineEnd);
        if (!m_isTooLong) {
            lines.append(QString::fromUtf8(m_line));
        }
        m_line.clear();
        m_isTooLong = false;
        begin = lineEnd + 1;
    }
    keep(begin, end);
    return lines;
}

QStringList LineBuffer::takeRest()
{
    if (m_line.isEmpty()) {
        return {};
    }
    QStringList rest{QString::fromUtf8(m_line)};
    m_line.clear();
    return rest;
}

void LineBuffer::keep(const char* begin, const char* end)
{
    const auto size = static_cast<int>(end - begin);
    m_isTooLong = m_isTooLong || size > kMaxLine - m_line.size();
    if (m_isTooLong) {
        m_line.clear();
    } else {
        m_line.append(begin, size);
    }
}
