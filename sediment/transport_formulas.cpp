#include "sediment/transport_formulas.h"

#include <algorithm>
#include <cmath>

#include "sediment/primitives.h"

namespace dfl {

namespace {

constexpr float g = 9.81f;                  // m/s2
constexpr float tan_friction = 0.5773497f;  // tangent of the friction angle, 30 degrees
constexpr float quarter_turn = 1.570795f;   // as in the fitted mixing factors

// A ratio without a value carries no load.
float finite_or_zero(float load) {
  return std::isfinite(load) ? load : 0.0f;
}

// Share of the current in the stresses that stir; 0 in still water.
float current_share(float TAUc, float TAUw) {
  const float sum = TAUc + TAUw;
  return sum == 0.0f ? 0.0f : TAUc / sum;
}

float square(float x) {
  return x * x;
}
float cube(float x) {
  return x * x * x;
}

// Mixing factors of current and waves as functions of the ratio of settling to shear velocity:
// for heavy and for light grains offset + amplitude sin(x)^power.
struct MixingFactors {
  float current_heavy, current_heavy_sin, current_light, current_light_sin;
  float waves_heavy, waves_heavy_sin, waves_light, waves_light_sin;
};
constexpr MixingFactors lund_factors = {1.0f, 2.9f, 0.4f, 3.5f, 1.0f, 0.65f, 0.15f, 1.5f};
constexpr MixingFactors lund_old_factors = {1.0f, 3.3f, 0.7f, 3.6f, 1.0f, 0.49f, 0.09f, 1.4f};

float mixing_factor(float Ws, float shear, float heavy, float heavy_sin, float light,
                    float light_sin, bool old_form) {
  const bool is_heavy = Ws / shear > 1.0f;
  const float sine =
      is_heavy ? std::sin(quarter_turn * shear / Ws) : std::sin(quarter_turn * Ws / shear);
  const float power = old_form ? std::pow(sine, 2.5f) : square(sine);
  return is_heavy ? heavy + heavy_sin * power : light + light_sin * power;
}

// What has been seen anywhere in the run so far.
struct Seen {
  bool current = false, waves = false;
};

Load lund_load(Seen seen, bool old_form, float D50, float rho, float rhos, float THETAcr, float h,
               float nu, float U, float TAUc, float TAUw, float TAUbed, float breaking, float slope,
               float kb) {
  const MixingFactors& m = old_form ? lund_old_factors : lund_factors;
  const float Ws = FALL_VELOCITY(nu, rho, rhos, D50);
  const float s1 = rhos / rho - 1.0f;
  const float X = current_share(TAUc, TAUw);
  const float uc = std::sqrt(TAUc / rho), uw = std::sqrt(TAUw / rho);
  const float THETA = TAUbed / rho / s1 / g / D50;

  float Ec = mixing_factor(Ws, uc, m.current_heavy, m.current_heavy_sin, m.current_light,
                           m.current_light_sin, old_form);
  float Ew = mixing_factor(Ws, uw, m.waves_heavy, m.waves_heavy_sin, m.waves_light,
                           m.waves_light_sin, old_form);
  if (seen.current && seen.waves) {
    const float share = old_form ? X * X * X * X * X : X;
    Ec = Ec * share + Ew * (1.0f - share);
    Ew = Ec;
  }
  const float ec = 0.4f * Ec / 6.0f;
  const float ew = 0.4f * Ew / (old_form ? 6.0f : 9.42f);
  const float Db = cube(kb) * breaking;

  const float e = std::exp(-4.5f * THETAcr / THETA);
  Load load;
  load.bed =
      finite_or_zero((6.0f + 6.0f * X) * std::sqrt(TAUc / rho / s1 / g / D50) * THETA * e *
                     std::sqrt(cube(D50) * s1 * g) / (1.0f + std::tan(slope) / tan_friction));
  const float L =
      h * std::pow((Db + uc * TAUc * cube(ec) + uw * TAUw * cube(ew)) / rho, 1.0f / 3.0f);
  const float Ds = D50 * std::pow(s1 * g / (nu * nu), 1.0f / 3.0f);
  const float cR = 0.0035f * std::exp(-0.3f * Ds) * THETA * e;
  load.suspended = finite_or_zero(cR * U * L / Ws * (1.0f - std::exp(-Ws * h / L)));
  load.total = load.bed + load.suspended;
  return load;
}

}  // namespace

// Soulsby (1997), after van Rijn.
float Q_SOULSBY_VAN_RIJN(float D50, float h, float rho, float rhos, float U, float Uw, float Ucr,
                         float slope, float z0, float Dstar) {
  const float s = rhos / rho;
  const float B = std::pow(g * D50 * (s - 1.0f), 1.2f);
  const float Ass = 0.012f * D50 * std::pow(Dstar, -0.6f) / B;
  const float Asb = 0.005f * h * std::pow(D50 / h, 1.2f) / B;
  const float As = Ass + Asb;
  // 0.4 and not 0.16 (0.4 squared) as published: the effect of waves is 2.5 times weaker.
  const float Cd = 0.4f / square(std::log(h / z0) - 1.0f);
  const float E = std::sqrt(U * U + 0.018f / Cd * (Uw * Uw)) - Ucr;
  if (!(E > 0.0f)) return 0.0f;
  return finite_or_zero(As * U * std::pow(E, 2.4f) * (1.0f - 1.6f * std::tan(slope)));
}

// van Rijn (2007), with the suspended load of 2017.
float Q_VAN_RIJN_2017(float D50, float h, float rho, float rhos, float U, float Uw, float Ucr,
                      float T, float Dstar) {
  const float s1 = rhos / rho - 1.0f;
  float Ucrw = 0.0f;  // critical orbital speed
  if (T > 0.0f) {
    Ucrw = D50 < 0.0005f
               ? 0.24f * std::pow(g * s1, 0.66f) * std::pow(D50, 0.33f) * std::pow(T, 0.33f)
               : 0.95f * std::pow(g * s1, 0.57f) * std::pow(D50, 0.43f) * std::pow(T, 0.14f);
  }
  if (U + Uw == 0.0f) return 0.0f;
  const float Beta = U / (U + Uw);
  const float Uc = Beta * Ucr + (1.0f - Beta) * Ucrw;
  const float Ue = U + 0.4f * Uw;
  const float S = 1.0f / std::sqrt(g * D50 * s1);

  float qb = 0.0f, qs = 0.0f;
  const float Mb = (Ue - Uc) * S;
  if (Mb > 0.0f) {
    qb = 0.015f * rhos * U * h * std::pow(D50 / h, 1.2f) * std::pow(Mb, 1.5f);
  }
  const float Ucs =
      5.75f * std::log10(12.0f * h / (6.0f * D50)) *
      std::sqrt((0.3f / (1.0f + Dstar) + 0.1f * (1.0f - std::exp(-0.05f * Dstar))) * D50 * g * s1);
  const float Ms = (Ue - Ucs) * S;
  if (Ms > 0.0f) qs = 0.03f * rhos * U * D50 * (Ms * Ms) * std::pow(Dstar, -0.6f);
  return finite_or_zero(qb + qs);
}

// Camenen and Larson (2005, 2008).
Load Q_CAMENEN_LARSON(float D50, float rho, float rhos, float THETAcr, float h, float nu, float U,
                      bool breaking, float TAUc, float TAUw, float TAUbed, float TAUcr, float Dtot,
                      float slope, float kb) {
  const float Ws = FALL_VELOCITY(nu, rho, rhos, D50);
  const float X = current_share(TAUc, TAUw);
  const float ke = 6.0f + 6.0f * X;
  const float A = breaking ? 0.00037242286f * kb / ke / THETAcr : 1.24761655e-05f / ke / THETAcr;
  const float qb = ke / g / (rhos - rho) * std::sqrt(TAUc / rho) * TAUbed /
                   (1.0f + std::tan(slope) / tan_friction) * std::exp(-4.5f * TAUcr / TAUbed);
  Load load;
  if (!(qb > 0.0f)) return load;
  const float F = breaking ? std::pow(Dtot / rho, 1.0f / 3.0f) / std::sqrt(TAUc / rho)
                           : std::sqrt(TAUbed / TAUc);
  load.bed = finite_or_zero(qb);
  load.suspended = finite_or_zero(A * qb * (h / D50) * U / Ws * F);
  load.total = load.bed + load.suspended;
  return load;
}

// Lund formulas: Camenen and Larson with mixing by current, waves and breaking.
Load Q_LUND(SedimentState& latches, float D50, float rho, float rhos, float THETAcr, float h,
            float nu, float U, float H, float TAUc, float TAUw, float TAUbed, float breaking,
            float slope, float kb) {
  if (U > 0.001f) latches.lund_current_seen = true;
  if (H > 0.001f) latches.lund_waves_seen = true;
  const Seen seen = {latches.lund_current_seen, latches.lund_waves_seen};
  if (H <= 0.001f && !seen.current && !seen.waves) return {};
  return lund_load(seen, false, D50, rho, rhos, THETAcr, h, nu, U, TAUc, TAUw, TAUbed, breaking,
                   slope, kb);
}

Load Q_LUND_OLD(SedimentState& latches, float D50, float rho, float rhos, float THETAcr, float h,
                float nu, float U, float H, float TAUc, float TAUw, float TAUbed, float breaking,
                float slope, float kb) {
  if (U > 0.001f) latches.lund_old_current_seen = true;
  if (H > 0.001f) latches.lund_old_waves_seen = true;
  const Seen seen = {latches.lund_old_current_seen, latches.lund_old_waves_seen};
  if (H <= 0.001f && !seen.current && !seen.waves) return {};
  return lund_load(seen, true, D50, rho, rhos, THETAcr, h, nu, U, TAUc, TAUw, TAUbed, breaking,
                   slope, kb);
}

}  // namespace dfl
