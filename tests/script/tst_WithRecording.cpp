#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>

/// The script between script/run and the server: the user's recording, or the demo and nothing else moved.
class tst_WithRecording : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void withoutRecordingDemoIsServedAndSaidInOneLine();
    void recordingOfUserIsServedAlone();
    void whatIsNoRecordingDoesNotCount();
    void documentsFolderIsThatWhichUserNamed_data();
    void documentsFolderIsThatWhichUserNamed();
    void foldersOfUserStayAsTheyWere();
    void settingsStayInPlaceOfUser_data();
    void settingsStayInPlaceOfUser();
    void addressIsSameAtNextRun();
    void demoIsMadeOnce();
    void pathsMayHoldBlanks();
    void serverTakesScriptsProcessAndExitCode();
    void serverRunsWithoutStandardInput();

private:
    struct Result
    {
        int exitCode;
        QString text; // standard error, where the server's lines go
        QString output;
    };
    [[nodiscard]] Result run(const QStringList& command, const QByteArray& input = {}) const;
    [[nodiscard]] Result list() const;
    [[nodiscard]] QString demo() const;
    void put(const QString& name, const QByteArray& bytes = "RIFF") const;
    [[nodiscard]] QStringList homeEntries() const;

    QTemporaryDir m_made; // holds a demo that most tests find made already
    std::unique_ptr<QTemporaryDir> m_folder;
    QDir m_home;
    QDir m_build;
    QProcessEnvironment m_environment;
};

void tst_WithRecording::initTestCase()
{
    QCOMPARE(
        QProcess::execute(QStringLiteral(ORVENLINK_DEMO_TOOL), {m_made.filePath(QStringLiteral("demo.wav"))}),
        0);
}

void tst_WithRecording::init()
{
    m_folder = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/with recording-XXXXXX"));
    m_home.setPath(m_folder->filePath(QStringLiteral("home")));
    m_build.setPath(m_folder->filePath(QStringLiteral("build")));
    QVERIFY(m_home.mkpath(QStringLiteral("Documents")));
    QVERIFY(m_home.mkpath(QStringLiteral(".config")));
    QVERIFY(m_build.mkpath(QStringLiteral("tools")));
    QVERIFY(QFile::link(QStringLiteral(ORVENLINK_DEMO_TOOL),
                        m_build.filePath(QStringLiteral("tools/make_demo_recording"))));
    QVERIFY(m_build.mkpath(QStringLiteral("demo/Documents")));
    QVERIFY(QFile::copy(m_made.filePath(QStringLiteral("demo.wav")), demo()));
    m_environment = QProcessEnvironment::systemEnvironment();
    m_environment.remove(QStringLiteral("XDG_CONFIG_HOME"));
    m_environment.insert(QStringLiteral("HOME"), m_home.path());
}

tst_WithRecording::Result tst_WithRecording::run(const QStringList& command, const QByteArray& input) const
{
    QProcess process;
    process.setProcessEnvironment(m_environment);
    process.start(QStringLiteral(ORVENLINK_SCRIPT), QStringList{m_build.path()} + command);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit) {
        process.kill();
        process.waitForFinished();
        return {-1000, {}, {}};
    }
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardError()),
            QString::fromUtf8(process.readAllStandardOutput())};
}

tst_WithRecording::Result tst_WithRecording::list() const
{
    return run({QStringLiteral(ORVENLINK_SERVER), QStringLiteral("-l")});
}

QString tst_WithRecording::demo() const
{
    return m_build.filePath(QStringLiteral("demo/Documents/demo.wav"));
}

void tst_WithRecording::put(const QString& name, const QByteArray& bytes) const
{
    const QString path = m_home.filePath(name);
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
}

QStringList tst_WithRecording::homeEntries() const
{
    QStringList entries;
    QDirIterator it(m_home.path(), QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        entries.append(m_home.relativeFilePath(it.next()));
    }
    entries.sort();
    return entries;
}

