#include "control/text_reader.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "control/text_tools.h"

namespace dfl {

struct TextReader::Mapping {
  void* address = nullptr;
  std::size_t size = 0;
  std::string text;  // for a text in memory
  ~Mapping() {
    if (address != nullptr) munmap(address, size);
  }
};

namespace {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }
bool is_separator(char c) { return is_blank(c) || c == ',' || c == '\n' || c == '/'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

TextReader::TextReader(const MessageState& messages_in, const std::string& path)
    : mapping(std::make_unique<Mapping>()), messages(&messages_in), name(path) {
  const std::string real_path = found_path(path);
  const int descriptor = ::open(real_path.c_str(), O_RDONLY);
  if (descriptor < 0) {
    fatal_error(*messages, "Cannot open file \"" + path + "\": " + std::strerror(errno));
  }
  struct stat information{};
  if (fstat(descriptor, &information) != 0 || !S_ISREG(information.st_mode)) {
    ::close(descriptor);
    fatal_error(*messages, "Cannot read file \"" + path + "\": not a regular file");
  }
  mapping->size = static_cast<std::size_t>(information.st_size);
  if (mapping->size > 0) {
    void* address = mmap(nullptr, mapping->size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (address == MAP_FAILED) {
      ::close(descriptor);
      fatal_error(*messages, "Cannot read file \"" + path + "\": " + std::strerror(errno));
    }
    madvise(address, mapping->size, MADV_SEQUENTIAL);
    mapping->address = address;
    first = static_cast<const char*>(address);
  }
  ::close(descriptor);
  next = first;
  last = first + mapping->size;
}

TextReader::TextReader(const MessageState& messages_in, const std::string& text_name,
                       std::string text, int first_line)
    : mapping(std::make_unique<Mapping>()), messages(&messages_in), name(text_name) {
  mapping->text = std::move(text);
  first = mapping->text.data();
  next = first;
  last = first + mapping->text.size();
  first_line_number = first_line;
  line_number = first_line;
}

TextReader::~TextReader() = default;
TextReader::TextReader(TextReader&&) noexcept = default;

void TextReader::rewind() {
  next = first;
  line_number = first_line_number;
}

void TextReader::go_to(const Place& place) {
  next = place.next;
  line_number = place.line;
}

void TextReader::stop(std::string_view text) const {
  fatal_error(*messages, name + ":" + std::to_string(line_number) + ": " + std::string(text));
}

void TextReader::fail() const { fatal_error(*messages, fault_text); }

bool TextReader::read_line(std::string& line) {
  line.clear();
  if (next >= last) return false;
  const void* found = std::memchr(next, '\n', static_cast<std::size_t>(last - next));
  const char* end = found == nullptr ? last : static_cast<const char*>(found);
  const char* text_end = end;
  if (text_end > next && text_end[-1] == '\r') --text_end;
  line.assign(next, text_end);
  next = end < last ? end + 1 : last;
  ++line_number;
  return true;
}

void TextReader::skip_line() {
  std::string line;
  if (!read_line(line)) {
    fatal_error(*messages, name + ":" + std::to_string(line_number) +
                               ": expected a line, found the end of the file");
  }
}

bool TextReader::only_blanks_left() const {
  for (const char* p = next; p < last; ++p) {
    if (!is_blank(*p) && *p != '\n') return false;
  }
  return true;
}

std::string_view TextReader::rest_of_line() const {
  const char* end = next;
  while (end < last && *end != '\n') ++end;
  return std::string_view(next, static_cast<std::size_t>(end - next));
}

void TextReader::begin_record() {
  repeats_left = 0;
  slash_seen = false;
  after_item = false;
}

void TextReader::end_record() {
  if (next >= last) return;
  const void* found = std::memchr(next, '\n', static_cast<std::size_t>(last - next));
  next = found == nullptr ? last : static_cast<const char*>(found) + 1;
  ++line_number;
}

bool TextReader::next_token(const char* expected, bool& kept) {
  kept = true;
  if (slash_seen) return false;
  if (repeats_left > 0) {
    --repeats_left;
    return !repeat_null;
  }
  // Pass the separator behind the item before this one: blanks, at most one comma, blanks.
  bool comma_passed = false;
  for (;;) {
    if (next >= last) {
      kept = false;
      fault_text = name + ":" + std::to_string(line_number) + ": expected " + expected +
                   ", found the end of the file";
      return false;
    }
    const char c = *next;
    if (c == '\n') {
      ++line_number;
      ++next;
    } else if (is_blank(c)) {
      ++next;
    } else if (c == ',') {
      ++next;
      if (after_item && !comma_passed) {
        comma_passed = true;
      } else {
        after_item = true;  // a null item, ended by this comma
        comma_passed = true;
        return false;
      }
    } else {
      break;
    }
    if (comma_passed) {
      // The separator is passed; a further comma before an item makes a null item.
      after_item = false;
      while (next < last && is_blank(*next)) ++next;
    }
  }
  if (*next == '/') {
    slash_seen = true;
    return false;
  }
  after_item = true;
  token_is_quoted = false;
  if (*next == '\'' || *next == '"') {
    const char quote = *next;
    quoted.clear();
    const char* p = next + 1;
    for (; p < last && *p != '\n'; ++p) {
      if (*p == quote) {
        if (p + 1 < last && p[1] == quote) {
          ++p;
        } else {
          break;
        }
      }
      if (*p != '\r') quoted.push_back(*p);
    }
    next = p < last && *p == quote ? p + 1 : p;
    token = quoted;
    token_is_quoted = true;
    return true;
  }
  const char* start = next;
  const char* p = next;
  while (p < last && !is_separator(*p)) ++p;
  // A repeat count in front of the item: digits and an asterisk.
  const char* star = start;
  while (star < p && is_digit(*star)) ++star;
  if (star < p && star > start && *star == '*') {
    int count = 0;
    const std::from_chars_result result = std::from_chars(start, star, count);
    if (result.ec == std::errc() && count > 0) {
      repeats_left = count - 1;
      if (star + 1 == p) {
        next = p;
        repeat_null = true;
        return false;
      }
      repeat_null = false;
      if (star[1] == '\'' || star[1] == '"') {
        next = star + 1;
        const int left = repeats_left;
        repeats_left = 0;
        after_item = false;
        const bool found = next_token(expected, kept);
        repeats_left = left;
        return found;
      }
      start = star + 1;
    }
  }
  token = std::string_view(start, static_cast<std::size_t>(p - start));
  next = p;
  return true;
}

bool TextReader::bad(const char* expected) {
  constexpr std::size_t longest_shown = 60;
  fault_text = name + ":" + std::to_string(line_number) + ": expected " + expected +
               ", found \"" + std::string(token.substr(0, longest_shown)) + "\"";
  return false;
}

template <class Number>
bool TextReader::integer_item(Number& value) {
  bool kept = false;
  if (!next_token("an integer", kept)) return kept;
  const char* p = token.data();
  const char* end = p + token.size();
  if (p < end && *p == '+') ++p;
  Number number{};
  const std::from_chars_result result = std::from_chars(p, end, number);
  if (token_is_quoted || result.ec == std::errc::invalid_argument || result.ptr != end) {
    return bad("an integer");
  }
  if (result.ec != std::errc()) return bad("an integer within its range");
  value = number;
  return true;
}

template <class Number>
bool TextReader::real_item(Number& value) {
  bool kept = false;
  if (!next_token("a real number", kept)) return kept;
  if (token_is_quoted) return bad("a real number");
  const char* p = token.data();
  const char* end = p + token.size();
  if (p < end && *p == '+') ++p;
  // Only digits, signs, points and exponent letters make a number: "nan" and "inf" are no input.
  if (p == end || !(is_digit(*p) || *p == '.' || *p == '-')) return bad("a real number");
  Number number{};
  std::from_chars_result result = std::from_chars(p, end, number);
  if (result.ec == std::errc::invalid_argument) return bad("a real number");
  if (result.ptr != end) {
    // An exponent in the forms that from_chars does not know: 1.5D+03, 0.1234-100.
    std::array<char, 64> buffer;
    std::size_t n = 0;
    bool exponent_seen = false;
    for (const char* q = p; q < end; ++q) {
      if (n + 2 >= buffer.size()) return bad("a real number");
      char c = *q;
      if (c == 'D' || c == 'd' || c == 'Q' || c == 'q' || c == 'E' || c == 'e') {
        if (exponent_seen) return bad("a real number");
        exponent_seen = true;
        c = 'e';
        buffer[n++] = c;
        if (q + 1 < end && q[1] == '+') ++q;
        continue;
      }
      if ((c == '+' || c == '-') && q > p && !exponent_seen) {
        exponent_seen = true;
        buffer[n++] = 'e';
        if (c == '+') continue;
      }
      buffer[n++] = c;
    }
    result = std::from_chars(buffer.data(), buffer.data() + n, number);
    if (result.ec == std::errc::invalid_argument || result.ptr != buffer.data() + n) {
      return bad("a real number");
    }
  }
  if (result.ec == std::errc::result_out_of_range) {
    // Too small counts as 0, too large is a fault.
    const double size = std::strtod(std::string(token).c_str(), nullptr);
    if (std::abs(size) > 1.0) return bad("a real number within its range");
    number = Number{0};
  }
  if (!std::isfinite(number)) return bad("a real number");
  value = number;
  return true;
}

bool TextReader::item(int& value) { return integer_item(value); }
bool TextReader::item(std::int16_t& value) { return integer_item(value); }
bool TextReader::item(std::int64_t& value) { return integer_item(value); }
bool TextReader::item(float& value) { return real_item(value); }
bool TextReader::item(double& value) { return real_item(value); }

bool TextReader::item(std::string& value) {
  bool kept = false;
  if (!next_token("a text", kept)) return kept;
  value.assign(token);
  return true;
}

bool TextReader::item(Ignored&) {
  bool kept = false;
  return next_token("an item", kept) || kept;
}

}  // namespace dfl
