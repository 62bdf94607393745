#pragma once

#include <QPair>
#include <QStringList>
#include <QVariantMap>
#include <QVector>

/// What a client has written to a receiver, for a session that comes back: each name once, in the order of
/// the last writes.
/// Thread: that of the session.
class WrittenProperties
{
public:
    using Values = QVector<QPair<QString, QVariant>>;

    void note(const QString& name);
    /// A session ends with these values. What the one before it left and was not taken stays as it is.
    void keep(const QVariantMap& values);
    /// What was kept, for the session that has come back to write. It is forgotten, the names are not.
    [[nodiscard]] Values take();
    void clear();

private:
    QStringList m_names;
    QVariantMap m_kept;
};
