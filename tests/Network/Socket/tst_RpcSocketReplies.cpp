#include "RpcSocketTest.h"

#include "Core/Log/LogLimiter.h"
#include "support/LogCapture.h"

#include <QDateTime>
#include <QtTest>

class tst_RpcSocketReplies : public RpcSocketTest
{
    Q_OBJECT

private slots:
    void replyReachesSuccessCallbackOnce();
    void replyWithUnknownNumberIsDropped();
    void blanksAsCdMakeReply();
    void cdThatIsNoStringMakesReply();
    void successCallbackMayInvoke();
    void callWithTimeoutCallbackAloneIsEndedByItsReply();
    void callExpiresOnceItsDeadlineHasPassed();
    void callWithSuccessCallbackAloneExpires();
    void expiredCallsExpireInOrderOfTheirNumbers();
    void timeoutCallbackMayInvoke();
    void callsMadeByTimeoutCallbacksWaitForNextHeartbeat();
    void replyAfterTimeoutDoesNotCallSuccess();
    void twoEmptyCallbacksLeaveNothingPending();
    void destructionRunsNoTimeoutCallback();
};

void tst_RpcSocketReplies::replyReachesSuccessCallbackOnce()
{
    QList<QJsonObject> replies;
    NodeInfo peer;
    QVERIFY(invoke(QStringLiteral("work"), [&](const QJsonObject& reply, const NodeInfo& node) {
        replies.append(reply);
        peer = node;
    }));
    for (int i = 0; i < 2; ++i) {
        QVERIFY(deliver(toOwn("00000001", R"({"cd":"","x":7})")));
    }
    QCOMPARE(replies.size(), 1);
    QCOMPARE(replies.first(), (QJsonObject{{QStringLiteral("cd"), QString()}, {QStringLiteral("x"), 7}}));
    QCOMPARE(peer.id.bytes(), kPeerBytes);
    QCOMPARE(peer.address, m_peer->address());
    QCOMPARE(peer.port, m_peer->port());
}

void tst_RpcSocketReplies::replyWithUnknownNumberIsDropped()
{
    int replies = 0;
    QVERIFY(invoke(QStringLiteral("work"), [&](const QJsonObject&, const NodeInfo&) { ++replies; }));
    QVERIFY(deliver(toOwn("00000002", R"({"cd":""})")));
    QVERIFY(deliver(toOwn("ff000001", R"({"cd":""})")));
    QCOMPARE(replies, 0);
    QVERIFY(deliver(toOwn("00000001", R"({"cd":""})")));
    QCOMPARE(replies, 1);
}

void tst_RpcSocketReplies::blanksAsCdMakeReply()
{
    int replies = 0;
    m_rpc->declareFunction(QStringLiteral("  "), nothing);
    QVERIFY(invoke(QStringLiteral("work"), [&](const QJsonObject&, const NodeInfo&) { ++replies; }));
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"  "})")));
    QCOMPARE(replies, 1);
    QCOMPARE(m_peer->received(*m_socket).size(), 1); // the call alone
}

void tst_RpcSocketReplies::cdThatIsNoStringMakesReply()
{
    int replies = 0;
    for (const char* body : {R"({"cd":7})", R"({"cd":null})", R"({"cd":["work"]})", R"({"cd":{}})"}) {
        QVERIFY(invoke(QStringLiteral("work"), [&](const QJsonObject&, const NodeInfo&) { ++replies; }));
        QVERIFY(deliver(Wire::packet(QByteArray(3, '\0') + static_cast<char>(replies + 1), peerId().bytes(),
                                     ownId().bytes(), body)));
    }
    QCOMPARE(replies, 4);
}

void tst_RpcSocketReplies::successCallbackMayInvoke()
{
    int replies = 0;
    const RpcSocket::SuccessCallback count = [&](const QJsonObject&, const NodeInfo&) { ++replies; };
    QVERIFY(invoke(QStringLiteral("first"), [&](const QJsonObject&, const NodeInfo&) {
        for (int i = 0; i < 100; ++i) {
            invoke(QStringLiteral("second"), count);
        }
    }));
    QVERIFY(deliver(toOwn("00000001", R"({"cd":""})")));
    QVERIFY(deliver(toOwn("00000065", R"({"cd":""})"))); // number 101
    QVERIFY(deliver(toOwn("00000001", R"({"cd":""})"))); // the first is no longer pending
    QCOMPARE(replies, 1);
}

void tst_RpcSocketReplies::callWithTimeoutCallbackAloneIsEndedByItsReply()
{
    int timeouts = 0;
    QVERIFY(invoke(QStringLiteral("work"), {}, [&] { ++timeouts; }));
    QVERIFY(deliver(toOwn("00000001", R"({"cd":""})")));
    m_now += 10'000;
    m_rpc->onTimeout();
    QCOMPARE(timeouts, 0);
}

