#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "Core/RadioDevice/FactoryRadioDevice.h"

#include "support/LogCapture.h"

#include <QFile>
#include <QMetaEnum>
#include <QRegularExpression>
#include <QtTest>
#include <memory>

/// A program that names no driver knows those of the table.
class tst_Drivers : public QObject
{
    Q_OBJECT

private slots:
    void bareRegistryHasEnumeratorForEachRowInOrder();
    void factoryMakesDeviceForEachRowAndNoOtherType();
    void readmeTellsEachLibraryAndItsOption();
};

namespace
{

/// The classes of the drivers in the table, named after their folders.
QStringList classes(const char* suffix)
{
    QStringList result;
    for (const QString& folder : QStringLiteral(ORVENLINK_DRIVERS).split(QLatin1Char(','))) {
        result.append(folder + QLatin1String(suffix));
    }
    return result;
}

} // namespace

void tst_Drivers::bareRegistryHasEnumeratorForEachRowInOrder()
{
    const EnumeratorRadioDevice registry(nullptr);
    QStringList found;
    for (const auto& enumerator : registry.enumerators()) {
        found.append(QString::fromLatin1(enumerator->metaObject()->className()));
    }
    QCOMPARE(found, classes("Enumerator"));
}

void tst_Drivers::factoryMakesDeviceForEachRowAndNoOtherType()
{
    const LogCapture log;
    const auto types = QMetaEnum::fromType<DefRadioDevice::Type>();
    QStringList made;
    for (int i = 0; i < types.keyCount(); ++i) {
        const std::unique_ptr<AbstractRadioDevice> device(
            FactoryRadioDevice::make(QSharedPointer<InfoRadioDevice>::create(types.value(i))));
        if (device != nullptr) {
            made.append(QString::fromLatin1(device->metaObject()->className()));
        }
    }
    QCOMPARE(made, classes("RadioDevice"));
}

void tst_Drivers::readmeTellsEachLibraryAndItsOption()
{
    const auto text = [](const char* path) {
        QFile file(QStringLiteral(ORVENLINK_FOLDER "/") + QLatin1String(path));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    };
    const QRegularExpression row(QStringLiteral("OPTION (\\S+) LIBRARY (\\S+)"));
    const QString readme = text("README.md");
    auto rows = row.globalMatch(text("src/RadioDevice/Drivers/Drivers.cmake"));
    QVERIFY(rows.hasNext());
    while (rows.hasNext()) {
        const QRegularExpressionMatch each = rows.next();
        QVERIFY2(readme.contains(QStringLiteral("`-D%1=OFF`").arg(each.captured(1))),
                 qPrintable(each.captured(1)));
        QVERIFY2(readme.contains(QStringLiteral("| %1 |").arg(each.captured(2))),
                 qPrintable(each.captured(2)));
    }
}

QTEST_GUILESS_MAIN(tst_Drivers)
#include "tst_Drivers.moc"
