#pragma once

// Small formulas shared by flow, bed and parcels. SI units; gravity 9.81 in FALL_VELOCITY, 9.8065
// in WAVE_NUMBER and WAVE_FRICTION.

#include <cmath>

#include "control/messages.h"

namespace dfl {

// Kinematic viscosity of water at a temperature in degrees C, m2/s.
inline float VISCOSITY_T(float temperature) {
  return 4.0e-5f / (20.0f + temperature);
}

struct WaveNumber {
  float k = 0.0f;  // 1/m
  float t = 0.0f;  // tanh(kh)
  float G = 0.0f;  // 2kh / sinh(2kh)
};
// Linear dispersion by an explicit approximation (after Hunt 1979). h: depth, m, above 0; omega:
// angular frequency, 1/s.
inline WaveNumber WAVE_NUMBER(float h, float omega) {
  const float y = omega * omega * h / 9.8065f;
  float kh;
  if (y >= 1.0f) {
    const float y2 = y * y, y3 = y2 * y;
    const float P = (0.0864f * y2 + 0.4622f + 0.0675f * y3) * y3 + 0.6522f * y2 + y;
    kh = y * std::sqrt(1.0f + 1.0f / P);
  } else {
    kh = std::sqrt(y) / (1.0f - y / 6.0f);
  }
  WaveNumber wave;
  wave.k = kh / h;
  wave.t = std::tanh(kh);
  if (wave.t <= 0.0f) {
    wave.G = 1.0f;  // long-wave limit
  } else if (wave.t < 1.0f) {
    wave.G = (1.0f / wave.t - wave.t) * kh;
  }
  return wave;
}

// Settling speed of a grain of size D (m), positive downward, m/s (Soulsby 1997); negative for a
// grain lighter than water.
inline float FALL_VELOCITY(float nu, float rho, float rhos, float D) {
  if (rhos / rho <= 1.0f) return (rhos - rho) * 2180.0f * (D * D) * 0.25f;
  if (D == 0.0f) return 0.0f;
  const float Dstar = D * std::pow((rhos / rho - 1.0f) * 9.81f / (nu * nu), 1.0f / 3.0f);
  if (Dstar >= 0.0672f) {
    return nu / D * (std::sqrt(1.049f * (Dstar * Dstar * Dstar) + 107.33f) - 10.36f);
  }
  return 0.0077f * (Dstar * Dstar) * nu / D;
}

struct WaveFriction {
  float Dw = 0.0f, Dc = 0.0f;    // wave and current dissipation
  float Cdx = 0.0f, Cdy = 0.0f;  // drag coefficients
};
// Combined friction of waves and current. Ks: roughness, m; a: wave amplitude, m; kx, ky: wave
// number vector; u, v: current, m/s.
WaveFriction WAVE_FRICTION(float omega, float k, float h, float Ks, float a, float kx, float ky,
                           float u, float v, float rho);

// With no waves WAVE_FRICTION gives both coefficients as the drag of the current alone wherever the
// attenuation by its least orbital velocity, 1e-10 m/s, is lost in the last place: speeds of 0.01
// m/s and more, directions not too near an axis (a component of exactly 0 carries no stress), and
// a drag in the usual range.
inline bool current_alone(float U, float V, float S, float Cd) {
  if (!(S >= 0.01f && Cd >= 1.0e-4f && Cd <= 1.0f)) return false;
  const float au = std::abs(U), av = std::abs(V);
  const float small = std::min(au, av), large = std::max(au, av);
  return small == 0.0f || large <= 1000.0f * small;
}

// Wave mass-transport velocity, m/s; mode 0 or 1, z: height above the bed, c: celerity. Another
// mode is a fatal message.
float WAVE_DRIFT(const MessageState& messages, int mode, float k, float h, float z, float H,
                 float T, float c);

}  // namespace dfl
