#pragma once

// Small formulas of bedforms, ripples and bed slope.

namespace dfl {

// Equilibrium height, m. stage: stress over critical stress; bedforms stand between 1 and 24.
float BEDFORM_HEIGHT(float stage, float h, float D50);
// Speed at which a bedform grows or decays, m/s.
float BEDFORM_RATE(float rhos, float rho, float nu, float THETA, float THETAcr, float D50);
// Roughness of wave ripples, m, at least D50. Aw: orbital excursion at the bed, m.
float RIPPLE_ROUGHNESS(float rho, float rhos, float D50, float omega, float Aw);
// Factor of a bed slope on the critical stress, 0.5 to 1.5. slope in radians, angle in degrees.
float SLOPE_FACTOR(float slope, float friction_angle);

}  // namespace dfl
