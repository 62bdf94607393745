#include "Client/Hostility.h"

#include <QEventLoop>

// Without a number of its own: replies past the first 32767 calls would not be matched.
void Hostility::call(const QByteArray& json)
{
    m_server.sendRaw(QByteArray(5, '\0') + m_server.info().id.bytes() + m_server.client().id.bytes() + json);
}

// All that was sent has been read when a mark has come back.
bool Hostility::settle()
{
    QEventLoop loop;
    bool passed = false;
    m_server.session().invoke(
        QStringLiteral("error_happen"), {},
        [&](const QJsonObject&, const NodeInfo&) {
            passed = true;
            loop.quit();
        },
        [&] { loop.quit(); }, 5000);
    loop.exec();
    return passed;
}

void Hostility::datagramsOfEveryKindAndLength()
{
    for (int kind = 0; kind < 256; ++kind) {
        for (const int size : {1, 4, 5, 6, 8, 9, 44, 45, 46, 100, 9000, 60'000}) {
            m_server.sendRaw(QByteArray(size, static_cast<char>(kind)));
        }
        if (kind % 8 == 0) {
            settle();
        }
    }
    settle();
}

void Hostility::compressedBombs()
{
    // 15 MiB in some 15 kB, and a block of as many samples as that.
    QByteArray block(15 * 1024 * 1024, '\0');
    const QByteArray bomb = qCompress(block, 9);
    block.replace(0, 4, QByteArray::fromHex("00700000"));
    const QByteArray honest = qCompress(block, 9);
    const QByteArray liar = qCompress(QByteArray(60'000'000, '\0'), 9);
    QByteArray modest = liar;
    modest.replace(0, 4, QByteArray::fromHex("00000100"));
    for (int round = 0; round < 10; ++round) {
        for (const QByteArray& payload : {bomb, honest, liar, modest}) {
            m_server.sendRaw('\x03' + payload);
            m_server.sendRaw('\x05' + payload);
        }
        settle();
    }
}

void Hostility::properties(int count)
{
    for (int i = 0; i < count; ++i) {
        const QByteArray number = QByteArray::number(i);
        call((i % 2 == 0 ? R"({"cd":"pc_rrd","n":")" : R"({"cd":"pci_rrd","n":")") + number + R"(","v":)" +
             number + "}");
        if (i % 400 == 0) {
            settle();
        }
    }
    settle();
}

void Hostility::namesOf60kB()
{
    for (int i = 0; i < 1000; ++i) {
        call(R"({"cd":"pci_rrd","n":")" + QByteArray(60'000, 'a') + QByteArray::number(i) + R"(","v":1})");
        call(R"({"cd":"pc_rrd","n":"objectName","v":")" + QByteArray(60'000, 'b') + R"("})");
        if (i % 10 == 0) {
            settle();
        }
    }
    settle();
}

void Hostility::valuesThatAreNoNumbers()
{
    for (int round = 0; round < 100; ++round) {
        for (const char* const name : {"frequency", "sampleRate", "ppmCorrection", "levelCorrection",
                                       "swapIQ", "type", "supportSampleRates", "supportFrequencies"}) {
            for (const char* const value :
                 {"NaN", "Infinity", "-1e999", "nan(1)", "null", R"("NaN")", "[1,2]", R"({"a":1})"}) {
                call(QByteArray(R"({"cd":"pc_rrd","n":")") + name + R"(","v":)" + value + "}");
            }
        }
        for (const char* const rate : {"NaN", "null", R"("x")", "0", "-48000", "1e300", "1e999"}) {
            call(QByteArray(R"({"cd":"outSampleRateChanged","outSampleRate":)") + rate + "}");
        }
        settle();
    }
}
