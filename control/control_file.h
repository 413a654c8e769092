#pragma once

// The program control file: cards to settings. A line is blank, a comment ("#" first) or a card:
//
//   :keyword value      keyword in any case, value as the card asks; leading blanks and tabs do
//                       not count
//   :wave_files N       is followed by the names of the wave files, one a line, up to the next card
//   :end_data           ends the file

#include "control/run_state.h"

namespace dfl {

// Reads clock.CONTROLfile into run.settings, validates and derives, and writes the input echo.
// A fault ends the run.
void READ_CONTROL_FILE(RunState& run);

// Sets settings.method from the stored words; for tests and tools that fill settings by hand.
void set_methods(Settings& settings);

// The control file's path: CONTROLfile, with ".pcf" added if it holds neither ".pcf" nor ".dfl".
std::string control_file_path(const std::string& CONTROLfile);

}  // namespace dfl
