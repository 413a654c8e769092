#pragma once

// Cheap estimates of what a parcel in motion is compared with. They only decide on which side of a
// limit a value lies; where it lies near the limit, the formula itself is evaluated.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace dfl {

// Exponent of 2 in a positive normal number.
inline int binary_exponent(float x) {
  return static_cast<int>(std::bit_cast<std::uint32_t>(x) >> 23) - 127;
}

// Good to 0.0002 for positive normal numbers.
inline float estimate_log2(float x) {
  const auto bits = std::bit_cast<std::uint32_t>(x);
  const auto exponent = static_cast<float>(binary_exponent(x));
  const float m = std::bit_cast<float>((bits & 0x007fffffu) | 0x3f800000u);
  return exponent - 2.4983531f +
         m * (4.0292114f + m * (-2.0783352f + m * (0.62603218f - 0.078440676f * m)));
}

// Good to 0.02 % between -120 and 120.
inline float estimate_exp2(float x) {
  const int whole = static_cast<int>(x + 128.0f) - 128;  // rounded down, without a branch
  const float f = x - static_cast<float>(whole);
  const float m = 0.99990029f + f * (0.69632477f + f * (0.22469316f + 0.07896726f * f));
  const auto scale = static_cast<std::uint32_t>(whole + 127) << 23;
  return m * std::bit_cast<float>(scale);
}

// True if the centre of motion lies below 0.49 of the depth or 1.9 KStotal, whatever else is true:
// the centre of the suspended load lies below 0.479 H, and where rolling grains have the mean speed
// of the profile they do not reach farther up than the second.
inline bool centroid_is_low(float H, float S, float KStotal, float KSgrain, float ustar) {
  if (!(H >= 2.0f * KSgrain && KSgrain > 1.0e-20f && H <= 1.0e9f * KStotal && H > 4.0f * KStotal)) {
    return false;
  }
  // From below: log10 of 2 times the exponent of H / KSgrain.
  const float log_depth =
      0.3010299f * static_cast<float>(binary_exponent(H) - binary_exponent(KSgrain) - 1);
  return S <= ustar * (5.75f * log_depth + 6.0f);
}

// Height of the centre of motion, m, as SUSPENDED_LAYER gives it with a logarithmic profile; good
// to 1 %. log_total, log_grain: logarithms to base 2 of the depth over the total and over the grain
// roughness; all lengths in m, speeds in m/s. Below 0 where it is not sure.
[[gnu::always_inline]] inline float estimate_centroid(float log_total, float log_grain, float Ws,
                                                      float S, float MOBILITY, float KStotal,
                                                      float ustar) {
  constexpr float no_estimate = -1.0f;
  const float r = ustar / Ws;
  if (!(r > 1.0e-3f && r < 1.0e4f && ustar > 1.0e-5f && S < 100.0f && MOBILITY >= 1.0f &&
        log_total > 0.0f && log_total < 30.0f && log_grain >= 0.0f && log_grain < 30.0f)) {
    return no_estimate;
  }
  const float log_r = estimate_log2(r);
  // q and g: exponentials of twice the arguments of the hyperbolic tangents. Their quotients
  // (q - 1) / (q + 1) and g / (1 + g) share a division.
  const float q = estimate_exp2(std::min(2.4f * (1.3219281f - log_r) - 1.154156f, 60.0f));
  const float g = estimate_exp2(std::min(2.6f * log_r - 1.1253021f, 60.0f));
  const float both = 1.0f / ((q + 1.0f) * (1.0f + g));
  const float t = (q - 1.0f) * (1.0f + g) * both;
  const float fs = g * (q + 1.0f) * both;
  const float suspended = 1.7328680f * (log_total + 0.2558028f - 3.5876823f * t);
  const float rolling =
      (10.0f - 7.0f / std::sqrt(MOBILITY)) * S / ((1.7309225f * log_grain + 6.0f) * ustar);
  const float speed = suspended * fs + (1.0f - fs) * rolling;
  if (!(speed > -30.0f && speed < 100.0f)) return no_estimate;
  return KStotal * estimate_exp2(0.57772648f * speed - 4.9106734f);
}

// The same from the depths over the roughnesses.
inline float estimate_centroid_at(float total_depth, float grain_depth, float Ws, float S,
                                  float MOBILITY, float KStotal, float ustar) {
  if (!(total_depth > 1.0f && total_depth < 1.0e9f && grain_depth >= 1.0f &&
        grain_depth < 1.0e9f)) {
    return -1.0f;
  }
  return estimate_centroid(estimate_log2(total_depth), std::max(estimate_log2(grain_depth), 0.0f),
                           Ws, S, MOBILITY, KStotal, ustar);
}

// True if the stress of a current (U, V) without waves on a parcel in motion is above its critical
// stress beyond doubt, whatever the turbulence of the moment: a quarter of it is, with a drag below
// the true one. H: depth, KS: grain roughness, m.
inline bool surely_mobile(float H, float KS, float U, float V, float rho, float tau_cr) {
  const float squared = U * U + V * V;
  if (!(squared >= 1.01e-4f && H >= 2.0f * KS && H <= 1.0e7f * KS && KS > 1.0e-20f &&
        tau_cr >= 0.0f)) {
    return false;
  }
  // Near an axis the friction formula has coefficients of its own; a component of 0 has no stress.
  const float au = std::abs(U), av = std::abs(V);
  const float small = std::min(au, av);
  if (!(small == 0.0f || std::max(au, av) <= 1000.0f * small)) return false;
  // The logarithm in the drag, ln(30 H / KS) - 1, is below `most`.
  const float most = 0.7f * static_cast<float>(binary_exponent(H) - binary_exponent(KS) + 6);
  return 0.04f * rho * squared > tau_cr * (most * most);
}

}  // namespace dfl
