#include "output/output_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "control/run_clock.h"
#include "control/text_tools.h"
#include "dataset/hyfs.h"

namespace dfl {

namespace {

[[noreturn]] void cannot(const MessageState& messages, const char* action, const std::string& path,
                         int error) {
  fatal_error(messages,
              std::string("Cannot ") + action + " file \"" + path + "\": " + std::strerror(error));
}

void write_bytes(const MessageState& messages, const OutputFile& output, const void* data,
                 std::size_t bytes) {
  if (bytes > 0 && std::fwrite(data, 1, bytes, output.file) != bytes) {
    cannot(messages, "write", output.path, errno);
  }
}

}  // namespace

OutputFile open_output(const MessageState& messages, const std::string& path, const char* mode) {
  OutputFile output{open_file(path, mode), path};
  if (output.file == nullptr) cannot(messages, "create", path, errno);
  return output;
}

void write_output(const MessageState& messages, const OutputFile& output, std::string_view text) {
  write_bytes(messages, output, text.data(), text.size());
}

void write_record(const MessageState& messages, const OutputFile& output, const void* data,
                  std::size_t bytes) {
  if (bytes > static_cast<std::size_t>(INT32_MAX)) {
    fatal_error(messages, "Cannot write file \"" + output.path +
                              "\": a record of more than 2147483647 bytes; write another format");
  }
  const std::int32_t length = static_cast<std::int32_t>(bytes);
  write_bytes(messages, output, &length, sizeof length);
  write_bytes(messages, output, data, bytes);
  write_bytes(messages, output, &length, sizeof length);
}

void flush_output(const MessageState& messages, const OutputFile& output) {
  if (std::fflush(output.file) != 0) cannot(messages, "write", output.path, errno);
}

void close_output(const MessageState& messages, OutputFile& output) {
  std::FILE* file = output.file;
  output.file = nullptr;
  if (file != nullptr && std::fclose(file) != 0) cannot(messages, "write", output.path, errno);
}

void check_hyfs(const MessageState& messages, int status, const std::string& text,
                const std::string& path) {
  if (status >= 0) return;
  console(messages, "\nHYFS file \"%s\":", path.c_str());
  echo(messages, "HYFS file \"%s\": %s\n", path.c_str(), text.c_str());
  REPORT_CODE(messages, true, text, status);
}

std::string zone_date(const Date& date) {
  std::string text = columns(date[0], 4);
  for (std::size_t i = 1; i <= 5; ++i) text += "/" + zero_filled(date[i], 2);
  return text + "." + zero_filled(date[6], 3);
}

std::string hyfs_date(const Date& date) {
  return zero_filled(date[0], 4) + "-" + zero_filled(date[1], 2) + "-" + zero_filled(date[2], 2) +
         " " + zero_filled(date[3], 2) + ":" + zero_filled(date[4], 2) + ":" +
         zero_filled(date[5], 2);
}

double start_julian_day(const RunState& run, const std::string& path) {
  const Date date = SECONDS_TO_DATE(REFyear, run.settings.start_run);
  double julian_day = 0.0;
  const double second = static_cast<double>(date[5]) + static_cast<double>(date[6]) / 1000.0;
  const int status =
      hfcalendartojulian_f(1, date[0], date[1], date[2], date[3], date[4], second, julian_day);
  check_hyfs(run.messages, status, "HF_CALENDAR_TO_JULIAN error", path);
  return julian_day;
}

std::int64_t expected_frames(const RunState& run, int increment) {
  const Settings& s = run.settings;
  if (!(s.time_step > 0.0) || !(s.stop_run > s.start_run)) return 2;
  constexpr double most_steps = 1.0e9;
  const double steps = std::min((s.stop_run - s.start_run) / s.time_step, most_steps);
  // One for the first step and one that may be added when the run closes.
  return static_cast<std::int64_t>(steps) / std::max(increment, 1) + 2;
}

std::string ensim_head(std::string_view suffix, std::string_view author) {
  std::string head = std::string(59, '#') + "\n";
  head += ":FileType " + std::string(suffix) + " BINARY EnSim 1.0\n";
  head += "#\n";
  head += std::string(":Application   ") + program_name + "\n";
  head += std::string(":Version       ") + program_version + "\n";
  head += ":WrittenBy     " + trim_right(std::string(author)) + "\n";
  head += "#\n";
  head += "#" + std::string(58, '-') + "\n";
  head += "#\n";
  return head;
}

}  // namespace dfl
