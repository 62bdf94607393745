#pragma once

#include <QByteArray>
#include <QStringList>

/// Cuts bytes into lines of UTF-8, as they come. A line beyond 64 KiB is dropped whole: input that never ends
/// a line takes no more memory than that.
/// Thread: any, one at a time.
class LineBuffer
{
public:
    static constexpr int kMaxLine = 64 * 1024; ///< bytes

    /// The lines that these bytes complete, in order, without their ends.
    [[nodiscard]] QStringList append(const QByteArray& bytes);

    /// What has come of a line without its end, for the end of input; nothing if there is none.
    [[nodiscard]] QStringList takeRest();

private:
    void keep(const char* begin, const char* end);

    QByteArray m_line; // without its end so far
    bool m_isTooLong = false;
};
