#include "Core/Worker/FactoryWorker.h"

#include "Core/Worker/Worker.h"
#include "support/LogCapture.h"

#include <QtTest>
#include <memory>

class tst_FactoryWorker : public QObject
{
    Q_OBJECT

private slots:
    void constructionTellsNamesInByteOrder();
    void makesWorkersOfNamedClass_data();
    void makesWorkersOfNamedClass();
    void eachCallMakesNewWorker();
    void unknownNameIsToldAndMakesNothing_data();
    void unknownNameIsToldAndMakesNothing();
};

void tst_FactoryWorker::constructionTellsNamesInByteOrder()
{
    const LogCapture log;
    const FactoryWorker factory;
    QCOMPARE(factory.workers(), (QStringList{QStringLiteral("dsph"), QStringLiteral("work")}));
    QCOMPARE(log.texts(QtDebugMsg), QStringList{QStringLiteral("Init worker factory (dsph, work)")});
}

void tst_FactoryWorker::makesWorkersOfNamedClass_data()
{
    QTest::addColumn<QString>("className");
    QTest::newRow("work") << QStringLiteral("Worker");
    QTest::newRow("dsph") << QStringLiteral("DspH");
}

void tst_FactoryWorker::makesWorkersOfNamedClass()
{
    const LogCapture log;
    const FactoryWorker factory;
    const QString name = QString::fromUtf8(QTest::currentDataTag());
    const std::unique_ptr<Worker> worker(factory.make(name));
    QVERIFY(worker);
    QTEST(QString::fromUtf8(worker->metaObject()->className()), "className");
    QCOMPARE(worker->parent(), nullptr);
    QCOMPARE(log.texts(QtDebugMsg).value(1), QStringLiteral("Factory worker ... %1").arg(name));
}

void tst_FactoryWorker::eachCallMakesNewWorker()
{
    const LogCapture log;
    const FactoryWorker factory;
    const std::unique_ptr<Worker> first(factory.make(QStringLiteral("work")));
    const std::unique_ptr<Worker> second(factory.make(QStringLiteral("work")));
    QVERIFY(first && second && first != second);
}

void tst_FactoryWorker::unknownNameIsToldAndMakesNothing_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("other case") << QStringLiteral("DSPH");
    QTest::newRow("empty") << QString();
    QTest::newRow("trailing blank") << QStringLiteral("work ");
    QTest::newRow("not ASCII") << QString::fromUtf8("w\xC3\xB6rk");
}

void tst_FactoryWorker::unknownNameIsToldAndMakesNothing()
{
    QFETCH(QString, name);
    const FactoryWorker factory;
    const LogCapture log;
    QCOMPARE(factory.make(name), nullptr);
    QCOMPARE(log.texts().size(), 1);
    const QString warning = log.texts(QtWarningMsg).value(0);
    const QRegularExpression line(
        QStringLiteral("^\\[ W \\]\\[ Core/Worker/FactoryWorker \\] make : \\d+ =>\t No found worker!$"));
    QVERIFY2(line.match(warning).hasMatch(), qPrintable(warning));
}

QTEST_GUILESS_MAIN(tst_FactoryWorker)
#include "tst_FactoryWorker.moc"
