#pragma once

#include <QStringList>
#include <QtGlobal>

/// Collects every log record, of any thread, while it lives; QTest sees none of them. One at a time.
class LogCapture
{
public:
    struct Record
    {
        QtMsgType type;
        QString text;
    };

    LogCapture();
    ~LogCapture();

    [[nodiscard]] QList<Record> records() const;
    /// The texts of all records, or of one level.
    [[nodiscard]] QStringList texts() const;
    [[nodiscard]] QStringList texts(QtMsgType type) const;
    void clear();

private:
    Q_DISABLE_COPY_MOVE(LogCapture)
    QtMessageHandler m_previous;
};
