#include "Client/WrittenProperties.h"

#include <QtTest>

class tst_WrittenProperties : public QObject
{
    Q_OBJECT

private slots:
    void whatWasWrittenIsKeptInOrderOfItsLastWrites();
    void whatWasNotWrittenIsNotKept();
    void whatIsTakenIsKeptAgainByNextSession();
    void whatSessionHadNoTimeToTakeStays();
    void newWriteIsMoreThanWhatWasKept();
    void nothingIsLeftAfterClear();

private:
    static QString text(const char* latin) { return QString::fromLatin1(latin); }
    const QString m_a = text("a");
    const QString m_b = text("b");
};

void tst_WrittenProperties::whatWasWrittenIsKeptInOrderOfItsLastWrites()
{
    WrittenProperties written;
    written.note(m_a);
    written.note(m_b);
    written.note(m_a);
    written.keep({{m_a, 1}, {m_b, 2}});
    QCOMPARE(written.take(), (WrittenProperties::Values{{m_b, 2}, {m_a, 1}}));
}

void tst_WrittenProperties::whatWasNotWrittenIsNotKept()
{
    WrittenProperties written;
    written.note(m_a);
    written.keep({{m_b, 2}});
    QVERIFY(written.take().isEmpty());
}

void tst_WrittenProperties::whatIsTakenIsKeptAgainByNextSession()
{
    WrittenProperties written;
    written.note(m_a);
    written.keep({{m_a, 1}});
    QCOMPARE(written.take().size(), 1);
    QVERIFY(written.take().isEmpty());
    written.keep({{m_a, 3}});
    QCOMPARE(written.take(), (WrittenProperties::Values{{m_a, 3}}));
}

void tst_WrittenProperties::whatSessionHadNoTimeToTakeStays()
{
    WrittenProperties written;
    written.note(m_a);
    written.keep({{m_a, 1}});
    written.keep({{m_a, 99}}); // the server's own, of a session that broke off before its set was complete
    QCOMPARE(written.take(), (WrittenProperties::Values{{m_a, 1}}));
}

void tst_WrittenProperties::newWriteIsMoreThanWhatWasKept()
{
    WrittenProperties written;
    written.note(m_a);
    written.keep({{m_a, 1}});
    written.note(m_a);
    QVERIFY(written.take().isEmpty());
}

void tst_WrittenProperties::nothingIsLeftAfterClear()
{
    WrittenProperties written;
    written.note(m_a);
    written.keep({{m_a, 1}});
    written.clear();
    written.keep({{m_a, 1}});
    QVERIFY(written.take().isEmpty());
}

QTEST_GUILESS_MAIN(tst_WrittenProperties)
#include "tst_WrittenProperties.moc"
