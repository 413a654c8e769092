#pragma once

// Small formulas shared by flow, bed and parcels. SI units; gravity 9.81 in FALL_VELOCITY, 9.8065
// in WAVE_NUMBER and WAVE_FRICTION.

#include <cmath>

#include "control/messages.h"

namespace dfl {

// Kinematic viscosity of water at a temperature in degrees C, m2/s.
inline float VISCOSITY_T(float temperature) { return 4.0e-5f / (20.0f + temperature); }

struct WaveNumber {
  float k = 0.0f;  // 1/m
  float t = 0.0f;  // tanh(kh)
  float G = 0.0f;  // 2kh / sinh(2kh)
};
// h: depth, m; omega: angular frequency, 1/s.
WaveNumber WAVE_NUMBER(float h, float omega);

// Settling speed of a grain of size D (m), positive downward, m/s; negative for a grain lighter
// than water.
float FALL_VELOCITY(float nu, float rho, float rhos, float D);

struct WaveFriction {
  float Dw = 0.0f, Dc = 0.0f;    // wave and current dissipation
  float Cdx = 0.0f, Cdy = 0.0f;  // drag coefficients
};
// Combined friction of waves and current. Ks: roughness, m; a: wave amplitude, m; kx, ky: wave
// number vector; u, v: current, m/s.
WaveFriction WAVE_FRICTION(float omega, float k, float h, float Ks, float a, float kx, float ky,
                           float u, float v, float rho);

// Wave mass-transport velocity, m/s; mode 0 or 1, z: height above the bed, c: celerity. Another
// mode is a fatal message.
float WAVE_DRIFT(const MessageState& messages, int mode, float k, float h, float z, float H,
                 float T, float c);

}  // namespace dfl
