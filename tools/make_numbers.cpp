// Numbers on the command line and in text files.

#include <charconv>
#include <cmath>
#include <limits>

#include "control/text_reader.h"
#include "control/text_tools.h"
#include "tools/hyfs_words.h"
#include "tools/make_plan.h"

namespace dfl {

namespace {

template <class Number>
bool whole_word(std::string_view word, Number& value) {
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  return error == std::errc() && end == word.data() + word.size() && !word.empty();
}

// A place that the file leaves empty (two commas, a slash) keeps this and is a fault.
constexpr double nothing = std::numeric_limits<double>::quiet_NaN();

[[noreturn]] void stop_at_count(TextReader& in, const NumberSource& source, std::int64_t found,
                                bool more) {
  if (source.expected == 0) in.stop("expected numbers, found none");
  in.stop("expected " + std::to_string(source.expected) + " numbers" +
          (source.expected_words.empty() ? "" : " (" + source.expected_words + ")") + ", found " +
          (more ? "more" : std::to_string(found)));
}

std::vector<double> read_file(const MessageState& messages, const NumberSource& source) {
  TextReader in(messages, source.word);
  std::vector<double> numbers;
  if (source.expected > 0) numbers.reserve(static_cast<std::size_t>(source.expected));
  in.begin_record();
  for (;;) {
    double number = nothing;
    const std::int64_t count = static_cast<std::int64_t>(numbers.size());
    if (!in.try_item(number)) {
      const bool ended = contains(in.fault(), "found the end of the file");
      if (!ended) fatal_error(messages, in.fault());
      if (count == 0 || (source.expected > 0 && count != source.expected)) {
        stop_at_count(in, source, count, false);
      }
      return numbers;
    }
    if (std::isnan(number)) in.stop("expected a real number, found an empty place");
    if (source.expected > 0 && count == source.expected) stop_at_count(in, source, count, true);
    if (count == most_numbers) {
      in.stop("expected " + std::to_string(most_numbers) + " numbers at most, found more");
    }
    numbers.push_back(number);
  }
}

}  // namespace

bool is_steps(const std::string& word, int first, std::vector<double>& numbers) {
  const std::size_t colon = word.find(':');
  int count = 0;
  double step = 0.0;
  if (colon == std::string::npos || !whole_word(std::string_view(word).substr(0, colon), count) ||
      !whole_word(std::string_view(word).substr(colon + 1), step) || count < 1 ||
      count > most_numbers || !(step > 0.0) || !std::isfinite(step * (count + 1.0))) {
    return false;
  }
  numbers.clear();
  for (int k = 0; k < count; ++k) numbers.push_back((k + first) * step);
  return true;
}

std::vector<double> read_numbers(const MessageState& messages, const NumberSource& source,
                                 std::string& fault) {
  fault.clear();
  if (!source.word.empty() && source.word[0] == '=') {
    double value = 0.0;
    if (!whole_word(std::string_view(source.word).substr(1), value) || !std::isfinite(value)) {
      fault = source.option + ": expected a number behind =, found \"" + source.word + "\"";
      return {};
    }
    return std::vector<double>(static_cast<std::size_t>(source.expected > 0 ? source.expected : 1),
                               value);
  }
  if (!file_exists(found_path(source.word))) {
    fault = source.option + ": " +
            (source.or_steps ? "neither a text file nor N:STEP, a count and a width above 0: \""
                             : "no file \"") +
            source.word + "\"";
    return {};
  }
  return read_file(messages, source);
}

}  // namespace dfl
