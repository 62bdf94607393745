#pragma once

class Table;

// Each measures one concern and adds its rows.

void fftRows(Table& table);
void chainRows(Table& table);
void stageRows(Table& table);
void ringRows(Table& table);
void pointRows(Table& table);
void datagramRows(Table& table);
void loopRows(Table& table);
void sessionRows(Table& table);
