#pragma once

// What an estimate of the centre of motion decides for a grain in motion.

#include "parcels/estimates.h"
#include "parcels/track_stage.h"

namespace dfl {

constexpr float centroid_margin = 1.03f;  // of estimate_centroid, and some more

// A lower bound of pickup_chance, near its value where grains are picked up at all, 1/s.
inline float estimate_pickup(const RunState& run, const TrackFields& fields, const Parcel& parcel,
                             const Stage& s) {
  const Settings& set = run.settings;
  if (!s.Pu_wanted || !fields.uniform_water) return 0.0f;
  const float excess = parcel.RHOs / s.rho - 1.0f;
  const float D = parcel.D;
  if (!(excess > 0.01f && set.rhos > s.rho + 1.0f && D > 1.0e-7f && s.f[at_D50] > 0.0f)) {
    return 0.0f;
  }
  const float scale =
      parcel.RHOs == set.rhos ? fields.cbrt_rhos : grain_scale(parcel.RHOs, s.rho, s.nu);
  const auto threshold = [](float Ds) {
    return 0.3f / (1.0f + 1.2f * Ds) +
           0.055f * (1.0f - estimate_exp2(std::max(-0.028853901f * Ds, -100.0f)));
  };
  const float Dstar = D * scale;
  const float theta = s.tau / (s.rho * gravity * excess * D);
  const float theta_cr =
      run.parcels.TAUgiven ? parcel.TAUcr / (gravity * s.rho * excess * D) : threshold(Dstar);
  const float T = theta / theta_cr - 1.0f;
  if (!(T > 0.1f && T < 1.0e6f && Dstar > 1.0e-3f && Dstar < 1.0e4f)) return 0.0f;

  // Dstar cubed is the number under the root of 10.
  const float rate = 0.00033f * T * std::sqrt(T) * estimate_exp2(0.3f * estimate_log2(Dstar)) *
                     std::sqrt(excess * gravity * D);
  const float tau_b =
      gravity * (set.rhos - s.rho) * s.f[at_D50] * threshold(s.f[at_D50] * fields.cbrt_rhos);
  const float delta =
      (s.tau - tau_b) / ((1.0f - set.bed_porosity) * (set.rhos - s.rho) * gravity * tan_of_repose);
  float e = 1.0f;
  if (!(s.tau <= 0.95f * tau_b)) {
    if (!(s.tau > 1.1f * tau_b)) return 0.0f;  // too near to tell
    if (!(s.BURIAL < 0.5f * delta)) return 0.0f;
    e = std::min(D / delta, 1.0f) * (1.0f - s.BURIAL / delta);
  }
  // The difference of stresses makes delta the least certain part.
  return 0.9f * std::min(rate / D, 1.0f) * e;
}

// A lower bound of pickup_chance without exponentials, 1/s, for a grain of the bed's density that
// is not buried: the threshold of motion is at most that of the finest grains, and the mobile layer
// of the bed at most what a bed without a threshold has.
[[gnu::always_inline]] inline float least_pickup(const RunState& run, const TrackFields& fields,
                                                 const Parcel& parcel, const Stage& s) {
  const float per_D = 1.0f / parcel.D;
  const float T = s.tau * fields.least_excess * per_D - 1.0f;
  const bool known = s.Pu_wanted & !run.parcels.TAUgiven & (s.BURIAL == 0.0f) &
                     (parcel.RHOs == run.settings.rhos) & (parcel.D > 1.0e-7f) &
                     (parcel.D * fields.cbrt_rhos >= 1.0f) & (s.f[at_D50] > 0.0f) & (T > 0.1f) &
                     (T < 1.0e6f);
  const float T_known = known ? T : 0.0f;
  // The dimensionless grain size to the power of 0.3 is at least 1.
  const float rate = 0.00033f * T_known * std::sqrt(T_known * fields.weight_rhos * parcel.D);
  const float layer = parcel.D * fields.layer_scale / s.tau;  // grain size over its thickness
  return known ? 0.9f * std::min(rate * per_D, 1.0f) * std::min(layer, 1.0f) : 0.0f;
}

// True if an estimate of the centre of motion tells all that its height decides for a grain in
// motion: whether the grain is drawn up to it, and that it is not slowed down near the bed. hc is
// then on its side of h0, but otherwise no more than an estimate.
inline bool centroid_estimated(const RunState& run, const TrackFields& fields, const Parcel& parcel,
                               Stage& s) {
  constexpr float margin = centroid_margin;
  const float h0 = s.height > s.H ? s.H : s.h0;  // as DISPLACEMENT will have it
  const float lowest = std::min(h0, s.height / 1.4f);
  if (lowest > 0.5f * s.H && centroid_is_low(s.H, s.S, s.KStotal, s.KSgrain, s.ustar)) {
    s.hc = 0.49f * s.H;
    return true;
  }
  const float c = estimate_centroid_at(s.H / s.KStotal, s.H / s.KSgrain, parcel.Ws, s.S, s.MOBILITY,
                                       s.KStotal, s.ustar);
  if (!(c > 0.0f)) return false;
  if (!(c * margin < h0 || c > margin * h0)) return false;
  if (run.settings.bed_interaction && !(1.4f * margin * c < s.height) &&
      !(estimate_pickup(run, fields, parcel, s) * c > margin * margin * parcel.Ws)) {
    return false;
  }
  s.hc = c;
  return true;
}

}  // namespace dfl
