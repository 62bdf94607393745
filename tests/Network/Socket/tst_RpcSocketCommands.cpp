#include "RpcSocketTest.h"

#include "Core/Log/LogLimiter.h"
#include "support/LogCapture.h"

#include <QDateTime>
#include <QtTest>

class tst_RpcSocketCommands : public RpcSocketTest
{
    Q_OBJECT

private slots:
    void unknownCommandIsLoggedAndUnanswered();
    void commandWithBlanksAroundItIsAnotherCommand();
    void unknownCommandsNameIsEscapedAndCutInLog();
    void floodOfUnknownCommandsIsLimitedInLog();
    void emptyHandlerGivesNoReply();
    void secondRegistrationReplacesFirst();
    void removedFunctionIsUnknown();
    void handlerMayRemoveItself();
    void handlerMayReplaceItself();
    void callThatArrivesTwiceIsAnsweredTwice();
};

void tst_RpcSocketCommands::unknownCommandIsLoggedAndUnanswered()
{
    const LogCapture log;
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"nowork"})")));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    const QString text = log.texts().first();
    QVERIFY2(text.startsWith(QStringLiteral("[ W ][ Network/Socket/RpcSocket ] ")), qPrintable(text));
    QVERIFY2(
        text.endsWith(QStringLiteral("=>\t Error invoke rpc command \"nowork\" - command name not found!")),
        qPrintable(text));
    QVERIFY(m_peer->received(*m_socket).isEmpty());
}

void tst_RpcSocketCommands::commandWithBlanksAroundItIsAnotherCommand()
{
    m_rpc->declareFunction(QStringLiteral("work"), nothing);
    const LogCapture log;
    QVERIFY(deliver(toOwn("00000001", R"({"cd":" work "})")));
    QVERIFY(log.texts().value(0).endsWith(
        QStringLiteral("Error invoke rpc command \" work \" - command name not found!")));
    QVERIFY(m_peer->received(*m_socket).isEmpty());
}

void tst_RpcSocketCommands::unknownCommandsNameIsEscapedAndCutInLog()
{
    const LogCapture log;
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"a\n\u001b]0;x\u0007"})")));
    QVERIFY(deliver(toOwn("00000001", R"({"cd":")" + QByteArray(5000, 'x') + R"("})")));
    QVERIFY2(log.texts().value(0).endsWith(
                 QStringLiteral("Error invoke rpc command \"a\\n\\x1b]0;x\\x07\" - command name not found!")),
             qPrintable(log.texts().value(0)));
    QVERIFY(log.texts().value(1).endsWith(
        QStringLiteral("command \"%1\" - command name not found!").arg(QString(200, QLatin1Char('x')))));
}

void tst_RpcSocketCommands::floodOfUnknownCommandsIsLimitedInLog()
{
    const LogCapture log;
    for (int i = 0; i < 5000; ++i) {
        QVERIFY(deliver(toOwn("00000001", R"({"cd":"nowork"})")));
    }
    const int lines = log.texts().size();
    QVERIFY2(lines >= 1 && lines < 1000, qPrintable(QString::number(lines)));
    // What was left out is told here, lest a later test hears of it.
    QTRY_VERIFY((LogLimiter::reportAll(), log.texts().last().contains(QStringLiteral("lines left out"))));
}

void tst_RpcSocketCommands::emptyHandlerGivesNoReply()
{
    m_rpc->declareFunction(QStringLiteral("work"), {});
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work"})")));
    QVERIFY(m_peer->received(*m_socket).isEmpty());
}

void tst_RpcSocketCommands::secondRegistrationReplacesFirst()
{
    int first = 0;
    int second = 0;
    const auto count = [](int& counter) {
        return [&counter](const QJsonObject&, const NodeInfo&) {
            ++counter;
            return QJsonObject();
        };
    };
    m_rpc->declareFunction(QStringLiteral("work"), count(first));
    m_rpc->declareFunction(QStringLiteral("work"), count(second));
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work"})")));
    QCOMPARE(first, 0);
    QCOMPARE(second, 1);
}

void tst_RpcSocketCommands::removedFunctionIsUnknown()
{
    m_rpc->declareFunction(QStringLiteral("work"), nothing);
    m_rpc->removeFunction(QStringLiteral("work"));
    m_rpc->removeFunction(QStringLiteral("never declared"));
    const LogCapture log;
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work"})")));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_RpcSocketCommands::handlerMayRemoveItself()
{
    const auto owned = std::make_shared<int>(7);
    m_rpc->declareFunction(QStringLiteral("work"), [this, owned](const QJsonObject&, const NodeInfo&) {
        m_rpc->removeFunction(QStringLiteral("work"));
        return QJsonObject{{QStringLiteral("x"), *owned}};
    });
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work"})")));
    QCOMPARE(m_peer->received(*m_socket).value(0).mid(45), QByteArray(R"({"cd":"","x":7})"));
    QCOMPARE(owned.use_count(), 1L);
}

void tst_RpcSocketCommands::handlerMayReplaceItself()
{
    const auto owned = std::make_shared<int>(7);
    m_rpc->declareFunction(QStringLiteral("work"), [this, owned](const QJsonObject&, const NodeInfo&) {
        m_rpc->declareFunction(QStringLiteral("work"), nothing);
        return QJsonObject{{QStringLiteral("x"), *owned}};
    });
    QVERIFY(deliver(toOwn("00000001", R"({"cd":"work"})")));
    QVERIFY(deliver(toOwn("00000002", R"({"cd":"work"})")));
    const auto replies = m_peer->receivedMessages(*m_socket);
    QCOMPARE(replies.size(), 2);
    QCOMPARE(replies.at(0).json, QByteArray(R"({"cd":"","x":7})"));
    QCOMPARE(replies.at(1).json, QByteArray(R"({"cd":""})"));
}

void tst_RpcSocketCommands::callThatArrivesTwiceIsAnsweredTwice()
{
    m_rpc->declareFunction(QStringLiteral("work"), nothing);
    for (int i = 0; i < 2; ++i) {
        QVERIFY(deliver(toOwn("00000005", R"({"cd":"work"})")));
    }
    QCOMPARE(m_peer->received(*m_socket).size(), 2);
}

QTEST_GUILESS_MAIN(tst_RpcSocketCommands)

#include "tst_RpcSocketCommands.moc"
