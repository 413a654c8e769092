#include "output/path_output.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "control/run_clock.h"
#include "control/text_reader.h"
#include "control/text_tools.h"
#include "output/fixed_columns.h"
#include "output/output_file.h"
#include "output/parcel_fields.h"
#include "output/parcel_output.h"

namespace dfl {

namespace {

constexpr double no_value = -999.0;
// A row counts if X and Y lie above this. Positions below it are lost to the paths.
constexpr double lowest_position = -998.9;
constexpr std::size_t id_column = 2;  // from 0

struct Frame {
  double time = 0.0;  // run seconds
  int rows = 0;
  TextReader::Place start{};    // of the first row
  TextReader::Place reached{};  // of the next row to read
  int rows_read = 0;
};

// What the first pass finds out.
struct ParcelFile {
  std::string head;
  std::size_t columns = 0;
  std::vector<std::size_t> widths;  // of the columns as this run wrote them
  std::vector<Frame> frames;
  int lowest_id = std::numeric_limits<int>::max();
  int highest_id = 0;
  bool ids_ascend = true;  // in every frame
  long long rows_too_low = 0;
};

// The line in hand, with its number for messages.
struct Line {
  TextReader& in;
  const MessageState& messages;
  std::string text;
  int number = 0;
};

bool next_line(Line& line) {
  const bool found = line.in.read_line(line.text);
  line.number = line.in.line();
  return found;
}

std::string quoted(std::string_view text) {
  constexpr std::size_t longest_shown = 60;
  return "\"" + std::string(text.substr(0, longest_shown)) + "\"";
}

[[noreturn]] void stop_at(const Line& line, const std::string& expected, const std::string& found) {
  fatal_error(line.messages, line.in.path() + ":" + std::to_string(line.number) + ": expected " +
                                 expected + ", found " + found);
}

bool all_blank(const std::string& line) {
  return line.find_first_not_of(" \t") == std::string::npos;
}

// The line of a zone, which may go on on a second line. False at the end of the file.
bool read_zone_line(Line& line, std::string& zone) {
  do {
    if (!next_line(line)) return false;
  } while (all_blank(line.text));
  zone = line.text;
  const auto complete = [&zone] {
    const std::size_t count_mark = zone.rfind("I=");
    const std::size_t quote = zone.rfind('"');
    return count_mark != std::string::npos && (quote == std::string::npos || count_mark > quote);
  };
  if (!complete() && next_line(line)) zone += line.text;
  if (!complete()) stop_at(line, "a zone line with I=", quoted(zone));
  return true;
}

int zone_rows(const Line& line, const std::string& zone) {
  const std::string text = trim(zone.substr(zone.rfind("I=") + 2));
  int rows = 0;
  const char* end = text.data() + text.size();
  const std::from_chars_result result = std::from_chars(text.data(), end, rows);
  if (result.ec != std::errc() || rows < 0)
    stop_at(line, "a number of rows behind I=", quoted(text));
  return rows;
}

// The date behind the last "@", in run seconds.
double zone_time(const Line& line, const std::string& zone) {
  const std::size_t mark = zone.rfind('@');
  Date date{};
  std::size_t found = 0;
  const char* end = zone.data() + zone.size();
  const char* p = mark == std::string::npos ? end : zone.data() + mark + 1;
  while (p < end && *p != '"' && found < date.size()) {
    const std::from_chars_result result = std::from_chars(p, end, date[found]);
    if (result.ec == std::errc()) {
      ++found;
      p = result.ptr;
    }
    if (p < end && *p != '"') ++p;  // what parts two numbers
  }
  const bool whole = found == date.size() && date[1] >= 1 && date[1] <= 12;
  if (!whole) stop_at(line, "a date behind \"@\"", quoted(zone));
  return DATE_TO_SECONDS(REFyear, date);
}

// A field of a row; one of stars, whose number was too wide for its column, has no value.
double row_value(const Line& line, std::string_view field) {
  while (!field.empty() && field.front() == ' ') field.remove_prefix(1);
  while (!field.empty() && field.back() == ' ') field.remove_suffix(1);
  if (field.find_first_not_of('*') == std::string_view::npos && !field.empty()) return no_value;
  double value = 0.0;
  const char* end = field.data() + field.size();
  const std::from_chars_result result = std::from_chars(field.data(), end, value);
  if (result.ec == std::errc() && result.ptr == end) return std::isfinite(value) ? value : no_value;
  const bool not_finite = field == "NaN" || field == "Infinity" || field == "-Infinity";
  if (!not_finite) stop_at(line, "a real number", quoted(field));
  return no_value;
}

std::string row_of(const ParcelFile& file) {
  return "a row of " + std::to_string(file.columns) + " columns";
}

// Neighbouring columns may touch, so a row is cut at the widths with which it was written; a row of
// another width is cut at its blanks.
void read_row(Line& line, const ParcelFile& file, std::vector<double>& values) {
  if (!next_line(line)) stop_at(line, row_of(file), "the end of the file");
  values.clear();
  std::size_t total = 0;
  for (const std::size_t width : file.widths) total += width;
  const std::string_view text = line.text;
  if (file.widths.size() == file.columns && text.size() == total) {
    std::size_t start = 0;
    for (const std::size_t width : file.widths) {
      values.push_back(row_value(line, text.substr(start, width)));
      start += width;
    }
    return;
  }
  std::size_t start = text.find_first_not_of(" \t");
  while (start != std::string_view::npos && values.size() < file.columns) {
    const std::size_t end = std::min(text.find_first_of(" \t", start), text.size());
    values.push_back(row_value(line, text.substr(start, end - start)));
    start = text.find_first_not_of(" \t", end);
  }
  if (values.size() < file.columns) stop_at(line, row_of(file), quoted(text));
}

// The third column as a whole number; -1 where it cannot be one.
int row_id(const std::vector<double>& values) {
  const double value = values[id_column];
  const bool fits = value > -2.0e9 && value < 2.0e9;
  return fits ? static_cast<int>(value) : -1;
}

void show_progress(const RunState& run, const char* text, int number) {
  if (!run.messages.HOSTEDmode) console(run.messages, "\r%s%8d", text, number);
}

void scan_frames(const RunState& run, TextReader& in, ParcelFile& file) {
  Line line{in, run.messages, {}, 0};
  std::string zone;
  std::vector<double> values;
  while (read_zone_line(line, zone)) {
    Frame frame;
    frame.rows = zone_rows(line, zone);
    frame.time = zone_time(line, zone);
    frame.start = in.place();
    show_progress(run, "Scanning frame:", static_cast<int>(file.frames.size()) + 1);
    int id_before = std::numeric_limits<int>::min();
    for (int row = 1; row <= frame.rows; ++row) {
      read_row(line, file, values);
      const int id = row_id(values);
      if (id <= id_before) file.ids_ascend = false;
      id_before = id;
      file.lowest_id = std::min(file.lowest_id, id);
      file.highest_id = std::max(file.highest_id, id);
      const bool lost = values[0] <= lowest_position || values[1] <= lowest_position;
      if (lost) ++file.rows_too_low;
    }
    file.frames.push_back(frame);
  }
}

// The rows of the parcels `first_id` to `last_id` in all frames.
struct Block {
  int first_id = 0;
  int last_id = 0;
  bool more = false;           // ids above last_id were seen
  int next_id = 0;             // the lowest of them
  std::vector<double> values;  // by id, frame, column
};

std::size_t block_place(const ParcelFile& file, const Block& block, int id, std::size_t frame) {
  const std::size_t row = static_cast<std::size_t>(id) - static_cast<std::size_t>(block.first_id);
  return (row * file.frames.size() + frame) * file.columns;
}

void read_block(const RunState& run, TextReader& in, ParcelFile& file, Block& block) {
  const std::size_t ids =
      static_cast<std::size_t>(static_cast<long long>(block.last_id) - block.first_id + 1);
  block.values.assign(ids * file.frames.size() * file.columns, no_value);
  block.more = false;
  Line line{in, run.messages, {}, 0};
  std::vector<double> values;
  for (std::size_t f = 0; f < file.frames.size(); ++f) {
    Frame& frame = file.frames[f];
    show_progress(run, "Reading frame: ", static_cast<int>(f) + 1);
    const bool go_on = file.ids_ascend && frame.rows_read > 0;
    if (!go_on) {
      frame.reached = frame.start;
      frame.rows_read = 0;
    }
    in.go_to(frame.reached);
    while (frame.rows_read < frame.rows) {
      read_row(line, file, values);
      const int id = row_id(values);
      if (id > block.last_id) {
        if (!block.more || id < block.next_id) block.next_id = id;
        block.more = true;
        if (file.ids_ascend) break;  // this row is the first of a later block
      } else if (id >= block.first_id) {
        const std::size_t place = block_place(file, block, id, f);
        std::copy_n(values.begin(), file.columns,
                    block.values.begin() + static_cast<std::ptrdiff_t>(place));
      }
      ++frame.rows_read;
      frame.reached = in.place();
    }
  }
}

void write_track(const RunState& run, const ParcelFile& file, const Block& block, int id,
                 const OutputFile& output) {
  std::vector<std::size_t> present;
  for (std::size_t f = 0; f < file.frames.size(); ++f) {
    const double* row = &block.values[block_place(file, block, id, f)];
    if (row[0] > lowest_position && row[1] > lowest_position) present.push_back(f);
  }
  if (present.empty()) return;
  show_progress(run, "Writing parcel:", id);
  std::string text =
      "ZONE T=\"" + std::to_string(id) + "\", I=" + std::to_string(present.size()) + "\n";
  constexpr int width = 18, decimals = 9, time_decimals = 3;
  std::vector<char> line((file.columns + 1) * (width + 1) + 1);
  for (const std::size_t f : present) {
    const double* row = &block.values[block_place(file, block, id, f)];
    char* at = line.data();
    for (std::size_t k = 0; k < file.columns; ++k) {
      *at++ = ' ';
      at = put_columns(at, row[k], width, decimals);
    }
    *at++ = ' ';
    at = put_columns(at, file.frames[f].time - file.frames[0].time, width, time_decimals);
    *at++ = '\n';
    text.append(line.data(), static_cast<std::size_t>(at - line.data()));
  }
  write_output(run.messages, output, text);
}

void write_tracks(const RunState& run, TextReader& in, ParcelFile& file, std::size_t block_bytes,
                  const OutputFile& output) {
  if (file.lowest_id > file.highest_id) return;  // no row at all
  const std::size_t id_bytes = file.frames.size() * file.columns * sizeof(double);
  const long long ids_at_once = std::max<long long>(
      1, static_cast<long long>(block_bytes / std::max<std::size_t>(1, id_bytes)));
  Block block;
  block.first_id = file.lowest_id;
  for (;;) {
    block.last_id =
        static_cast<int>(std::min<long long>(file.highest_id, block.first_id + ids_at_once - 1));
    read_block(run, in, file, block);
    for (int id = block.first_id; id <= block.last_id; ++id) {
      write_track(run, file, block, id, output);
    }
    if (!block.more) return;
    block.first_id = block.next_id;
  }
}

void warn_of_columns(const RunState& run, const ParcelFile& file) {
  if (!run.settings.id_output) {
    echo_warning(run.messages,
                 "paths need id_output: the third column of the parcel file was "
                 "taken for the parcel id");
  }
  if (file.rows_too_low > 0) {
    echo_warning(run.messages, std::to_string(file.rows_too_low) +
                                   " rows with X or Y at or below -998.9 are not in the path file");
  }
}

}  // namespace

void write_paths(RunState& run, std::size_t block_bytes) {
  const std::string& prefix = run.settings.output_prefix;
  console(run.messages, "Writing path file... \n");
  TextReader in(run.messages, prefix + "_particles.plt");
  ParcelFile file;
  in.read_line(file.head);
  file.columns = static_cast<std::size_t>(std::count(file.head.begin(), file.head.end(), '"')) / 2;
  for (const TecplotColumn& column : tecplot_columns(run)) {
    file.widths.push_back(static_cast<std::size_t>(column.width));
  }
  if (file.columns <= id_column) {
    console(run.messages, "No path file: the parcel file has no column for the parcel id\n");
    echo_warning(run.messages, "no path file: the parcel file has no column for the parcel id");
    return;
  }
  scan_frames(run, in, file);
  warn_of_columns(run, file);

  OutputFile output = open_output(run.messages, prefix + "_paths.plt", "w");
  write_output(run.messages, output, file.head + " \"Time\"\n");
  write_tracks(run, in, file, block_bytes, output);
  console(run.messages, "\n");
  close_output(run.messages, output);
}

void WRITE_PATHS(RunState& run) {
  constexpr std::size_t block_bytes = std::size_t{256} << 20;
  write_paths(run, block_bytes);
}

}  // namespace dfl
