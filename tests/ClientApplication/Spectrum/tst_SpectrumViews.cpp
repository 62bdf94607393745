#include "ClientApplication/Spectrum/SpectrumPicture.h"
#include "ClientApplication/Spectrum/SpectrumScreen.h"

#include <QGuiApplication>
#include <QRegularExpression>
#include <QtTest>
#include <cmath>

namespace
{

const FrequencyAxis kAxis{14'226'000, 14'274'000};

// A floor, and a station at `place` of the width.
QVector<float> spectrum(int size, double place, float level = -21, float floor = -90)
{
    QVector<float> decibels(size, floor);
    decibels[static_cast<int>(place * size)] = level;
    return decibels;
}

// The text without its colours.
QString plain(const QString& line)
{
    return QString(line).remove(QRegularExpression(QStringLiteral("\x1b\\[[0-9;]*m")));
}

double brightness(QRgb colour)
{
    return 0.3 * qRed(colour) + 0.59 * qGreen(colour) + 0.11 * qBlue(colour);
}

} // namespace

class tst_SpectrumViews : public QObject
{
    Q_OBJECT

private slots:
    void screenIsAsLargeAsTerminal_data();
    void screenIsAsLargeAsTerminal();
    void stationStandsInItsColumn();
    void newestRowIsOnTop();
    void withoutColoursThereAreNoEscapes();
    void withoutUnicodeAllIsAscii();
    void smallTerminalShowsTitle();
    void anotherAxisBeginsAnew();

    void pictureShowsStationInItsPlace();
    void marksAtEndsOfPictureAreWhole();
    void pictureWithoutSpectraIsEmpty();
    void spectrumOfAnotherLengthIsLeftOut();
};

void tst_SpectrumViews::screenIsAsLargeAsTerminal_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("colours");
    QTest::addColumn<bool>("isUnicode");
    for (const QSize size : {QSize(80, 24), QSize(200, 50), QSize(30, 10), QSize(81, 25)}) {
        for (const auto colours : {Output::Colours::None, Output::Colours::Palette, Output::Colours::True}) {
            for (const bool isUnicode : {false, true}) {
                QTest::newRow(qPrintable(QStringLiteral("%1 by %2, colours %3, unicode %4")
                                             .arg(size.width())
                                             .arg(size.height())
                                             .arg(static_cast<int>(colours))
                                             .arg(isUnicode)))
                    << size << static_cast<int>(colours) << isUnicode;
            }
        }
    }
}

void tst_SpectrumViews::screenIsAsLargeAsTerminal()
{
    QFETCH(QSize, size);
    QFETCH(int, colours);
    QFETCH(bool, isUnicode);
    SpectrumScreen screen;
    screen.setLook({size, static_cast<Output::Colours>(colours), isUnicode});
    screen.setAxis(kAxis);
    for (int n = 0; n < 100; ++n) {
        screen.add(spectrum(512, 0.3), true);
    }
    const QStringList lines = screen.lines(QString(500, QLatin1Char('t')), QString(500, QLatin1Char('s')));
    QCOMPARE(lines.size(), size.height());
    for (const QString& line : lines) {
        QVERIFY(plain(line).size() <= size.width());
        QVERIFY(!line.contains(QLatin1Char('\n')));
    }
}

