#pragma once

// The head of files in EnSim form: lines "#..." are comments, lines ":key value" are keys, in any
// case, and ":endheader" ends it.

#include <functional>
#include <string>

#include "control/text_reader.h"

namespace dfl {

// What is said to be expected where the head has a fault.
struct HeaderWords {
  std::string for_bad_value = "expected another value of the key";
  std::string for_other_line = "expected a key";
  std::string for_no_end = "expected :endheader";
};

// Hands each key, lower-cased with its colon, and a reader of its value to `take`, which returns
// false for a value that it cannot read. False at a fault: the console has been told, and `fault`
// holds place, what was expected and what was found.
using TakeKey = std::function<bool(const std::string& key, const std::string& value)>;
bool read_ensim_header(const MessageState& messages, TextReader& in, const TakeKey& take,
                       std::string& fault, const HeaderWords& words = {});

// Numbers in free form from the value of a key.
template <class... Items>
bool read_key_value(const std::string& value, Items&... items) {
  const MessageState unused;
  TextReader in(unused, "value", value, 1);
  return in.try_read(items...);
}

}  // namespace dfl
