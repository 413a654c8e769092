#include "parcels/sources.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "control/run_clock.h"
#include "control/text_reader.h"
#include "control/text_tools.h"
#include "mesh/find_element.h"
#include "parcels/population.h"
#include "parcels/source_counts.h"

namespace dfl {

namespace {

constexpr SourceKind all_kinds[] = {SourceKind::instantaneous, SourceKind::point, SourceKind::line,
                                    SourceKind::area};
constexpr std::size_t longest_name = 180;
constexpr double plane_tolerance = 1.0e-6;  // m, on the third coordinate of an area's plane

// Reading.

struct Reading {
  RunState& run;
  TextReader& in;
  SourceKind kind;
  int source = 0;  // index in its section
};

// Takes the items of a record and leaves it open, so that a fault found by a check is told with the
// line of the items.
template <class... Items>
void open_record(TextReader& in, Items&... items) {
  in.begin_record();
  (in.read_item(items), ...);
}

int read_count(TextReader& in, const char* what) {
  int count = 0;
  open_record(in, count);
  if (count < 0) in.stop(std::string("expected the number of ") + what + " sources, 0 or more");
  in.end_record();
  return count;
}

void check_head(const MessageState& messages, TextReader& in, const SourceRecord& source) {
  if (const auto kept = static_cast<std::int16_t>(source.SRCid); kept != source.SRCid) {
    echo_warning(messages, in.path() + ":" + std::to_string(in.line()) + ": parcels of source " +
                               std::to_string(source.SRCid) + " carry its number in 2 bytes, " +
                               std::to_string(kept));
  }
  if (source.SRCrows < 1) {
    in.stop("expected 1 row or more, found " + std::to_string(source.SRCrows));
  }
}

// Returns the datum of a line source: what stands behind the name on its head line.
int datum_of(const MessageState& messages, std::string_view rest) {
  std::string word(rest);
  TABS_TO_BLANKS(word, static_cast<int>(word.size()));
  std::erase(word, '\r');
  word = trim(word);
  if (!word.empty() && word.front() == ',') word = trim_left(word.substr(1));
  word = lower_case(word);
  if (word.size() >= 2 && (word.front() == '\'' || word.front() == '"') &&
      word.back() == word.front()) {
    word = trim(word.substr(1, word.size() - 2));
  }
  if (word.empty() || word == "beddatum") return beddatum;
  if (word == "depthdistributed") return depthdistributed;
  if (word == "surfacedatum") return surfacedatum;
  fatal_error(messages, "Line source datum unknown");
}

void read_line_head(Reading& at, SourceRecord& source) {
  std::string text;
  int number = 0;
  do {
    number = at.in.place().line;
    if (!at.in.read_line(text)) {
      at.in.stop("expected the head of a line source, found the end of the file");
    }
  } while (text.find_first_not_of(" \t\r") == std::string::npos);
  TextReader head(at.run.messages, at.in.path(), text, number);
  head.begin_record();
  head.read_item(source.SRCid);
  head.read_item(source.SRCrows);
  head.read_item(source.SRCname);
  check_head(at.run.messages, head, source);
  source.SRCdatum = datum_of(at.run.messages, head.rest_of_line());
}

void read_head(Reading& at, SourceRecord& source) {
  switch (at.kind) {
    case SourceKind::line:
      read_line_head(at, source);
      break;
    case SourceKind::area:
      open_record(at.in, source.SRCid, source.SRCverts, source.SRCrows, source.SRCname);
      check_head(at.run.messages, at.in, source);
      if (source.SRCverts < 3) {
        at.in.stop("expected 3 vertices or more, found " + std::to_string(source.SRCverts));
      }
      at.in.end_record();
      break;
    default:
      open_record(at.in, source.SRCid, source.SRCrows, source.SRCname);
      check_head(at.run.messages, at.in, source);
      at.in.end_record();
  }
  source.SRCname = source.SRCname.substr(0, longest_name);
}

void check_in_mesh(const Reading& at, int row, double x, double y) {
  constexpr const char* texts[] = {"Instantaneous source not in domain",
                                   "Point source not in domain", "Line source not in domain",
                                   "Area source not in domain"};
  if (FIND_ELEMENT(at.run.mesh, x, y) == 0) {
    REPORT_INT2(at.run.messages, true, texts[static_cast<int>(at.kind)], at.source, row);
  }
}

// Days, hours, minutes and seconds may run over: 36 hours are noon of the next day.
void check_date(const MessageState& messages, TextReader& in, const Date& date) {
  struct Limit {
    const char* name;
    int lowest, highest;
    bool must;
  };
  constexpr Limit limits[] = {{"a year", 0, 9999, true},  {"a month", 1, 12, true},
                              {"a day", 1, 31, false},    {"an hour", 0, 24, false},
                              {"a minute", 0, 60, false}, {"a second", 0, 60, false}};
  for (std::size_t i = 0; i < 6; ++i) {
    const Limit& limit = limits[i];
    if (date[i] >= limit.lowest && date[i] <= limit.highest) continue;
    const std::string range = std::string(limit.name) + " from " + std::to_string(limit.lowest) +
                              " to " + std::to_string(limit.highest) + ", found " +
                              std::to_string(date[i]);
    if (limit.must) in.stop("expected " + range);
    echo_warning(messages, in.path() + ":" + std::to_string(in.line()) + ": expected " + range +
                               ", which is counted on");
  }
}

// The run's start for a negative year, one second late so that it lies inside the run.
void set_row_time(Reading& at, Instruction& row) {
  if (row.ROWdate[0] < 0) {
    row.ROWdate = SECONDS_TO_DATE(REFyear, at.run.settings.start_run);
    row.ROWdate[5] += 1;
    row.ROWdate[6] = 0;
  } else {
    check_date(at.run.messages, at.in, row.ROWdate);
  }
  row.ROWtime = DATE_TO_SECONDS(REFyear, row.ROWdate);
}

void check_amounts(const Reading& at, const Instruction& row) {
  if (row.ROWd50 < 0.0f) at.in.stop("expected a grain size D50 of 0 or more");
  if (row.ROWrate < 0.0f || row.ROWtotal < 0.0f) {
    echo_warning(at.run.messages, at.in.path() + ":" + std::to_string(at.in.line()) +
                                      ": a negative amount releases nothing");
  }
}

void read_point_row(Reading& at, int j, std::vector<double>& positions, Instruction& row) {
  Date& date = row.ROWdate;
  double x = 0.0, y = 0.0, z = 0.0;
  float& amount = at.kind == SourceKind::point ? row.ROWrate : row.ROWtotal;
  open_record(at.in, date[0], date[1], date[2], date[3], date[4], date[5], x, y, z, row.ROWmass,
              row.ROWscatter, row.ROWscatterz, amount, row.ROWd50, row.ROWsigma, row.ROWrhos,
              row.ROWws, row.ROWtaucr, row.ROWtaucd);
  positions.insert(positions.end(), {x, y, z});
  check_in_mesh(at, j, x, y);
  set_row_time(at, row);
  check_amounts(at, row);
  at.in.end_record();
}

void read_line_row(Reading& at, int j, std::vector<double>& positions, Instruction& row) {
  Date& date = row.ROWdate;
  double x1 = 0.0, y1 = 0.0, z1 = 0.0, x2 = 0.0, y2 = 0.0, z2 = 0.0;
  Ignored unused;
  open_record(at.in, date[0], date[1], date[2], date[3], date[4], date[5], x1, y1, z1, x2, y2, z2,
              row.ROWmass, row.ROWscatter, unused, row.ROWrate, row.ROWd50, row.ROWsigma,
              row.ROWrhos, row.ROWws, row.ROWtaucr, row.ROWtaucd);
  positions.insert(positions.end(), {x1, y1, z1, x2, y2, z2});
  check_in_mesh(at, j, x1, y1);
  check_in_mesh(at, j, x2, y2);
  set_row_time(at, row);
  check_amounts(at, row);
  at.in.end_record();
}

void read_area_row(Reading& at, int j, int vertices, std::vector<double>& positions,
                   Instruction& row) {
  Date& date = row.ROWdate;
  open_record(at.in, date[0], date[1], date[2], date[3], date[4], date[5]);
  set_row_time(at, row);
  at.in.end_record();
  for (int i = 1; i <= vertices; ++i) {
    double x = 0.0, y = 0.0, z = 0.0;
    at.in.read(x, y, z);
    positions.insert(positions.end(), {x, y, z});
    check_in_mesh(at, j, x, y);
  }
  Ignored unused;
  open_record(at.in, row.ROWmass, row.ROWscatter, unused, row.ROWrate, row.ROWd50, row.ROWsigma,
              row.ROWrhos, row.ROWws, row.ROWtaucr, row.ROWtaucd);
  check_amounts(at, row);
  at.in.end_record();
}

// The planes that hold the polygon of row j, and its area.
void set_planes(const Reading& at, SourceRecord& source, int j) {
  const int n = source.SRCverts;
  bool same_x = true, same_y = true, same_z = true;
  for (int i = 2; i <= n; ++i) {
    const auto differs = [&](int axis) {
      return std::abs(source.SRCpos(j, 3 * (i - 1) + axis) - source.SRCpos(j, axis)) >
             plane_tolerance;
    };
    if (differs(1)) same_x = false;
    if (differs(2)) same_y = false;
    if (differs(3)) same_z = false;
  }
  source.SRCplaneXY(j) = same_z ? logical_true : logical_false;
  source.SRCplaneXZ(j) = same_y ? logical_true : logical_false;
  source.SRCplaneYZ(j) = same_x ? logical_true : logical_false;
  if (!same_x && !same_y && !same_z) {
    REPORT_INT2(at.run.messages, true, "Area source not in a plane", at.source, j);
  }

  const auto set_area = [&](int axis_a, int axis_b) {
    // Relative to the first vertex: the products of plane coordinates would cost the digits.
    const double a1 = source.SRCpos(j, axis_a), b1 = source.SRCpos(j, axis_b);
    double sum = 0.0;
    for (int i = 1; i <= n; ++i) {
      const int k = 3 * (i - 1), next = i == n ? 0 : k + 3;
      const double a = source.SRCpos(j, k + axis_a) - a1, b = source.SRCpos(j, k + axis_b) - b1;
      const double c = source.SRCpos(j, next + axis_a) - a1,
                   d = source.SRCpos(j, next + axis_b) - b1;
      sum += a * d - c * b;
    }
    source.SRCarea_m2(j) = static_cast<float>(0.5 * sum);
    if (source.SRCarea_m2(j) < 0.0f) {
      REPORT_INT2(at.run.messages, true, "SeaArea not counter-clockwise", at.source, j);
    }
  };
  if (same_z) set_area(1, 2);
  if (same_y) set_area(1, 3);
  if (same_x) set_area(2, 3);
}

void check_times(const Reading& at, const SourceRecord& source) {
  ParcelState& parcels = at.run.parcels;
  const double time_last = source.SRCrow(source.SRCrows).ROWtime;
  parcels.RELfirst = std::min(parcels.RELfirst, source.SRCrow(1).ROWtime);
  parcels.RELlast = std::max(parcels.RELlast, time_last);
  if (at.kind == SourceKind::instantaneous) return;
  if (time_last <= at.run.settings.stop_run) {
    REPORT_INT(at.run.messages, false,
               std::string("Last instruction from ") + kind_word(at.kind) +
                   " source does not exceed duration of run",
               at.source);
  }
  for (int j = 2; j <= source.SRCrows; ++j) {
    if (source.SRCrow(j).ROWtime > source.SRCrow(j - 1).ROWtime) continue;
    echo_warning(at.run.messages, std::string("Row ") + std::to_string(j) + " of " +
                                      kind_word(at.kind) + " source " + std::to_string(at.source) +
                                      " is not later than the row before it, which releases "
                                      "nothing");
  }
}

SourceRecord read_source(Reading& at) {
  SourceRecord source;
  read_head(at, source);
  std::vector<double> positions;
  for (int j = 1; j <= source.SRCrows; ++j) {
    Instruction row;
    switch (at.kind) {
      case SourceKind::line:
        read_line_row(at, j, positions, row);
        break;
      case SourceKind::area:
        read_area_row(at, j, source.SRCverts, positions, row);
        break;
      default:
        read_point_row(at, j, positions, row);
    }
    source.SRCrow.push_back(row);
  }
  const int rows = source.SRCrows;
  source.SRCpos.allocate(rows, 1, static_cast<int>(positions.size()) / rows);
  std::copy(positions.begin(), positions.end(), source.SRCpos.data());
  source.SRCcum.allocate(rows, 0.0f);
  check_times(at, source);
  if (at.kind == SourceKind::area) {
    source.SRCarea_m2.allocate(rows, 0.0f);
    source.SRCplaneXY.allocate(rows, logical_true);
    source.SRCplaneXZ.allocate(rows, logical_true);
    source.SRCplaneYZ.allocate(rows, logical_true);
    for (int j = 1; j <= rows; ++j) set_planes(at, source, j);
  }
  return source;
}

void read_source_file(RunState& run) {
  console(run.messages, "Reading sediment source data...\n");
  TextReader in(run.messages, run.settings.source_file);
  for (SourceKind kind : all_kinds) {
    const int count = read_count(in, kind_word(kind));
    for (int i = 1; i <= count; ++i) {
      Reading at{run, in, kind, i};
      sources_of(run.parcels, kind).push_back(read_source(at));
    }
  }
  echo(run.messages, "Sources\nInstants: %d\nPoints:   %d\nLines:    %d\nAreas:    %d\n\n",
       run.parcels.SRCinst.size(), run.parcels.SRCpoint.size(), run.parcels.SRCline.size(),
       run.parcels.SRCarea.size());
}

}  // namespace

const char* kind_word(SourceKind kind) {
  constexpr const char* words[] = {"instantaneous", "point", "line", "area"};
  return words[static_cast<int>(kind)];
}

Array<SourceRecord>& sources_of(ParcelState& parcels, SourceKind kind) {
  switch (kind) {
    case SourceKind::instantaneous:
      return parcels.SRCinst;
    case SourceKind::point:
      return parcels.SRCpoint;
    case SourceKind::line:
      return parcels.SRCline;
    case SourceKind::area:
      break;
  }
  return parcels.SRCarea;
}

void SOURCE_SETUP(RunState& run) {
  ParcelState& parcels = run.parcels;
  for (SourceKind kind : all_kinds) sources_of(parcels, kind).release();
  parcels.RELfirst = run.settings.stop_run;
  parcels.RELlast = 0.0;
  parcels.NUMparcels = 0;
  if (run.settings.no_parcels) {
    console(run.messages, "No particles will be used in this simulation \n");
  } else if (run.settings.source_file != "none") {
    read_source_file(run);
  }
  parcels.NUMinst = parcels.SRCinst.size();
  parcels.NUMpoint = parcels.SRCpoint.size();
  parcels.NUMline = parcels.SRCline.size();
  parcels.NUMarea = parcels.SRCarea.size();
  try {
    if (!run.settings.no_parcels) {
      count_parcels(run);
      echo(run.messages, "Number of particles: %d\n", parcels.NUMparcels);
      run.clock.Tnow = 0.0;
    }
    allocate_population(run);
  } catch (const std::bad_alloc&) {
    fatal_error(run.messages, "Not enough memory for the particles of the sources");
  }
  PARCEL_INIT(run);
}

}  // namespace dfl
