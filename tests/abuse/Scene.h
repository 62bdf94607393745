#pragma once

#include "System/Served.h"
#include "abuse/MeasuringClient.h"
#include "abuse/ServerLoad.h"

#include <QElapsedTimer>
#include <functional>

/// A server that plays the recording, for one abuse.
class Scene
{
public:
    /// The server serves, or the program ends.
    explicit Scene(const QByteArray& recording);

    [[nodiscard]] ServerProcess& server() { return m_served.server; }
    /// The receiver's identificator.
    [[nodiscard]] const QString& receiver() const { return m_served.file; }
    /// Opens a session, with spectra, whose samples come. The program ends if there is none to be had.
    void open(MeasuringClient& client);

    /// Lets time pass, and reads what the server logs meanwhile.
    static void pass(int milliseconds);
    /// As `pass`, and calls `act` so many times a second, as evenly as 20 ms allow.
    static void repeat(int milliseconds, int perSecond, const std::function<void()>& act);

private:
    Served m_served;
};

/// What a session gets from here until `figures`, and what it costs the server.
class SessionMeter
{
public:
    struct Figures
    {
        double iq = 0.0;           ///< Datagrams of samples.
        double longestPause = 0.0; ///< ms without one.
        double processor = 0.0;    ///< Seconds that the server took.
        QString obstacle;          ///< That the server waited for a processor too long to be judged.
    };

    SessionMeter(Scene& scene, const MeasuringClient& client);
    [[nodiscard]] Figures figures() const;

private:
    Scene& m_scene;
    const MeasuringClient& m_client;
    qint64 m_begin;
    ServerLoad m_load;
};
