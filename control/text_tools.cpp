#include "control/text_tools.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>

namespace dfl {

namespace {

std::size_t active_length(const std::string& text, int length) {
  std::size_t n = std::min(text.size(), static_cast<std::size_t>(std::max(length, 0)));
  while (n > 0 && text[n - 1] == ' ') --n;
  return n;
}

std::string right_justified(const std::string& digits, int width) {
  const std::size_t w = static_cast<std::size_t>(width);
  if (digits.size() > w) return std::string(w, '*');
  return std::string(w - digits.size(), ' ') + digits;
}

}  // namespace

void TO_LOWER(std::string& text, int length) {
  const std::size_t n = active_length(text, length);
  for (std::size_t i = 0; i < n; ++i) {
    if (text[i] >= 'A' && text[i] <= 'Z') text[i] = static_cast<char>(text[i] - 'A' + 'a');
  }
}

void TABS_TO_BLANKS(std::string& text, int length) {
  const std::size_t n = active_length(text, length);
  for (std::size_t i = 0; i < n; ++i) {
    if (text[i] == '\t') text[i] = ' ';
  }
}

void CARD_SPLIT(const std::string& line, char delimiter, int& count, std::string& first,
                std::string& second) {
  std::string text = line;
  std::replace(text.begin(), text.end(), '\t', ' ');
  text = trim(text);
  const std::size_t place = text.find(delimiter);
  if (place == std::string::npos && text.size() > 1) {
    count = 1;
    first = text;
    second.clear();
    return;
  }
  count = 2;
  first = trim_right(text.substr(0, place == std::string::npos ? text.size() : place));
  second = place == std::string::npos ? std::string() : trim_left(text.substr(place + 1));
}

std::string lower_case(std::string_view text) {
  std::string result(text);
  TO_LOWER(result, static_cast<int>(result.size()));
  return result;
}

std::string trim_right(std::string_view text) {
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return std::string(text);
}

std::string trim_left(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  return std::string(text);
}

std::string trim(std::string_view text) { return trim_left(trim_right(text)); }

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

std::string columns(int value, int width) {
  return right_justified(std::to_string(value), width);
}

std::string columns(double value, int width, int decimals) {
  std::array<char, 400> field;
  std::snprintf(field.data(), field.size(), "%.*f", decimals, value);
  std::string digits = field.data();
  if (std::isnan(value)) digits = "NaN";
  if (std::isinf(value)) digits = value > 0 ? "Infinity" : "-Infinity";
  if (digits.size() > static_cast<std::size_t>(width)) {
    // A leading zero is optional where the field is too narrow for it.
    if (digits.rfind("0.", 0) == 0) digits.erase(0, 1);
    if (digits.rfind("-0.", 0) == 0) digits.erase(1, 1);
  }
  return right_justified(digits, width);
}

std::string columns_exponent(double value, int width, int decimals) {
  if (!std::isfinite(value)) return columns(value, width, decimals);
  int exponent = 0;
  double fraction = std::abs(value);
  std::array<char, 64> field;
  if (fraction > 0.0) {
    // One digit before the point from the C library, moved by one to the form 0.ddd.
    std::snprintf(field.data(), field.size(), "%.*e", decimals - 1, fraction);
    const std::string text = field.data();
    exponent = std::atoi(text.substr(text.find('e') + 1).c_str()) + 1;
    std::string digits = text.substr(0, text.find('e'));
    digits.erase(std::remove(digits.begin(), digits.end(), '.'), digits.end());
    std::snprintf(field.data(), field.size(), "%s0.%s", std::signbit(value) ? "-" : "",
                  digits.c_str());
  } else {
    std::snprintf(field.data(), field.size(), "%s0.%0*d", std::signbit(value) ? "-" : "", decimals,
                  0);
  }
  std::string result = field.data();
  std::array<char, 16> tail;
  if (std::abs(exponent) > 99) {
    std::snprintf(tail.data(), tail.size(), "%c%03d", exponent < 0 ? '-' : '+', std::abs(exponent));
  } else {
    std::snprintf(tail.data(), tail.size(), "E%c%02d", exponent < 0 ? '-' : '+',
                  std::abs(exponent));
  }
  result += tail.data();
  if (result.size() > static_cast<std::size_t>(width)) {
    if (result.rfind("0.", 0) == 0) result.erase(0, 1);
    if (result.rfind("-0.", 0) == 0) result.erase(1, 1);
  }
  return right_justified(result, width);
}

std::string zero_filled(int value, int width) {
  std::array<char, 32> field;
  std::snprintf(field.data(), field.size(), "%0*d", width, value);
  return field.data();
}

bool file_exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

bool is_directory(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error);
}

std::string found_path(const std::string& path) {
  if (file_exists(path) || path.find('\\') == std::string::npos) return path;
  std::string turned = path;
  std::replace(turned.begin(), turned.end(), '\\', '/');
  return file_exists(turned) ? turned : path;
}

std::string base_name(const std::string& path) {
  const std::size_t place = path.find_last_of("/\\");
  return place == std::string::npos ? path : path.substr(place + 1);
}

std::FILE* open_file(const std::string& path, const char* mode) {
  std::FILE* file = std::fopen(path.c_str(), mode);
  if (file == nullptr && path.find('\\') != std::string::npos) {
    std::string turned = path;
    std::replace(turned.begin(), turned.end(), '\\', '/');
    file = std::fopen(turned.c_str(), mode);
  }
  return file;
}

}  // namespace dfl
