#pragma once

// Physics of one parcel at one place that releases share with tracking. SI units.

#include <cmath>

namespace dfl {

// Critical shear stress of a grain, Pa (Soulsby 1997); 1e-6 at or below water density.
inline float TAUCR_SOULSBY(float rho, float RHOs, float nu, float D) {
  if (rho >= RHOs) return 1.0e-6f;
  const float Ds = D * std::pow((RHOs / rho - 1.0f) * 9.81f / (nu * nu), 1.0f / 3.0f);
  return 9.81f * (RHOs - rho) * D *
         (0.3f / (1.0f + 1.2f * Ds) + 0.055f * (1.0f - std::exp(-0.02f * Ds)));
}

// Entrainment flux, m/s (van Rijn 1984).
inline float PICKUP_RATE(float RHOs, float rho, float nu, float theta, float theta_cr, float D) {
  const float T = (theta - theta_cr) / theta_cr;
  if (T <= 0.0f) return 0.0f;
  const float g = (RHOs / rho - 1.0f) * 9.81f;
  return 0.00033f * std::pow(T, 1.5f) * std::pow(g * (D * D * D) / (nu * nu), 0.1f) *
         std::sqrt(g * D);
}

}  // namespace dfl
