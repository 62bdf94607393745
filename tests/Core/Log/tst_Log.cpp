#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"

#include "support/LogCapture.h"

#include <QtTest>

class tst_Log : public QObject
{
    Q_OBJECT

private slots:
    void sourceTagIsPathBelowSrcWithoutExtension_data();
    void sourceTagIsPathBelowSrcWithoutExtension();
    void warningCarriesTagFunctionAndLineEachFollowedByOneBlank();
    void criticalDiffersInItsLetterAlone();
    void debugRecordIsMessageAlone();
    void sinkTakesRecordsPastQt();
};

void tst_Log::sourceTagIsPathBelowSrcWithoutExtension_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("tag");
    QTest::newRow("absolute") << QByteArray("/home/a/orvenlink/src/Core/Worker/Worker.cpp")
                              << QStringLiteral("Core/Worker/Worker");
    QTest::newRow("source tree below another src")
        << QByteArray("/usr/src/orvenlink/src/Server/Server.cpp") << QStringLiteral("Server/Server");
    QTest::newRow("relative") << QByteArray("src/Server/Server.cpp") << QStringLiteral("Server/Server");
    QTest::newRow("backslashes") << QByteArray("C:\\orvenlink\\src\\Server\\Server.cpp")
                                 << QStringLiteral("Server/Server");
}

void tst_Log::sourceTagIsPathBelowSrcWithoutExtension()
{
    QFETCH(QByteArray, file);
    QTEST(Log::sourceTag(file.constData()), "tag");
}

void tst_Log::warningCarriesTagFunctionAndLineEachFollowedByOneBlank()
{
    const LogCapture log;
    Log::warning("src/Core/Worker/Worker.cpp", "setPropertyEvent", 57) << QStringLiteral("a \"b\"") << 3;
    QCOMPARE(log.records().size(), 1);
    QCOMPARE(log.records().constFirst().type, QtWarningMsg);
    QCOMPARE(log.texts().constFirst(),
             QStringLiteral("[ W ][ Core/Worker/Worker ] setPropertyEvent : 57 =>\t a \"b\" 3"));
}

void tst_Log::criticalDiffersInItsLetterAlone()
{
    const LogCapture log;
    Log::critical("src/Core/Worker/ThreadManager.cpp", "f", 1) << "x";
    QCOMPARE(log.records().constFirst().type, QtCriticalMsg);
    QCOMPARE(log.texts().constFirst(), QStringLiteral("[ C ][ Core/Worker/ThreadManager ] f : 1 =>\t x"));
}

void tst_Log::debugRecordIsMessageAlone()
{
    const LogCapture log;
    LOG_DEBUG() << QStringLiteral("Set device ..") << QStringLiteral("RtlUsb");
    QCOMPARE(log.texts(QtDebugMsg), QStringList{QStringLiteral("Set device .. RtlUsb")});
}

void tst_Log::sinkTakesRecordsPastQt()
{
    static QStringList taken;
    const LogCapture log;
    Log::setSink([](QtMsgType level, const QString& text) {
        taken.append(QString::number(level) + QLatin1Char(' ') + text);
    });
    LOG_DEBUG() << "a" << 1;
    LOG_INFO() << QStringLiteral("b");
    Log::warning("src/A.cpp", "f", 2) << QStringLiteral("c");
    LOG_LIMITED(Log::critical("src/A.cpp", "f", 3)) << QStringLiteral("d") << 4;
    Log::setSink(nullptr);
    LOG_INFO() << QStringLiteral("e");
    QCOMPARE(taken, QStringList({QStringLiteral("0 a 1"), QStringLiteral("4 b"),
                                 QStringLiteral("1 [ W ][ A ] f : 2 =>\t c"),
                                 QStringLiteral("2 [ C ][ A ] f : 3 =>\t d 4")}));
    QCOMPARE(log.texts(), QStringList{QStringLiteral("e")});
}

QTEST_GUILESS_MAIN(tst_Log)
#include "tst_Log.moc"