void tst_WithRecording::withoutRecordingDemoIsServedAndSaidInOneLine()
{
    QVERIFY(QDir(m_build.filePath(QStringLiteral("demo"))).removeRecursively());
    const Result result = list();
    QCOMPARE(result.exitCode, 0);
    const QStringList lines = result.text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QVERIFY2(lines.size() >= 3, qPrintable(result.text));
    QCOMPARE(lines[0], QStringLiteral("No recording in %1: playing the demo, %2")
                           .arg(m_home.filePath(QStringLiteral("Documents")), demo()));
    QCOMPARE(lines.filter(QStringLiteral("playing the demo")).size(), 1);
    QCOMPARE(lines.filter(QStringLiteral("found ..")).filter(demo()).size(), 1);
    QCOMPARE(QFileInfo(demo()).size(), qint64(44 + 60 * 192'000));
}

void tst_WithRecording::recordingOfUserIsServedAlone()
{
    QVERIFY(QFile::remove(demo()));
    put(QStringLiteral("Documents/Air Band.WAV"));
    const Result result = list();
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.text.contains(m_home.filePath(QStringLiteral("Documents/Air Band.WAV"))),
             qPrintable(result.text));
    QVERIFY(!result.text.contains(QLatin1String("demo")));
    QVERIFY(!QFile::exists(demo()));
}

void tst_WithRecording::whatIsNoRecordingDoesNotCount()
{
    put(QStringLiteral("Documents/.hidden.wav"));
    put(QStringLiteral("Documents/a.wave"));
    put(QStringLiteral("Documents/below/b.wav"));
    QVERIFY(m_home.mkpath(QStringLiteral("Documents/folder.wav")));
    QVERIFY(QFile::link(QStringLiteral("/none/c.wav"), m_home.filePath(QStringLiteral("Documents/c.wav"))));
    QVERIFY(list().text.contains(demo()));
}

void tst_WithRecording::documentsFolderIsThatWhichUserNamed_data()
{
    QTest::addColumn<QByteArray>("userDirs");
    QTest::addColumn<QString>("folder");
    QTest::newRow("below the home") << QByteArray("XDG_DOCUMENTS_DIR=\"$HOME/Papers\"\n")
                                    << QStringLiteral("Papers");
    QTest::newRow("absolute") << QByteArray("XDG_DOCUMENTS_DIR=\"%1/elsewhere/My Papers/\"\n")
                              << QStringLiteral("elsewhere/My Papers");
    QTest::newRow("without quotes") << QByteArray("XDG_DOCUMENTS_DIR=$HOME/Papers\n")
                                    << QStringLiteral("Papers");
    QTest::newRow("last entry") << QByteArray(
                                       "XDG_DOCUMENTS_DIR=\"$HOME/a\"\nXDG_DOCUMENTS_DIR=\"$HOME/b\"\n")
                                << QStringLiteral("b");
    QTest::newRow("among others") << QByteArray("# XDG_DOCUMENTS_DIR=\"$HOME/c\"\nXDG_MUSIC_DIR=\"$HOME/m\"\n"
                                                "XDG_DOCUMENTS_DIR=\"$HOME/p\"\nXDG_VIDEOS_DIR=\"$HOME/v\"\n")
                                  << QStringLiteral("p");
    QTest::newRow("the home itself") << QByteArray("XDG_DOCUMENTS_DIR=\"$HOME/\"\n") << QStringLiteral(".");
    QTest::newRow("not told") << QByteArray("XDG_MUSIC_DIR=\"$HOME/m\"\n") << QStringLiteral("Documents");
}

void tst_WithRecording::documentsFolderIsThatWhichUserNamed()
{
    QFETCH(QByteArray, userDirs);
    QFETCH(QString, folder);
    put(QStringLiteral(".config/user-dirs.dirs"), userDirs.replace("%1", m_home.path().toUtf8()));
    QVERIFY(list().text.contains(demo()));
    put(folder + QStringLiteral("/mine.wav"));
    const Result result = list();
    QVERIFY2(result.text.contains(QLatin1String("mine.wav")), qPrintable(result.text));
    QVERIFY(!result.text.contains(demo()));
}

void tst_WithRecording::foldersOfUserStayAsTheyWere()
{
    put(QStringLiteral(".config/user-dirs.dirs"), "XDG_DOCUMENTS_DIR=\"$HOME/Documents\"\n");
    QStringList before = homeEntries();
    QCOMPARE(list().exitCode, 0);
    // The settings folder is what the server itself would have made.
    before.append(QStringLiteral(".config/Orvenlink"));
    before.sort();
    QCOMPARE(homeEntries(), before);
    QFile userDirs(m_home.filePath(QStringLiteral(".config/user-dirs.dirs")));
    QVERIFY(userDirs.open(QIODevice::ReadOnly));
    QCOMPARE(userDirs.readAll(), QByteArray("XDG_DOCUMENTS_DIR=\"$HOME/Documents\"\n"));
}

void tst_WithRecording::settingsStayInPlaceOfUser_data()
{
    QTest::addColumn<QString>("configHome");
    QTest::newRow("by default") << QString();
    QTest::newRow("named by the user") << QStringLiteral("my config");
}

void tst_WithRecording::settingsStayInPlaceOfUser()
{
    QFETCH(QString, configHome);
    if (!configHome.isEmpty()) {
        m_environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home.filePath(configHome));
    }
    const Result result = run({QStringLiteral(ORVENLINK_SERVER)}, "q\n");
    QVERIFY2(result.exitCode == 0, qPrintable(result.text));
    const QString folder = configHome.isEmpty() ? QStringLiteral(".config") : configHome;
    QFile settings(m_home.filePath(folder + QStringLiteral("/Orvenlink/Orvenlink.conf")));
    QVERIFY2(settings.open(QIODevice::ReadOnly), qPrintable(result.text));
    QVERIFY(settings.readAll().contains("server_id_"));
    QVERIFY(!QFileInfo(settings.fileName()).isSymLink());
}

