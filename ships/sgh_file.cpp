#include "ships/sgh_file.h"

#include <algorithm>
#include <array>
#include <vector>

#include "control/ensim_header.h"

namespace dfl {

namespace {

[[noreturn]] void fail(const RunState& run, const std::string& fault) {
  fatal_error(run.messages, "Error: READ_SGH_FILE_SCALAR: " + fault);
}

}  // namespace

SghHeader read_sgh_header(const RunState& run, TextReader& in) {
  constexpr std::array<const char*, 7> keys = {":xorigin", ":yorigin", ":xdelta", ":ydelta",
                                               ":xcount",  ":ycount",  ":angle"};
  constexpr float largest_cell = 1.0e9f;  // m
  const auto cell = [](const std::string& value, float& size) {
    return read_key_value(value, size) && size > 0.0f && size <= largest_cell;
  };
  SghHeader header;
  std::array<bool, keys.size()> given{};
  const TakeKey take = [&](const std::string& key, const std::string& value) {
    const auto row = std::find(keys.begin(), keys.end(), key);
    if (row == keys.end()) return true;  // a key of no use here
    given[static_cast<std::size_t>(row - keys.begin())] = true;
    if (key == ":xorigin") return read_key_value(value, header.xorigin);
    if (key == ":yorigin") return read_key_value(value, header.yorigin);
    if (key == ":xdelta") return cell(value, header.xdelta);
    if (key == ":ydelta") return cell(value, header.ydelta);
    if (key == ":xcount") return read_key_value(value, header.xcount) && header.xcount > 0;
    if (key == ":ycount") return read_key_value(value, header.ycount) && header.ycount > 0;
    return read_key_value(value, header.angle);
  };
  std::string fault;
  if (!read_ensim_header(run.messages, in, take, fault)) fail(run, fault);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (given[i]) continue;
    fatal_error(run.messages,
                " *** SGH FILE HEADER ERROR " + in.path() + ": expected the key " + keys[i]);
  }
  return header;
}

void READ_SGH_FILE_SCALAR(const RunState& run, TextReader& in, const SghHeader& header,
                          Array2<float>& values) {
  constexpr std::int64_t most_values = 100000000;
  const std::int64_t count = static_cast<std::int64_t>(header.xcount) * header.ycount;
  if (count > most_values) {
    fail(run, in.path() + ": expected at most 100000000 values, found :xcount " +
                  std::to_string(header.xcount) + " and :ycount " + std::to_string(header.ycount));
  }
  // Grows with what the file holds: the counts may promise more.
  std::vector<float> found;
  for (int row = 1; row <= header.ycount; ++row) {
    in.begin_record();
    for (int column = 1; column <= header.xcount; ++column) {
      float value = 0.0f;
      if (!in.try_item(value)) {
        if (in.only_blanks_left()) {
          console(run.messages, "ERROR: Premature EndOfFile encountered\n");
        }
        fail(run, in.fault());
      }
      found.push_back(value);
    }
    in.end_record();
  }
  values.allocate(header.ycount, 1, header.xcount);
  std::copy(found.begin(), found.end(), values.data());
}

}  // namespace dfl
