#pragma once

#include <QJsonObject>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <optional>

class UserSocket;

/// Keeps the newest value of one setting of the session and sees that the server hears of it: sends it when
/// it is set and at the start of each session, and again while no reply comes, three times in all.
/// Thread: that of the session.
class SettingSender : public QObject
{
    Q_OBJECT

public:
    /// `command` takes the setting as its arguments.
    explicit SettingSender(const QString& command, QObject* parent = nullptr);

    void set(const QJsonObject& arguments);
    /// A session has begun, or has ended.
    void attach(const QSharedPointer<UserSocket>& socket);
    void detach();

signals:
    /// The server has taken up the newest value, or has had every chance to.
    void taken();

private:
    void send(int triesLeft);

    QString m_command;
    std::optional<QJsonObject> m_arguments;
    QSharedPointer<UserSocket> m_socket;
    quint32 m_serial = 0; // of the newest sending; older replies count for nothing
};
