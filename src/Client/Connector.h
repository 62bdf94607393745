#pragma once

#include "Network/Data/NodeInfo.h"

#include <QDateTime>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <functional>

class QJsonObject;
class QTimer;
class RpcSocket;
class Socket;

/// The way into a session with one server, and back into one that has broken off: asks until the server
/// grants a session or refuses it for good. Each time that it asks it does so under a new id, by which an
/// earlier session's datagrams are told apart.
/// Thread: that of the session.
class Connector : public QObject
{
    Q_OBJECT

public:
    /// Where to go. A server counts a client that names another identificator than its own as an
    /// administrator, who drives out whoever is connected: so it has to be known, not guessed.
    struct Target
    {
        int160 id;
        QHostAddress address;
        quint16 port = 0;
        QString identificator;
    };

    enum class Refusal
    {
        NoAnswer,           ///< Nothing came within the patience.
        Busy,               ///< "Server busy!"
        UnsupportedVersion, ///< "Unsupported version protocol!"
        BadRequest,         ///< "Error get client packet values!"
        NoDevice,           ///< "Error factory RadioDevice!"
        Other,              ///< Another text of the server's.
        BadAnswer,          ///< Neither a session id nor a refusal.
    };
    Q_ENUM(Refusal)

    struct Timing
    {
        int attempt = 2000;       ///< ms that one connect_to_host waits for its answer.
        int patience = 6000;      ///< ms in all, after which the first connecting ends in NoAnswer.
        int busyPatience = 15000; ///< ms in all that "Server busy!" is borne after an unanswered attempt,
                                  ///< which may have made the very session that the server is busy with.
        int pause = 1000;         ///< ms between two attempts.
        std::function<qint64()> clock = &QDateTime::currentMSecsSinceEpoch; ///< ms since the epoch.
    };

    /// What a server has granted.
    struct Grant
    {
        int160 ownId;     ///< That the client has named itself by.
        int160 sessionId; ///< That of the server's end of the session.
        NodeInfo server;  ///< As the answer came from it: one with several addresses may use another one.
    };

    /// Declares what a server may call before its answer has come.
    using Declare = std::function<void(RpcSocket& rpc)>;

    Connector(const Timing& timing, Declare declare, QObject* parent);
    ~Connector() override;

    /// Asks for the first time: silence and a busy server are borne within the patience.
    void begin(const QSharedPointer<Socket>& socket, const Target& target);
    /// After a pause asks for a session like the one that has broken off, and goes on through silence and a
    /// busy server until `stop`.
    void beginAgain();
    void stop();

    [[nodiscard]] const Target& target() const { return m_target; }

signals:
    void granted(const Connector::Grant& grant);
    /// `text` is the server's, cut to 200 characters and without control characters; empty if it gave none.
    void refused(Connector::Refusal refusal, const QString& text);

private:
    void start(bool isAgain, int delayMs);
    void ask();
    void drop();
    void onAnswer(const QJsonObject& reply, const NodeInfo& peer);
    void onNoAnswer();
    void onRefusal(const QString& text);
    void giveUp(Refusal refusal, const QString& text);
    [[nodiscard]] qint64 waited() const;

    Timing m_timing;
    Declare m_declare;
    Target m_target;
    QSharedPointer<Socket> m_socket;
    QSharedPointer<RpcSocket> m_rpc; // attached while an answer is awaited
    QTimer* m_next;
    bool m_isAgain = false;
    bool m_unanswered = false; // an attempt of this connecting has had no answer
    qint64 m_since = 0;        // ms since the epoch
};
