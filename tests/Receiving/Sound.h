#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QtTest>
#include <sndfile.h>
#include <vector>

/// A sound file as an independent library reads it.
struct Sound
{
    int sampleRate = 0;
    int channels = 0;
    int format = 0;
    std::vector<qint16> values;

    static Sound read(const QString& path)
    {
        SF_INFO info{};
        SNDFILE* file = sf_open(path.toLocal8Bit().constData(), SFM_READ, &info);
        Sound sound;
        if (file == nullptr) {
            return sound;
        }
        sound.sampleRate = info.samplerate;
        sound.channels = info.channels;
        sound.format = info.format;
        sound.values.resize(static_cast<std::size_t>(info.frames) * static_cast<std::size_t>(info.channels));
        const sf_count_t frames = sf_readf_short(file, sound.values.data(), info.frames);
        sound.values.resize(static_cast<std::size_t>(frames) * static_cast<std::size_t>(info.channels));
        sf_close(file);
        return sound;
    }
};

inline QByteArray fileContent(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
