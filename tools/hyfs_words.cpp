#include "tools/hyfs_words.h"

#include <unistd.h>

#include <array>
#include <cmath>
#include <filesystem>

#include "control/text_tools.h"
#include "dataset/hyfs.h"

namespace dfl {

MessageState tool_messages(std::FILE* err) {
  MessageState messages;
  messages.console_out = std::fopen("/dev/null", "w");
  if (messages.console_out == nullptr) messages.console_out = err;
  messages.console_in = nullptr;
  messages.HOSTEDmode = true;
  messages.exit_code = true;
  messages.error_file = err;
  return messages;
}

std::string hyfs_write_reason(const std::string& path, int status) {
  const std::string folder = std::filesystem::path(path).parent_path().string();
  if (!folder.empty() && !is_directory(folder)) return "no folder " + folder;
  if (access(folder.empty() ? "." : folder.c_str(), W_OK) != 0)
    return "the folder is write-protected";
  switch (status) {
    case hyfs_io_error:
      return "writing failed: disk full, or write-protected?";
    case hyfs_dataset_invalid:
      return "its path is taken, or leads through a dataset";
    default:
      return hyfs_reason(status);
  }
}

std::string number_words(double value) {
  std::array<char, 40> text;
  std::snprintf(text.data(), text.size(), "%.10g", value);
  return text.data();
}

std::string date_words(double julian_day) {
  int era = 1, year = 0, month = 0, day = 0, hour = 0, minute = 0;
  double second = 0.0;
  if (hfjuliantocalendar_f(julian_day, era, year, month, day, hour, minute, second) < 0 ||
      era != 1) {
    return "Julian day " + number_words(julian_day);
  }
  const auto digits = [](int value) { return zero_filled(value, 2); };
  // The calendar gives whole milliseconds.
  const int whole = static_cast<int>(second);
  const int ms = static_cast<int>(std::lround((second - whole) * 1000.0));
  std::string text = zero_filled(year, 4) + "-" + digits(month) + "-" + digits(day) + " " +
                     digits(hour) + ":" + digits(minute) + ":" + digits(whole);
  if (ms > 0 && ms < 1000) text += "." + zero_filled(ms, 3);
  return text;
}

std::string times_words(const std::vector<double>& times) {
  if (times.empty()) return "no times";
  if (times.size() == 1) return "1 time, " + number_words(times[0]);
  const double step = times[1] - times[0];
  bool even = true;
  for (std::size_t k = 2; k < times.size(); ++k) {
    const double difference = times[k] - times[k - 1];
    if (!(std::abs(difference - step) <= 1.0e-6 * std::abs(step))) even = false;
  }
  return std::to_string(times.size()) + " times, " + number_words(times.front()) + " to " +
         number_words(times.back()) + (even ? ", step " + number_words(step) : ", uneven steps");
}

std::string location_words(int location) {
  switch (location) {
    case -1:
      return "nodes";
    case 0:
      return "cell centres";
    case 3:
      return "I-faces";
    case 4:
      return "J-faces";
    default:
      return "location " + std::to_string(location);
  }
}

}  // namespace dfl
