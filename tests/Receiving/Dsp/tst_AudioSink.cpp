#include "Receiving/Dsp/AudioSink.h"
#include "Receiving/Dsp/Station.h"
#include "Receiving/Sound.h"

#include <QTemporaryDir>
#include <QtTest>
#include <algorithm>

using namespace Station;

class tst_AudioSink : public QObject
{
    Q_OBJECT

private slots:
    void audioFileIsOneChannel();
};

void tst_AudioSink::audioFileIsOneChannel()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.wav"));
    AudioSink sink(Mode::Am, 24'000, 22'050);
    QVERIFY(sink.open(path));
    IqBlock block;
    block.samples = transmit(
        Mode::Am, [](double time) { return 0.5 * toneAt(1'000, time); }, 24'000, 1);
    QCOMPARE(sink.write(block), IqSink::Outcome::Going);
    QCOMPARE(sink.finish(), IqSink::Outcome::Going);
    const Sound sound = Sound::read(path);
    QCOMPARE(sound.channels, 1);
    QCOMPARE(sound.sampleRate, 22'050);
    QVERIFY(sound.values.size() > 21'000 && sound.values.size() < 22'100);
    QVERIFY(*std::max_element(sound.values.begin(), sound.values.end()) > 3'000);
    QCOMPARE(sink.size(), QFile(path).size());
}

QTEST_GUILESS_MAIN(tst_AudioSink)
#include "tst_AudioSink.moc"
