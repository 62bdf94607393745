#include "Client/SpectrumReceiver.h"

#include <QtTest>
#include <memory>
#include <random>

class tst_SpectrumReceiver : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void wholeFrameIsHandedOutWhenNextBegins_data();
    void wholeFrameIsHandedOutWhenNextBegins();
    void pointsAreMinusFourTimesDecibels();
    void frameThatIsNotWholeIsDropped_data();
    void frameThatIsNotWholeIsDropped();
    void packetsBeforeFirstHeaderAreNothing();
    void withoutRangeNoFrameIsHandedOut();
    void frameOfAnotherLengthAnswersAnotherRange();
    void frameAnswersRangeThatHeldWhenItBegan();
    void packetOfThreePointsIsNoHeader();
    void resetForgets();
    void anythingAtAllIsTakenWithoutFault();

    void rangeIsCheckedBeforeItIsAskedFor_data();
    void rangeIsCheckedBeforeItIsAskedFor();

private:
    void header(int dataSize) { m_receiver->receive({32527, static_cast<qint16>(dataSize), 0}); }
    void packet(int size, qint16 value = 400) { m_receiver->receive(QVector<qint16>(size, value)); }
    void whole(int dataSize);

    std::unique_ptr<SpectrumReceiver> m_receiver;
    QVector<SpectrumFrame> m_frames;
};

namespace
{

SpectrumRange range(int dataSize)
{
    return {0, 4096, dataSize, 4096};
}

} // namespace

void tst_SpectrumReceiver::init()
{
    m_frames.clear();
    m_receiver = std::make_unique<SpectrumReceiver>();
    connect(m_receiver.get(), &SpectrumReceiver::frameReceived, this,
            [this](const SpectrumFrame& frame) { m_frames.append(frame); });
}

void tst_SpectrumReceiver::whole(int dataSize)
{
    header(dataSize);
    for (int left = dataSize; left > 0; left -= 252) {
        packet(qMin(left, 252));
    }
}

void tst_SpectrumReceiver::wholeFrameIsHandedOutWhenNextBegins_data()
{
    QTest::addColumn<int>("dataSize");
    for (const int dataSize : {1, 3, 100, 251, 252, 253, 504, 1000, 4096, 32767}) {
        QTest::addRow("%d points", dataSize) << dataSize;
    }
}

