#pragma once

#include "ClientApplication/Commands/SessionCommand.h"

#include <QTimer>
#include <optional>

/// A command that receives: tunes as its options say, and goes on once the receiver has followed and what is
/// received has been made under the new settings.
class TunedCommand : public SessionCommand
{
    Q_OBJECT

public:
    void describe(QCommandLineParser& parser) const override;
    [[nodiscard]] QString read(const QCommandLineParser& parser) override;
    void start() override;

protected:
    TunedCommand();

    /// The stream's needs, which --bandwidth overrides if there is such an option.
    struct Bandwidth
    {
        double preferred = 0.0; ///< Hz
        double aliasFree = 0.0; ///< Hz
    };
    /// After `read`; nothing to leave it to the server.
    [[nodiscard]] virtual std::optional<Bandwidth> bandwidth() const = 0;
    /// Tuned; `sampleRate` is the stream's, in hertz.
    virtual void beginTuned(double sampleRate) = 0;

    void begin() final;

    /// Hz, what stands at 0 Hz in the samples.
    [[nodiscard]] double centre();
    [[nodiscard]] double offset() const { return m_offset.value_or(0.0); }
    [[nodiscard]] bool isReconnecting() const { return m_isReconnecting; }

private:
    [[nodiscard]] bool isPlayer();
    void tune();
    void tuneAgain();
    void onFrequency(double hertz);
    void settle();
    void onSettled();
    [[nodiscard]] bool isRateSettled();

    std::optional<double> m_frequency; // Hz, wanted
    std::optional<double> m_offset;    // Hz
    bool m_isReconnecting = false;
    bool m_isTuning = false;
    QTimer m_patience; // for the echo of the frequency
    QTimer m_settling;
    int m_looks = 0; // at the rate, so far
};
