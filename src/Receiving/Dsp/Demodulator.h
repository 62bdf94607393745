#pragma once

#include "Client/IqBlock.h"

#include <QString>
#include <QStringList>
#include <memory>
#include <optional>
#include <vector>

/// Makes audio of baseband samples; the signal is at 0 Hz (a single-sideband one has its suppressed
/// carrier there). The building blocks are liquid-dsp's.
/// Thread: any, one at a time.
class Demodulator
{
public:
    enum class Mode
    {
        Am,
        Nfm,
        Wfm,
        Usb,
        Lsb,
        Cw, ///< Heard at kCwTone.
    };

    static constexpr double kCwTone = 700.0;         ///< Hz
    static constexpr double kHighestRate = 20e6;     ///< Hz, of the samples
    static constexpr int kLowestAudioRate = 8000;    ///< Hz
    static constexpr int kHighestAudioRate = 192000; ///< Hz

    /// What a mode needs of the stream.
    struct Needs
    {
        double bandwidth; ///< Hz, around 0: what the signal takes up.
        double rate;      ///< Hz, the lowest that carries it.
    };

    /// "am", "nfm", "wfm", "usb", "lsb", "cw".
    [[nodiscard]] static QStringList modeNames();
    [[nodiscard]] static std::optional<Mode> modeOf(const QString& name);
    [[nodiscard]] static Needs needsOf(Mode mode);

    /// `sampleRate`: Hz, from needsOf(mode).bandwidth to kHighestRate. `audioRate`: Hz.
    Demodulator(Mode mode, double sampleRate, int audioRate);
    ~Demodulator();

    /// Appends the audio, -1 to 1, one channel. Audio comes some milliseconds after the samples.
    void process(const QVector<IqSample>& samples, std::vector<float>& audio);

private:
    Q_DISABLE_COPY_MOVE(Demodulator)
    struct Chain;
    std::unique_ptr<Chain> m_chain;
};
