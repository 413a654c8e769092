#include "parcels/plain_grain.h"

#include <cmath>

#include "parcels/centroid_estimate.h"
#include "parcels/displacement.h"
#include "parcels/local_conditions.h"
#include "parcels/parcel_velocity.h"
#include "sediment/primitives.h"

namespace dfl {

namespace {

// centroid_estimated with logarithms that are at hand anyway, and with few branches that depend on
// the grain: those would go one way or the other as chance has it.
[[gnu::always_inline]] inline bool plain_centroid(const RunState& run, const TrackFields& fields,
                                                  const Parcel& parcel, float log_bed,
                                                  float log_mean, Stage& s) {
  // Logarithms to base 2, of H / KStotal from ln(11 H / KStotal) and of H / KSgrain from
  // ln(KSgrain / 30 / H).
  constexpr float per_ln2 = 1.4426950f;
  const float log_total = per_ln2 * log_mean - 3.4594316f;
  const float log_grain = -per_ln2 * log_bed - 4.9068906f;
  const float h0 = s.height > s.H ? s.H : s.h0;  // as displace_grain will have it
  const float c =
      estimate_centroid(log_total, log_grain, parcel.Ws, s.S, s.MOBILITY, s.KStotal, s.ustar);
  s.hc = c;
  const bool sided = (c > 0.0f) & ((c * centroid_margin < h0) | (c > centroid_margin * h0));
  if (!sided) return false;
  constexpr float margins = centroid_margin * centroid_margin;
  const bool above = 1.4f * centroid_margin * c < s.height;
  const bool lifted = least_pickup(run, fields, parcel, s) * c > margins * parcel.Ws;
  return above | lifted | !run.settings.bed_interaction ||
         estimate_pickup(run, fields, parcel, s) * c > margins * parcel.Ws;
}

}  // namespace

bool move_plain_grain(const RunState& run, const TrackFields& fields, const Parcel& parcel,
                      Stage& s, RandomStream& random) {
  const Settings& set = run.settings;
  const float rho = set.water_density;
  if (!s.sampled) {
    sample_fields(run, fields, s);
    s.sampled_start = true;
  }
  const float H = s.f[at_H], U = s.f[at_U], V = s.f[at_V];
  const float KSgrain = 3.0f * s.f[at_D90];
  const float KStotal = std::max(KSgrain, s.f[at_KS]);
  const float height = s.height;
  if (!(s.f[at_waves] == 0.0f && H >= set.min_depth && H > 0.0f && KSgrain > 0.0f && H >= KSgrain &&
        height > KStotal / 2.0f)) {
    return false;
  }

  // Three logarithms that do not wait for each other: of the drag, of the mean of the profile and
  // of the profile at the grain.
  const float log_bed = std::log(KSgrain / 30.0f / H);
  const float log_mean = std::log(11.0f * H / KStotal);
  const float log_grain = std::log(30.0f * height / KStotal);
  const float S = std::sqrt(U * U + V * V);
  const float log_drag = 0.4f / (log_bed + 1.0f);
  const float Cd = log_drag * log_drag;
  const float L = 2.5f * log_mean;
  const float tau_x = Cd * rho * U * S;
  const float tau_y = Cd * rho * V * S;
  const float tau_c = std::sqrt(tau_x * tau_x + tau_y * tau_y);
  if (!(current_alone(U, V, S, Cd) && tau_c > 1.0e-15f && tau_c < 1.0e15f && L != 0.0f)) {
    return false;
  }

  // Stress with the turbulence of the moment.
  float tau = tau_c;
  if (set.turbulent_shear) {
    const float g = held(static_cast<float>(draw_gauss(s.gauss, random)), -6.0f, 6.0f);
    const double f = std::min(std::max(s.DTsub * 0.05 * static_cast<double>(g), -0.4), 0.4);
    tau = std::max(tau * (1.0f + static_cast<float>(f)), 0.0f);
  }
  s.H = H;
  s.KSgrain = KSgrain;
  s.KStotal = KStotal;
  s.rho = rho;
  s.nu = set.water_viscosity;
  s.U = U;
  s.V = V;
  s.S = S;
  s.Db = s.Hw = 0.0f;
  s.ustar = std::sqrt(s.f[at_TAUbed] / rho);
  s.tau = tau;
  s.tau_cr = parcel.TAUcd;
  s.MOBILITY = tau / parcel.TAUcd;
  s.Pu = 0.0f;
  s.Pu_wanted = set.bed_interaction;

  // Velocity in the profile. A weak stress leaves a grain above the bed without a centre of motion
  // to be drawn to or slowed below; a strong one wants to know on which side of the centre it is.
  if (s.MOBILITY < 1.0f) {
    s.hc = 0.0f;
  } else if (!plain_centroid(run, fields, parcel, log_bed, log_mean, s)) {
    PARCEL_VELOCITY(run, fields, parcel, false, s);
    DISPLACEMENT(run, fields, parcel, s, random);
    return true;
  }
  s.u = (2.5f * U / L) * log_grain;
  s.v = (2.5f * V / L) * log_grain;
  s.su = std::sqrt(s.u * s.u + s.v * s.v);
  s.fr = 1.0f;
  s.hs = height;
  s.w = CONTINUITY_W(height, H, fields.elements(s.element).divergence, s.f[at_ETAnew],
                     s.f[at_ETAold], fields.time_new, fields.time_old);
  displace_grain(set, fields, parcel, s, 1.0f);
  return true;
}

}  // namespace dfl
