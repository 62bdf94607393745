#include "Core/Log/Log.h"

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

QTEST_GUILESS_MAIN(tst_Log)
#include "tst_Log.moc"
