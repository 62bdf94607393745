#include "System/Served.h"

#include <QProcess>
#include <QtTest>

/// Programs of other people that have the library in them, as processes of their own.
class tst_Hosts : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void hostsOfAllKindsHaveSessions_data();
    void hostsOfAllKindsHaveSessions();
    void hostMayEndInMidstOfSession();

private:
    Served m_served{recording({{5000, 1000}})};
    QString m_place;
};

void tst_Hosts::initTestCase()
{
    QVERIFY(m_served.server.serve());
    m_place = m_served.server.address() + QStringLiteral("@127.0.0.1:%1").arg(m_served.server.port());
}

void tst_Hosts::cleanupTestCase()
{
    QVERIFY(m_served.server.quit());
}

void tst_Hosts::hostsOfAllKindsHaveSessions_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("before"); // arguments
    QTest::addColumn<QStringList>("after");
    const QStringList plugin{QStringLiteral(HOST_PLUGIN)};
    QTest::newRow("without Qt") << QStringLiteral(HOST_PLAIN) << QStringList()
                                << QStringList{QStringLiteral("3")};
    QTest::newRow("loading") << QStringLiteral(HOST_LOADING) << plugin << QStringList{QStringLiteral("4")};
    QTest::newRow("loading, with Qt")
        << QStringLiteral(HOST_LOADING_QT) << plugin << QStringList{QStringLiteral("4")};
    for (const char* const when : {"before", "after", "between"}) {
        QTest::addRow("application %s", when)
            << QStringLiteral(HOST_QT) << QStringList() << QStringList{QLatin1String(when)};
#ifdef HOST_GUI
        QTest::addRow("application with windows %s", when)
            << QStringLiteral(HOST_GUI) << QStringList() << QStringList{QLatin1String(when)};
#endif
    }
}

void tst_Hosts::hostsOfAllKindsHaveSessions()
{
    QFETCH(QString, program);
    QFETCH(QStringList, before);
    QFETCH(QStringList, after);
    QProcess host;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_served.home.path());
    host.setProcessEnvironment(environment);
    host.start(program, before + QStringList{m_place, m_served.server.identificator()} + after);
    QVERIFY(host.waitForFinished(300'000));
    QCOMPARE(QString::fromUtf8(host.readAllStandardError()), QString());
    QCOMPARE(host.exitStatus(), QProcess::NormalExit);
    QCOMPARE(host.exitCode(), 0);
}

void tst_Hosts::hostMayEndInMidstOfSession()
{
    QProcess host;
    host.start(QStringLiteral(HOST_EXIT), {m_place, m_served.server.identificator()});
    QVERIFY(host.waitForFinished(60'000));
    QCOMPARE(host.readAllStandardOutput(), QByteArray("1\n"));
    QCOMPARE(host.exitStatus(), QProcess::NormalExit);
    QCOMPARE(host.exitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_Hosts)
#include "tst_Hosts.moc"
