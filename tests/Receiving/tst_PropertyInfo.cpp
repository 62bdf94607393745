#include "Receiving/PropertyInfo.h"

#include <QFile>
#include <QtTest>

/// The table of properties against the one that clients' authors read.
class tst_PropertyInfo : public QObject
{
    Q_OBJECT

private slots:
    void everyDocumentedPropertyIsKnown_data();
    void everyDocumentedPropertyIsKnown();
    void optionsCoverRange();
    void unknownPropertyHasNoRow();
};

namespace
{

// The cells of each row that tells a property.
QVector<QStringList> documented()
{
    QFile file(QStringLiteral(ORVENLINK_PROTOCOL));
    QVector<QStringList> rows;
    bool isInTable = false;
    if (file.open(QIODevice::ReadOnly)) {
        const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        for (const QString& line : lines) {
            isInTable = line.startsWith(QLatin1String("| Property | Type |")) ||
                        (isInTable && line.startsWith(QLatin1Char('|')));
            if (isInTable && line.startsWith(QLatin1String("| `"))) {
                rows.append(line.split(QRegularExpression(QStringLiteral(" *\\| *"))).mid(1));
            }
        }
    }
    return rows;
}

} // namespace

void tst_PropertyInfo::everyDocumentedPropertyIsKnown_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("range");
    QTest::addColumn<bool>("isWritten");
    const QVector<QStringList> rows = documented();
    QCOMPARE(rows.size(), 28);
    for (const QStringList& row : rows) {
        const QString name = row.at(0).mid(1).chopped(1);
        // One is written as another type than it is read.
        const bool isException = name == QLatin1String("rtlPpm");
        QTest::newRow(qPrintable(name)) << (isException ? QStringLiteral("whole number") : row.at(1))
                                        << row.at(2) << (row.at(3) == QLatin1String("yes"));
    }
}

void tst_PropertyInfo::everyDocumentedPropertyIsKnown()
{
    QFETCH(QString, type);
    QFETCH(QString, range);
    QFETCH(bool, isWritten);
    const QString name = QLatin1String(QTest::currentDataTag());
    const PropertyInfo* const info = PropertyInfo::find(name);
    QVERIFY(info != nullptr);
    using Type = PropertyInfo::Type;
    const QMap<QString, Type> types{{QStringLiteral("boolean"), Type::Boolean},
                                    {QStringLiteral("whole number"), Type::Integer},
                                    {QStringLiteral("string"), Type::Text},
                                    {QStringLiteral("list of strings"), Type::List},
                                    {QStringLiteral("number"), Type::Number}};
    QVERIFY(types.contains(type));
    // The kind of receiver is a whole number, though nobody relies on it.
    QCOMPARE(info->type, name == QLatin1String("type") ? Type::Integer : types.value(type));
    QCOMPARE(info->isWritable, isWritten);
    const QRegularExpressionMatch limits =
        QRegularExpression(QStringLiteral("^(\\d+) to (\\d+)")).match(range);
    if (limits.hasMatch()) {
        QCOMPARE(info->range.lowest, limits.captured(1).toInt());
        QCOMPARE(info->range.highest, limits.captured(2).toInt());
    }
    const QString unit = QLatin1String(info->unit);
    if (unit == QLatin1String("Hz") || unit == QLatin1String("kHz") || unit == QLatin1String("dB")) {
        QVERIFY2(range.startsWith(unit), qPrintable(range));
    }
}

void tst_PropertyInfo::optionsCoverRange()
{
    for (const char* const name : {"gainMode", "samplingMode", "ant"}) {
        const PropertyInfo* const info = PropertyInfo::find(QLatin1String(name));
        int count = 0;
        for (const char* const option : info->options.names) {
            count += option != nullptr ? 1 : 0;
        }
        QCOMPARE(info->options.first, info->range.lowest);
        QCOMPARE(info->options.first + count - 1, info->range.highest);
    }
}

void tst_PropertyInfo::unknownPropertyHasNoRow()
{
    QVERIFY(PropertyInfo::find(QStringLiteral("volume")) == nullptr);
    QVERIFY(PropertyInfo::find(QString()) == nullptr);
}

QTEST_APPLESS_MAIN(tst_PropertyInfo)
#include "tst_PropertyInfo.moc"
