#include "control/text_reader.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
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

enum CharacterClass : unsigned char { blank = 1, separator = 2, digit = 4 };

constexpr std::array<unsigned char, 256> character_classes = [] {
  std::array<unsigned char, 256> classes{};
  for (const char c : {' ', '\t', '\r'}) {
    classes[static_cast<unsigned char>(c)] = blank | separator;
  }
  for (const char c : {',', '\n', '/'}) classes[static_cast<unsigned char>(c)] = separator;
  for (char c = '0'; c <= '9'; ++c) classes[static_cast<unsigned char>(c)] = digit;
  return classes;
}();

bool is_of(char c, CharacterClass wanted) {
  return (character_classes[static_cast<unsigned char>(c)] & wanted) != 0;
}

bool is_exponent_letter(char c) {
  return c == 'e' || c == 'E' || c == 'd' || c == 'D' || c == 'q' || c == 'Q';
}

bool is_sign(char c) {
  return c == '+' || c == '-';
}

// Text for a message: at most so many bytes, those that do not print as \xNN.
std::string shown(std::string_view text) {
  constexpr std::size_t longest_shown = 60;
  constexpr const char* hexadecimal = "0123456789abcdef";
  std::string result;
  for (const char c : text.substr(0, longest_shown)) {
    const unsigned byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7f) {
      result += c;
    } else {
      result += "\\x";
      result += hexadecimal[byte / 16];
      result += hexadecimal[byte % 16];
    }
  }
  if (text.size() > longest_shown) result += "...";
  return result;
}

// Writes a real number in the form that std::from_chars takes: no leading plus sign, exponents
// with "e". False if the text is no real number; "nan", "inf" and hexadecimal digits are none.
bool normal_form(std::string_view text, std::string& number) {
  number.clear();
  const char* p = text.data();
  const char* const end = p + text.size();
  if (p < end && is_sign(*p)) {
    if (*p == '-') number += '-';
    ++p;
  }
  int digits = 0;
  for (; p < end && is_of(*p, digit); ++p, ++digits) number += *p;
  if (p < end && *p == '.') {
    number += *p++;
    for (; p < end && is_of(*p, digit); ++p, ++digits) number += *p;
  }
  if (digits == 0) return false;
  if (p == end) return true;
  const bool letter = is_exponent_letter(*p);
  if (!letter && !is_sign(*p)) return false;
  if (letter) ++p;
  number += 'e';
  if (p < end && is_sign(*p)) {
    if (*p == '-') number += '-';
    ++p;
  }
  if (p == end) return false;
  for (; p < end && is_of(*p, digit); ++p) number += *p;
  return p == end;
}

}  // namespace

