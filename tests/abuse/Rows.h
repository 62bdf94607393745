#pragma once

#include <QByteArray>

class Verdicts;

/// How much abuse there is to be.
struct Amount
{
    QByteArray recording;
    int floodSeconds;
};

/// Rows of the table, a function for each concern. Each has servers of its own.
void floodRows(const Amount& amount, Verdicts& verdicts);
void bombRows(const Amount& amount, Verdicts& verdicts);
void takeoverRows(const Amount& amount, Verdicts& verdicts);
void amplificationRows(const Amount& amount, Verdicts& verdicts);
void logRows(const Amount& amount, Verdicts& verdicts);
void bodyRows(const Amount& amount, Verdicts& verdicts);
