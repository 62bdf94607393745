#pragma once

#include "abuse/MeasuringClient.h"

/// Figures of what a client has heard.
namespace Records
{

double bytes(const MeasuringClient::Record& record);

/// What is left without the replies.
MeasuringClient::Record unasked(const MeasuringClient::Record& record);

/// The most bytes within any time of `window` ns. In any order.
double mostBytes(MeasuringClient::Record record, qint64 window);

/// Calls of one command.
int calls(const MeasuringClient::Record& record, const QString& command);

/// Spectra that began.
int spectra(const MeasuringClient::Record& record);

/// The longest time in seconds from `begin` to `end` in which nothing was heard.
double longestSilence(const MeasuringClient::Record& record, qint64 begin, qint64 end);

} // namespace Records
