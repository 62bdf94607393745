#pragma once

#include "Client/ClientSession.h"
#include "Client/ServerDouble.h"
#include "support/LogCapture.h"

#include <QObject>
#include <QStringList>
#include <QVector>
#include <memory>

/// What tests of a session with a ServerDouble begin with: both, new for each test, with what the session has
/// said. A warning nobody expected fails the test.
class SessionTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

protected:
    using Refusal = ClientSession::Refusal;
    using End = ClientSession::End;
    using State = ClientSession::State;

    /// Quick, and by a clock that runs four times as fast.
    [[nodiscard]] static ClientSession::Timing quick();
    [[nodiscard]] static QString text(const char* latin) { return QString::fromLatin1(latin); }

    /// Another session instead, before it is opened.
    void useSession(const ClientSession::Timing& timing);
    [[nodiscard]] ClientSession::Target target() const;
    [[nodiscard]] bool openAndWait();

    std::unique_ptr<ServerDouble> m_server;
    std::unique_ptr<ClientSession> m_session;
    std::unique_ptr<LogCapture> m_log;
    QVector<End> m_ends;
    QVector<Refusal> m_refusals;
    QStringList m_texts;
    int m_connected = 0;
};
