#include "sediment/van_rijn.h"

#include <algorithm>
#include <cmath>

#include "sediment/primitives.h"

namespace dfl {

namespace {

constexpr float pi = 3.1415927f;
constexpr float g = 9.81f;                // m/s2
constexpr float grain_density = 2650.0f;  // kg/m3, whatever the density of the run's sediment
constexpr float least_roughness = 0.01f;  // m
constexpr int most_rows = 25;
constexpr int substeps_per_row = 12;
constexpr int steps_per_cycle = 200;

float pow5(float x) {
  const float x2 = x * x;
  return x2 * x2 * x;
}

// A direction whose both components are 0 counts as 0. Degrees.
float angle_of(float x, float y) {
  if (y == 0.0f) return 0.0f;
  return std::atan(y / x) * 180.0f / pi;
}

// What the formulas use throughout one call.
struct Flow {
  float h = 0.0f, U = 0.0f, Vr = 0.0f, Ud = 0.0f, H = 0.0f, T = 0.0f;
  float phi = 0.0f, cos_phi = 0.0f, sin_phi = 0.0f;
  float kc = 0.0f, kw = 0.0f;
  float D50 = 0.0f, D90 = 0.0f;
  float rho = 0.0f, nu = 0.0f, s1 = 0.0f;
  float Ws = 0.0f, Dstar = 0.0f;
};

struct WaveMotion {
  float A = 0.0f;               // orbital amplitude at the bed, m
  float Uhat = 0.0f;            // orbital speed at the bed, m/s
  float fw = 0.0f, fw1 = 0.0f;  // friction with the wave roughness, with the grain roughness
  float Tp = 0.0f;              // period as the current sees it, s
  float U2 = 0.0f;              // second-order speed
  float Uf = 0.0f, Ub = 0.0f;   // greatest speed forward, backward
  bool second_order = false;    // Stokes' second order holds; else a wave of two half sines
};

// Friction, apparent roughness and stress, and the layers of the velocity profile.
struct BedStress {
  float fc1 = 0.0f;    // grain friction of the current
  float a = 0.0f;      // reference level, m
  float Ustar = 0.0f;  // m/s
  float ka = 0.0f;     // apparent roughness, m
  float Zm = 0.0f;     // top of the wave-mixed layer, m
  float L1 = 0.0f, L2 = 0.0f, B1 = 0.0f, B2 = 0.0f;
  float Uz0 = 0.0f;  // speed at Zm
  float THETAvr = 0.0f, TAUcr = 0.0f;
  float TAUc = 0.0f, TAUw = 0.0f, Tbed = 0.0f;
  float Te = 0.0f;       // dimensionless excess of the reference stress
  bool regular = false;  // no divisor is 0 or beyond all numbers
};

struct Mixing {
  float Sw = 0.0f, Ebed = 0.0f, Emax = 0.0f, Ecm = 0.0f;
};

struct ProfileRow {
  float z = 0.0f;   // m
  float C = 0.0f;   // kg/m3
  float Uz = 0.0f;  // along the current, m/s
  float QX = 0.0f;  // integrated from the reference level
  float Vz = 0.0f;  // across the current
  float QY = 0.0f;
};

struct Profile {
  std::array<ProfileRow, most_rows> rows{};
  int count = 1;  // rows in use
};

struct CycleMean {
  float qx = 0.0f, qy = 0.0f;  // kg/m/s
  float tx = 0.0f, ty = 0.0f;  // Pa
};

[[noreturn]] void stop_without_water(const MessageState& messages, const VanRijnInput& in) {
  constexpr const char* text = "WATER DEPTH .LE. 0 IN van_Rijn SUBROUTINE";
  console(messages, "%s\n", text);
  if (std::FILE* file = open_error_file(messages)) std::fprintf(file, "%s\n", text);
  echo(messages, "%s: depth %g m at %d\n", text, static_cast<double>(in.h), in.number);
  stop_run(messages, true);
}

float fall_velocity(const Flow& flow, float Ds) {
  const float weight = flow.s1 * g;
  if (Ds < 0.0001f) return weight * (Ds * Ds) / (18.0f * flow.nu);
  if (Ds < 0.001f) {
    return 10.0f * flow.nu / Ds *
           (std::sqrt(1.0f + 0.01f * flow.s1 * g * (Ds * Ds * Ds) / (flow.nu * flow.nu)) - 1.0f);
  }
  return 1.1f * std::sqrt(weight * Ds);
}

Flow prepare(const VanRijnInput& in) {
  Flow flow;
  flow.h = in.h;
  flow.U = in.U;
  flow.H = in.H;
  flow.Vr = in.H == 0.0f ? 0.0f : in.Vr;
  flow.Ud = in.H == 0.0f ? 0.0f : in.Ud;
  flow.T = in.T > 0.0f && in.T < 1.0f ? 1.0f : in.T;
  float angle = in.phi;
  if (angle == 0.0f) angle = 1.0e-6f;
  if (angle == 180.0f) angle = 179.99998f;
  flow.phi = angle * pi / 180.0f;
  flow.cos_phi = std::cos(flow.phi);
  flow.sin_phi = std::sin(flow.phi);
  flow.kc = in.kc < least_roughness ? least_roughness : in.kc;
  flow.kw = in.kw < least_roughness ? least_roughness : in.kw;
  flow.D50 = in.D50;
  flow.D90 = in.D90;

  const float Cl = (in.salinity - 0.03f) / 1.805f;  // chlorinity
  const float warmth = in.temperature - 4.0f + 0.4f * Cl;
  flow.rho = 1000.0f - 0.0065f * (warmth * warmth) + 1.455f * Cl;
  flow.nu = 4.0e-5f / (in.temperature + 20.0f);
  flow.s1 = (grain_density - flow.rho) / flow.rho;
  flow.Ws = fall_velocity(flow, in.Ds);
  flow.Dstar = flow.D50 * std::pow(flow.s1 * g / (flow.nu * flow.nu), 1.0f / 3.0f);
  return flow;
}

WaveMotion wave_motion(const Flow& flow) {
  WaveMotion wave;
  wave.Tp = flow.T;
  float L = 0.0f, kh = 0.0f;  // wave length, m
  if (flow.T >= 1.0f) {
    const float omega = 2.0f * pi / flow.T;
    L = 2.0f * pi / WAVE_NUMBER(flow.h, omega).k;
    kh = 2.0f * pi * flow.h / L;
    const float doppler = 1.0f - flow.cos_phi * flow.T * flow.U / L;
    // A wave that stands still over the bed does not move the water there.
    if (doppler == 0.0f) {
      L = 0.0f;
    } else {
      wave.Tp = flow.T / doppler;
      if (kh <= 50.0f) {
        wave.A = flow.H / (2.0f * std::sinh(kh));
        wave.Uhat = 2.0f * pi * wave.A / wave.Tp;
      }
    }
    if (wave.A > 0.0f) {
      wave.fw = std::min(0.3f, std::exp(-6.0f + 5.2f * std::pow(wave.A / flow.kw, -0.19f)));
      wave.fw1 =
          std::min(0.3f, std::exp(-6.0f + 5.2f * std::pow(wave.A / (3.0f * flow.D90), -0.19f)));
    }
  }

  // Asymmetry of the orbital motion.
  if (L > 0.0f && kh < 50.0f) {
    const float sinh_kh = std::sinh(kh);
    const float sinh2 = sinh_kh * sinh_kh;
    wave.U2 = 3.0f * (flow.H * flow.H) * (pi * pi) / (4.0f * L * wave.Tp * (sinh2 * sinh2));
  }
  wave.second_order = 0.01f * g * (wave.Tp * wave.Tp) <= flow.h;
  if (wave.second_order) {
    wave.Uf = wave.Uhat + wave.U2;
    wave.Ub = wave.Uhat - wave.U2;
  } else {
    const float W = 0.3f * flow.H / flow.h + 1.0f;
    wave.Uf = wave.Uhat * W;
    wave.Ub = (2.0f - W) * wave.Uhat;
  }
  wave.Uf = std::min(wave.Uf, 1.2f * wave.Uhat);
  wave.Ub = std::max(wave.Ub, 0.8f * wave.Uhat);
  return wave;
}

// Drifts that the caller wants computed here.
void drifts_on_request(Flow& flow, const WaveMotion& wave) {
  constexpr float requested = 9.0f;
  if (flow.Vr == requested) {
    const float divisor = flow.h * std::sqrt(flow.h) * (0.95f - 0.35f * flow.H / flow.h);
    flow.Vr = divisor == 0.0f ? 0.0f : -0.125f * (flow.H * flow.H) * std::sqrt(g) / divisor;
  }
  if (flow.Ud == requested) {
    const float both = wave.Uf + wave.Ub;
    const float forward = wave.A <= 0.0f || both == 0.0f ? 0.0f : wave.Uf / both;
    flow.Ud = (0.55f - forward) * wave.Uhat;
  }
}

// Shields number at the threshold of motion (van Rijn 1984).
float threshold(float Dstar) {
  if (Dstar <= 4.0f) return 0.24f / Dstar;
  if (Dstar <= 10.0f) return 0.14f * std::pow(Dstar, -0.64f);
  if (Dstar <= 20.0f) return 0.04f * std::pow(Dstar, -0.1f);
  if (Dstar <= 150.0f) return 0.013f * std::pow(Dstar, 0.29f);
  return 0.055f;
}

BedStress bed_stress(const Flow& flow, const WaveMotion& wave) {
  BedStress bed;
  const float h = flow.h, kc = flow.kc;
  bed.a = std::max(kc, flow.kw);
  bed.THETAvr = threshold(flow.Dstar);
  bed.TAUcr = (grain_density - flow.rho) * g * bed.THETAvr * flow.D50;

  const float Lc = std::log10(12.0f * h / kc);
  const float Lc1 = std::log10(12.0f * h / (3.0f * flow.D90));
  const float Ur = std::sqrt(flow.U * flow.U + flow.Vr * flow.Vr);
  const float Eta = flow.Dstar <= 10.0f ? 0.6f / flow.Dstar : 0.06f;
  const float MUw = wave.fw == 0.0f ? 0.0f : wave.fw1 / wave.fw;

  // Apparent roughness: what the current feels of the wave boundary layer.
  const float Dlt = wave.A <= 0.0f ? 0.0f : 0.216f * wave.A * std::pow(wave.A / flow.kw, -0.25f);
  const float phi2 = flow.phi <= pi ? flow.phi : 2.0f * pi - flow.phi;
  float strength = wave.Uhat > 0.0f ? 5.0f : 0.0f;
  if (Ur > 0.0f) strength = std::min(wave.Uhat / Ur, 5.0f);
  bed.ka = std::min(kc * std::exp(strength * (phi2 + 0.8f - 0.3f * (phi2 * phi2))), 10.0f * kc);

  bed.Zm = std::max(bed.ka / 29.9f, std::max(Dlt, kc));
  bed.L1 = std::log(30.0f * bed.Zm / kc);
  bed.L2 = std::log(30.0f * bed.Zm / bed.ka);
  bed.B1 = std::log(30.0f * h / bed.ka) - 1.0f;
  bed.B2 = std::log(30.0f * h / kc) - 1.0f;
  bed.regular =
      Lc != 0.0f && Lc1 != 0.0f && bed.B1 != 0.0f && bed.L1 != 0.0f && std::isfinite(bed.B1);
  if (!bed.regular) return bed;

  const float fc = 0.24f / (Lc * Lc);
  bed.fc1 = 0.24f / (Lc1 * Lc1);
  const float MUc = bed.fc1 / fc;
  const float Alpha = bed.L2 / bed.L1;
  bed.Ustar = std::sqrt(g) * std::abs(Ur) / (18.0f * Lc);
  bed.Uz0 = bed.Zm <= 0.0f ? 0.0f : bed.L2 * flow.U / bed.B1;

  bed.TAUc = 0.125f * flow.rho * fc * (Ur * Ur);
  bed.TAUw = 0.25f * flow.rho * wave.fw * (wave.Uhat * wave.Uhat);
  const float Tc1 = MUc * bed.TAUc;
  const float ratio = bed.B2 / bed.B1;
  const float Tcw = Tc1 * (Alpha * Alpha) * (ratio * ratio);
  bed.Tbed = std::max(Tc1, Tcw + MUw * bed.TAUw);
  const float Tref = std::max(Tc1, Eta * bed.TAUw + Tcw);
  bed.Te = std::max(0.0001f, (Tref - bed.TAUcr) / bed.TAUcr);
  return bed;
}

Mixing mixing_of(const Flow& flow, const WaveMotion& wave, const BedStress& bed) {
  Mixing mixing;
  const float h = flow.h;
  mixing.Sw = std::clamp(0.3f * h * std::sqrt(flow.H / h), 0.05f, 0.2f);
  mixing.Ebed = 0.004f * flow.Dstar * wave.Uhat * mixing.Sw;
  mixing.Emax = mixing.Ebed;
  if (flow.T >= 1.0f) mixing.Emax = std::max(mixing.Ebed, 0.035f * h * flow.H / flow.T);
  float Beta = 1.5f;
  if (bed.Ustar != 0.0f) {
    const float r = flow.Ws / bed.Ustar;
    Beta = std::min(1.5f, 1.0f + 2.0f * (r * r));
  }
  mixing.Ecm = 0.1f * h * bed.Ustar * Beta;
  return mixing;
}

// Gradient of the concentration: settling against mixing, hindered at high concentration.
float gradient(const Flow& flow, const BedStress& bed, const Mixing& mixing, float z, float Cv) {
  if (!(Cv > 1.0e-8f && z >= bed.a)) return 0.0f;
  const float middle = flow.h / 2.0f;
  float Ew, Ec = mixing.Ecm;
  if (z <= mixing.Sw) {
    Ew = mixing.Ebed;
  } else if (z >= middle) {
    Ew = mixing.Emax;
  } else {
    Ew = mixing.Ebed + (mixing.Emax - mixing.Ebed) * (z - mixing.Sw) / (middle - mixing.Sw);
  }
  if (z < middle) {
    const float r = 1.0f - 2.0f * z / flow.h;
    Ec = mixing.Ecm * (1.0f - r * r);
  }
  const float E = std::sqrt(Ew * Ew + Ec * Ec);
  if (flow.Ws == 0.0f) return 0.0f;
  const float damping = 1.0f + std::pow(Cv / 0.65f, 0.8f) - 2.0f * std::pow(Cv / 0.65f, 0.4f);
  return -(flow.Ws / E) / damping * Cv * pow5(1.0f - Cv);
}

float speed_at(const Flow& flow, const BedStress& bed, float z) {
  if (z <= flow.kc / 30.0f) return 0.0f;
  if (z >= bed.Zm) return std::log(30.0f * z / bed.ka) * flow.U / bed.B1;
  return std::log(30.0f * z / flow.kc) * bed.Uz0 / bed.L1;
}

// Adds a row and carries the two integrals on.
void record_row(const Flow& flow, const BedStress& bed, float z, float Cv, Profile& profile) {
  const ProfileRow& before = profile.rows[static_cast<std::size_t>(profile.count) - 1];
  ProfileRow& row = profile.rows[static_cast<std::size_t>(profile.count)];
  ++profile.count;
  row.z = z;
  row.C = grain_density * Cv;
  row.Uz = speed_at(flow, bed, z);
  row.Vz = flow.U == 0.0f ? 0.0f : row.Uz * flow.Vr / flow.U;
  const float dz = z - before.z;
  row.QX = before.QX + 0.5f * (row.C * row.Uz + before.C * before.Uz) * dz;
  row.QY = before.QY + 0.5f * (row.C * row.Vz + before.C * before.Vz) * dz;
}

// Marches the concentration from the reference level to the surface, in equal steps of height where
// it changes slowly, in equal steps of concentration where it changes fast.
void march(const Flow& flow, const BedStress& bed, const Mixing& mixing, float Ca,
           Profile& profile) {
  ProfileRow& start = profile.rows[0];
  start.z = bed.a;
  start.C = grain_density * Ca;
  start.Uz = speed_at(flow, bed, bed.a);
  start.Vz = flow.U == 0.0f ? 0.0f : start.Uz * flow.Vr / flow.U;
  // No water above the reference level, or nothing that lifts grains.
  const bool mixed = mixing.Ecm != 0.0f || mixing.Ebed != 0.0f || mixing.Emax != 0.0f;
  if (!(bed.a < flow.h) || !mixed || !(Ca > 0.0f)) return;

  const float dz = flow.h / 96.0f;
  const float dC = Ca / 96.0f;
  float z = bed.a, Cv = Ca;
  float G = gradient(flow, bed, mixing, z, Cv);
  bool surface = false;
  int substeps = 0;
  while (!surface && profile.count < most_rows) {
    if (-G <= dC / dz) {
      const float z_new = std::min(z + dz, flow.h);
      // In deep water one step may take the concentration to exactly 0, where it stays.
      if (Cv > 0.0f) Cv = Cv * std::exp(G / Cv * (z_new - z));
      z = z_new;
    } else {
      const float C_new = std::max(Cv - dC, 2.0f * Cv / 3.0f);
      z = std::min(z + std::log(C_new / Cv) / (G / Cv), flow.h);
      Cv = C_new;
    }
    surface = z >= flow.h;
    G = gradient(flow, bed, mixing, z, Cv);
    ++substeps;
    if (surface || substeps % substeps_per_row == 0) record_row(flow, bed, z, Cv, profile);
  }
}

// Orbital speed at time t.
float orbital_speed(const WaveMotion& wave, float t, float Tf, float Tb) {
  if (wave.A <= 0.0f) return 0.0f;
  if (wave.second_order) {
    return wave.Uhat * std::sin(2.0f * pi * t / wave.Tp) +
           wave.U2 * std::sin(4.0f * pi * t / wave.Tp - pi / 2.0f);
  }
  if (t < Tf) return wave.Uf * std::sin(pi * t / Tf);
  return -wave.Ub * std::sin(pi * (t - Tf) / Tb);
}

// Mean bed load and stress over a wave. The 202 points of the sum count as 200, which makes the
// load of a steady current 1.01 times the formula's value.
CycleMean wave_cycle(const Flow& flow, const WaveMotion& wave, const BedStress& bed) {
  const bool has_layer = bed.Zm > bed.ka / 30.0f;
  const float Ud0 = has_layer ? bed.Uz0 : 0.0f;
  float Vd = has_layer && flow.U != 0.0f ? flow.Vr / flow.U * bed.Uz0 : 0.0f;
  Vd = Vd + flow.Ud;

  const float both = std::abs(wave.Uhat) + std::abs(Ud0);
  const float Mix = both == 0.0f ? 0.0f : std::abs(Ud0) / both;
  const float ratio = bed.B2 / bed.L1;
  const float Fcw = 0.25f * bed.fc1 * (ratio * ratio) * Mix + wave.fw1 * (1.0f - Mix);

  float Tf = 0.0f;
  const float Ufb = wave.Uf + wave.Ub;
  if (wave.A > 0.0f && Ufb != 0.0f) Tf = wave.Ub / Ufb * wave.Tp;
  const float Tb = wave.Tp - Tf;
  const float Gm = std::max(0.075f, 0.25f * (1.0f - std::sqrt(flow.H / flow.h)));
  const float grain_factor = std::pow(flow.Dstar, 0.3f);

  CycleMean sum;
  float qx = 0.0f, qy = 0.0f, tx = 0.0f, ty = 0.0f;
  for (int i = 0; i <= steps_per_cycle + 1; ++i) {
    // Without waves all points are alike.
    if (i == 0 || wave.A > 0.0f) {
      const float t = static_cast<float>(i) * wave.Tp / static_cast<float>(steps_per_cycle);
      const float w = orbital_speed(wave, t, Tf, Tb);
      const float ux = Ud0 + (Vd + w) * flow.cos_phi;
      const float uy = (Vd + w) * flow.sin_phi;
      const float speed = std::sqrt(ux * ux + uy * uy);
      const float Tt = 0.5f * flow.rho * Fcw * (speed * speed);
      const float Te = std::max(0.0001f, (Tt - bed.TAUcr) / bed.TAUcr);
      const float qb = Gm * grain_density * flow.D50 * std::sqrt(Tt / flow.rho) *
                       std::pow(Te, 1.5f) / grain_factor;
      qx = speed == 0.0f ? 0.0f : qb * ux / speed;
      qy = speed == 0.0f ? 0.0f : qb * uy / speed;
      tx = speed == 0.0f ? 0.0f : Tt * ux / speed;
      ty = speed == 0.0f ? 0.0f : Tt * uy / speed;
    }
    sum.qx += qx;
    sum.qy += qy;
    sum.tx += tx;
    sum.ty += ty;
  }
  constexpr float divisor = static_cast<float>(steps_per_cycle);
  const CycleMean mean = {sum.qx / divisor, sum.qy / divisor, sum.tx / divisor, sum.ty / divisor};
  // Waves far higher than the water is deep can take the second-order motion beyond all numbers.
  const bool finite = std::isfinite(mean.qx * mean.qx + mean.qy * mean.qy) &&
                      std::isfinite(mean.tx * mean.tx + mean.ty * mean.ty);
  return finite ? mean : CycleMean{};
}

// Height of the centre of the load.
float centroid_of(const Profile& profile, float a, float bed_load) {
  if (profile.count < 2 || !(profile.rows[1].z > 0.0f)) return 0.0f;
  float sum = 0.0f;
  for (int k = 1; k < profile.count; ++k) {
    const ProfileRow& row = profile.rows[static_cast<std::size_t>(k)];
    const ProfileRow& before = profile.rows[static_cast<std::size_t>(k) - 1];
    sum +=
        0.25f * (row.C * row.Uz + before.C * before.Uz) * (row.z - before.z) * (row.z + before.z);
  }
  const float QX = profile.rows[static_cast<std::size_t>(profile.count) - 1].QX;
  const float divisor = a * bed_load + QX;
  return divisor == 0.0f ? 0.0f : (a * a / 2.0f * bed_load + sum) / divisor;
}

// Roughness of the bed that the waves and the current make.
void new_roughness(const Flow& flow, const WaveMotion& wave, VanRijnResult& result) {
  float ripple = 0.0f, dune = 0.0f, megaripple = 0.0f;
  if (flow.H > 0.01f) {
    const float Psi = wave.Uhat * wave.Uhat / (flow.s1 * g * flow.D50);
    if (Psi <= 10.0f) {
      ripple = 0.22f * wave.A;
    } else if (Psi <= 250.0f) {
      ripple = 2.8e-13f * pow5(250.0f - Psi) * wave.A;
    }
    const bool deep_and_fast = flow.U >= 0.5f && flow.h > 10.0f;
    if ((flow.U >= 0.3f && Psi <= 250.0f) || (deep_and_fast && Psi >= 250.0f)) {
      dune = 0.02f * flow.h;
    }
    if (deep_and_fast) megaripple = 0.15f * flow.h;
  }
  result.new_kw = std::max(ripple, 2.0f * flow.D90);
  result.new_kc = std::max(ripple + dune + megaripple, 2.0f * flow.D90);
}

}  // namespace

VanRijnResult VAN_RIJN(const MessageState& messages, const VanRijnInput& in) {
  if (!(in.h > 0.0f)) stop_without_water(messages, in);
  Flow flow = prepare(in);
  const WaveMotion wave = wave_motion(flow);
  drifts_on_request(flow, wave);

  VanRijnResult result;
  result.Vr = flow.Vr;
  result.Ud = flow.Ud;
  result.kc = flow.kc;
  result.kw = flow.kw;
  result.Ws = flow.Ws;
  new_roughness(flow, wave, result);
  result.THETAcr =
      0.3f / (1.0f + 1.2f * flow.Dstar) + 0.055f * (1.0f - std::exp(-0.02f * flow.Dstar));
  if (!(flow.D50 > 0.0f && flow.D90 > 0.0f)) return result;

  const BedStress bed = bed_stress(flow, wave);
  result.ka = bed.ka;
  if (!bed.regular) return result;
  result.Ustar = bed.Ustar;
  result.max_stress = bed.Tbed;
  result.wave_stress = bed.TAUw;
  result.current_stress = bed.TAUc;
  result.THETA = bed.TAUc / flow.rho / g / flow.s1 / flow.D50;
  result.mobility = result.THETA / result.THETAcr;

  const float Ca = std::min(
      0.6f, 0.015f * (flow.D50 / bed.a) * std::pow(bed.Te, 1.5f) * std::pow(flow.Dstar, -0.3f));
  Profile profile;
  march(flow, bed, mixing_of(flow, wave, bed), Ca, profile);
  const CycleMean mean = wave_cycle(flow, wave, bed);

  const ProfileRow& top = profile.rows[static_cast<std::size_t>(profile.count) - 1];
  const float Sx = top.QX + top.QY * flow.cos_phi;
  const float Sy = top.QY * flow.sin_phi;
  result.suspended = std::sqrt(Sx * Sx + Sy * Sy);
  result.suspended_angle = angle_of(Sx, Sy);
  result.bed = std::sqrt(mean.qx * mean.qx + mean.qy * mean.qy);
  result.bed_angle = angle_of(mean.qx, mean.qy);
  const float x = mean.qx + Sx, y = mean.qy + Sy;
  result.total = std::sqrt(x * x + y * y);
  result.total_angle = angle_of(x, y);
  result.mean_stress = std::sqrt(mean.tx * mean.tx + mean.ty * mean.ty);
  result.centroid = centroid_of(profile, bed.a, result.bed);
  return result;
}

float VAN_RIJN_STRESS(const MessageState& messages, const VanRijnInput& in) {
  if (!(in.h > 0.0f)) stop_without_water(messages, in);
  Flow flow = prepare(in);
  const WaveMotion wave = wave_motion(flow);
  drifts_on_request(flow, wave);
  if (!(flow.D50 > 0.0f && flow.D90 > 0.0f)) return 0.0f;
  return bed_stress(flow, wave).Tbed;
}

}  // namespace dfl
