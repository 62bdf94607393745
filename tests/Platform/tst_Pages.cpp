#include "Platform/Pages.h"

#include <QFile>
#include <QtTest>
#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace
{

constexpr std::size_t kSize = 4 * 1024 * 1024;
constexpr qint64 kLittle = 16 * 1024; // KiB; a sanitizer's books come on top of what is measured

/// Resident memory of this process, KiB.
qint64 residentMemory()
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly)) {
        return -1;
    }
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (line.startsWith("VmRSS:")) {
            return line.simplified().split(' ').value(1).toLongLong();
        }
    }
    return -1;
}

} // namespace

class tst_Pages : public QObject
{
    Q_OBJECT

private slots:
    void freshPagesAreZero();
    void pagesMayBeWrittenToLastByte();
    void onlyUsedPagesCostMemory();
    void memoryGoesBackWithObject();
    void pagesMoveWithTheirContents();
    void moreThanThereIsThrows();
};

void tst_Pages::freshPagesAreZero()
{
    for (int i = 0; i < 3; ++i) { // a later one may be given where the one before was
        const Pages pages(kSize);
        auto* const bytes = static_cast<char*>(pages.data());
        QVERIFY(std::all_of(bytes, bytes + kSize, [](char byte) { return byte == 0; }));
        std::fill(bytes, bytes + kSize, '\x55');
    }
}

void tst_Pages::pagesMayBeWrittenToLastByte()
{
    for (const std::size_t size : {std::size_t{1}, std::size_t{4095}, std::size_t{4097}}) {
        const Pages pages(size);
        QCOMPARE(reinterpret_cast<quintptr>(pages.data()) % 4096, quintptr{0});
        static_cast<char*>(pages.data())[size - 1] = 1;
    }
}

void tst_Pages::onlyUsedPagesCostMemory()
{
    const qint64 before = residentMemory();
    QVERIFY(before > 0);
    const Pages pages(64 * kSize);
    QVERIFY(pages.data() != nullptr);
    QVERIFY(residentMemory() - before < kLittle);
}

void tst_Pages::memoryGoesBackWithObject()
{
    const qint64 before = residentMemory();
    for (int i = 0; i < 20; ++i) {
        const Pages pages(kSize);
        auto* const bytes = static_cast<char*>(pages.data());
        std::fill(bytes, bytes + kSize, '\x55');
        QVERIFY(residentMemory() - before >= 4096 - 256);
    }
    QVERIFY(residentMemory() - before < kLittle);
}

void tst_Pages::pagesMoveWithTheirContents()
{
    Pages first(kSize);
    static_cast<char*>(first.data())[kSize - 1] = 7;
    Pages second(std::move(first));
    QCOMPARE(static_cast<char*>(second.data())[kSize - 1], '\x7');
    const qint64 before = residentMemory();
    for (int i = 0; i < 20; ++i) {
        Pages third(kSize);
        std::fill_n(static_cast<char*>(third.data()), kSize, '\x55');
        second = std::move(third);
    }
    QCOMPARE(static_cast<char*>(second.data())[kSize - 1], '\x55');
    QVERIFY(residentMemory() - before < kLittle);
}

void tst_Pages::moreThanThereIsThrows()
{
    QVERIFY_EXCEPTION_THROWN(Pages(std::numeric_limits<std::size_t>::max() / 2), std::bad_alloc);
}

QTEST_GUILESS_MAIN(tst_Pages)
#include "tst_Pages.moc"
