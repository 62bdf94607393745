#include "System/Served.h"

#include <QDirIterator>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

/// The library as it is installed: what others build with it, and what they see of it.
class tst_Package : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void onlyNamespaceCanBeSeen();
    void headersKnowNothingOfQt();
    void exampleIsBuiltByCMakeAndRuns();
    void exampleIsBuiltByPkgConfigAndRuns();

private:
    void runExample(const QString& program) const;

    QTemporaryDir m_folder;
    QString m_prefix = m_folder.filePath(QStringLiteral("prefix"));
    QString m_library; // folder
};

namespace
{

struct Run
{
    int exitCode;
    QString output; // of both kinds
};

Run run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    const bool isOver = process.waitForFinished(120'000) && process.exitStatus() == QProcess::NormalExit;
    return {isOver ? process.exitCode() : -1, QString::fromUtf8(process.readAll())};
}

#define RUN_WELL(result, ...)                                                                                \
    const Run result = run(__VA_ARGS__);                                                                     \
    QVERIFY2(result.exitCode == 0, qPrintable(result.output))

} // namespace

void tst_Package::initTestCase()
{
    for (const char* const component : {"library", "development"}) {
        RUN_WELL(installed, QStringLiteral(ORVENLINK_CMAKE),
                 {QStringLiteral("--install"), QStringLiteral(ORVENLINK_BUILD_FOLDER),
                  QStringLiteral("--prefix"), m_prefix, QStringLiteral("--component"),
                  QLatin1String(component)});
    }
    QDirIterator libraries(m_prefix, {QStringLiteral("liborvenlink.so.0")}, QDir::Files,
                           QDirIterator::Subdirectories);
    QVERIFY(libraries.hasNext());
    m_library = QFileInfo(libraries.next()).path();
}

void tst_Package::onlyNamespaceCanBeSeen()
{
    RUN_WELL(symbols, QStringLiteral("nm"),
             {QStringLiteral("-DC"), QStringLiteral("--defined-only"),
              m_library + QStringLiteral("/liborvenlink.so.0")});
    const QStringList lines = symbols.output.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QVERIFY(lines.size() > 20);
    for (const QString& line : lines) {
        QVERIFY2(line.mid(19).startsWith(QStringLiteral("orvenlink::")) &&
                     !line.contains(QLatin1String("Core")),
                 qPrintable(line));
    }
}

void tst_Package::headersKnowNothingOfQt()
{
    QDirIterator headers(m_prefix + QStringLiteral("/include/orvenlink"), {QStringLiteral("*.h")},
                         QDir::Files);
    int count = 0;
    for (; headers.hasNext(); ++count) {
        QFile header(headers.next());
        QVERIFY(header.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(header.readAll());
        QVERIFY(!text.contains(QRegularExpression(QStringLiteral("\\bQ[A-Z]|\\bq(int|uint)"))));
        QVERIFY(!text.contains(QStringLiteral("#include \"")));
    }
    QCOMPARE(count, 4);
}

void tst_Package::exampleIsBuiltByCMakeAndRuns()
{
    const QString build = m_folder.filePath(QStringLiteral("build"));
    RUN_WELL(configured, QStringLiteral(ORVENLINK_CMAKE),
             {QStringLiteral("-S"), QStringLiteral(ORVENLINK_EXAMPLES), QStringLiteral("-B"), build,
              QStringLiteral("-DCMAKE_PREFIX_PATH=") + m_prefix,
              QStringLiteral("-DCMAKE_CXX_FLAGS=" ORVENLINK_FLAGS)});
    RUN_WELL(built, QStringLiteral(ORVENLINK_CMAKE), {QStringLiteral("--build"), build});
    runExample(build + QStringLiteral("/receive"));
}

void tst_Package::exampleIsBuiltByPkgConfigAndRuns()
{
    qputenv("PKG_CONFIG_PATH", (m_library + QStringLiteral("/pkgconfig")).toUtf8());
    RUN_WELL(flags, QStringLiteral("pkg-config"),
             {QStringLiteral("--cflags"), QStringLiteral("--libs"), QStringLiteral("orvenlink")});
    const QString program = m_folder.filePath(QStringLiteral("receive"));
    const QStringList own = QStringLiteral(ORVENLINK_FLAGS).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    RUN_WELL(built, QStringLiteral("c++"),
             own +
                 QStringList{QStringLiteral("-std=c++17"), QStringLiteral(ORVENLINK_EXAMPLES "/receive.cpp"),
                             QStringLiteral("-o"), program, QStringLiteral("-Wl,-rpath,") + m_library} +
                 flags.output.trimmed().split(QLatin1Char(' ')));
    runExample(program);
}

void tst_Package::runExample(const QString& program) const
{
    Served served(recording({{5000, 1000}}));
    QVERIFY(served.server.serve());
    RUN_WELL(received, program,
             {served.server.address() + QStringLiteral("@127.0.0.1:%1").arg(served.server.port()),
              served.server.identificator()});
    const QStringList lines = received.output.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 21);
    QCOMPARE(lines.first(), QStringLiteral("IQ file player at 1.425e+07 Hz"));
    // 8,000 of 32,768, less what the filters take.
    QVERIFY2(lines.last().startsWith(QLatin1String("12000 samples, ")) &&
                 lines.last().contains(QLatin1String(" -12.")),
             qPrintable(lines.last()));
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_Package)
#include "tst_Package.moc"
