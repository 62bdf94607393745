#include "Core/Process/Version.h"

#include <QtTest>

class tst_Version : public QObject
{
    Q_OBJECT

private slots:
    void textIsVersionOfProject();
    void textBeginsWithMajorAndMinor();
};

void tst_Version::textIsVersionOfProject()
{
    QCOMPARE(Version::text(), QStringLiteral(ORVENLINK_VERSION));
}

void tst_Version::textBeginsWithMajorAndMinor()
{
    const QStringList pieces = Version::text().split(QLatin1Char('.'));
    QVERIFY(pieces.size() >= 2);
    QCOMPARE(pieces[0], QString(Version::kMajor));
    QCOMPARE(pieces[1], QString(Version::kMinor));
}

QTEST_GUILESS_MAIN(tst_Version)
#include "tst_Version.moc"
