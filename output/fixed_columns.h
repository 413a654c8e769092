#pragma once

// Numbers in fixed columns, written straight into a row buffer. The text is that of columns() of
// control/text_tools.h to the last digit, at a tenth of its time: a frame of a million parcels
// holds ten million numbers.

namespace dfl {

// Writes exactly `width` characters at `at` and returns the address behind them.
char* put_columns(char* at, int value, int width);
char* put_columns(char* at, double value, int width, int decimals);

}  // namespace dfl
