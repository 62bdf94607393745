#include "ClientApplication/Program/ClientProcess.h"
#include "System/Served.h"
#include "support/Wait.h"

#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>

namespace
{

const QString kSpectrum = QStringLiteral("spectrum");
const QString kSeconds = QStringLiteral("--seconds");

} // namespace

/// The command `spectrum` in its four forms.
class tst_ClientSpectrum : public QObject
{
    Q_OBJECT

private slots:
    void spectrumIsTableForPrograms();
    void spectrumAsJson();
    void spectrumAsPicture();
    void spectrumInTerminal_data();
    void spectrumInTerminal();
};

void tst_ClientSpectrum::spectrumIsTableForPrograms()
{
    Served served(recording({{5'000, 1'000}, {-12'000, 200}}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(kSpectrum, served.server, words("--seconds 0.5")), 0);
    QVERIFY(!client.output().contains('\x1b'));
    const QStringList rows = client.text().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(rows.size(), 2'048);
    QMap<double, double> byLevel;
    double last = 0;
    for (const QString& row : rows) {
        const double hertz = row.section(QLatin1Char('\t'), 0, 0).toDouble();
        QVERIFY(hertz > last);
        last = hertz;
        if (std::abs(hertz - 14'238'000) > 200) {
            byLevel[row.section(QLatin1Char('\t'), 1).toDouble()] = hertz;
        }
    }
    QVERIFY(std::abs(byLevel.last() - 14'255'000) < 50);
    QVERIFY(served.server.quit());
}

void tst_ClientSpectrum::spectrumAsJson()
{
    Served served(recording({{5'000, 1'000}}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(kSpectrum, served.server, words("--json --seconds 0.5 --offset 5k --span 8k")), 0);
    const QList<QByteArray> lines = client.output().split('\n');
    QVERIFY(lines.size() > 3);
    const QJsonObject frame = QJsonDocument::fromJson(lines[2]).object();
    const double lowest = frame[QStringLiteral("lowest_hz")].toDouble();
    const double highest = frame[QStringLiteral("highest_hz")].toDouble();
    QVERIFY(std::abs(lowest - 14'251'000) < 20 && std::abs(highest - 14'259'000) < 20);
    const QJsonArray decibels = frame[QStringLiteral("db")].toArray();
    int strongest = 0;
    for (int n = 0; n < decibels.size(); ++n) {
        strongest = decibels[n].toDouble() > decibels[strongest].toDouble() ? n : strongest;
    }
    QVERIFY(std::abs(lowest + (highest - lowest) * strongest / decibels.size() - 14'255'000) < 20);
    QVERIFY(served.server.quit());
}

void tst_ClientSpectrum::spectrumAsPicture()
{
    Served served(recording({{12'000, 1'000}}));
    QVERIFY(served.server.serve());
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.png"));
    ClientProcess client;
    QCOMPARE(
        client.run(kSpectrum, served.server, {QStringLiteral("--png"), path, kSeconds, QStringLiteral("1")}),
        0);
    QVERIFY(client.text().startsWith(path));
    const QImage image(path);
    QCOMPARE(image.size(), QSize(960, 600));
    QVERIFY(qGreen(image.pixel(64 + 880 * 3 / 4, 440)) > 200);
    QVERIFY(qGreen(image.pixel(64 + 880 / 4, 440)) < 100);
    QVERIFY(served.server.quit());
}

void tst_ClientSpectrum::spectrumInTerminal_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<int>("rows");
    QTest::newRow("80 columns") << 80 << 24;
    QTest::newRow("200 columns") << 200 << 50;
}

void tst_ClientSpectrum::spectrumInTerminal()
{
    QFETCH(int, columns);
    QFETCH(int, rows);
    Served served(recording({{12'000, 1'000}}));
    QVERIFY(served.server.serve());
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("screen"));
    QStringList quoted;
    for (const QString& word : ClientProcess::at(served.server)) {
        quoted.append(QLatin1Char('\'') + word + QLatin1Char('\''));
    }
    QProcess terminal;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TERM"), QStringLiteral("xterm"));
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    environment.insert(QStringLiteral("NO_COLOR"), QStringLiteral("1"));
    terminal.setProcessEnvironment(environment);
    terminal.start(QStringLiteral("script"),
                   {QStringLiteral("-qefc"),
                    QStringLiteral("stty cols %1 rows %2; '%3' spectrum %4 --seconds 1")
                        .arg(columns)
                        .arg(rows)
                        .arg(QStringLiteral(ORVENLINK_CLIENT), quoted.join(QLatin1Char(' '))),
                    path});
    QVERIFY(waitUntil([&] { return terminal.state() == QProcess::NotRunning; }));
    QCOMPARE(terminal.exitCode(), 0);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QString all = QString::fromUtf8(file.readAll());
    all.remove(QLatin1Char('\r'));
    // It takes a screen of its own and gives the old one back.
    const int entered = all.indexOf(QStringLiteral("\x1b[?1049h"));
    const int left = all.indexOf(QStringLiteral("\x1b[?1049l"));
    QVERIFY(entered >= 0 && left > entered);
    QVERIFY(all.indexOf(QStringLiteral("\x1b[?25h")) > entered);
    all = all.left(all.indexOf(QStringLiteral("\x1b[?25h")));
    QStringList lines = all.mid(all.lastIndexOf(QStringLiteral("\x1b[H")) + 3).split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), rows);
    for (QString& line : lines) {
        line.remove(QStringLiteral("\x1b[K"));
        QVERIFY2(line.size() <= columns, qPrintable(line));
    }
    QVERIFY(lines[0].contains(QLatin1String("14.250000 MHz")));
    // The station is three quarters of the way to the right, in the spectrum and in the waterfall.
    const int place = 6 + (columns - 6) * 3 / 4;
    const int axis = lines.indexOf(
        lines.filter(QStringLiteral("MHz|")).value(0, lines.filter(QStringLiteral("   MHz")).value(0)));
    QVERIFY(axis > 3);
    QVERIFY(lines[2].mid(place - 2, 5).trimmed().size() > 0);
    QVERIFY(lines[2].left(place - 3).mid(6).trimmed().isEmpty());
    QVERIFY(lines[axis + 2].mid(place - 2, 5).contains(QChar(0x2588)) ||
            lines[axis + 2].mid(place - 2, 5).contains(QChar(0x2593)));
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_ClientSpectrum)
#include "tst_ClientSpectrum.moc"
