#pragma once

// The one way in which failures and warnings are told, and the streams that they go to.
// A fatal message ends the process where it stands; our own streams are flushed, so that what
// was written stays.

#include <cstdio>
#include <string>
#include <string_view>

namespace dfl {

struct MessageState {
  std::FILE* console_out = stdout;
  std::FILE* console_in = stdin;
  bool HOSTEDmode = false;  // a host application reads the console; nothing waits for a key
  bool exit_code = false;   // option --exit-code: a failed run ends with status 1, not 0
  std::string output_prefix = "DFL";        // of the ".err" file; the program name until known
  mutable std::FILE* error_file = nullptr;  // prefix + ".err", opened at the first message
  std::FILE* echo_file = nullptr;           // prefix + ".input", the run's echo and log file
};

// "ERROR: " or "WARNING: " and the text, on the error file and on the console. Outside hosted mode
// the console shows " <RETURN>" and one line is read and dropped. With `fatal` the run stops.
void REPORT(const MessageState& messages, bool fatal, std::string_view text);
// The same with an integer in 6 columns behind the text.
void REPORT_INT(const MessageState& messages, bool fatal, std::string_view text, int i);
// The same with two integers in 6 columns each.
void REPORT_INT2(const MessageState& messages, bool fatal, std::string_view text, int i, int j);
// The same with the name of a dataset status code (negative integer) on a line of its own.
void REPORT_CODE(const MessageState& messages, bool fatal, std::string_view text, int status);

// REPORT with the fatal flag set, for places where the compiler has to know that it never returns.
[[noreturn]] void fatal_error(const MessageState& messages, std::string_view text);

// Ends the process at once after flushing all streams. `failed` gives status 1 under --exit-code.
[[noreturn]] void stop_run(const MessageState& messages, bool failed);

// The error file, opened if need be; nullptr if it cannot be created.
std::FILE* open_error_file(const MessageState& messages);

// A line "WARNING: text" on the echo file only; nothing if that file is not open.
void echo_warning(const MessageState& messages, std::string_view text);

// printf on the console, flushed.
[[gnu::format(printf, 2, 3)]] void console(const MessageState& messages, const char* format, ...);

// printf on the echo file; nothing if that file is not open.
[[gnu::format(printf, 2, 3)]] void echo(const MessageState& messages, const char* format, ...);

// One line from the console without its line end. The end of input counts as an empty line.
std::string read_console_line(const MessageState& messages);

}  // namespace dfl