void tst_WithRecording::addressIsSameAtNextRun()
{
    const auto address = [this] {
        const QString text = run({QStringLiteral(ORVENLINK_SERVER)}, "q\n").text;
        const int at = text.indexOf(QLatin1String("Server address:\t"));
        return at < 0 ? QString() : text.mid(at, text.indexOf(QLatin1Char('\n'), at) - at);
    };
    const QString first = address();
    QVERIFY(!first.isEmpty());
    QCOMPARE(address(), first);
}

void tst_WithRecording::demoIsMadeOnce()
{
    QVERIFY(QFile::remove(demo()));
    QCOMPARE(list().exitCode, 0);
    const QDateTime made = QFileInfo(demo()).lastModified();
    QCOMPARE(list().exitCode, 0);
    QCOMPARE(QFileInfo(demo()).lastModified(), made);
}

void tst_WithRecording::pathsMayHoldBlanks()
{
    QVERIFY(m_home.path().contains(QLatin1Char(' ')));
    const Result result = run({QStringLiteral("printf"), QStringLiteral("%s|"), QStringLiteral("a b"),
                               QString(), QStringLiteral("c")});
    QCOMPARE(result.output, QStringLiteral("a b||c|"));
}

void tst_WithRecording::serverTakesScriptsProcessAndExitCode()
{
    QProcess process;
    process.setProcessEnvironment(m_environment);
    process.start(QStringLiteral(ORVENLINK_SCRIPT),
                  {m_build.path(), QStringLiteral("sh"), QStringLiteral("-c"),
                   QStringLiteral("echo $$; read line; exit 7")});
    QVERIFY(process.waitForReadyRead());
    const qint64 pid = process.processId();
    QCOMPARE(process.readAllStandardOutput().trimmed().toLongLong(), pid);
    process.write("what is typed reaches it\n");
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 7);
}

void tst_WithRecording::serverRunsWithoutStandardInput()
{
    QProcess process;
    process.setProcessEnvironment(m_environment);
    process.start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("exec \"$0\" \"$@\" <&-"),
                                         QStringLiteral(ORVENLINK_SCRIPT), m_build.path(),
                                         QStringLiteral(ORVENLINK_SERVER), QStringLiteral("-l")});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 0);
    QVERIFY(process.readAllStandardError().contains(demo().toUtf8()));
}

QTEST_GUILESS_MAIN(tst_WithRecording)
#include "tst_WithRecording.moc"
