#include "parcels/track_parcel.h"

#include <algorithm>
#include <cmath>

#include "parcels/displacement.h"
#include "parcels/local_conditions.h"
#include "parcels/look_ahead.h"
#include "parcels/parcel_locate.h"
#include "parcels/parcel_velocity.h"
#include "parcels/plain_grain.h"
#include "parcels/track_passive.h"

namespace dfl {

namespace {

// Stage displacements of a step and their weights.
struct RungeKutta {
  std::array<double, 4> x, y, z;
  std::array<double, 4> weight;
};

RungeKutta scheme_of(const RunState& run, int order) {
  RungeKutta rk;
  if (order == 2) {
    rk.weight = {0.5, 1.0, 0.0, 0.0};
  } else if (order == 4) {
    rk.weight = {0.5, 0.5, 1.0, 1.0};
  } else {
    fatal_error(run.messages, " *** Iorder must be 2 or 4 ***");
  }
  return rk;
}

// Position of stage i (0 to 3) from the start of the step.
void combine(const TrackFields& fields, const Parcel& parcel, const RungeKutta& rk, std::size_t i,
             Stage& s) {
  double height = static_cast<double>(parcel.h);
  if (i < 3) {
    s.x = parcel.X + rk.x[i] * rk.weight[i];
    s.y = parcel.Y + rk.y[i] * rk.weight[i];
    height = height + rk.z[i] * rk.weight[i];
  } else {
    s.x = parcel.X + fourth_order(rk.x);
    s.y = parcel.Y + fourth_order(rk.y);
    height = height + fourth_order(rk.z);
  }
  if (fields.advection == AdvectionMethod::d2) height = rk.z[i];
  s.height = static_cast<float>(height);
}

// Velocity of the parcel and its displacement.
void move_parcel(const RunState& run, const TrackFields& fields, Parcel& parcel, Stage& s,
                 RandomStream& random) {
  if (parcel.RHOs > s.rho) {
    if (is_true(s.DORMANT) && s.Pu_wanted) {
      s.Pu = pickup_chance(run, fields, parcel, s);
      s.Pu_wanted = false;
    }
    // A grain that stays on the bed needs no velocity unless it is written.
    if (is_true(s.DORMANT) && fields.bed_may_keep && !picked_up(fields, s)) {
      s.hs = s.height;
      stay_at_start(s);
      return;
    }
    PARCEL_VELOCITY(run, fields, parcel, fields.estimates, s);
  } else {
    LIGHT_VELOCITY(run, fields, parcel, s);
  }
  DISPLACEMENT(run, fields, parcel, s, random);
}

enum class StageEnd { next, finished, lost };

// Bounds the height from below, and lets the parcel land or leave the bed.
StageEnd settle_on_bed(const TrackFields& fields, const Parcel& parcel, int order, bool last,
                       bool& landed, Stage& s) {
  const float floor = s.KSgrain / 4.0f;
  if (s.height < floor) {
    s.z = s.z - s.height + floor;
    s.height = floor;
  }
  if (s.status < 0) return StageEnd::lost;
  if (s.height > floor) {
    // What came down in an earlier stage of this step stays down.
    if (last && landed && is_true(s.DORMANT)) {
      s.height = floor;
      s.z = floor - s.B0;
      return StageEnd::finished;
    }
    s.DORMANT = logical_false;
    s.BURIAL = 0.0f;
  } else {
    s.DORMANT = logical_true;
    landed = landed || !last;
    s.BURIAL = static_cast<float>(static_cast<double>(s.BURIAL) +
                                  static_cast<double>(fields.elements(parcel.ELEMENT).BEDrate) *
                                      s.DTsub / static_cast<double>(order / 2));
  }
  return last ? StageEnd::finished : StageEnd::next;
}

void write_back(const RunState& run, const Stage& s, Parcel& parcel) {
  parcel.X = s.x;
  parcel.Y = s.y;
  parcel.h = s.height;
  parcel.Z = s.z;
  parcel.ELEMENT = s.element;
  parcel.DORMANT = s.DORMANT;
  parcel.BURIAL = s.BURIAL;
  parcel.MOBILITY = s.MOBILITY;
  if (run.settings.flow_output) {
    parcel.VEC[0] = s.u;
    parcel.VEC[1] = s.v;
    parcel.VEC[2] = s.w;
  }
}

TrackReport lose(Parcel& parcel, int status) {
  parcel.ALIVE = logical_false;
  parcel.LOSS = static_cast<std::int16_t>(status);
  TrackReport report;
  report.status = status;
  return report;
}

}  // namespace

TrackReport TRACK_PARCEL(const RunState& run, const TrackFields& fields, int order, Parcel& parcel,
                         RandomStream& random) {
  TrackReport report;
  if (parcel.ELEMENT < 1 || parcel.ELEMENT > run.mesh.NUMelem) return lose(parcel, lost_off_mesh);
  if (fields.passive_steps && parcel.RHOs <= run.settings.water_density &&
      parcel.DORMANT == logical_false && (order == 2 || order == 4) &&
      track_passive(run, fields, order, parcel, random, report.displacement_squared)) {
    return report;
  }
  Stage s;
  s.x = s.Xs = parcel.X;
  s.y = s.Ys = parcel.Y;
  s.z = s.z0 = parcel.Z;
  s.height = s.h0 = parcel.h;
  s.element = s.e0 = parcel.ELEMENT;
  s.DORMANT = parcel.DORMANT;
  s.BURIAL = parcel.BURIAL;
  s.MOBILITY = parcel.MOBILITY;
  RungeKutta rk = scheme_of(run, order);
  s.walk = WALK_NUMBERS(random, run.settings.debug, run.settings.repeatable, run.clock.NStep);

  bool landed = false;  // came down in an earlier stage of this step
  for (int i = 1;; ++i) {
    s.DTsub = static_cast<double>(i) * fields.dt8 / static_cast<double>(order);
    const bool moved = fields.plain_grains && s.DORMANT == logical_false &&
                       parcel.RHOs > run.settings.water_density &&
                       move_plain_grain(run, fields, parcel, s, random);
    if (!moved && !LOCAL_CONDITIONS(run, fields, parcel, s, random)) {
      settle_gauss(s.gauss, random);
      parcel.DORMANT = s.DORMANT;
      report.dry = true;
      return report;
    }
    if (i == 1) s.B0 = s.f[at_B];
    if (!moved) move_parcel(run, fields, parcel, s, random);
    const std::size_t k = static_cast<std::size_t>(i) - 1;
    rk.x[k] = s.dx;
    rk.y[k] = s.dy;
    rk.z[k] = s.dz;

    bool last = i == order;
    if (is_true(s.DORMANT) || s.absolute) {
      s.x = s.dx;
      s.y = s.dy;
      s.height = static_cast<float>(s.dz);
      parcel.DORMANT = logical_true;
      last = true;
    } else {
      combine(fields, parcel, rk, k, s);
    }
    s.height = std::max(s.height, 0.0f);
    PARCEL_LOCATE(run, fields, last, s);
    const StageEnd end = settle_on_bed(fields, parcel, order, last, landed, s);
    if (end == StageEnd::lost) {
      settle_gauss(s.gauss, random);
      return lose(parcel, s.status);
    }
    if (end == StageEnd::finished) break;
  }
  settle_gauss(s.gauss, random);
  write_back(run, s, parcel);
  const double lx = s.x - s.Xs, ly = s.y - s.Ys;
  report.displacement_squared =
      (lx * lx + ly * ly) / static_cast<double>(fields.elements(s.e0).area);
  return report;
}

void TRACK_POPULATION(RunState& run, const TrackFields& fields) {
  const int scheme = run.settings.numerical_scheme;
  const int order = scheme == 1 || scheme == 2 ? 2 : 4;
  ParcelState& parcels = run.parcels;
  BalanceState& balance = run.balance;
  LookAhead ahead;
  for (int k = 1; k <= parcels.NUMalive; ++k) {
    look_ahead(parcels, fields, k, ahead);
    const int id = parcels.ALIVElist(k);
    Parcel& parcel = parcels.PARCELS(id);
    parcel.Age = static_cast<float>(static_cast<double>(parcel.Age) + run.settings.time_step);
    const TrackReport report = TRACK_PARCEL(run, fields, order, parcel, parcels.random);
    ++balance.parcel_steps;
    if (report.dry) ++balance.dry_steps;
    if (report.displacement_squared > balance.largest_displacement_squared) {
      balance.largest_displacement_squared = report.displacement_squared;
      balance.largest_displacement_parcel = id;
      balance.largest_displacement_step = run.clock.NStep;
    }
  }
}

}  // namespace dfl
