#include "ReplicaObjectTest.h"

#include "support/LogCapture.h"

#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

class tst_ReplicaObjectClone : public ReplicaObjectTest
{
    Q_OBJECT

private slots:
    void cloneAsksForDumpAndStartsRetryTimer();
    void dumpInOrderSynchronizes();
    void everyInitialValueIsStoredSignalledAndAnswered();
    void endOfDumpIsAnsweredEvenIfChecksumDiffers();
    void dumpWhoseSecondPropertyIsLostIsAskedForAgain();
    void twoPropertiesSwappedInTransitDoNotMatch();
    void stragglerOfEarlierDumpCostsOneMoreRound();
    void retryForgetsNamesAndKeepsProperties();
    void unreadableChecksumHasNoEffect();
    void dumpIsAskedForEveryTwoSecondsAndFailSyncComesAfterFive();
    void setIsAskedForUntilItComes();
    void matchAfterFailSyncStillGivesSuccessSync();
    void cloneOnceSynchronizedDoesNothing();
    void tickBeforeCloneOrAfterSyncDoesNothing();
    void afterSynchronisationAnotherChecksumChangesNothing();
};

void tst_ReplicaObjectClone::cloneAsksForDumpAndStartsRetryTimer()
{
    m_replica =
        std::make_unique<ReplicaObject>(QStringLiteral("rrd"), nodeOf(*m_peer, id('\x22')), m_rpc, nullptr);
    const LogCapture log;
    m_replica->clone();
    QCOMPARE(sent(), QByteArrayList{kAsk});
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Clone replica ...")});
    const auto* const timer = m_replica->findChild<QTimer*>();
    QVERIFY(timer->isActive());
    QVERIFY(!timer->isSingleShot());
    QCOMPARE(timer->interval(), 2000);
}

void tst_ReplicaObjectClone::dumpInOrderSynchronizes()
{
    makeReplica();
    m_replica->clone();
    const QSignalSpy success(m_replica.get(), &ReplicaObject::successSync);
    const LogCapture log;
    dump({"objectName", "frequency", "gain"});
    QCOMPARE(success.size(), 1);
    QVERIFY(m_replica->isSynchronized());
    QVERIFY(!m_replica->findChild<QTimer*>()->isActive());
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Success sync! rrd")});
    QCOMPARE(m_replica->propertyNames(), (QStringList{QStringLiteral("frequency"), QStringLiteral("gain"),
                                                      QStringLiteral("objectName")}));
}

void tst_ReplicaObjectClone::everyInitialValueIsStoredSignalledAndAnswered()
{
    makeReplica();
    const QSignalSpy changed(m_replica.get(), &ReplicaObject::propertyChanged);
    QCOMPARE(call(message("pci", "rates", R"(["48000","96000"])")),
             (QJsonObject{{QStringLiteral("cd"), QString()}}));
    const QVariant rates = QVariantList{QStringLiteral("48000"), QStringLiteral("96000")};
    QCOMPARE(m_replica->property(QStringLiteral("rates")), rates);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.at(0).at(0).toString(), QStringLiteral("rates"));
    QCOMPARE(changed.at(0).at(1).value<QVariant>(), rates);
    call(message("pci", "rates", "5"));
    QCOMPARE(m_replica->property(QStringLiteral("rates")), QVariant(5.0));
}

void tst_ReplicaObjectClone::endOfDumpIsAnsweredEvenIfChecksumDiffers()
{
    makeReplica();
    m_replica->clone();
    QCOMPARE(call(R"({"cd":"sss_syc_rrd"})"), (QJsonObject{{QStringLiteral("cd"), QString()}}));
    QCOMPARE(call(checksum("gain")), (QJsonObject{{QStringLiteral("cd"), QString()}}));
    QVERIFY(!m_replica->isSynchronized());
}

void tst_ReplicaObjectClone::dumpWhoseSecondPropertyIsLostIsAskedForAgain()
{
    makeReplica(30);
    m_replica->clone();
    QCOMPARE(sent(), QByteArrayList{kAsk});
    call(message("pci", "objectName", R"("")"));
    call(message("pci", "gain", "1")); // "frequency" is lost
    call(checksum("objectNamefrequencygain"));
    QVERIFY(!m_replica->isSynchronized());
    QCOMPARE(m_peer->next().mid(45), kAsk); // by the timer alone
    dump({"objectName", "frequency", "gain"});
    QVERIFY(m_replica->isSynchronized());
}

void tst_ReplicaObjectClone::twoPropertiesSwappedInTransitDoNotMatch()
{
    makeReplica();
    m_replica->clone();
    call(message("pci", "frequency", "1"));
    call(message("pci", "objectName", "1"));
    call(checksum("objectNamefrequency"));
    QVERIFY(!m_replica->isSynchronized());
}

