#pragma once

// Checked writing of output files. A file that cannot be created or written is a fatal message that
// names it; what was written before stays.

#include <cstdio>
#include <string>
#include <string_view>

#include "control/run_state.h"

namespace dfl {

// An open output file and its name.
struct OutputFile {
  std::FILE* file = nullptr;
  std::string path;
};

// Opens `path` with the mode of fopen, by which a new run writes over what stands there.
OutputFile open_output(const MessageState& messages, const std::string& path, const char* mode);
void write_output(const MessageState& messages, const OutputFile& output, std::string_view text);
// One record of a sequential binary file: its length in 4 bytes, the data, the length again.
void write_record(const MessageState& messages, const OutputFile& output, const void* data,
                  std::size_t bytes);
// Hands all that was written to the operating system, so that a killed run keeps it.
void flush_output(const MessageState& messages, const OutputFile& output);
void close_output(const MessageState& messages, OutputFile& output);

// A negative status of the dataset library is a fatal message with the given text; a line before it
// names the file.
void check_hyfs(const MessageState& messages, int status, const std::string& text,
                const std::string& path);

// YYYY/MM/DD/HH/MM/SS.mmm, as in the zone lines of Tecplot files.
std::string zone_date(const Date& date);
// YYYY-MM-DD hh:mm:ss, as in the time units of HYFS files.
std::string hyfs_date(const Date& date);
// Julian day of start_run, the reference time of all HYFS output.
double start_julian_day(const RunState& run, const std::string& path);
// Outputs of a run that come every `increment` steps from step 1 on.
std::int64_t expected_frames(const RunState& run, int increment);

// First lines of an EnSim file, down to the mark before its name.
std::string ensim_head(std::string_view suffix, std::string_view author);

}  // namespace dfl
