#include "Core/Worker/DspH/DspH.h"

#include "DspRig.h"
#include "Samples.h"
#include "support/AllocationCounter.h"
#include "support/LogCapture.h"

#include <QMetaProperty>
#include <QtTest>
#include <atomic>
#include <memory>

using Samples::Vector;

namespace
{

constexpr int kBlock = DspRig::kBlock;

} // namespace

class tst_DspH : public QObject
{
    Q_OBJECT

private slots:
    void propertiesKeepTheirOrderAndDefaults();
    void signalsKeepTheirOrder();
    void destructorLogsItsClass();
    void startWithoutRateWarnsStopsAndEndsUpStarted();
    void startWithoutRateServesBlocksOfNothingUntilStopped();
    void rateBelowOneWhileRunningStopsWorker();
    void keyOtherThanInAndOutChangesNothing();
    void ringOfShortsOrNoRingChangesNothing();
    void withoutRingsLoopStillServesItsCallers();
    void newInputRingIsReadFromItsStart();
    void afterStopAndStartReadingResumesAtWriteIndex();
    void restartFromWithinLoopSkipsWhatCameBetween();
    void startsFromWithinLoopDoNotNestIt();
    void samplePathTakesNothingFromHeapInItsSteadyState();
};

void tst_DspH::propertiesKeepTheirOrderAndDefaults()
{
    const LogCapture log;
    struct Expected
    {
        const char* name;
        const char* type;
        QVariant value;
    };
    const QVector<Expected> properties{{"inSampleRate", "qlonglong", 0LL},
                                       {"preferredBandWidth", "qlonglong", 30'000LL},
                                       {"outSampleRate", "qlonglong", 0LL},
                                       {"aliasFreeBandWidth", "qlonglong", 8'000LL},
                                       {"ifFreq", "double", 0.0}};
    DspH dsp;
    const QMetaObject& meta = DspH::staticMetaObject;
    QCOMPARE(meta.propertyCount() - meta.propertyOffset(), properties.size());
    for (int i = 0; i < properties.size(); ++i) {
        const QMetaProperty property = meta.property(meta.propertyOffset() + i);
        const bool isIfFreq = qstrcmp(property.name(), "ifFreq") == 0;
        QCOMPARE(property.name(), properties.at(i).name);
        QCOMPARE(property.typeName(), properties.at(i).type);
        QCOMPARE(dsp.getProperty(property.name()), properties.at(i).value);
        QVERIFY(property.isWritable());
        QCOMPARE(property.isResettable(), isIfFreq);
        QCOMPARE(property.hasNotifySignal(), isIfFreq);
    }
    QCOMPARE(meta.property(meta.indexOfProperty("ifFreq")).notifySignal().name(),
             QByteArray("ifFreqChanged"));
}

void tst_DspH::signalsKeepTheirOrder()
{
    const QMetaObject& meta = DspH::staticMetaObject;
    QCOMPARE(meta.method(meta.methodOffset()).methodSignature(), QByteArray("ifFreqChanged(double)"));
    QCOMPARE(meta.method(meta.methodOffset() + 1).methodSignature(),
             QByteArray("outSampleRateChanged(double)"));
}

void tst_DspH::destructorLogsItsClass()
{
    const LogCapture log;
    {
        const DspH dsp;
    }
    QCOMPARE(log.texts(QtDebugMsg), QStringList{QStringLiteral("Destruct class .. DspH")});
}

void tst_DspH::startWithoutRateWarnsStopsAndEndsUpStarted()
{
    const DspRig rig;
    rig.log->clear();
    QVERIFY(rig.dsp->start(false));
    QVERIFY(rig.dsp->running());
    QCOMPARE(rig.logged(QStringLiteral("State changed")),
             (QStringList{QStringLiteral("State changed ( DspH ): STOPPED -> TRY_START"),
                          QStringLiteral("State changed ( DspH ): TRY_START -> STOPPED"),
                          QStringLiteral("State changed ( DspH ): STOPPED -> STARTED")}));
    const QStringList warnings = rig.log->texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 1);
    QVERIFY2(warnings.constFirst().startsWith(QStringLiteral("[ W ][ Core/Worker/DspH/DspH ] setup : ")) &&
                 warnings.constFirst().endsWith(
                     QStringLiteral(" =>\t Error setup dsph - inSampleRate incorrect value!")),
             qPrintable(warnings.constFirst()));
}

void tst_DspH::startWithoutRateServesBlocksOfNothingUntilStopped()
{
    const DspRig rig;
    rig.dsp->start(false);
    rig.finishRound();
    rig.write(Vector(100));
    rig.finishRound();
    QCOMPARE(rig.written(), 0);
    rig.dsp->stop();
    QVERIFY(!rig.dsp->running());
    // The next start with a rate is a start like any other.
    rig.start(48'000);
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 48'000LL);
}

void tst_DspH::rateBelowOneWhileRunningStopsWorker()
{
    DspRig rig;
    rig.start(48'000);
    std::atomic<int> stopped{0};
    connect(
        rig.dsp, &Worker::stopped, this, [&stopped] { ++stopped; }, Qt::DirectConnection);
    rig.dsp->setProperty("inSampleRate", 0LL);
    rig.finishRound();
    QCOMPARE(rig.dsp->state(), Worker::STOPPED);
    QCOMPARE(stopped.load(), 1);
    QCOMPARE(rig.log->texts(QtWarningMsg).size(), 1);
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 48'000LL);
}

void tst_DspH::keyOtherThanInAndOutChangesNothing()
{
    DspRig rig;
    const auto other = QSharedPointer<DspRig::Ring>::create(65'536);
    for (const char* key : {"", "IN", "input", "outer"}) {
        rig.dsp->setBuffer(other, QString::fromLatin1(key));
    }
    rig.start(48'000);
    rig.write(Vector(kBlock));
    QCOMPARE(static_cast<int>(rig.read(kBlock).size()), kBlock);
    QCOMPARE(other->writeIndex, 0);
}

void tst_DspH::ringOfShortsOrNoRingChangesNothing()
{
    DspRig rig;
    rig.dsp->setBuffer(QSharedPointer<RingBuffer<short>>::create(1'024), QStringLiteral("in"));
    rig.dsp->setBuffer(QSharedPointer<DspRig::Ring>(), QStringLiteral("out"));
    rig.start(48'000);
    rig.write(Vector(kBlock));
    QCOMPARE(static_cast<int>(rig.read(kBlock).size()), kBlock);
}

void tst_DspH::withoutRingsLoopStillServesItsCallers()
{
    const LogCapture log;
    auto* dsp = new DspH;
    ThreadManager thread(dsp);
    thread.start(QThread::NormalPriority);
    dsp->setProperty("inSampleRate", 2'400'000LL);
    QVERIFY(dsp->start(false));
    QCOMPARE(dsp->getProperty("outSampleRate").toLongLong(), 37'500LL);
    QVERIFY(dsp->reset());
    dsp->stop();
    QVERIFY(!dsp->running());
}

void tst_DspH::newInputRingIsReadFromItsStart()
{
    DspRig rig;
    rig.start(48'000);
    const auto next = QSharedPointer<DspRig::Ring>::create(65'536);
    const Vector input = Samples::noise(2 * kBlock);
    next->write(input.data(), 2 * kBlock);
    rig.dsp->setBuffer(next, QStringLiteral("in"));
    COMPARE_SAMPLES(rig.read(2 * kBlock), settling(input), 1e-12);
}

void tst_DspH::afterStopAndStartReadingResumesAtWriteIndex()
{
    DspRig rig;
    rig.write(Samples::noise(10 * kBlock, 1));
    rig.start(48'000);
    QCOMPARE(rig.written(), 0);
    rig.write(Samples::noise(kBlock + 500, 2));
    QCOMPARE(static_cast<int>(rig.read(kBlock).size()), kBlock);
    rig.dsp->stop();
    rig.write(Samples::noise(10 * kBlock, 3));
    rig.start(48'000);
    const Vector fresh = Samples::noise(kBlock, 4);
    rig.write(fresh);
    COMPARE_SAMPLES(rig.read(kBlock), settling(fresh), 1e-12);
    rig.finishRound();
    QCOMPARE(rig.written(), 0);
}

void tst_DspH::restartFromWithinLoopSkipsWhatCameBetween()
{
    DspRig rig;
    rig.start(48'000);
    rig.onWorker([&rig] {
        rig.dsp->stop();
        rig.write(Samples::noise(5 * kBlock, 1));
        rig.dsp->start(false);
    });
    rig.finishRound();
    QCOMPARE(rig.written(), 0);
    const Vector fresh = Samples::noise(kBlock, 2);
    rig.write(fresh);
    COMPARE_SAMPLES(rig.read(kBlock), settling(fresh), 1e-12);
}

void tst_DspH::startsFromWithinLoopDoNotNestIt()
{
    DspRig rig;
    rig.start(48'000);
    std::vector<quintptr> frames;
    for (int i = 0; i < 50; ++i) {
        rig.onWorker([&] {
            frames.push_back(reinterpret_cast<quintptr>(__builtin_frame_address(0)));
            rig.dsp->stop();
            rig.dsp->start(false);
        });
        rig.onWorker([] {});
    }
    // The two places that deliver events differ by a few frames; fifty loops in each other by many more.
    const auto depth = static_cast<qint64>(frames.front() - frames.back());
    QVERIFY2(std::abs(depth) < 2'000, qPrintable(QString::number(depth)));
    const Vector input = Samples::noise(kBlock);
    rig.write(input);
    COMPARE_SAMPLES(rig.read(kBlock), settling(input), 1e-12);
}

void tst_DspH::samplePathTakesNothingFromHeapInItsSteadyState()
{
    DspRig rig;
    rig.dsp->setProperty("ifFreq", -300'100.0);
    rig.start(2'400'000);
    constexpr int kRateBlock = 32'768;
    const Vector block = Samples::noise(kRateBlock);
    const auto pass = [&rig, &block] {
        rig.write(block);
        return static_cast<int>(rig.read(kRateBlock / 64).size()) == kRateBlock / 64;
    };
    QVERIFY(pass());
    std::unique_ptr<AllocationCounter> counter;
    rig.onWorker([&counter] { counter = std::make_unique<AllocationCounter>(); });
    int before = 0;
    rig.onWorker([&] { before = counter->count(); });
    for (int i = 0; i < 100; ++i) {
        QVERIFY(pass());
    }
    int after = -1;
    rig.onWorker([&] {
        after = counter->count();
        counter.reset();
    });
    QCOMPARE(after, before);
}

QTEST_GUILESS_MAIN(tst_DspH)
#include "tst_DspH.moc"
