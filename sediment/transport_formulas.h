#pragma once

// Closed transport formulas. Symbols and SI units as in sediment/primitives.h; slope in radians.

#include "control/run_state.h"

namespace dfl {

constexpr float transport_z0 = 0.006f;  // m
constexpr float transport_kb = 0.015f;

float Q_SOULSBY_VAN_RIJN(float D50, float h, float rho, float rhos, float U, float Uw, float Ucr,
                         float slope, float z0, float Dstar);  // m2/s
float Q_VAN_RIJN_2017(float D50, float h, float rho, float rhos, float U, float Uw, float Ucr,
                      float T, float Dstar);  // kg/m/s

struct Load {
  float bed = 0.0f, suspended = 0.0f, total = 0.0f;  // m2/s
};
Load Q_CAMENEN_LARSON(float D50, float rho, float rhos, float THETAcr, float h, float nu, float U,
                      bool breaking, float TAUc, float TAUw, float TAUbed, float TAUcr, float Dtot,
                      float slope, float kb);
// The latches of the run say whether a first current and first waves have been seen anywhere.
Load Q_LUND(SedimentState& latches, float D50, float rho, float rhos, float THETAcr, float h,
            float nu, float U, float H, float TAUc, float TAUw, float TAUbed, float breaking,
            float slope, float kb);
Load Q_LUND_OLD(SedimentState& latches, float D50, float rho, float rhos, float THETAcr, float h,
                float nu, float U, float H, float TAUc, float TAUw, float TAUbed, float breaking,
                float slope, float kb);

}  // namespace dfl
