#pragma once

#include "System/Recording.h"
#include "System/ServerHome.h"
#include "System/ServerProcess.h"

/// A server that plays one recording, with a home of its own.
struct Served
{
    explicit Served(const QByteArray& wav, const QString& name = QStringLiteral("a.wav"))
        : file(home.addRecording(name, wav))
        , server(home)
    {
    }

    ServerHome home;
    QString file; ///< Identifies the device.
    ServerProcess server;
};
