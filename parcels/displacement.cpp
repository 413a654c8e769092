#include "parcels/displacement.h"

#include <cmath>

#include "parcels/local_conditions.h"

namespace dfl {

namespace {

// A parcel on the bed: it stays or is picked up. `absolute` and the start are set already.
void leave_bed(const RunState& run, const TrackFields& fields, const Parcel& parcel, Stage& s,
               RandomStream& random) {
  const Settings& set = run.settings;
  const AdvectionMethod advection = fields.advection;
  if (advection == AdvectionMethod::d2) return;
  const bool picked = static_cast<double>(s.walk.w1) < static_cast<double>(s.Pu) * fields.dt8;
  if (advection == AdvectionMethod::d3) {
    if (!picked && set.bed_interaction) return;
    if (set.debug) {
      s.dz = static_cast<double>(s.hc);
    } else if (parcel.Ws > 0.0f) {
      s.dz = static_cast<double>(ROUSE_HEIGHT(random, s.ustar, parcel.Ws, s.KStotal) * s.H);
    }
  } else {
    if (!picked) return;
    s.dz = static_cast<double>(s.hc);
  }
  double dx = 0.0, dy = 0.0;
  plane_displacement(set, fields, s, breaking_factor(set, s.Db, s.Hw), dx, dy);
  s.dx = s.Xs + dx;
  s.dy = s.Ys + dy;
}

}  // namespace

float ROUSE_HEIGHT(RandomStream& random, float ustar, float Ws, float a) {
  const float r = UNIFORM_NUMBER(random);
  for (int i = 0; i < 3; ++i) UNIFORM_NUMBER(random);  // the stream goes on by four
  const float ratio = ustar / Ws;
  float F = 0.0f;  // share of the load in suspension
  if (ratio >= 1.0e6f) {
    F = 1.0f;
  } else if (ratio > 1.0e-6f) {
    F = 0.5f * std::tanh(1.3f * (std::log(ratio) - 0.3f)) + 0.5f;
  }
  if (F <= 0.0f) return held(a * r, 0.0f, 1.0f);

  const float Z = (Ws / 0.4f) / ustar;  // Rouse number
  const auto level = [&](int i) {
    const float x = static_cast<float>(i) / 50.0f;
    const float square = x * x;
    return square * square + a;
  };
  const auto g = [&](float z) { return std::pow((1.0f / z - 1.0f) / (1.0f / a - 1.0f), Z); };
  // The 51st level is above 1 for every a that is a height.
  constexpr int most_levels = 51;
  if (r < 1.0f - F) return a * r;
  float S = 0.0f;
  float below = a, g_below = 1.0f;  // also on a bed without roughness, where a is 0
  for (int i = 1; i <= most_levels; ++i) {
    const float z = level(i);
    if (z > 1.0f) break;
    const float g_here = g(z);
    S = S + 0.5f * (g_below + g_here) * (z - below);
    below = z;
    g_below = g_here;
  }
  const float T = S / F;
  float C = (1.0f - F) * T;
  below = a;
  g_below = 1.0f;
  for (int i = 1; i <= most_levels; ++i) {
    const float z = level(i);
    if (z > 1.0f) return 1.0f;
    const float g_here = g(z);
    C = C + 0.5f * (g_below + g_here) * (z - below);
    if (C / T > r) return z;
    below = z;
    g_below = g_here;
  }
  return 1.0f;
}

void DISPLACEMENT(const RunState& run, const TrackFields& fields, const Parcel& parcel, Stage& s,
                  RandomStream& random) {
  const Settings& set = run.settings;
  const AdvectionMethod advection = fields.advection;
  const bool immobile = advection == AdvectionMethod::d2 && s.MOBILITY < 1.0f;
  if (immobile || is_true(s.DORMANT)) {
    stay_at_start(s);
    if (immobile) {
      s.dz = static_cast<double>(s.hc);
    } else {
      leave_bed(run, fields, parcel, s, random);
    }
    return;
  }

  const float factor = breaking_factor(set, s.Db, s.Hw);
  if (advection != AdvectionMethod::d2) {
    displace_grain(set, fields, parcel, s, factor);
    return;
  }
  s.absolute = false;
  if (s.hs > s.H) s.h0 = s.H;
  plane_displacement(set, fields, s, factor, s.dx, s.dy);
  s.dz = static_cast<double>(s.hc);
}

}  // namespace dfl