void tst_SpectrumReceiver::wholeFrameIsHandedOutWhenNextBegins()
{
    QFETCH(int, dataSize);
    m_receiver->setRange(range(dataSize));
    whole(dataSize);
    QCOMPARE(m_frames.size(), 0);
    header(dataSize);
    QCOMPARE(m_frames.size(), 1);
    QCOMPARE(m_frames.first().decibels.size(), dataSize);
    QVERIFY(m_frames.first().range == range(dataSize));
    QVERIFY(qAbs(m_frames.first().time - QDateTime::currentMSecsSinceEpoch()) < 60'000);
    QCOMPARE(m_receiver->receivedFrames(), 1);
    QCOMPARE(m_receiver->droppedFrames(), 0);
}

void tst_SpectrumReceiver::pointsAreMinusFourTimesDecibels()
{
    m_receiver->setRange(range(5));
    header(5);
    m_receiver->receive({0, 400, -22, 800, 880});
    header(5);
    QCOMPARE(m_frames.value(0).decibels, (QVector<float>{0, -100, 5.5, -200, -220}));
}

void tst_SpectrumReceiver::frameThatIsNotWholeIsDropped_data()
{
    QTest::addColumn<QVector<int>>("packets");
    QTest::newRow("nothing") << QVector<int>{};
    QTest::newRow("first lost") << QVector<int>{252, 100};
    QTest::newRow("last lost") << QVector<int>{252, 252};
    QTest::newRow("one repeated") << QVector<int>{252, 252, 252, 100};
    QTest::newRow("last repeated") << QVector<int>{252, 252, 100, 100};
    QTest::newRow("swapped") << QVector<int>{252, 100, 252};
    QTest::newRow("damaged") << QVector<int>{252, 0, 100};
    QTest::newRow("too long") << QVector<int>{252, 253, 99};
    QTest::newRow("far too long") << QVector<int>{20'000};
    QTest::newRow("next header lost") << QVector<int>{252, 252, 100, 252, 252, 100};
}

void tst_SpectrumReceiver::frameThatIsNotWholeIsDropped()
{
    QFETCH(QVector<int>, packets);
    m_receiver->setRange(range(604));
    header(604);
    for (const int size : packets) {
        packet(size);
    }
    whole(604);
    QCOMPARE(m_frames.size(), 0);
    QCOMPARE(m_receiver->droppedFrames(), 1);
    header(604);
    QCOMPARE(m_frames.size(), 1); // the next one is whole again
    QCOMPARE(m_receiver->droppedFrames(), 1);
}

void tst_SpectrumReceiver::packetsBeforeFirstHeaderAreNothing()
{
    m_receiver->setRange(range(252));
    packet(252);
    packet(3);
    header(252);
    QCOMPARE(m_receiver->droppedFrames() + m_receiver->receivedFrames(), 0);
}

void tst_SpectrumReceiver::withoutRangeNoFrameIsHandedOut()
{
    whole(252);
    whole(252);
    QCOMPARE(m_receiver->droppedFrames() + m_receiver->receivedFrames(), 0);
}

void tst_SpectrumReceiver::frameOfAnotherLengthAnswersAnotherRange()
{
    m_receiver->setRange(range(252));
    whole(100);
    whole(252);
    whole(100);
    QCOMPARE(m_frames.size(), 1);
    QCOMPARE(m_receiver->droppedFrames(), 0);
}

void tst_SpectrumReceiver::frameAnswersRangeThatHeldWhenItBegan()
{
    const SpectrumRange next{100, 200, 252, 4096};
    m_receiver->setRange(range(252));
    header(252);
    m_receiver->setRange(next);
    packet(252);
    whole(252);
    header(252);
    QCOMPARE(m_frames.size(), 2);
    QVERIFY(m_frames.at(0).range == range(252));
    QVERIFY(m_frames.at(1).range == next);
}

void tst_SpectrumReceiver::packetOfThreePointsIsNoHeader()
{
    m_receiver->setRange(range(255));
    header(255);
    packet(252);
    m_receiver->receive({32527, 255, 1});
    header(255);
    QCOMPARE(m_frames.size(), 1);
}

void tst_SpectrumReceiver::resetForgets()
{
    m_receiver->setRange(range(252));
    whole(252);
    header(252);
    m_receiver->reset();
    packet(252);
    header(252);
    whole(252);
    QCOMPARE(m_frames.size(), 1);
    QCOMPARE(m_receiver->receivedFrames() + m_receiver->droppedFrames(), 0);
}

void tst_SpectrumReceiver::anythingAtAllIsTakenWithoutFault()
{
    std::mt19937 random(3);
    const auto below = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    const QVector<int> sizes{0, 1, 2, 3, 100, 251, 252, 253, 32'767, 65'535};
    for (int round = 0; round < 200'000; ++round) {
        switch (below(4)) {
        case 0:
            header(sizes.at(below(sizes.size())));
            break;
        case 1:
            m_receiver->setRange({below(9000) - 4000, below(9000), sizes.at(below(sizes.size())), 512});
            break;
        default:
            packet(sizes.at(below(8)), static_cast<qint16>(below(65'536)));
            break;
        }
    }
    for (const SpectrumFrame& frame : qAsConst(m_frames)) {
        QCOMPARE(frame.decibels.size(), frame.range.dataSize);
    }
    QVERIFY(!m_frames.isEmpty());
}

void tst_SpectrumReceiver::rangeIsCheckedBeforeItIsAskedFor_data()
{
    QTest::addColumn<SpectrumRange>("range");
    QTest::addColumn<bool>("valid");
    QTest::newRow("whole") << SpectrumRange{0, 4096, 1000, 4096} << true;
    QTest::newRow("around") << SpectrumRange{-100, 600, 1, 512} << true;
    QTest::newRow("largest") << SpectrumRange{0, 32768, 32767, 32768} << true;
    QTest::newRow("backwards") << SpectrumRange{10, 10, 1, 512} << false;
    QTest::newRow("no points") << SpectrumRange{0, 512, 0, 512} << false;
    QTest::newRow("more points than the header tells") << SpectrumRange{0, 512, 32768, 512} << false;
    QTest::newRow("no transform") << SpectrumRange{0, 512, 100, 0} << false;
    QTest::newRow("negative transform") << SpectrumRange{0, 512, 100, -512} << false;
    QTest::newRow("no power of two") << SpectrumRange{0, 512, 100, 1000} << false;
    QTest::newRow("256") << SpectrumRange{0, 256, 100, 256} << false;
    QTest::newRow("65536") << SpectrumRange{0, 256, 100, 65536} << false;
    QTest::newRow("far away") << SpectrumRange{-2'000'000'000, 2'000'000'000, 100, 512} << false;
}

void tst_SpectrumReceiver::rangeIsCheckedBeforeItIsAskedFor()
{
    QFETCH(SpectrumRange, range);
    QFETCH(bool, valid);
    QCOMPARE(range.isValid(), valid);
}

QTEST_APPLESS_MAIN(tst_SpectrumReceiver)
#include "tst_SpectrumReceiver.moc"