TextReader::TextReader(const MessageState& messages_in, const std::string& path)
    : mapping(std::make_unique<Mapping>()), messages(&messages_in), name(path) {
  const std::string real_path = found_path(path);
  // O_NONBLOCK: a pipe without a writer is refused below, not waited for.
  const int descriptor = ::open(real_path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) {
    fatal_error(*messages, "Cannot open file \"" + path + "\": " + std::strerror(errno));
  }
  struct stat information {};
  if (fstat(descriptor, &information) != 0 || !S_ISREG(information.st_mode)) {
    ::close(descriptor);
    fatal_error(*messages, "Cannot read file \"" + path + "\": not a regular file");
  }
  mapping->size = static_cast<std::size_t>(information.st_size);
  if (mapping->size > 0) {
    void* address = mmap(nullptr, mapping->size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (address == MAP_FAILED) {
      const std::string reason = std::strerror(errno);
      ::close(descriptor);
      mapping->size = 0;
      fatal_error(*messages, "Cannot read file \"" + path + "\": " + reason);
    }
    madvise(address, mapping->size, MADV_SEQUENTIAL);
    mapping->address = address;
    first = static_cast<const char*>(address);
  }
  ::close(descriptor);
  next = first;
  last = first + mapping->size;
  kept_from = first;
  // What some editors and old systems put around a text: a byte order mark in front, an
  // end-of-file character behind.
  if (last - first >= 3 && std::memcmp(first, "\xEF\xBB\xBF", 3) == 0) next = first += 3;
  if (last > first && last[-1] == '\x1A') --last;
}

TextReader::TextReader(const MessageState& messages_in, const std::string& text_name,
                       std::string text, int first_line)
    : mapping(std::make_unique<Mapping>()), messages(&messages_in), name(text_name) {
  mapping->text = std::move(text);
  first = mapping->text.data();
  next = first;
  last = first + mapping->text.size();
  kept_from = first;
  first_line_number = first_line;
  line_number = first_line;
  item_line = first_line;
}

TextReader::~TextReader() = default;
TextReader::TextReader(TextReader&&) noexcept = default;

void TextReader::rewind() {
  go_to({first, first_line_number});
}

void TextReader::go_to(const Place& place) {
  next = place.next;
  line_number = place.line;
  item_line = place.line;
  if (kept_from > next && mapping->address != nullptr) {
    kept_from = static_cast<const char*>(mapping->address);
  }
}

void TextReader::stop(std::string_view text) const {
  fatal_error(*messages, name + ":" + std::to_string(item_line) + ": " + std::string(text));
}

void TextReader::fail() const {
  fatal_error(*messages, fault_text);
}

// The number of the last line: behind a final line end no further line begins.
int TextReader::last_line() const {
  const bool behind_line_end = next > first && next >= last && last[-1] == '\n';
  return behind_line_end && line_number > first_line_number ? line_number - 1 : line_number;
}

bool TextReader::read_line(std::string& line) {
  line.clear();
  if (next >= last) return false;
  const void* found = std::memchr(next, '\n', bytes_left());
  const char* end = found == nullptr ? last : static_cast<const char*>(found);
  const char* text_end = end;
  if (text_end > next && text_end[-1] == '\r') --text_end;
  line.assign(next, text_end);
  item_line = line_number;
  begin_record();
  end_record();
  return true;
}

void TextReader::skip_line() {
  if (next >= last) {
    fatal_error(*messages, name + ":" + std::to_string(last_line()) +
                               ": expected a line, found the end of the file");
  }
  item_line = line_number;
  end_record();
}

bool TextReader::only_blanks_left() const {
  for (const char* p = next; p < last; ++p) {
    if (!is_of(*p, blank) && *p != '\n') return false;
  }
  return true;
}

std::string_view TextReader::rest_of_line() const {
  if (next >= last) return {};
  const void* found = std::memchr(next, '\n', bytes_left());
  const char* end = found == nullptr ? last : static_cast<const char*>(found);
  if (end > next && end[-1] == '\r') --end;
  return std::string_view(next, static_cast<std::size_t>(end - next));
}

void TextReader::begin_record() {
  repeats_left = 0;
  slash_seen = false;
  comma_allowed = false;
}

void TextReader::end_record() {
  if (next >= last) return;
  const void* found = std::memchr(next, '\n', bytes_left());
  if (found == nullptr) {
    next = last;
  } else {
    next = static_cast<const char*>(found) + 1;
    ++line_number;
  }
  constexpr std::ptrdiff_t pages_kept = std::ptrdiff_t{4} << 20;  // bytes
  if (next - kept_from > 2 * pages_kept) give_back_pages();
}

// Gives the pages that have been read back to the system; they are read anew after a rewind.
void TextReader::give_back_pages() {
  if (mapping->address == nullptr) {
    kept_from = next;
    return;
  }
  const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const char* start = static_cast<const char*>(mapping->address);
  const std::size_t from = static_cast<std::size_t>(kept_from - start) / page * page;
  const std::size_t to = static_cast<std::size_t>(next - start) / page * page;
  if (to > from) {
    madvise(static_cast<char*>(mapping->address) + from, to - from, MADV_DONTNEED);
    kept_from = start + to;
  }
}

// Goes to the next item, past blanks, line ends and the comma that may part it from the item
// before. A further comma, or one at the head of the record, makes a null item.
TextReader::Found TextReader::pass_separator(const char* expected) {
  for (; next < last; ++next) {
    if (*next == '\n') {
      ++line_number;
    } else if (*next == ',') {
      if (!comma_allowed) {
        item_line = line_number;
        ++next;
        return Found::nothing;
      }
      comma_allowed = false;
    } else if (!is_of(*next, blank)) {
      item_line = line_number;
      if (*next != '/') return Found::item;
      slash_seen = true;
      return Found::nothing;
    }
  }
  item_line = last_line();
  fault_text = name + ":" + std::to_string(item_line) + ": expected " + expected +
               ", found the end of the file";
  return Found::fault;
}

TextReader::Found TextReader::next_token(const char* expected) {
  if (slash_seen) return Found::nothing;
  if (repeats_left > 0) {
    --repeats_left;
    return repeat_null ? Found::nothing : Found::item;
  }
  const Found found = pass_separator(expected);
  if (found != Found::item) return found;
  comma_allowed = true;
  if (*next == '\'' || *next == '"') return quoted_token();
  const char* end = next;
  while (end < last && !is_of(*end, separator)) ++end;
  const char* star = next;
  while (star < end && is_of(*star, digit)) ++star;
  if (star < end && star > next && *star == '*') return repeated_token(star, end);
  token = std::string_view(next, static_cast<std::size_t>(end - next));
  token_is_quoted = false;
  next = end;
  return Found::item;
}

// An item with a repeat count in front: the digits from `next` to `star`. `end`: of the item if it
// is not quoted.
TextReader::Found TextReader::repeated_token(const char* star, const char* end) {
  token = std::string_view(next, static_cast<std::size_t>(end - next));
  int count = 0;
  const std::from_chars_result result = std::from_chars(next, star, count);
  if (result.ec != std::errc() || count < 1) {
    bad("a repeat count within its range");
    return Found::fault;
  }
  repeats_left = count - 1;
  repeat_null = star + 1 == end;
  next = star + 1;
  if (repeat_null) return Found::nothing;
  if (*next == '\'' || *next == '"') return quoted_token();
  token = std::string_view(next, static_cast<std::size_t>(end - next));
  token_is_quoted = false;
  next = end;
  return Found::item;
}

// A quote within the text stands twice.
TextReader::Found TextReader::quoted_token() {
  const char quote = *next;
  const char* const start = next;
  const char* p = next + 1;
  quoted.clear();
  for (; p < last && *p != '\n'; ++p) {
    if (*p == quote) {
      if (p + 1 >= last || p[1] != quote) break;
      ++p;
    }
    quoted += *p;
  }
  if (p >= last || *p == '\n') {
    if (p > start && p[-1] == '\r') --p;
    token = std::string_view(start, static_cast<std::size_t>(p - start));
    next = p;
    bad("a closing quote on the line");
    return Found::fault;
  }
  next = p + 1;
  if (next < last && !is_of(*next, separator)) {
    token = std::string_view(start, static_cast<std::size_t>(next + 1 - start));
    bad("a blank or comma behind the closing quote");
    return Found::fault;
  }
  token = quoted;
  token_is_quoted = true;
  return Found::item;
}

bool TextReader::bad(const char* expected) {
  fault_text = name + ":" + std::to_string(item_line) + ": expected " + expected + ", found \"" +
               shown(token) + "\"";
  return false;
}

template <class Number>
bool TextReader::integer_item(Number& value) {
  const Found found = next_token("an integer");
  if (found != Found::item) return found == Found::nothing;
  const char* p = token.data();
  const char* end = p + token.size();
  if (p < end && *p == '+') ++p;
  if (p < end && *p == '-' && token[0] == '+') return bad("an integer");
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
  const Found found = next_token("a real number");
  if (found != Found::item) return found == Found::nothing;
  std::string text;
  if (token_is_quoted || !normal_form(token, text)) return bad("a real number");
  Number number{};
  const std::from_chars_result result =
      std::from_chars(text.data(), text.data() + text.size(), number);
  if (result.ec == std::errc::invalid_argument) return bad("a real number");
  if (result.ec == std::errc::result_out_of_range) {
    // Too small counts as 0, too large is a fault.
    if (std::abs(std::strtod(text.c_str(), nullptr)) > 1.0) {
      return bad("a real number within its range");
    }
    number = Number{0};
  }
  if (!std::isfinite(number)) return bad("a real number within its range");
  value = number;
  return true;
}

// Passes blanks and line ends only. False if no item begins there, or one out of the ordinary.
bool TextReader::plain_item_ahead() {
  if (repeats_left > 0 || slash_seen) return false;
  const char* p = next;
  for (; p < last; ++p) {
    if (*p == ' ') continue;
    if (*p == '\n') {
      ++line_number;
    } else if (!is_of(*p, blank)) {
      break;
    }
  }
  next = p;
  return p < last;
}

template <class Number>
bool TextReader::plain_integer(Number& value) {
  if (!plain_item_ahead()) return false;
  constexpr std::ptrdiff_t safe_digits = 9;
  const char* p = next;
  const bool negative = *p == '-';
  if (negative) ++p;
  const char* const digits = p;
  int number = 0;
  for (; p < last && is_of(*p, digit); ++p) {
    if (p - digits == safe_digits) return false;
    number = 10 * number + (*p - '0');
  }
  if (p == digits || (p < last && !is_of(*p, separator))) return false;
  if (number > std::numeric_limits<Number>::max()) return false;
  value = static_cast<Number>(negative ? -number : number);
  next = p;
  item_line = line_number;
  comma_allowed = true;
  return true;
}

template <class Number>
bool TextReader::plain_real(Number& value) {
  if (!plain_item_ahead()) return false;
  // Letters are left to the general way: from_chars would take "inf" and "nan".
  const char* p = next;
  if (*p == '-' && p + 1 < last) ++p;
  if (!is_of(*p, digit) && *p != '.') return false;
  Number number{};
  const std::from_chars_result result = std::from_chars(next, last, number);
  if (result.ec != std::errc() || (result.ptr < last && !is_of(*result.ptr, separator)) ||
      !std::isfinite(number)) {
    return false;
  }
  value = number;
  next = result.ptr;
  item_line = line_number;
  comma_allowed = true;
  return true;
}

bool TextReader::item(int& value) {
  return plain_integer(value) || integer_item(value);
}
bool TextReader::item(std::int16_t& value) {
  return plain_integer(value) || integer_item(value);
}
bool TextReader::item(std::int64_t& value) {
  return plain_integer(value) || integer_item(value);
}
bool TextReader::item(float& value) {
  return plain_real(value) || real_item(value);
}
bool TextReader::item(double& value) {
  return plain_real(value) || real_item(value);
}

bool TextReader::item(std::string& value) {
  const Found found = next_token("a text");
  if (found == Found::item) value.assign(token);
  return found != Found::fault;
}

bool TextReader::item(Ignored&) {
  return next_token("an item") != Found::fault;
}

}  // namespace dfl
