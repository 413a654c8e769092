#include "traps/trap_file.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "control/text_reader.h"
#include "control/text_tools.h"
#include "mesh/geometry.h"
#include "traps/trap_reports.h"

namespace dfl {

namespace {

constexpr std::size_t longest_name = 180;
constexpr int most_traps = std::numeric_limits<std::int16_t>::max();  // numbers are 2-byte

std::string trap_path(const Settings& s) {
  return file_exists(found_path(s.trap_file)) ? s.trap_file : s.trap_file_as_given;
}

// An item that stands between two commas or behind a slash leaves its variable as it was: at a
// value that the reader never takes, or that no trap has.
void forget(int& value) {
  value = std::numeric_limits<int>::min();
}
void forget(float& value) {
  value = std::numeric_limits<float>::quiet_NaN();
}
void forget(double& value) {
  value = std::numeric_limits<double>::quiet_NaN();
}
bool is_given(int value) {
  return value != std::numeric_limits<int>::min();
}
bool is_given(double value) {
  return !std::isnan(value);
}
bool is_given(float value) {
  return !std::isnan(value);
}

// One record, all items of which have to be there.
template <class... Numbers>
void read_record(TextReader& in, Numbers&... numbers) {
  (forget(numbers), ...);
  in.read(numbers...);
  if (!(is_given(numbers) && ...)) {
    in.stop("expected " + std::to_string(sizeof...(numbers)) + " items, found one left out");
  }
}

int read_count(TextReader& in, const char* what) {
  int count = 0;
  read_record(in, count);
  if (count < 0 || count > most_traps) {
    in.stop(std::string("expected a number of ") + what + " from 0 to " +
            std::to_string(most_traps) + ", found " + std::to_string(count));
  }
  return count;
}

// "number name # comment"
void read_name(TextReader& in, Trap& trap) {
  std::string line;
  if (!in.read_line(line)) in.stop("expected the name of a trap, found the end of the file");
  line = line.substr(0, longest_name);
  std::replace(line.begin(), line.end(), '\t', ' ');
  line = trim_left(line);
  const std::size_t end = std::min(line.find_first_of(" ,"), line.size());
  trap.TRAPnumber = line.substr(0, end);
  const std::string rest = line.substr(end);
  trap.TRAPname = trim(rest.substr(0, rest.find('#')));
  MessageState unused;
  TextReader word(unused, in.path(), trap.TRAPnumber, in.line());
  int number = 0;
  forget(number);
  if (trap.TRAPnumber.empty() || !word.try_read(number) || !is_given(number)) {
    in.stop("expected a trap number, found \"" + trap.TRAPnumber + "\"");
  }
}

void read_settings(TextReader& in, int& first, Trap& trap) {
  int opened = 0, one_count = 0;
  read_record(in, first, trap.TRAPtop, trap.TRAPbottom, opened, one_count);
  trap.TRAPopened = opened == 1;
  trap.TRAPonecount = one_count == 1;
}

void read_line_trap(TextReader& in, Trap& trap) {
  trap.TRAPkind = TrapKind::line;
  read_name(in, trap);
  read_settings(in, trap.TRAPdir, trap);
  trap.TRAPxy.allocate(2, 1, 2);
  for (int i = 1; i <= 2; ++i) read_record(in, trap.TRAPxy(i, 1), trap.TRAPxy(i, 2));
  const double x1 = trap.TRAPxy(1, 1), x2 = trap.TRAPxy(2, 1);
  trap.TRAPvertical = x2 - x1 == 0.0;
  if (trap.TRAPvertical) {
    trap.TRAPicept = x1;
  } else {
    LINE_COEFS8(x1, x2, trap.TRAPxy(1, 2), trap.TRAPxy(2, 2), trap.TRAPslope, trap.TRAPicept);
  }
}

// Shoelace formula.
float signed_area(const Array2<double>& xy, int n) {
  if (n < 1) return 0.0f;
  double sum = 0.0;
  for (int i = 1; i < n; ++i) sum = sum + (xy(i, 1) * xy(i + 1, 2) - xy(i + 1, 1) * xy(i, 2));
  sum = sum + xy(n, 1) * xy(1, 2) - xy(1, 1) * xy(n, 2);
  return static_cast<float>(0.5 * sum);
}

void read_polygon_trap(TextReader& in, Trap& trap) {
  trap.TRAPkind = TrapKind::polygon;
  read_name(in, trap);
  read_settings(in, trap.TRAPsides, trap);
  constexpr std::size_t least_bytes = 4;  // of a vertex: "3*1" and a line end
  if (trap.TRAPsides < 0 ||
      static_cast<std::size_t>(trap.TRAPsides) > in.bytes_left() / least_bytes + 1) {
    in.stop("expected a number of vertices that the file holds, found " +
            std::to_string(trap.TRAPsides));
  }
  trap.TRAPxy.allocate(trap.TRAPsides, 1, 2);
  Array<Logical> set;
  set.allocate(trap.TRAPsides, logical_false);
  for (int i = 1; i <= trap.TRAPsides; ++i) {
    int number = 0;
    double x = 0.0, y = 0.0;
    read_record(in, number, x, y);
    if (number < 1 || number > trap.TRAPsides) {
      in.stop("expected a vertex from 1 to " + std::to_string(trap.TRAPsides) + ", found " +
              std::to_string(number));
    }
    if (is_true(set(number))) in.stop("second line of vertex " + std::to_string(number));
    set(number) = logical_true;
    trap.TRAPxy(number, 1) = x;
    trap.TRAPxy(number, 2) = y;
  }
  trap.TRAParea = signed_area(trap.TRAPxy, trap.TRAPsides);
}

void find_box(Trap& trap) {
  const int n = trap.TRAPxy.rows();
  for (int i = 1; i <= n; ++i) {
    const double x = trap.TRAPxy(i, 1), y = trap.TRAPxy(i, 2);
    trap.xmin = i == 1 ? x : std::min(trap.xmin, x);
    trap.xmax = i == 1 ? x : std::max(trap.xmax, x);
    trap.ymin = i == 1 ? y : std::min(trap.ymin, y);
    trap.ymax = i == 1 ? y : std::max(trap.ymax, y);
  }
}

void echo_trap(const RunState& run, const Trap& trap) {
  const MessageState& m = run.messages;
  const bool line = trap.TRAPkind == TrapKind::line;
  echo(m, line ? "Line Trap\n" : "Polygon Trap\n");
  if (line) {
    echo(m, "  Dir.:     %s\n", columns(trap.TRAPdir, 2).c_str());
  } else {
    echo(m, "  Sides:    %s\n", columns(trap.TRAPsides, 8).c_str());
  }
  echo(m, "  Top:      %s\n", columns(static_cast<double>(trap.TRAPtop), 8, 3).c_str());
  echo(m, "  Bottom:   %s\n", columns(static_cast<double>(trap.TRAPbottom), 8, 3).c_str());
  echo(m, "  Opened:   %c\n", trap.TRAPopened ? 'T' : 'F');
  echo(m, "  1 count:  %c\n\n", trap.TRAPonecount ? 'T' : 'F');
}

void read_trap(RunState& run, TextReader& in, TrapKind kind, Trap& trap) {
  const Settings& s = run.settings;
  trap.TRAPstart = s.start_trap;
  // A period that reaches the end of the run takes in the last step.
  trap.TRAPstop = s.stop_trap < s.stop_run ? s.stop_trap : s.stop_trap + s.time_step;
  if (kind == TrapKind::line) {
    read_line_trap(in, trap);
  } else {
    read_polygon_trap(in, trap);
  }
  find_box(trap);
}

void give_states(RunState& run) {
  ParcelState& parcels = run.parcels;
  const std::int64_t entries = static_cast<std::int64_t>(parcels.NUMparcels) * run.traps.NUMtraps;
  if (entries > std::numeric_limits<int>::max()) {
    fatal_error(run.messages, "Too many traps for the number of parcels");
  }
  parcels.TRAPstore.allocate(static_cast<int>(entries));
  for (int id = 1; id <= parcels.NUMparcels; ++id) {
    parcels.PARCELS(id).TRAPSTATE =
        entries == 0 ? nullptr
                     : parcels.TRAPstore.data() + static_cast<std::size_t>(id - 1) *
                                                      static_cast<std::size_t>(run.traps.NUMtraps);
  }
}

}  // namespace

void READ_TRAPS(RunState& run) {
  TrapState& traps = run.traps;
  TextReader in(run.messages, trap_path(run.settings));
  open_trap_reports(run);
  console(run.messages, "Reading sediment trap data...\n");

  // The whole file first, so that a fault in it is told before anything is echoed.
  const auto pass = [&](bool keep) {
    in.rewind();
    traps.NUMlinetraps = read_count(in, "line traps");
    for (int j = 1; j <= traps.NUMlinetraps; ++j) {
      Trap trap;
      read_trap(run, in, TrapKind::line, trap);
      if (keep) {
        echo_trap(run, trap);
        traps.TRAPS(j) = trap;
      }
    }
    traps.NUMpolytraps = read_count(in, "polygon traps");
    if (traps.NUMlinetraps + traps.NUMpolytraps > most_traps) {
      in.stop("expected " + std::to_string(most_traps) + " traps at most, found " +
              std::to_string(traps.NUMlinetraps + traps.NUMpolytraps));
    }
    traps.NUMtraps = traps.NUMlinetraps + traps.NUMpolytraps;
    for (int j = 1; j <= traps.NUMpolytraps; ++j) {
      Trap trap;
      read_trap(run, in, TrapKind::polygon, trap);
      if (keep) {
        echo_trap(run, trap);
        traps.TRAPS(traps.NUMlinetraps + j) = trap;
      }
    }
  };
  pass(false);
  if (run.settings.residence_calc && traps.NUMlinetraps > 0) {
    REPORT(run.messages, false, "Line traps are not applicable for residency calculations");
  }
  traps.TRAPS.allocate(traps.NUMtraps);
  give_states(run);
  pass(true);
}

}  // namespace dfl
