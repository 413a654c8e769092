#pragma once

// What the water does to the bed at every node, once a bed update.

#include "control/run_state.h"

namespace dfl {

void BED_FIELDS(RunState& run);

float BEDFORM_HEIGHT(float stage, float h, float D50);  // m
float BEDFORM_RATE(float rhos, float rho, float nu, float THETA, float THETAcr, float D50);  // m/s
float RIPPLE_ROUGHNESS(float rho, float rhos, float D50, float omega, float Aw);  // m
float SLOPE_FACTOR(float slope, float friction_angle);  // slope in radians, angle in degrees

}  // namespace dfl
