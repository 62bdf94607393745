#include "FFTStreamTest.h"

#include <QtTest>
#include <algorithm>
#include <cmath>
#include <random>

QVector<DoubleComplex> noise(int count)
{
    std::mt19937_64 generator(static_cast<unsigned>(count));
    std::normal_distribution<double> normal(0.0, 0.1);
    QVector<DoubleComplex> samples(count);
    for (DoubleComplex& sample : samples) {
        sample = {normal(generator), normal(generator)};
    }
    return samples;
}

QVector<DoubleComplex> carrier(int count, int bins, int fftSize)
{
    QVector<DoubleComplex> samples(count);
    for (int j = 0; j < count; ++j) {
        const double angle =
            2.0 * M_PI * static_cast<double>(static_cast<qint64>(j) * bins % fftSize) / fftSize;
        samples[j] = {std::sin(angle), std::cos(angle)};
    }
    return samples;
}

int strongest(const QVector<qint16>& points)
{
    return static_cast<int>(std::min_element(points.cbegin(), points.cend()) - points.cbegin());
}

QByteArray difference(const QVector<qint16>& actual, const QVector<qint16>& expected)
{
    if (actual.size() != expected.size()) {
        return QByteArray::number(actual.size()) + " points for " + QByteArray::number(expected.size());
    }
    QByteArray text;
    int other = 0;
    for (int i = 0; i < actual.size(); ++i) {
        other += actual[i] != expected[i] ? 1 : 0;
        if (std::abs(actual[i] - expected[i]) > 1) {
            text += " [" + QByteArray::number(i) + "] " + QByteArray::number(actual[i]) + " for " +
                    QByteArray::number(expected[i]);
        }
    }
    return 100 * other > actual.size() ? text + " too many differ: " + QByteArray::number(other) : text;
}

void FFTStreamTest::cleanup()
{
    QStringList warnings = m_log->texts(QtWarningMsg) + m_log->texts(QtCriticalMsg);
    m_log.reset();
    for (const QString& warning : qAsConst(warnings)) {
        QVERIFY2(warning.contains(QLatin1String("lines left out, of the kind logged at Server/FFTStream")),
                 qPrintable(warning));
    }
}
