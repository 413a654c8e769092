#include "control/ensim_header.h"

#include "control/text_tools.h"

namespace dfl {

namespace {

std::string place_of(const TextReader& in) {
  return in.path() + ":" + std::to_string(in.line()) + ": ";
}

}  // namespace

bool read_ensim_header(const MessageState& messages, TextReader& in, const TakeKey& take,
                       std::string& fault, const HeaderWords& words) {
  std::string line;
  while (in.read_line(line)) {
    TABS_TO_BLANKS(line, static_cast<int>(line.size()));
    const std::string text = trim(line);
    if (text.empty() || text[0] == '#') continue;
    int count = 0;
    std::string key, value;
    CARD_SPLIT(text, ' ', count, key, value);
    key = lower_case(key);
    if (key == ":endheader") return true;
    if (text[0] == ':' && take(key, value)) continue;
    console(messages, "ERROR in line: %s\n", trim_right(line).c_str());
    fault = place_of(in) + (text[0] == ':' ? words.for_bad_value : words.for_other_line) +
            ", found \"" + text + "\"";
    return false;
  }
  console(messages, "ERROR: Premature EndOfFile encountered\n");
  fault = place_of(in) + words.for_no_end + ", found the end of the file";
  return false;
}

}  // namespace dfl
