#include "traps/trap_counting.h"

#include "control/run_clock.h"
#include "mesh/polygon.h"
#include "traps/trap_reports.h"

namespace dfl {

namespace {

constexpr float no_entry = -9999.0f;

// The stay of a parcel in a residence run, two entries of its VEC.
struct Stay {
  float* trap = nullptr;   // number of the trap, 0 for none
  float* entry = nullptr;  // s after start_run, no_entry for none
};

Stay stay_of(const Settings& s, Parcel& parcel) {
  if (!s.residence_calc) return {};
  float* first = parcel.VEC + (s.flow_output ? 3 : 0);
  return {first, first + 1};
}

void clear(const Stay& stay) {
  *stay.trap = 0.0f;
  *stay.entry = no_entry;
}

bool in_band(const Trap& trap, float v) {
  return !(trap.TRAPtop > v || v > trap.TRAPbottom);
}

bool across_line(const Trap& trap, const Parcel& parcel, float v) {
  if (!in_band(trap, v)) return false;
  if (trap.TRAPvertical) {
    if (!(trap.ymin <= parcel.Y && parcel.Y <= trap.ymax)) return false;
    return (trap.TRAPdir < 0 && parcel.X < trap.TRAPicept) ||
           (trap.TRAPdir > 0 && parcel.X > trap.TRAPicept);
  }
  if (!(trap.xmin <= parcel.X && parcel.X <= trap.xmax)) return false;
  const double yl =
      static_cast<double>(static_cast<float>(trap.TRAPslope * parcel.X + trap.TRAPicept));
  return (trap.TRAPdir < 0 && parcel.Y < yl) || (trap.TRAPdir > 0 && parcel.Y > yl);
}

// The bounding box spares the count of crossings where its outcome is certain: the differences are
// rounded as in the count, so that no vertex can lie on the other side.
bool in_polygon(const Trap& trap, const Parcel& parcel) {
  const auto below = [](double limit, double value) {
    return static_cast<float>(limit - value) < 0.0f;
  };
  if (below(trap.xmax, parcel.X) || !below(trap.xmin, parcel.X)) return false;
  if (below(trap.ymax, parcel.Y) || !below(trap.ymin, parcel.Y)) return false;
  return IN_POLYGON(parcel.X, parcel.Y, trap.TRAPxy, trap.TRAPsides);
}

void take_out(Parcel& parcel, int j) {
  if (!is_true(parcel.ALIVE)) return;
  parcel.ALIVE = logical_false;
  parcel.LOSS = static_cast<std::int16_t>(j);
}

bool counts_now(const RunState& run, const Trap& trap) {
  return trap.TRAPstart <= run.clock.Tnow && run.clock.Tnow < trap.TRAPstop;
}

void count(RunState& run, int id, int j) {
  Trap& trap = run.traps.TRAPS(j);
  trap.TRAPmass = trap.TRAPmass + run.parcels.PARCELS(id).MASS;
  ++trap.TRAPparcels;
  ++run.parcels.NUMtrapsum;
  write_count_line(run, id, j);
}

void test_line(RunState& run, int id, int j, float v, const Stay& stay) {
  const Trap& trap = run.traps.TRAPS(j);
  Parcel& parcel = run.parcels.PARCELS(id);
  std::int16_t& state = parcel.TRAPSTATE[j - 1];
  if (state < 0 || !across_line(trap, parcel, v)) {
    if (stay.trap != nullptr) clear(stay);
    return;
  }
  const std::int16_t mark = static_cast<std::int16_t>(j);
  const std::int16_t before = trap.TRAPonecount ? static_cast<std::int16_t>(-j) : state;
  if (!trap.TRAPopened) take_out(parcel, j);
  if (counts_now(run, trap) && before != mark) count(run, id, j);
  state = trap.TRAPonecount ? static_cast<std::int16_t>(-j) : mark;
}

// A stay ends only at its own polygon; then another one may open the next.
void end_stay(const RunState& run, int id, int j, const Stay& stay) {
  if (stay.trap == nullptr || static_cast<int>(*stay.trap) != j) return;
  if (*stay.entry > 0.0f) write_residence_line(run, id, j, *stay.entry);
  clear(stay);
}

void test_polygon(RunState& run, int id, int j, float v, const Stay& stay) {
  const Trap& trap = run.traps.TRAPS(j);
  Parcel& parcel = run.parcels.PARCELS(id);
  std::int16_t& state = parcel.TRAPSTATE[j - 1];
  if (state < 0) return;
  if (!(in_band(trap, v) && in_polygon(trap, parcel))) {
    state = 0;
    end_stay(run, id, j, stay);
    return;
  }
  const std::int16_t mark = static_cast<std::int16_t>(j);
  if (trap.TRAPonecount) state = static_cast<std::int16_t>(-j);
  if (!trap.TRAPopened) take_out(parcel, j);
  if (counts_now(run, trap)) {
    if (stay.trap != nullptr) {
      if (*stay.entry < 0.0f) {
        *stay.trap = static_cast<float>(j);
        *stay.entry = static_cast<float>(run.clock.Tnow - run.settings.start_run);
      }
    } else if (state != mark) {
      count(run, id, j);
    }
  }
  state = trap.TRAPonecount ? static_cast<std::int16_t>(-j) : mark;
  if (run.clock.LASTstep) end_stay(run, id, j, stay);
}

}  // namespace

bool IN_POLYGON(double X, double Y, const Array2<double>& xy, int n) {
  return polygon_holds_origin(
      n, [&](int i) { return static_cast<float>(xy(i, 1) - X); },
      [&](int i) { return static_cast<float>(xy(i, 2) - Y); });
}

int TRAP_REPORT(RunState& run) {
  const Settings& s = run.settings;
  TrapState& traps = run.traps;
  ParcelState& parcels = run.parcels;
  run.clock.DATEnow = SECONDS_TO_DATE(REFyear, run.clock.Tnow + s.time_step);
  if (s.last_step_trap && run.clock.LASTstep && traps.report_file != nullptr) traps.TRAPon = true;
  if (!traps.TRAPon || parcels.NUMalive < 1) return 0;

  int removed = 0;
  for (int k = 1; k <= parcels.NUMalive; ++k) {
    const int id = parcels.ALIVElist(k);
    if (is_true(parcels.DEADflag(id))) continue;
    Parcel& parcel = parcels.PARCELS(id);
    const float v = s.source_to_datum ? parcel.Z : parcel.h;
    const Stay stay = stay_of(s, parcel);
    for (int j = 1; j <= traps.NUMlinetraps; ++j) test_line(run, id, j, v, stay);
    for (int j = traps.NUMlinetraps + 1; j <= traps.NUMtraps; ++j) {
      test_polygon(run, id, j, v, stay);
    }
    if (!is_true(parcel.ALIVE)) {
      ++parcels.NUMdead;
      parcels.DEADlist(parcels.NUMdead) = id;
      ++removed;
    }
  }
  flush_trap_reports(run);
  return removed;
}

}  // namespace dfl
