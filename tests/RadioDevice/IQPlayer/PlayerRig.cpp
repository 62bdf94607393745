#include "RadioDevice/IQPlayer/PlayerRig.h"

#include "System/Recording.h"

#include <QtEndian>

QString PlayerRig::put(const QByteArray& bytes) const
{
    QFile file(path(QStringLiteral("a.wav")));
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        qFatal("No file to play");
    }
    return file.fileName();
}

std::unique_ptr<IQPlayerRadioDevice> PlayerRig::make(const QString& fileName)
{
    auto info = QSharedPointer<IQPlayerRadioDevice::DeviceInfo>::create();
    info->identificator = fileName;
    return std::make_unique<IQPlayerRadioDevice>(info, nullptr);
}

std::unique_ptr<IQPlayerRadioDevice> PlayerRig::play(const QByteArray& data, quint32 sampleRate) const
{
    auto player = make(put(wavHeader(static_cast<quint32>(data.size()), sampleRate) + data));
    player->start(false);
    return player;
}

void PlayerRig::tick(IQPlayerRadioDevice& player)
{
    if (!QMetaObject::invokeMethod(&player, "onTimeoutData", Qt::DirectConnection)) {
        qFatal("No tick");
    }
}

PlayerRig::Samples PlayerRig::lastSamples(const IQPlayerRadioDevice& player)
{
    RingBuffer<DoubleComplex>& ring = *player.inBuffer();
    std::vector<DoubleComplex> raw(kBlock);
    const QMutexLocker lock(&ring.mutex);
    ring.read(ring.advance(ring.writeIndex, -kBlock), raw.data(), kBlock);
    Samples result;
    for (const DoubleComplex& sample : raw) {
        result.emplace_back(sample.re, sample.im);
    }
    return result;
}

QByteArray PlayerRig::ramp(int count)
{
    QByteArray bytes(count * 4, '\0');
    for (int i = 0; i < 2 * count; ++i) {
        qToLittleEndian<qint16>(static_cast<qint16>(i + 1), bytes.data() + 2 * i);
    }
    return bytes;
}

QByteArray PlayerRig::ones(int count)
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i) {
        bytes.append("\x00\x10\x00\x00", 4);
    }
    return bytes;
}
