#pragma once

#include "ClientApplication/Commands/SessionCommand.h"
#include "Receiving/StallWatch.h"

#include <QTimer>
#include <optional>

/// A command that receives: tunes as its options say, and goes on once the receiver has followed and what is
/// received has been made under the new settings.
/// Thread: main.
class TunedCommand : public SessionCommand
{
    Q_OBJECT

public:
    void describe(QCommandLineParser& parser) const override;
    [[nodiscard]] QString read(const QCommandLineParser& parser) override;
    void start() override;

protected:
    explicit TunedCommand(const Patience& patience);

    /// The stream's needs, which --bandwidth overrides if there is such an option.
    struct Bandwidth
    {
        double preferred = 0.0; ///< Hz
        double aliasFree = 0.0; ///< Hz
    };
    /// So many hertz, with the share free of aliases that the server's longest filters keep clean.
    [[nodiscard]] static Bandwidth cleanBandwidth(double hertz) { return {hertz, 0.8 * hertz}; }
    /// After `read`; nothing to leave it to the server.
    [[nodiscard]] virtual std::optional<Bandwidth> bandwidth() const = 0;
    /// Tuned; `sampleRate` is the stream's, in hertz.
    virtual void beginTuned(double sampleRate) = 0;

    /// Nothing has come for a while; says so.
    virtual void stalled();

    void begin() final;

    /// Hz, what is at 0 Hz in the samples.
    [[nodiscard]] double centre();
    /// Of what the command receives; started by it.
    [[nodiscard]] StallWatch& stallWatch() { return m_stallWatch; }
    [[nodiscard]] double offset() const { return m_offset.value_or(0.0); }

private:
    [[nodiscard]] bool isPlayer();
    void tune();
    void tuneAgain();
    void onFrequency(double hertz);
    void settle();
    void onSettled();
    void onLost();
    [[nodiscard]] bool isRateSettled();

    std::optional<double> m_frequency;       // Hz, wanted
    std::optional<double> m_frequencyBefore; // Hz, of a receiver that moves at each start
    std::optional<double> m_offset;          // Hz
    bool m_isReconnecting = false;
    bool m_isTuning = false;
    QTimer m_patience; // for the echo of the frequency
    QTimer m_settling;
    StallWatch m_stallWatch;
    int m_looks = 0; // at the rate, so far
};
