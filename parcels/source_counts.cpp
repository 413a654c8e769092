#include "parcels/source_counts.h"

#include <sys/sysinfo.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "control/run_clock.h"
#include "parcels/population.h"
#include "parcels/random_stream.h"

namespace dfl {

namespace {

struct Counting {
  RunState& run;
  SourceKind kind;
  int source = 0, row = 0;
  std::int64_t limit = 0;  // parcels that the arrays and the memory of the machine can hold
  std::int64_t total = 0;
};

std::int64_t most_parcels(const Settings& settings) {
  const std::int64_t vec = vec_length(settings);
  const std::int64_t by_index = std::numeric_limits<int>::max() / std::max<std::int64_t>(3, vec);
  struct sysinfo machine {};
  if (sysinfo(&machine) != 0) return by_index;
  const double memory =
      (static_cast<double>(machine.totalram) + static_cast<double>(machine.totalswap)) *
      static_cast<double>(machine.mem_unit);
  const double bytes = static_cast<double>(sizeof(Parcel)) + 40.0 + 4.0 * static_cast<double>(vec);
  return std::min(by_index, static_cast<std::int64_t>(memory / bytes));
}

[[noreturn]] void stop_counting(const Counting& at, const std::string& text) {
  fatal_error(at.run.messages, std::string(kind_word(at.kind)) + " source " +
                                   std::to_string(at.source) + ", row " + std::to_string(at.row) +
                                   ": " + text);
}

void show_progress(const Counting& at) {
  if (at.run.messages.HOSTEDmode) return;
  console(at.run.messages, "\rSynthesizing particles from %s source %d [%d]", kind_word(at.kind),
          at.source, at.row);
}

// Appends the grain sizes of n parcels to a row.
void append_grains(Counting& at, Instruction& row, int n, float density, float D50, float sigma) {
  at.total += n;
  if (at.total > at.limit) {
    stop_counting(at, "more than " + std::to_string(at.limit) +
                          " particles are called for; check the mass of one particle");
  }
  const int offset = row.ROWgrains.size();
  row.ROWgrains.resize(offset + n, D50);
  if (sigma > 0.0f) {
    GRAIN_SIZES(at.run.parcels.random, at.run.settings.debug, n, offset, density, D50, sigma,
                at.run.settings.by_weight, row.ROWgrains);
  }
}

void check_parcel_mass(const Counting& at, const Instruction& row) {
  if (!(row.ROWmass > 0.0f)) stop_counting(at, "the mass of one particle must be above 0");
}

void count_instantaneous(Counting& at, Instruction& row) {
  row.ROWreleased = 0.0f;
  if (row.ROWtime < at.run.settings.start_run || row.ROWtime > at.run.settings.stop_run) return;
  if (row.ROWtotal == 0.0f) return;
  check_parcel_mass(at, row);
  const float quotient = row.ROWtotal / row.ROWmass;
  if (!(quotient < static_cast<float>(at.limit))) {
    stop_counting(at, "too many particles are called for; check the mass of one particle");
  }
  const int n = static_cast<int>(std::max(quotient, 0.0f));
  row.ROWreleased = static_cast<float>(n);
  if (n > 0) append_grains(at, row, n, row.ROWrhos, row.ROWd50, row.ROWsigma);
}

// Runs through the steps of the run in which row j is active, as the releases will.
void count_continuous(Counting& at, SourceRecord& source, int j) {
  const Settings& settings = at.run.settings;
  Instruction& row = source.SRCrow(j);
  row.ROWnext = 0;
  row.ROWreleased = 0.0f;
  if (j == source.SRCrows) return;
  const Instruction& next_row = source.SRCrow(j + 1);
  double Tnow = loop_time_before(settings, row.ROWtime);
  while (Tnow < settings.stop_run) {
    const double before = Tnow;
    Tnow = SNAP_TIME(Tnow, settings.start_run) + settings.time_step;
    if (!(Tnow > before)) {
      stop_counting(at, "the time step is too short: the run time moves in milliseconds");
    }
    if (Tnow >= next_row.ROWtime) break;
    RowMoment moment;
    if (!row_moment(source, j, Tnow, settings.time_step, moment)) continue;
    if (moment.Q != 0.0f) check_parcel_mass(at, row);
    const float extent = rate_extent(at.kind, source, j, moment.f);
    int n = 0;
    if (!take_parcels_due(source, j, extent, moment, n)) {
      stop_counting(at, "too many particles are called for; check the mass of one particle");
    }
    if (n <= 0) continue;
    const float D50 = row.ROWd50 + moment.f * (next_row.ROWd50 - row.ROWd50);
    const float sigma = row.ROWsigma + moment.f * (next_row.ROWsigma - row.ROWsigma);
    append_grains(at, row, n, row.ROWrhos, D50, sigma);
  }
  row.ROWreleased = 0.0f;
  source.SRCcum(j) = 0.0f;
}

}  // namespace

void count_parcels(RunState& run) {
  Counting at{run, SourceKind::instantaneous, 0, 0, most_parcels(run.settings), 0};
  for (SourceKind kind :
       {SourceKind::instantaneous, SourceKind::point, SourceKind::line, SourceKind::area}) {
    Array<SourceRecord>& sources = sources_of(run.parcels, kind);
    at.kind = kind;
    for (at.source = 1; at.source <= sources.size(); ++at.source) {
      SourceRecord& source = sources(at.source);
      for (at.row = 1; at.row <= source.SRCrows; ++at.row) {
        show_progress(at);
        if (kind == SourceKind::instantaneous) {
          count_instantaneous(at, source.SRCrow(at.row));
        } else {
          count_continuous(at, source, at.row);
        }
      }
    }
  }
  run.parcels.NUMparcels = static_cast<int>(at.total);
  console(run.messages, "%sSynthesizing particles from sources...            \n",
          run.messages.HOSTEDmode ? "" : "\r");
  console(run.messages, "Estimated number of particles: %d\n", run.parcels.NUMparcels);
}

void GRAIN_SIZES(RandomStream& random, bool debug, int n, int offset, float density, float D50,
                 float sigma, bool by_weight, Array<float>& table) {
  constexpr int most_rounds = 10;
  float lo = -6.0f, hi = 6.0f;
  if (sigma > 1.3f) {
    lo = 2.5f * sigma - 9.25f;
    lo = std::min(lo, 0.0f);  // beyond a spread of 3.7 the limits would pass each other
    hi = -lo;
  }
  const float m = D50 * 1000.0f;  // target median, mm
  float trial = m;
  for (int round = 1; round <= most_rounds; ++round) {
    const float phi50 = -(std::log(trial) / std::log(2.0f));
    float total = 0.0f, below = 0.0f;  // mass
    for (int i = 1; i <= n; ++i) {
      const float g =
          debug ? 0.0f : std::min(std::max(static_cast<float>(GAUSS_NUMBER(random)), lo), hi);
      const float d = std::pow(2.0f, -(phi50 + g * (sigma * sigma)));  // mm
      const float half = d / 2.0f;
      const float mass = density * 4.188787f * (half * half * half);
      total += mass;
      if (d < m) below += mass;
      table(offset + i) = d;
    }
    if (!by_weight) break;
    const float f = below / total;
    if (f > 0.51f) {
      trial = trial * 1.01f;
    } else if (f < 0.49f) {
      trial = trial * 0.99f;
    } else {
      break;
    }
  }
  for (int i = 1; i <= n; ++i) table(offset + i) = table(offset + i) / 1000.0f;
}

bool row_moment(const SourceRecord& source, int j, double Tnow, double time_step,
                RowMoment& moment) {
  if (j >= source.SRCrows) return false;
  const Instruction &row = source.SRCrow(j), &next_row = source.SRCrow(j + 1);
  if (!(row.ROWtime <= Tnow && Tnow < next_row.ROWtime)) return false;
  const float dt = static_cast<float>(time_step);
  const float r = static_cast<float>(next_row.ROWtime - Tnow);
  const float passed = static_cast<float>(Tnow - row.ROWtime);
  const float interval = static_cast<float>(next_row.ROWtime - row.ROWtime);
  moment.f = r < dt ? (r / 2.0f + passed) / interval : (passed + dt / 2.0f) / interval;
  moment.Q = row.ROWrate + moment.f * (next_row.ROWrate - row.ROWrate);
  moment.length = r <= dt ? r : dt;
  return true;
}

float position_between(const SourceRecord& source, int j, int column, float f) {
  const float here = static_cast<float>(source.SRCpos(j, column));
  const float next = static_cast<float>(source.SRCpos(j + 1, column));
  return here + f * (next - here);
}

LineEnds line_ends_between(const SourceRecord& source, int j, float f) {
  return {position_between(source, j, 1, f), position_between(source, j, 2, f),
          position_between(source, j, 3, f), position_between(source, j, 4, f),
          position_between(source, j, 5, f), position_between(source, j, 6, f)};
}

float rate_extent(SourceKind kind, const SourceRecord& source, int j, float f) {
  if (kind == SourceKind::area) return source.SRCarea_m2(j);
  if (kind != SourceKind::line || source.SRCdatum == depthdistributed) return 1.0f;
  const LineEnds e = line_ends_between(source, j, f);
  const float dx = e.x2 - e.x1, dy = e.y2 - e.y1, dz = e.z2 - e.z1;
  return std::sqrt(dx * dx + dy * dy + dz * dz);
}

bool take_parcels_due(SourceRecord& source, int j, float extent, const RowMoment& moment, int& n) {
  constexpr float most = 1.0e9f;
  Instruction& row = source.SRCrow(j);
  // A row without a rate may leave the mass of a parcel at 0.
  if (moment.Q != 0.0f) source.SRCcum(j) += extent * moment.length * moment.Q / row.ROWmass;
  const float due = source.SRCcum(j) - row.ROWreleased;
  if (!(std::abs(due) < most)) return false;
  n = static_cast<int>(due);
  row.ROWreleased += static_cast<float>(n);
  return true;
}

double loop_time_before(const Settings& settings, double t) {
  const double start = settings.start_run, dt = settings.time_step;
  const double first = start - dt;
  // Tnow moves by a whole number of milliseconds unless rounding can go either way.
  const double ms = std::round(dt * 1000.0);
  if (ms < 1.0 || std::abs(dt * 1000.0 - ms) > 0.4) return first;
  const double steps = std::floor((t - start) * 1000.0 / ms) - 3.0;
  if (!(steps >= 1.0)) return first;
  return SNAP_TIME(start + (steps - 1.0) * ms / 1000.0, start) + dt;
}

}  // namespace dfl
