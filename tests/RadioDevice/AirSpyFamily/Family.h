#pragma once

#include <QPair>
#include <QString>
#include <QVector>

/// What the tests of both Airspy families have to know of one.
struct Family
{
    QString library;       ///< Its functions and its fake's keys begin so.
    QString start;         ///< The function that begins the reception.
    QString stop;          ///< The function that ends it.
    QVector<int> failures; ///< Results that are none of success.
    int refused;           ///< The result of a value that the library can't be given.

    double frequency; ///< Hz, after a reset.
    double rate;      ///< Hz, after a reset.
    double outside;   ///< Hz, in none of the bands.

    const char* setting;    ///< A property that is a call of an open receiver, named with `_set_`.
    QStringList properties; ///< Type, name and signal of each, in their order.
    /// The calls of a start, which each can end it, with the text.
    QVector<QPair<QString, QString>> startSteps;

    bool swapsIQ;               ///< `swapIQ` has an effect.
    bool closesAfterFailedStop; ///< Otherwise a stop that fails leaves the receiver open.
};
