#include "Application/QConsoleListener.h"

#include <QtTest>
#include <fcntl.h>
#include <unistd.h>

/// Each test puts a pipe of its own in place of standard input.
class tst_QConsoleListener : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void metaObjectListsSignalsAndSlotInOrder();
    void lineIsDeliveredOnMainThreadWithoutItsEnd();
    void emptyLineArrivesAsEmptyString();
    void partialLineWaitsForItsEnd();
    void linesOfOneReadArriveInOrder();
    void characterCutByReadStaysWhole();
    void lineLongerThanOneReadArrivesWhole();
    void lineWithoutEndIsDeliveredAtEndOfInput();
    void destructionDoesNotWaitForInput();

private:
    void type(const QByteArray& bytes) const;
    void closeInput();
    int m_savedInput = -1;
    int m_input = -1;
};

namespace
{

/// Collects lines; made on the main thread, so that a line from another would be seen.
struct Lines
{
    explicit Lines(QConsoleListener& listener)
    {
        QObject::connect(
            &listener, &QConsoleListener::newLine, &listener,
            [this](const QString& line) {
                onMainThread = onMainThread && QThread::currentThread() == qApp->thread();
                texts.append(line);
            },
            Qt::DirectConnection);
    }
    QStringList texts;
    bool onMainThread = true;
};

} // namespace

void tst_QConsoleListener::init()
{
    m_savedInput = dup(STDIN_FILENO);
    int ends[2];
    QCOMPARE(pipe(ends), 0);
    dup2(ends[0], STDIN_FILENO);
    close(ends[0]);
    m_input = ends[1];
}

void tst_QConsoleListener::cleanup()
{
    closeInput();
    dup2(m_savedInput, STDIN_FILENO);
    close(m_savedInput);
}

void tst_QConsoleListener::type(const QByteArray& bytes) const
{
    QCOMPARE(write(m_input, bytes.constData(), static_cast<size_t>(bytes.size())), ssize_t(bytes.size()));
}

void tst_QConsoleListener::closeInput()
{
    if (m_input >= 0) {
        close(m_input);
        m_input = -1;
    }
}

void tst_QConsoleListener::metaObjectListsSignalsAndSlotInOrder()
{
    const QMetaObject& meta = QConsoleListener::staticMetaObject;
    QList<QByteArray> signatures;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        signatures.append(meta.method(i).methodSignature());
    }
    QCOMPARE(signatures, (QList<QByteArray>{"newLine(QString)", "finishedGetLine(QString)",
                                            "on_finishedGetLine(QString)"}));
}

void tst_QConsoleListener::lineIsDeliveredOnMainThreadWithoutItsEnd()
{
    QConsoleListener listener;
    const Lines lines(listener);
    type("stat\n");
    QTRY_COMPARE(lines.texts, QStringList{QStringLiteral("stat")});
    QVERIFY(lines.onMainThread);
}

void tst_QConsoleListener::emptyLineArrivesAsEmptyString()
{
    QConsoleListener listener;
    const Lines lines(listener);
    type("\n");
    QTRY_COMPARE(lines.texts, QStringList{QString()});
}

void tst_QConsoleListener::partialLineWaitsForItsEnd()
{
    QConsoleListener listener;
    const Lines lines(listener);
    type("one\nst");
    QTRY_COMPARE(lines.texts.size(), 1);
    type("at\n");
    QTRY_COMPARE(lines.texts, (QStringList{QStringLiteral("one"), QStringLiteral("stat")}));
}

void tst_QConsoleListener::linesOfOneReadArriveInOrder()
{
    type("a\nb\nc\n");
    QConsoleListener listener;
    const Lines lines(listener);
    QTRY_COMPARE(lines.texts, (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
}

void tst_QConsoleListener::characterCutByReadStaysWhole()
{
    QConsoleListener listener;
    const Lines lines(listener);
    type("x\n\xc3");
    QTRY_COMPARE(lines.texts.size(), 1);
    type("\xa4\n");
    QTRY_COMPARE(lines.texts.value(1), QString(QChar(0xe4)));
}

void tst_QConsoleListener::lineLongerThanOneReadArrivesWhole()
{
    QConsoleListener listener;
    const Lines lines(listener);
    const QByteArray text(10'000, 'y');
    type(text + '\n');
    QTRY_COMPARE(lines.texts, QStringList{QString::fromLatin1(text)});
}

void tst_QConsoleListener::lineWithoutEndIsDeliveredAtEndOfInput()
{
    QConsoleListener listener;
    const Lines lines(listener);
    type("q");
    closeInput();
    QTRY_COMPARE(lines.texts, QStringList{QStringLiteral("q")});
}

void tst_QConsoleListener::destructionDoesNotWaitForInput()
{
    const QConsoleListener listener;
    // The test's own time limit is the assertion: nothing is ever typed.
    QVERIFY(m_input >= 0);
}

QTEST_GUILESS_MAIN(tst_QConsoleListener)
#include "tst_QConsoleListener.moc"
