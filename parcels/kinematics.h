#pragma once

// Physics of one parcel at one place that releases share with tracking. SI units.

namespace dfl {

// Critical shear stress of a grain, Pa (Soulsby 1997); 1e-6 at or below water density.
float TAUCR_SOULSBY(float rho, float RHOs, float nu, float D);
// Entrainment flux, m/s (van Rijn 1984).
float PICKUP_RATE(float RHOs, float rho, float nu, float theta, float theta_cr, float D);

}  // namespace dfl