void tst_RpcSocketReplies::callExpiresOnceItsDeadlineHasPassed()
{
    int timeouts = 0;
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    QVERIFY(invoke(QStringLiteral("work"), {}, [&] { ++timeouts; }));
    const qint64 after = QDateTime::currentMSecsSinceEpoch();
    m_now += 5000;
    m_rpc->onTimeout();
    QCOMPARE(timeouts, 0);
    m_now += 1;
    const LogCapture log;
    m_rpc->onTimeout();
    QCOMPARE(timeouts, 1);
    // Readers of the log know the deadline by the wall clock, under a name that is not its own.
    QCOMPARE(log.texts(QtDebugMsg).size(), 1);
    const QString text = log.texts(QtDebugMsg).first();
    QVERIFY2(text.startsWith(QStringLiteral("Function timeout ... name: work, created time: ")),
             qPrintable(text));
    const qint64 told = text.section(QLatin1Char(' '), -1).toLongLong();
    QVERIFY2(told >= before + 5000 && told <= after + 5000, qPrintable(text));
    m_rpc->onTimeout();
    QCOMPARE(timeouts, 1);
}

void tst_RpcSocketReplies::callWithSuccessCallbackAloneExpires()
{
    QVERIFY(invoke(
        QStringLiteral("%2"), [](const QJsonObject&, const NodeInfo&) {}, {}, 1500));
    m_now += 1501;
    const LogCapture log;
    m_rpc->onTimeout();
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(log.texts().first().startsWith(QStringLiteral("Function timeout ... name: %2, created time: ")));
}

void tst_RpcSocketReplies::expiredCallsExpireInOrderOfTheirNumbers()
{
    QList<int> order;
    QVERIFY(invoke(
        QStringLiteral("work"), {}, [&] { order.append(1); }, 3000));
    QVERIFY(invoke(
        QStringLiteral("work"), {}, [&] { order.append(2); }, 9000));
    QVERIFY(invoke(
        QStringLiteral("work"), {}, [&] { order.append(3); }, 1000));
    m_now += 5000;
    m_rpc->onTimeout();
    QCOMPARE(order, (QList<int>{1, 3}));
}

void tst_RpcSocketReplies::timeoutCallbackMayInvoke()
{
    QStringList expired;
    const auto expires = [&](const QString& name) { return [&expired, name] { expired.append(name); }; };
    QVERIFY(invoke(QStringLiteral("work"), {}, [&] {
        expired.append(QStringLiteral("first"));
        for (int i = 0; i < 10; ++i) {
            invoke(QStringLiteral("work"), {}, expires(QStringLiteral("added")));
        }
    }));
    QVERIFY(invoke(QStringLiteral("work"), {}, expires(QStringLiteral("second"))));
    m_now += 5001;
    m_rpc->onTimeout();
    QCOMPARE(expired, (QStringList{QStringLiteral("first"), QStringLiteral("second")}));
    m_now += 5001;
    m_rpc->onTimeout();
    QCOMPARE(expired.size(), 12);
}

void tst_RpcSocketReplies::callsMadeByTimeoutCallbacksWaitForNextHeartbeat()
{
    int timeouts = 0;
    RpcSocket::TimeoutCallback again = [&] {
        ++timeouts;
        invoke(QStringLiteral("work"), {}, again, -1);
    };
    QVERIFY(invoke(QStringLiteral("work"), {}, again, -1));
    m_rpc->onTimeout();
    QCOMPARE(timeouts, 1);
    m_rpc->onTimeout();
    QCOMPARE(timeouts, 2);
}

void tst_RpcSocketReplies::replyAfterTimeoutDoesNotCallSuccess()
{
    int replies = 0;
    int timeouts = 0;
    QVERIFY(invoke(
        QStringLiteral("work"), [&](const QJsonObject&, const NodeInfo&) { ++replies; },
        [&] { ++timeouts; }));
    m_now += 5001;
    m_rpc->onTimeout();
    QVERIFY(deliver(toOwn("00000001", R"({"cd":""})")));
    QCOMPARE(timeouts, 1);
    QCOMPARE(replies, 0);
}

void tst_RpcSocketReplies::twoEmptyCallbacksLeaveNothingPending()
{
    QVERIFY(invoke(QStringLiteral("work")));
    const LogCapture log;
    QVERIFY(deliver(toOwn("00000001", R"({"cd":""})")));
    QVERIFY(invoke(QStringLiteral("work")));
    m_now += 60'000;
    m_rpc->onTimeout();
    QCOMPARE(log.texts(), QStringList());
}

void tst_RpcSocketReplies::destructionRunsNoTimeoutCallback()
{
    int timeouts = 0;
    QVERIFY(invoke(QStringLiteral("work"), {}, [&] { ++timeouts; }));
    m_now += 60'000;
    m_rpc.clear();
    QCOMPARE(timeouts, 0);
}

QTEST_GUILESS_MAIN(tst_RpcSocketReplies)

#include "tst_RpcSocketReplies.moc"
