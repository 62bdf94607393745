#pragma once

#include <QByteArray>
#include <random>

/// Bytes at random, and random damage to bytes. The same seed makes the same ones.
class Mutator
{
public:
    explicit Mutator(quint32 seed);

    /// 0 to `bound` - 1; `bound` is 1 or more.
    int below(int bound);
    quint32 any();
    /// One of those on which programs stumble: limits of types, of sizes and of rates, and their neighbours.
    double number();
    QByteArray bytes(int size);

    /// Damages `data` in one place; a part of `other` may come into it.
    void mutate(QByteArray& data, const QByteArray& other);

private:
    std::mt19937 m_random;
};
