#include "Core/Process/Process.h"

#include <QtTest>
#include <cstdio>
#include <cstdlib>

class tst_Process : public QObject
{
    Q_OBJECT

private slots:
    void exitFlushesWhatWasWrittenAndRunsNoExitHandler();
    void negativeCodeIsSeenAs255();

private:
    static QByteArray run(const char* code, int* exitCode);
};

QByteArray tst_Process::run(const char* code, int* exitCode)
{
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--exit"), QString::fromLatin1(code)});
    if (!child.waitForFinished()) {
        qFatal("the child did not end");
    }
    *exitCode = child.exitCode();
    return child.readAllStandardOutput();
}

void tst_Process::exitFlushesWhatWasWrittenAndRunsNoExitHandler()
{
    int exitCode = -1;
    QCOMPARE(run("0", &exitCode), QByteArray("written"));
    QCOMPARE(exitCode, 0);
}

void tst_Process::negativeCodeIsSeenAs255()
{
    int exitCode = 0;
    run("-1", &exitCode);
    QCOMPARE(exitCode, 255);
}

int main(int argc, char* argv[])
{
    if (argc == 3 && QByteArray(argv[1]) == "--exit") {
        std::atexit([] { std::printf(", then the exit handler"); });
        std::printf("written");
        Process::exit(QByteArray(argv[2]).toInt());
    }
    QCoreApplication application(argc, argv);
    tst_Process test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_Process.moc"
