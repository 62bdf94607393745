#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "RadioDevice/IQPlayer/IQPlayerEnumerator.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QtTest>
#include <algorithm>

class tst_IQPlayerEnumerator : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void typeIsPlayers();
    void fileInDocumentsFolderBecomesRecord();
    void nothingButFilesOfThatNameCounts();
    void folderIsReadAgainAtEachRefresh();
    void emptyOrMissingFolderGivesNoRecord();

private:
    void put(const QString& name) const;
    QStringList found();

    QDir m_documents;
    EnumeratorRadioDevice m_registry;
};

void tst_IQPlayerEnumerator::init()
{
    m_documents.setPath(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
    // The home is one of the test's own.
    QVERIFY(m_documents.path().startsWith(QDir::tempPath()));
    m_documents.removeRecursively();
    QVERIFY(m_documents.mkpath(QStringLiteral(".")));
}

void tst_IQPlayerEnumerator::put(const QString& name) const
{
    QFile file(m_documents.filePath(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
}

QStringList tst_IQPlayerEnumerator::found()
{
    m_registry.refresh({});
    QStringList names;
    for (const auto& info : m_registry.devices()) {
        names.append(QFileInfo(info->identificator).fileName());
    }
    std::sort(names.begin(), names.end()); // the folder's order is nobody's promise
    return names;
}

void tst_IQPlayerEnumerator::typeIsPlayers()
{
    const IQPlayerEnumerator enumerator(&m_registry);
    QCOMPARE(enumerator.type(), DefRadioDevice::IQFilePlayer);
}

void tst_IQPlayerEnumerator::fileInDocumentsFolderBecomesRecord()
{
    put(QStringLiteral("air band.wav"));
    m_registry.refresh({});
    QCOMPARE(m_registry.devices().size(), 1);
    const InfoRadioDevice& info = *m_registry.devices().constFirst();
    const QString path = m_documents.absoluteFilePath(QStringLiteral("air band.wav"));
    QCOMPARE(info.type(), 0);
    QCOMPARE(info.title, QStringLiteral("IQ file player"));
    QCOMPARE(info.description, path);
    QCOMPARE(info.identificator, path);
    QVERIFY(!info.acquired);
}

void tst_IQPlayerEnumerator::nothingButFilesOfThatNameCounts()
{
    put(QStringLiteral("a.wav"));
    put(QStringLiteral("b.WAV"));
    put(QStringLiteral("c.mp3"));
    put(QStringLiteral("wav"));
    put(QStringLiteral("d.wav.part"));
    QVERIFY(m_documents.mkdir(QStringLiteral("x.wav")));
    QVERIFY(m_documents.mkdir(QStringLiteral("below")));
    put(QStringLiteral("below/e.wav"));
    QCOMPARE(found(), (QStringList{QStringLiteral("a.wav"), QStringLiteral("b.WAV")}));
}

void tst_IQPlayerEnumerator::folderIsReadAgainAtEachRefresh()
{
    put(QStringLiteral("a.wav"));
    QCOMPARE(found(), QStringList{QStringLiteral("a.wav")});
    put(QStringLiteral("b.wav"));
    m_documents.remove(QStringLiteral("a.wav"));
    QCOMPARE(found(), QStringList{QStringLiteral("b.wav")});
}

void tst_IQPlayerEnumerator::emptyOrMissingFolderGivesNoRecord()
{
    QCOMPARE(found(), QStringList());
    QVERIFY(m_documents.removeRecursively());
    QCOMPARE(found(), QStringList());
}

QTEST_GUILESS_MAIN(tst_IQPlayerEnumerator)
#include "tst_IQPlayerEnumerator.moc"
