#include "Core/Process/Version.h"

#include <QtTest>

class tst_Version : public QObject
{
    Q_OBJECT

private slots:
    void anEmptyPatchLeavesNoTrailingPoint();
};

void tst_Version::anEmptyPatchLeavesNoTrailingPoint()
{
    QCOMPARE(Version::text(), QStringLiteral("0.8"));
}

QTEST_GUILESS_MAIN(tst_Version)
#include "tst_Version.moc"
