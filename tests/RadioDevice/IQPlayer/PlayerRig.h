#pragma once

#include "RadioDevice/IQPlayer/IQPlayerRadioDevice.h"

#include <QTemporaryDir>
#include <complex>
#include <memory>
#include <vector>

constexpr int kBlock = 1200; // samples of a tick

/// A player and the file it plays. The player's timer needs the event loop: where a test does not enter it,
/// the ticks are those of `tick` alone.
class PlayerRig
{
public:
    using Samples = std::vector<std::complex<double>>;

    [[nodiscard]] QString path(const QString& name) const { return m_folder.filePath(name); }

    /// Writes "a.wav", over the one before, and gives its path.
    QString put(const QByteArray& bytes) const;
    static std::unique_ptr<IQPlayerRadioDevice> make(const QString& fileName);
    /// A player of these samples that is started; its first block comes with the first tick.
    [[nodiscard]] std::unique_ptr<IQPlayerRadioDevice> play(const QByteArray& data,
                                                            quint32 sampleRate = 48'000) const;
    static void tick(IQPlayerRadioDevice& player);
    /// The last block in the ring that the player fills.
    [[nodiscard]] static Samples lastSamples(const IQPlayerRadioDevice& player);

    /// `count` samples, of which sample i holds the values 2 i + 1 and 2 i + 2.
    static QByteArray ramp(int count);
    /// `count` samples of 1 + 0j, once they are scaled.
    static QByteArray ones(int count);

private:
    QTemporaryDir m_folder;
};