void tst_SpectrumViews::stationStandsInItsColumn()
{
    SpectrumScreen screen;
    screen.setLook({{106, 24}, Output::Colours::None, false});
    screen.setAxis(kAxis);
    screen.add(spectrum(1'000, 0.25), true);
    const QStringList lines = screen.lines({}, {});
    // A margin of 6, then 100 columns: the station is in the 26th.
    QCOMPARE(lines[2].indexOf(QLatin1Char('#')), 6 + 25);
    QCOMPARE(lines[2].lastIndexOf(QLatin1Char('#')), 6 + 25);
    const int mark = lines.filter(QStringLiteral("MHz")).value(0).indexOf(QStringLiteral("|14.24"));
    QCOMPARE(mark, 6 + static_cast<int>((14'240'000 - 14'226'000) / 480.0));
}

void tst_SpectrumViews::newestRowIsOnTop()
{
    SpectrumScreen screen;
    screen.setLook({{106, 24}, Output::Colours::None, false});
    screen.setAxis(kAxis);
    screen.add(spectrum(1'000, 0.25), true);
    screen.add(spectrum(1'000, 0.75), true);
    screen.add(spectrum(1'000, 0.5), false);
    const QStringList lines = screen.lines({}, {});
    int axis = 0;
    while (!lines[axis].contains(QLatin1String("MHz"))) {
        ++axis;
    }
    QCOMPARE(lines[axis + 1].indexOf(QLatin1Char('@')), 6 + 75);
    QCOMPARE(lines[axis + 2].indexOf(QLatin1Char('@')), 6 + 25);
}

void tst_SpectrumViews::withoutColoursThereAreNoEscapes()
{
    SpectrumScreen screen;
    screen.setLook({{80, 24}, Output::Colours::None, true});
    screen.setAxis(kAxis);
    screen.add(spectrum(512, 0.3), true);
    QVERIFY(!screen.lines({}, {}).join(QString()).contains(QChar(0x1b)));
}

void tst_SpectrumViews::withoutUnicodeAllIsAscii()
{
    SpectrumScreen screen;
    screen.setLook({{80, 24}, Output::Colours::True, false});
    screen.setAxis(kAxis);
    screen.add(spectrum(512, 0.3), true);
    const QString all = screen.lines({}, {}).join(QString());
    QVERIFY(std::all_of(all.begin(), all.end(), [](QChar character) { return character.unicode() < 128; }));
}

void tst_SpectrumViews::smallTerminalShowsTitle()
{
    SpectrumScreen screen;
    screen.setLook({{29, 10}, Output::Colours::None, true});
    screen.setAxis(kAxis);
    screen.add(spectrum(512, 0.3), true);
    QCOMPARE(screen.lines(QStringLiteral("title"), {}), QStringList{QStringLiteral("title")});
}

void tst_SpectrumViews::anotherAxisBeginsAnew()
{
    SpectrumScreen screen;
    screen.setLook({{106, 24}, Output::Colours::None, false});
    screen.setAxis(kAxis);
    screen.add(spectrum(1'000, 0.25), true);
    screen.setAxis({7'000'000, 7'100'000});
    screen.add(spectrum(1'000, 0.75), true);
    QCOMPARE(screen.lines({}, {}).join(QLatin1Char('\n')).count(QLatin1Char('@')), 1);
}

void tst_SpectrumViews::pictureShowsStationInItsPlace()
{
    SpectrumPicture picture(kAxis);
    for (int n = 0; n < 50; ++n) {
        picture.add(spectrum(2'048, 0.25), n * 0.04);
    }
    const QImage image = picture.draw(QStringLiteral("a title"));
    QCOMPARE(image.size(), QSize(960, 600));
    // The waterfall: the station is bright, a place next to it dark.
    constexpr int kLeft = 64;
    constexpr int kWidth = 880;
    for (const int line : {330, 440, 550}) {
        QVERIFY(brightness(image.pixel(kLeft + kWidth / 4, line)) > 200);
        QVERIFY(brightness(image.pixel(kLeft + kWidth / 2, line)) < 60);
    }
    // The spectrum: the curve goes up there, and there alone.
    const auto highest = [&image](int column) {
        for (int line = 41; line < 290; ++line) {
            const QColor colour(image.pixel(column, line));
            if (colour.red() > 150 && colour.blue() < 110) {
                return line;
            }
        }
        return 290;
    };
    QVERIFY(highest(kLeft + kWidth / 4) < 70);
    QVERIFY(highest(kLeft + kWidth * 3 / 5) > 200);
    // Something is written: in the title's line, next to the spectrum, below it.
    const auto isWritten = [&image](const QRect& area) {
        for (int y = area.top(); y <= area.bottom(); ++y) {
            for (int x = area.left(); x <= area.right(); ++x) {
                if (brightness(image.pixel(x, y)) > 150) {
                    return true;
                }
            }
        }
        return false;
    };
    QVERIFY(isWritten({64, 8, 100, 20}));
    QVERIFY(isWritten({10, 40, 50, 240}));
    QVERIFY(isWritten({100, 295, 800, 22}));
}

void tst_SpectrumViews::marksAtEndsOfPictureAreWhole()
{
    SpectrumPicture picture({14'255'000, 14'265'000});
    picture.add(spectrum(2'048, 0.25), 0);
    const QImage image = picture.draw({});
    // Of the line of marks below the spectrum: true where there is no text.
    const auto isBlank = [&image](int x) {
        for (int y = 298; y < 314; ++y) {
            if (image.pixel(x, y) != image.pixel(0, 0)) {
                return false;
            }
        }
        return true;
    };
    QVERIFY(isBlank(959) && isBlank(958));
    int text = 0;
    for (int x = 910; x < 958; ++x) {
        text += isBlank(x) ? 0 : 1;
    }
    QVERIFY2(text > 25, qPrintable(QString::number(text)));
    // The unit is apart from the first mark.
    int longest = 0;
    int blanks = 0;
    for (int x = 20; x < 64; ++x) {
        blanks = isBlank(x) ? blanks + 1 : 0;
        longest = std::max(longest, blanks);
    }
    QVERIFY2(longest >= 6 && longest < 30, qPrintable(QString::number(longest)));
}

void tst_SpectrumViews::pictureWithoutSpectraIsEmpty()
{
    QVERIFY(SpectrumPicture(kAxis).draw({}).isNull());
}

void tst_SpectrumViews::spectrumOfAnotherLengthIsLeftOut()
{
    SpectrumPicture picture(kAxis);
    picture.add(spectrum(100, 0.5), 0);
    const QImage before = picture.draw({});
    picture.add(spectrum(200, 0.1), 0);
    picture.add({}, 0);
    QCOMPARE(picture.draw({}), before);
}

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("XDG_RUNTIME_DIR", QDir::tempPath().toLocal8Bit()); // or Qt warns of the missing one
    const QGuiApplication application(argc, argv);
    tst_SpectrumViews test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_SpectrumViews.moc"
