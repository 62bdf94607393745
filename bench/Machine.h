#pragma once

#include <QStringList>

/// What the figures were measured on, one thing a line: processor, cores, instruction sets, compiler, date.
QStringList describeMachine();
