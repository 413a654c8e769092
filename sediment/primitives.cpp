#include "sediment/primitives.h"

#include <algorithm>

namespace dfl {

namespace {

constexpr float pi = 3.14159265f;
constexpr float four_thirds_over_pi = 0.42441317f;  // mean of |cos|^3 over a wave
constexpr float gravity = 9.8065f;                  // m/s2

// Components are divided by, so none of them may be zero.
float away_from_zero(float component) {
  if (std::abs(component) >= 1.0e-10f) return component;
  return component >= 0.0f ? 1.0e-10f : -1.0e-10f;
}

// Where the waves stand to the current.
struct RelativeDirection {
  float phi = 0.0f;            // acute angle between the waves and the normal to the current
  float nx = 0.0f, ny = 0.0f;  // the normal on the waves' side, of the current's size
};

RelativeDirection relative_direction(float u, float v, float kx, float ky) {
  float tc = std::atan(v / u);
  float tw = std::atan(ky / kx);
  if (kx >= 0.0f && ky <= 0.0f) tw = tw + 2.0f * pi;
  if (kx < 0.0f) tw = tw + pi;

  // Directions at right angles to the current (A1, A3) and against it (A2), within one turn.
  float A1, A2, A3;
  if (u <= 0.0f) {
    tc = tc + pi;
    A1 = tc + pi / 2.0f;
    A3 = tc - pi / 2.0f;
    A2 = v > 0.0f ? tc + pi : tc - pi;
  } else {
    A1 = tc + pi / 2.0f;
    A2 = A1 + pi / 2.0f;
    A3 = A2 + pi / 2.0f;
    if (v <= 0.0f) tc = tc + 2.0f * pi;
  }

  bool first_side;
  if ((u > 0.0f && v <= 0.0f) || (u <= 0.0f && v > 0.0f)) {
    first_side = (tw < A1 || tw >= A2) && (tw < A3 || tw >= tc);
  } else {
    first_side = (tw >= A2 && tw < A3) || (tw >= tc && tw < A1);
  }

  RelativeDirection result;
  result.nx = first_side ? -v : v;
  result.ny = first_side ? u : -u;
  const float m = std::min(std::abs(tw - A1), std::abs(tw - A3));
  result.phi = m > pi / 2.0f ? pi - m : m;
  return result;
}

}  // namespace

WaveFriction WAVE_FRICTION(float omega, float k, float h, float Ks, float a, float kx, float ky,
                           float u, float v, float rho) {
  // Orbital amplitude and velocity at the bed.
  const float kh = k * h;
  float ab = 0.0f, ub = 1.0e-10f;
  if (!(kh >= 50.0f)) {
    ab = a / std::sinh(kh);
    ub = std::max(1.0e-10f, a * gravity * k / omega / std::cosh(kh));
  }
  const float ub3 = ub * ub * ub;

  // Friction of the current alone and of the waves alone.
  const float divisor = std::log(Ks / 30.0f / h) + 1.0f;
  const float log_drag = 0.4f / divisor;
  const float Cd = log_drag * log_drag;
  const float relative = ab / Ks;
  const float fw = relative > 2.0f ? std::exp(5.213f * std::pow(relative, -0.194f) - 6.67f) : 0.12f;

  WaveFriction result;
  const float U = std::sqrt(u * u + v * v);
  // Without a current, and where the log law gives no finite drag.
  if (U <= 1.0e-9f || divisor == 0.0f || !(Cd > 0.0f)) {
    result.Dw = four_thirds_over_pi * rho * fw * ub3;
    return result;
  }

  u = away_from_zero(u);
  v = away_from_zero(v);
  const RelativeDirection direction =
      relative_direction(u, v, away_from_zero(kx), away_from_zero(ky));
  const float phi = direction.phi;

  // Attenuation of the current by the waves.
  const float R = std::sqrt(fw / Cd);
  const float r = ub / U;
  const float chi = R * r;
  const float E = std::exp(1.0f - 0.6f * std::log(R));
  float Gf;
  if (r > E) {
    Gf = (1.54f + 0.26f * std::cos(1.8f * phi)) * std::pow(R, -0.66f) * std::pow(r, -0.98f);
  } else {
    Gf = std::exp(-((0.12f + 0.05f * phi) * std::pow(R, 0.9f) * std::pow(r, 1.3f)));
  }

  const float mu = chi / Gf;
  const float c2 = std::cos(2.0f * phi);
  const float b = std::abs(c2);
  float a0, a1, e1, b0, b1, e2;
  if (chi <= 1.0f) {
    a0 = 1.0f;
    a1 = 0.34f - 0.15f * c2;
    e1 = 1.89f - 0.06f * c2;
    b0 = 0.0f;
    b1 = 0.21f - 0.21f * b;
    e2 = 1.87f - 0.24f * c2;
  } else {
    a0 = 0.58f + 0.2f * c2;
    a1 = 0.76f - 0.35f * c2;
    e1 = 1.08f + 0.04f * c2;
    b0 = 0.15f * b - 0.15f;
    b1 = 0.36f - 0.36f * b;
    e2 = 0.97f + 0.2f * c2;
  }
  const float X = (a0 + a1 * std::pow(mu, e1)) * (Gf * Gf);
  const float Y = (b0 + b1 * std::pow(mu, e2)) * (Gf * Gf);

  float Q;
  if (phi / mu < 0.4f) {
    Q = four_thirds_over_pi + 0.2f * std::pow(mu, -1.3f);
  } else {
    Q = four_thirds_over_pi + std::abs(0.63f * std::sin(phi)) / (mu * mu);
  }

  const float Cx = std::clamp(X + Y * direction.nx / u, 0.0f, 9.0f);
  const float Cy = std::clamp(X + Y * direction.ny / v, 0.0f, 9.0f);
  result.Cdx = Cx * Cd;
  result.Cdy = Cy * Cd;
  result.Dc = X * rho * Cd * (U * U * U);
  result.Dw = Q * rho * fw * ub3;
  return result;
}

float WAVE_DRIFT(const MessageState& messages, int mode, float k, float h, float z, float H,
                 float T, float c) {
  if (mode != 0 && mode != 1) fatal_error(messages, " *** WaveDrift method not available ***");
  if (H == 0.0f || T == 0.0f) return 0.0f;
  const float kh = k * h;
  const float sinh_kh = std::sinh(kh);
  const float sinh2 = sinh_kh * sinh_kh;

  if (mode == 0) {
    // Stokes drift of linear waves.
    const float cosh_kz = std::cosh(k * z), sinh_kz = std::sinh(k * z);
    const float steepness = 3.14159f * H / T;
    const float profile = cosh_kz * cosh_kz + sinh_kz * sinh_kz;
    const float drift = 0.5f / c * profile / sinh2 * (steepness * steepness);
    if (std::isfinite(drift) && std::isfinite(sinh2)) return drift;
    return 0.5f / c * (2.0f * std::exp(2.0f * k * (z - h))) *
           (steepness * steepness);  // deep water
  }

  // Mass transport in water of finite depth (Longuet-Higgins 1953).
  const float m = (h - z) / h;
  const float B = 2.0f * kh;
  const float sinh_B = std::sinh(B);
  if (!std::isfinite(sinh_B) || !std::isfinite(sinh2)) return 0.0f;
  const float half_H = H / 2.0f;
  const float drift = half_H * half_H * (6.28318f / T) * k *
                      (2.0f * std::cosh((m - 1.0f) * B) + 3.0f +
                       kh * std::sinh((3.0f * (m * m) - 4.0f * m + 1.0f) * B) +
                       3.0f * (sinh_B / (2.0f * kh) + 1.5f) * (m * m - 1.0f)) /
                      4.0f / sinh2;
  return std::isfinite(drift) ? drift : 0.0f;
}

}  // namespace dfl
