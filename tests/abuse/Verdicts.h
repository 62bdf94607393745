#pragma once

#include <QString>

/// The table of bars: each row is printed as soon as it is known.
class Verdicts
{
public:
    /// The columns' names.
    void begin();
    /// A figure, held to a bar. With an `obstacle` to judging it the bar counts as missed.
    void atMost(const QString& what, double figure, double bar, const QString& unit,
                const QString& obstacle = {});
    void atLeast(const QString& what, double figure, double bar, const QString& unit,
                 const QString& obstacle = {});
    /// A figure to know, without a bar.
    void tell(const QString& what, double figure, const QString& unit);

    [[nodiscard]] int bars() const { return m_bars; }
    [[nodiscard]] int missed() const { return m_missed; }

private:
    void judge(const QString& what, const QString& bar, const QString& figure, bool met,
               const QString& obstacle);

    int m_bars = 0;
    int m_missed = 0;
};
