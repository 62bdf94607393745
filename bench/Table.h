#pragma once

#include <QString>

struct Figures;

/// The table of figures: a row is printed as soon as it is known.
class Table
{
public:
    enum class Unit
    {
        Nanoseconds,
        Microseconds,
    };

    /// What one row measures, and in the words of its reader.
    struct Piece
    {
        QString name;
        QString set; ///< The instruction set; empty where none is forced.
        QString peer;
        double bar = -1.0; ///< The highest ratio; negative if there is none.
        Unit unit = Unit::Microseconds;
        double ourRuns = 1.0; ///< What the times are divided by: samples, or other units of work, in a run.
        double peerRuns = 1.0;
    };

    /// The columns' names.
    void begin();
    /// A piece and its peer.
    void add(const Piece& piece, const Figures& figures);
    /// A figure on its own, held to a bar in the same unit.
    void add(const QString& name, double figure, const QString& unit, double bar);
    /// A figure to know, without a bar.
    void add(const QString& name, double figure, const QString& unit);

    /// Rows that have a bar, and those of them that are above it.
    [[nodiscard]] int bars() const { return m_bars; }
    [[nodiscard]] int missed() const { return m_missed; }

private:
    void print(const QStringList& cells);
    QString verdict(double figure, double bar);

    int m_bars = 0;
    int m_missed = 0;
};
