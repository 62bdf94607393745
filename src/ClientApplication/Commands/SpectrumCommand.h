#pragma once

#include "ClientApplication/Commands/TunedCommand.h"
#include "ClientApplication/Spectrum/SpectrumPicture.h"
#include "ClientApplication/Spectrum/SpectrumScreen.h"
#include "Receiving/Spectrum/FrequencyAxis.h"

#include <QElapsedTimer>
#include <memory>

/// Shows the spectrum: live in a terminal, as a picture, or as numbers for programs.
/// Thread: main.
class SpectrumCommand : public TunedCommand
{
    Q_OBJECT

public:
    explicit SpectrumCommand(const Patience& patience = {});
    ~SpectrumCommand() override;

    void describe(QCommandLineParser& parser) const override;
    [[nodiscard]] QString read(const QCommandLineParser& parser) override;
    void interrupt() override;

protected:
    [[nodiscard]] std::optional<Bandwidth> bandwidth() const override;
    void beginTuned(double sampleRate) override;
    void broken() override;
    void stalled() override;

private:
    [[nodiscard]] SpectrumRange range() const;
    [[nodiscard]] FrequencyAxis axis();
    void onFrame(const SpectrumFrame& frame);
    void drawScreen();
    void leaveScreen();
    [[nodiscard]] bool printFrame(const SpectrumFrame& frame);
    void finish();
    void finishPicture();
    [[nodiscard]] bool savePicture(const QImage& picture, QString& error) const;

    QString m_png;
    std::optional<double> m_seconds;
    std::optional<double> m_span; // Hz
    bool m_isJson = false;
    bool m_isScreen = false;
    bool m_isScreenShown = false;
    double m_rate = 0.0; // Hz, of the receiver
    SpectrumScreen m_screen;
    std::unique_ptr<SpectrumPicture> m_picture;
    QVector<double> m_powers; // summed up, for the table
    int m_frames = 0;
    SpectrumFrame m_newest;
    QElapsedTimer m_elapsed;
    QTimer m_drawing;
    QTimer m_end;
};