void tst_ReplicaObjectClone::stragglerOfEarlierDumpCostsOneMoreRound()
{
    makeReplica();
    m_replica->clone();
    call(message("pci", "objectName", "1"));
    tick();
    call(message("pci", "gain", "1")); // of the dump before
    dump({"objectName", "gain"});
    QVERIFY(!m_replica->isSynchronized());
    tick();
    dump({"objectName", "gain"});
    QVERIFY(m_replica->isSynchronized());
}

void tst_ReplicaObjectClone::retryForgetsNamesAndKeepsProperties()
{
    makeReplica();
    m_replica->clone();
    call(message("pci", "gain", "3"));
    const LogCapture log;
    tick();
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Try reinit replica ...")});
    QCOMPARE(sent(), QByteArrayList{kAsk});
    QCOMPARE(m_replica->property(QStringLiteral("gain")), QVariant(3.0));
    call(checksum("")); // of no names at all
    QVERIFY(m_replica->isSynchronized());
}

void tst_ReplicaObjectClone::unreadableChecksumHasNoEffect()
{
    makeReplica();
    m_replica->clone();
    const LogCapture log;
    QCOMPARE(call(R"({"cd":"sync_crc_rrd","crc":"x"})"), (QJsonObject{{QStringLiteral("cd"), QString()}}));
    QCOMPARE(call(R"({"cd":"sync_crc_rrd"})"), (QJsonObject{{QStringLiteral("cd"), QString()}}));
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
    QVERIFY(!m_replica->isSynchronized());
}

void tst_ReplicaObjectClone::dumpIsAskedForEveryTwoSecondsAndFailSyncComesAfterFive()
{
    m_replica =
        std::make_unique<ReplicaObject>(QStringLiteral("rrd"), nodeOf(*m_peer, id('\x22')), m_rpc, nullptr);
    m_replica->clone();
    QList<int> repeated;
    QList<int> once;
    for (const QTimer* timer : m_replica->findChildren<QTimer*>()) {
        QVERIFY(timer->isActive());
        (timer->isSingleShot() ? once : repeated).append(timer->interval());
    }
    QCOMPARE(repeated, QList<int>{2000});
    QCOMPARE(once, QList<int>{5000});
}

void tst_ReplicaObjectClone::setIsAskedForUntilItComes()
{
    makeReplica(10, 100);
    QSignalSpy fail(m_replica.get(), &ReplicaObject::failSync);
    m_replica->clone();
    QVERIFY(fail.wait());
    QVERIFY(sent().size() >= 2);
    QCOMPARE(m_peer->next().mid(45), kAsk); // failSync ends nothing
    QCOMPARE(fail.size(), 1);
}

void tst_ReplicaObjectClone::matchAfterFailSyncStillGivesSuccessSync()
{
    makeReplica(20, 10);
    QSignalSpy fail(m_replica.get(), &ReplicaObject::failSync);
    const QSignalSpy success(m_replica.get(), &ReplicaObject::successSync);
    m_replica->clone();
    QVERIFY(fail.wait());
    while (m_peer->next().mid(45) != kAsk) { // the retries go on
    }
    dump({"gain"});
    QVERIFY(m_replica->isSynchronized());
    QCOMPARE(success.size(), 1);
    QCOMPARE(fail.size(), 1);
}

void tst_ReplicaObjectClone::cloneOnceSynchronizedDoesNothing()
{
    makeReplica();
    m_replica->clone();
    dump({"gain"});
    QVERIFY(m_replica->isSynchronized());
    const LogCapture log;
    m_replica->clone();
    QVERIFY(sent().isEmpty());
    QCOMPARE(log.texts(), QStringList());
    QVERIFY(!m_replica->findChild<QTimer*>()->isActive());
}

void tst_ReplicaObjectClone::tickBeforeCloneOrAfterSyncDoesNothing()
{
    makeReplica();
    tick();
    QVERIFY(sent().isEmpty());
    m_replica->clone();
    dump({"gain"});
    QVERIFY(m_replica->isSynchronized());
    tick();
    QVERIFY(sent().isEmpty());
}

void tst_ReplicaObjectClone::afterSynchronisationAnotherChecksumChangesNothing()
{
    makeReplica();
    m_replica->clone();
    dump({"gain"});
    const QSignalSpy success(m_replica.get(), &ReplicaObject::successSync);
    call(R"({"cd":"sync_crc_rrd","crc":1})");
    QVERIFY(m_replica->isSynchronized());
    QCOMPARE(success.size(), 0);
    QVERIFY(!m_replica->findChild<QTimer*>()->isActive());
}

QTEST_GUILESS_MAIN(tst_ReplicaObjectClone)

#include "tst_ReplicaObjectClone.moc"
