#pragma once

// The tracking step in its plainest form: one statement after the other on the node arrays, with no
// packed records and nothing left out. The program's own form must give the same bytes; tests and
// benchmarks hold it against this one.

#include <algorithm>
#include <cmath>
#include <limits>

#include "control/run_state.h"
#include "flow/vertical_profile.h"
#include "mesh/find_element.h"
#include "parcels/displacement.h"
#include "parcels/kinematics.h"
#include "parcels/track_parcel.h"
#include "parcels/track_stage.h"
#include "sediment/primitives.h"
#include "sediment/van_rijn.h"

namespace dfl::literal {

constexpr float gravity = 9.81f;
constexpr float pi = 3.14159f;
constexpr float two_pi = 6.28318f;
constexpr float tan_of_repose = 0.62486875f;  // of 32 degrees

// Working values of one step, and fields that the packed form keeps elsewhere. SI units.
struct Working : Stage {
  int n1 = 0, n2 = 0, n3 = 0;
  float B = 0.0f, D90 = 0.0f, D50 = 0.0f;
};

inline float at_nodes(const Working& s, const Array<float>& f) {
  return NODE_INTERP(s.weights, s.n1, s.n2, s.n3, f);
}

inline float at_height(const RunState& run, const Working& s, float z, int first_level,
                       EndRule bottom, EndRule top, const Array2<float>& f) {
  return ELEMENT_VERT_INTERP(run.flow, run.settings.method.flow, s.weights, s.n1, s.n2, s.n3, z,
                             s.H, first_level, bottom, top, f);
}

// At the parcel's height, held beyond the levels.
inline float at_parcel(const RunState& run, const Working& s, const Array2<float>& f) {
  return at_height(run, s, s.height, 1, EndRule::hold, EndRule::hold, f);
}

inline float degrees(float angle) {
  return angle * 180.0f / pi;
}
inline float radians(float angle) {
  return angle * pi / 180.0f;
}

// Shear stress on the bed by current and waves, Pa.
inline float stress_pie(const Working& s, float omega, float k, float Ax, float Ay, float Aw,
                        float Ub, float phi) {
  const WaveFriction friction =
      WAVE_FRICTION(omega, k, s.H, s.KSgrain, s.Hw / 2.0f, Ax, Ay, s.U, s.V, s.rho);
  const float tau_x = friction.Cdx * s.rho * s.U * s.S;
  const float tau_y = friction.Cdy * s.rho * s.V * s.S;
  const float tau_c = std::sqrt(tau_x * tau_x + tau_y * tau_y);
  float fw = 0.0f;
  if (Aw > 1.0e-6f) {
    fw = held(std::exp(5.5f * std::pow(s.KSgrain / Aw, 0.2f) - 6.3f), 0.0f, 1.0f);
  }
  const float tau_w = s.rho * 0.5f * fw * (Ub * Ub);
  const float along = tau_c + tau_w * std::cos(radians(phi));
  const float across = tau_w * std::sin(radians(phi));
  return std::sqrt(along * along + across * across);
}

// Raises the roughness at the parcel to the least one of the formula.
inline float stress_van_rijn(const RunState& run, const Parcel& parcel, Working& s, float Ud,
                             float phi) {
  const int number = static_cast<int>(&parcel - run.parcels.PARCELS.data()) + 1;
  const float temperature =
      run.flow.UNIFORMtem ? run.settings.temperature : at_parcel(run, s, run.flow.TEMnode);
  const float salinity =
      run.flow.UNIFORMsal ? run.settings.salinity * 1000.0f : at_parcel(run, s, run.flow.SALnode);
  const VanRijnInput in{number, s.H,   s.S,   0.0f,      Ud,        s.Hw,        s.Tw,    phi,
                        s.D50,  s.D90, s.D50, s.KStotal, s.KStotal, temperature, salinity};
  const VanRijnResult result = VAN_RIJN(run.messages, in);
  s.KStotal = result.kc;
  return result.max_stress;
}

// Chance of a pick-up, 1/s.
inline float pickup(const RunState& run, const Parcel& parcel, const Working& s) {
  const Settings& set = run.settings;
  const float tau_b = TAUCR_SOULSBY(s.rho, set.rhos, s.nu, s.D50);
  const float delta =
      (s.tau - tau_b) / (1.0f - set.bed_porosity) / (set.rhos - s.rho) / gravity / tan_of_repose;
  float e1 = 1.0f, e2 = 1.0f;
  if (delta > 0.0f) {
    e1 = held(parcel.D / delta, 0.0f, 1.0f);
    e2 = held(1.0f - s.BURIAL / delta, 0.0f, 1.0f);
  }
  const float theta = (s.tau / s.rho / gravity) / (parcel.RHOs / s.rho - 1.0f) / parcel.D;
  float theta_cr = 0.0f;
  if (run.parcels.TAUgiven) {
    theta_cr = parcel.TAUcr / gravity / (parcel.RHOs - s.rho) / parcel.D;
  } else {
    const float Dstar =
        parcel.D * std::pow((parcel.RHOs / s.rho - 1.0f) * gravity / (s.nu * s.nu), 1.0f / 3.0f);
    theta_cr = 0.3f / (1.0f + 1.2f * Dstar) + 0.055f * (1.0f - std::exp(-0.02f * Dstar));
  }
  const float rate = PICKUP_RATE(parcel.RHOs, s.rho, s.nu, theta, theta_cr, parcel.D);
  return std::min(rate / parcel.D, 1.0f) * e2 * e1;
}

// False on a dry place.
inline bool LOCAL_CONDITIONS(const RunState& run, const Parcel& parcel, Working& s,
                             RandomStream& random) {
  const Settings& set = run.settings;
  const MeshState& mesh = run.mesh;
  const AdvectionMethod advection = set.method.advection;

  // Depth, bed and roughness.
  s.weights = element_weights(run.messages, mesh, s.element, s.x, s.y);
  s.n1 = mesh.ELnode1(s.element), s.n2 = mesh.ELnode2(s.element), s.n3 = mesh.ELnode3(s.element);
  s.H = at_nodes(s, run.flow.Hnode);
  s.B = at_nodes(s, mesh.DEPTHnode);
  s.D90 = at_nodes(s, run.sediment.D90);
  s.D50 = at_nodes(s, run.sediment.D50);
  s.Db = set.wave_breaking ? at_nodes(s, run.waves.WAVEbreak) : 0.0f;
  s.KSgrain = 3.0f * s.D90;
  s.KStotal = std::max(s.KSgrain, at_nodes(s, run.sediment.KSnode));
  if (s.H < set.min_depth) return false;

  // Waves.
  float Ax = at_nodes(s, run.waves.WAVEdirx);
  float Ay = at_nodes(s, run.waves.WAVEdiry);
  s.theta_w = degrees(std::atan2(Ax, Ay));
  s.U = NODE_INTERP2(s.weights, s.n1, s.n2, s.n3, run.flow.Unode, 0);
  s.V = NODE_INTERP2(s.weights, s.n1, s.n2, s.n3, run.flow.Vnode, 0);
  s.Hw = at_nodes(s, run.waves.WAVEheight);
  s.Tw = at_nodes(s, run.waves.WAVEperiod);
  if (!(s.Tw > 0.0f)) {  // no waves
    s.Tw = 1.0f;
    s.Hw = 0.0f;
  }
  const float omega = two_pi / s.Tw;
  const WaveNumber wave = WAVE_NUMBER(s.H, omega);
  const float k = wave.k;
  const float Cg = (1.0f + wave.G) * 0.5f * omega / k;
  Ax = Ax * k;
  Ay = Ay * k;
  float Ub = 0.0f, Aw = 0.0f, Ud = 0.0f;
  if (!(s.H * k >= 20.0f)) {
    Ub = (s.Tw * gravity * s.Hw * k / std::cosh(k * s.H)) * 0.25f / pi;
    Aw = s.Tw * Ub * 0.5f / pi;
    if (set.wave_mass_transport) {
      Ud = WAVE_DRIFT(run.messages, 1, k, s.H, std::max(s.height, s.KSgrain / 4.0f), s.Hw, s.Tw,
                      omega / k);
    }
  }
  float Uu = 0.0f;
  if (set.undertow && s.Db != 0.0f) {
    const float Hu = s.H - s.Hw / 2.0f;
    if (Hu > 5.0f * set.min_depth) {
      Uu = -(((s.Hw * s.Hw * s.Hw / 4.0f) / s.H / 0.2679492f) / s.Tw +
             (1.22625f / (omega / k)) * (s.Hw * s.Hw)) /
           Hu;
      Uu = std::max(Uu, -0.2f * s.Hw);
    }
  }
  if (set.wave_mass_transport) {
    s.U = s.U + Ud * std::sin(radians(s.theta_w));
    s.V = s.V + Ud * std::cos(radians(s.theta_w));
  }
  if (set.undertow) {
    s.U = s.U + Uu * std::sin(radians(s.theta_w));
    s.V = s.V + Uu * std::cos(radians(s.theta_w));
  }
  float theta_c = degrees(std::atan2(s.U, s.V));
  if (theta_c < 0.0f) theta_c = theta_c + 360.0f;
  if (s.theta_w < 0.0f) s.theta_w = s.theta_w + 360.0f;
  if (s.theta_w > 360.0f) s.theta_w = s.theta_w - 360.0f;
  float phi = theta_c + 360.0f - s.theta_w;
  if (phi > 360.0f) phi = phi - 360.0f;
  if (phi < 0.0f) phi = phi + 360.0f;
  s.S = std::sqrt(s.U * s.U + s.V * s.V);

  // Water.
  s.rho = run.flow.UNIFORMden ? set.water_density : at_parcel(run, s, run.flow.DENnode);
  s.nu =
      run.flow.UNIFORMtem ? set.water_viscosity : VISCOSITY_T(at_parcel(run, s, run.flow.TEMnode));

  // Stress on the bed and the stress to exceed.
  s.tau = set.method.eulerian == EulerianMethod::pie ? stress_pie(s, omega, k, Ax, Ay, Aw, Ub, phi)
                                                     : stress_van_rijn(run, parcel, s, Ud, phi);
  if (set.wave_breaking && s.Db < 0.0f) s.tau = s.tau + std::max(-0.1f * s.Db / Cg, 0.0f);
  s.tau_cr = is_true(s.DORMANT) ? parcel.TAUcr : parcel.TAUcd;
  if (set.turbulent_shear) {
    float g = 0.0f;
    if (!set.debug) g = held(static_cast<float>(GAUSS_NUMBER(random)), -6.0f, 6.0f);
    const double f = std::min(std::max(s.DTsub * 0.05 * static_cast<double>(g), -0.4), 0.4);
    s.tau = std::max(s.tau * (1.0f + static_cast<float>(f)), 0.0f);
  }
  if (s.DORMANT == logical_true && set.hiding_exposure) {
    const float r = held(parcel.D / s.D50, 0.3f, 10.0f);
    const float exposure = std::log10(19.0f * r);
    s.tau_cr = s.tau_cr * 1.6666666f / (exposure * exposure);
  }
  s.MOBILITY = s.tau / s.tau_cr;

  // Pick-up.
  s.Pu = 0.0f;
  if (set.bed_interaction && (advection == AdvectionMethod::q3d ||
                              (advection == AdvectionMethod::d3 && s.DORMANT == logical_true))) {
    s.Pu = pickup(run, parcel, s);
  }
  if (is_true(s.DORMANT) && !set.bed_interaction && advection == AdvectionMethod::q3d) {
    s.Pu = s.MOBILITY < 1.0f ? 0.0f : 1.0f;
  }
  if (advection == AdvectionMethod::d2 && s.MOBILITY < 1.0f) s.DORMANT = logical_true;

  // Shear velocities.
  if (s.KSgrain <= 0.0f || s.H < s.KSgrain) {
    s.ustarc = 0.0f;
    s.MOBILITY = 0.0f;
  } else {
    s.ustarc = s.S / (5.75f * std::log10(s.H / s.KSgrain) + 6.0f);
  }
  s.ustar = std::sqrt(at_nodes(s, run.sediment.TAUbed) / s.rho);
  return true;
}

// Logarithmic profile over the total roughness; without roughness the profile is uniform.
inline void log_velocity(const Working& s, float z, float& u, float& v) {
  const float L = 2.5f * std::log(11.0f * s.H / s.KStotal);
  if (!(s.KStotal > 0.0f) || L == 0.0f) {
    u = s.U;
    v = s.V;
    return;
  }
  if (z <= s.KStotal / 2.0f) {
    u = (6.77f * s.U / L) * (2.0f * z / s.KStotal);
    v = (6.77f * s.V / L) * (2.0f * z / s.KStotal);
  } else {
    u = (2.5f * s.U / L) * std::log(30.0f * z / s.KStotal);
    v = (2.5f * s.V / L) * std::log(30.0f * z / s.KStotal);
  }
}

inline float continuity(const RunState& run, const Working& s, float z) {
  const MeshState& mesh = run.mesh;
  const FlowState& flow = run.flow;
  const float area = mesh.AREAelem(s.element);
  const double x1 = mesh.Xnode(s.n1), y1 = mesh.Ynode(s.n1);
  const double x2 = mesh.Xnode(s.n2), y2 = mesh.Ynode(s.n2);
  const double x3 = mesh.Xnode(s.n3), y3 = mesh.Ynode(s.n3);
  const float divergence = DFDX(area, x1, y1, x2, y2, x3, y3, flow.Unode(s.n1, 0),
                                flow.Unode(s.n2, 0), flow.Unode(s.n3, 0)) +
                           DFDY(area, x1, y1, x2, y2, x3, y3, flow.Vnode(s.n1, 0),
                                flow.Vnode(s.n2, 0), flow.Vnode(s.n3, 0));
  double time_new = 0.0, time_old = 0.0;
  continuity_times(run, time_new, time_old);
  return CONTINUITY_W(z, s.H, divergence, at_nodes(s, flow.ETAnew), at_nodes(s, flow.ETAold),
                      time_new, time_old);
}

inline void PARCEL_VELOCITY(const RunState& run, const Parcel& parcel, Working& s) {
  const Settings& set = run.settings;
  const FlowState& flow = run.flow;
  const AdvectionMethod advection = set.method.advection;
  const VelocityMethod method = set.method.velocity;

  // Centre of motion.
  s.hc = 0.0f;
  s.fr = 0.0f;
  if (set.method.centroid == CentroidMethod::rouse) {
    if (s.MOBILITY >= 1.0f) {
      SUSPENDED_LAYER(method, s.H, parcel.Ws, s.S, s.MOBILITY, s.KStotal, s.KSgrain, s.ustarc,
                      s.ustar, s.hc, s.fr);
    }
  } else {
    const int number = static_cast<int>(&parcel - run.parcels.PARCELS.data()) + 1;
    const float temperature = flow.UNIFORMtem ? set.temperature : at_parcel(run, s, flow.TEMnode);
    // A salinity field is in parts per thousand, the card's value a mass fraction.
    const float salinity =
        flow.UNIFORMsal ? set.salinity : at_parcel(run, s, flow.SALnode) / 1000.0f;
    const CentroidInput in{set.waves, s.H,      s.Tw,      s.Hw,        s.theta_w, s.S,     s.U,
                           s.V,       parcel.D, s.KStotal, temperature, salinity,  s.ustar, number};
    CENTROID_VAN_RIJN(run.messages, method, in, parcel.Ws, s.KSgrain, s.hc, s.fr);
  }
  if (advection != AdvectionMethod::d2) s.fr = 1.0f;
  s.hs = advection == AdvectionMethod::d2 ? s.hc : s.height;

  bool second_point = false;
  float UB = 0.0f, VB = 0.0f;
  if (method == VelocityMethod::two_point) {
    second_point = is_true(flow.BOTTOMmask(s.n1)) && is_true(flow.BOTTOMmask(s.n2)) &&
                   is_true(flow.BOTTOMmask(s.n3));
    if (second_point) {
      UB = at_nodes(s, flow.UBnode);
      VB = at_nodes(s, flow.VBnode);
    }
  }

  const auto profile = [&](float z, float& u, float& v) {
    if (second_point) {
      TWO_POINT_PROFILE(s.H, set.bottom_flow_height, s.KSgrain, s.U, s.V, UB, VB, z, u, v);
    } else {
      log_velocity(s, z, u, v);
    }
  };

  // Velocity at height hs.
  if (!flow.FLOW2D) {
    s.u = at_height(run, s, s.hs, 0, EndRule::to_zero, EndRule::hold, flow.Unode);
    s.v = at_height(run, s, s.hs, 0, EndRule::to_zero, EndRule::hold, flow.Vnode);
    s.su = std::sqrt(s.u * s.u + s.v * s.v);
    s.w = at_height(run, s, s.hs, 1, EndRule::to_zero, EndRule::to_zero, flow.Wnode);
  } else if (advection == AdvectionMethod::d2 || method == VelocityMethod::uniform) {
    s.u = s.U;
    s.v = s.V;
    s.su = s.S;
  } else if (method == VelocityMethod::log || method == VelocityMethod::two_point) {
    if (second_point && !(s.hs > 0.0f)) {
      s.u = s.v = 0.0f;
    } else {
      profile(s.hs, s.u, s.v);
    }
    s.su = std::sqrt(s.u * s.u + s.v * s.v);
  } else {
    fatal_error(run.messages, "Selected VELOCITY_METHOD not available");
  }
  if (flow.FLOW2D && advection != AdvectionMethod::d2) s.w = continuity(run, s, s.height);

  // Grains that the bed holds back near it go slower.
  if (advection != AdvectionMethod::q3d || !set.bed_interaction) return;
  if (parcel.Ws <= 0.0f) return;
  const float c = s.hc;
  const float r = s.Pu * c / parcel.Ws;
  // Also where the centre has no finite height.
  if (!(1.4f * c >= s.height) || !(r < 1.0f)) return;
  if (c <= 0.0f) {
    s.u = s.v = s.su = 0.0f;
    return;
  }
  const auto speed_at = [&](float z) {
    float u = 0.0f, v = 0.0f;
    profile(z, u, v);
    return std::sqrt(u * u + v * v);
  };
  const float a = speed_at(c);
  const float b = speed_at(1.4f * c);
  const float q = r * a;
  const float speed =
      s.height <= c ? q * s.height / c : q + ((s.height - c) / (0.4f * c)) * (b - q);
  if (s.su > 0.0f) {
    s.u = (s.u / s.su) * speed;
    s.v = (s.v / s.su) * speed;
    s.su = speed;
  } else {
    s.u = s.v = s.su = 0.0f;
  }
}

inline void LIGHT_VELOCITY(const RunState& run, Parcel& parcel, Working& s) {
  const AdvectionMethod advection = run.settings.method.advection;
  parcel.MOBILITY = s.MOBILITY = s.Pu = 1.0f;
  s.u = s.U;
  s.v = s.V;
  s.su = s.S;
  const float hq = std::max(s.height, s.KStotal / 30.0f);
  s.hs = s.hc = hq;
  s.fr = 1.0f;
  if (!run.flow.FLOW2D) {
    s.w = at_height(run, s, hq, 1, EndRule::to_zero, EndRule::to_zero, run.flow.Wnode);
    return;
  }
  if (advection != AdvectionMethod::d2 && s.S > 0.0f) {
    float k = 0.0f;
    if (0.0f < s.KStotal && s.KStotal <= s.H) {
      k = s.KStotal;
    } else if (0.0f < s.KSgrain && s.KSgrain <= s.H) {
      k = s.KSgrain;
    }
    if (k > 0.0f) {
      const float ustar = s.S / (5.75f * std::log10(s.H / k) + 6.0f);
      s.fr = 2.5f * ustar * std::log(30.0f * hq / k) / s.S;
    }
  }
  if (advection != AdvectionMethod::d2) s.w = continuity(run, s, s.height);
}

inline float ROUSE_HEIGHT(RandomStream& random, float ustar, float Ws, float a) {
  const float r = UNIFORM_NUMBER(random);
  UNIFORM_NUMBER(random);
  UNIFORM_NUMBER(random);
  UNIFORM_NUMBER(random);
  const float ratio = ustar / Ws;
  float F = 0.0f;
  if (ratio >= 1.0e6f) {
    F = 1.0f;
  } else if (ratio > 1.0e-6f) {
    F = 0.5f * std::tanh(1.3f * (std::log(ratio) - 0.3f)) + 0.5f;
  }
  // No share in suspension: somewhere below a.
  if (F <= 0.0f) return held(a * r, 0.0f, 1.0f);
  const float Z = (Ws / 0.4f) / ustar;
  const auto level = [&](int i) {
    const float x = static_cast<float>(i) / 50.0f;
    const float square = x * x;
    return square * square + a;
  };
  const auto g = [&](float z) {
    return z == a ? 1.0f : std::pow((1.0f / z - 1.0f) / (1.0f / a - 1.0f), Z);
  };
  // Up to the level where the sum exceeds `most`; the 51st level is above 1 for every height a.
  const auto sum_up = [&](float C, float most, float& z) {
    for (int i = 1; i <= 51; ++i) {
      const float below = level(i - 1);
      z = level(i);
      if (z > 1.0f) break;
      C = C + 0.5f * (g(below) + g(z)) * (z - below);
      if (C / most > r) return C;
    }
    z = 1.0f;
    return C;
  };
  float z = 0.0f;
  const float T = sum_up(0.0f, std::numeric_limits<float>::infinity(), z) / F;
  if (r < 1.0f - F) return a * r;
  sum_up((1.0f - F) * T, T, z);
  return z;
}

inline void DISPLACEMENT(const RunState& run, const Parcel& parcel, Working& s,
                         RandomStream& random) {
  const Settings& set = run.settings;
  const AdvectionMethod advection = set.method.advection;
  const double dt8 = set.time_step;
  s.absolute = false;
  if (s.hs > s.H) s.h0 = s.H;
  if (advection == AdvectionMethod::d2 && s.MOBILITY < 1.0f) {
    s.dx = s.Xs;
    s.dy = s.Ys;
    s.dz = static_cast<double>(s.hc);
    s.absolute = true;
    s.status = 1;
    return;
  }

  // Random walk.
  const float factor = breaking_factor(set, s.Db, s.Hw);
  const auto Ev = [&](float z) { return EV_VERTICAL(set, s.H, z, s.su, factor); };
  const float Et = ET_HORIZONTAL(set, s.H, s.ustar, factor);
  const float Ev0 = Ev(s.h0);
  const float top = s.H - 0.01f;
  float gradient = 0.0f;
  if (0.01f < s.h0 && s.h0 < top) {
    gradient = (Ev(s.h0 + 0.01f) - Ev(s.h0 - 0.01f)) / 0.02f;
  } else if (s.h0 <= 0.01f && s.h0 <= top) {
    gradient = (Ev(s.h0 + 0.01f) - Ev0) / 0.01f;
  } else if (s.h0 >= 0.01f && s.h0 >= top) {
    gradient = (Ev0 - Ev(s.h0 - 0.01f)) / 0.01f;
  }
  double rx = 0.0, ry = 0.0, rz = 0.0;
  if (!set.no_random_walk) {
    rx = static_cast<double>(s.walk.w2 * walk_scale(Et, dt8)) * dt8;
    ry = static_cast<double>(s.walk.w3 * walk_scale(Et, dt8)) * dt8;
    rz = static_cast<double>(gradient + s.walk.w4 * walk_scale(Ev0, dt8)) * dt8;
  }
  const double dx = static_cast<double>(s.u * s.fr) * dt8 + rx;
  const double dy = static_cast<double>(s.v * s.fr) * dt8 + ry;

  // In motion.
  if (!is_true(s.DORMANT)) {
    s.dx = dx;
    s.dy = dy;
    if (advection == AdvectionMethod::d2) {
      s.dz = static_cast<double>(s.hc);
    } else if (advection == AdvectionMethod::d3 || parcel.RHOs <= s.rho || s.MOBILITY < 1.0f ||
               s.hc <= s.h0) {
      s.dz = static_cast<double>(s.w - parcel.Ws) * dt8 + rz;
    } else {
      s.dz = static_cast<double>(s.w + parcel.Ws) * dt8 + rz;
    }
    return;
  }

  // On the bed.
  s.absolute = true;
  s.dx = s.Xs;
  s.dy = s.Ys;
  s.dz = static_cast<double>(s.h0);
  if (advection == AdvectionMethod::d2) return;
  const bool picked = static_cast<double>(s.walk.w1) < static_cast<double>(s.Pu) * dt8;
  if (advection == AdvectionMethod::d3) {
    if (!picked && set.bed_interaction) return;
    if (set.debug) {
      s.dz = static_cast<double>(s.hc);
    } else if (parcel.Ws > 0.0f) {
      s.dz =
          static_cast<double>(literal::ROUSE_HEIGHT(random, s.ustar, parcel.Ws, s.KStotal) * s.H);
    }
  } else {
    if (!picked) return;
    s.dz = static_cast<double>(s.hc);
  }
  s.dx = s.Xs + dx;
  s.dy = s.Ys + dy;
}

// The straight way of a step, y = m x + c.
struct Path {
  double Xs = 0.0, Ys = 0.0, x = 0.0, y = 0.0;
  double m = 0.0, c = 0.0;
};

enum class Crossing { none, stopped, lost };

// True within t of the bounding boxes of the path and of segment i of a boundary.
inline bool in_boxes(const MeshState& mesh, const Path& p, const Boundary& b, int i, double xi,
                     double yi, double t) {
  const auto within = [&](double value, double from, double to) {
    return value >= std::min(from, to) - t && value <= std::max(from, to) + t;
  };
  const auto rounded = [](double value) { return static_cast<double>(static_cast<float>(value)); };
  const int a1 = b.NODES(i), a2 = b.NODES(i + 1);
  return within(xi, rounded(mesh.Xnode(a1)), rounded(mesh.Xnode(a2))) &&
         within(yi, rounded(mesh.Ynode(a1)), rounded(mesh.Ynode(a2))) && within(xi, p.Xs, p.x) &&
         within(yi, p.Ys, p.y);
}

// Puts the parcel at (x, y), in element e if that holds it; false where the mesh does not.
inline bool put(const MeshState& mesh, Working& s, double x, double y, int e) {
  const int found = in_element(mesh, e, x, y) ? e : FIND_ELEMENT(mesh, x, y);
  if (found == 0) return false;
  s.x = x;
  s.y = y;
  s.element = found;
  return true;
}

// The parcel stops at segment i of boundary b if its path crosses it; e: element of the test.
inline Crossing crossing(const MeshState& mesh, const Path& p, const Boundary& b, int i, int e,
                         Working& s) {
  const int a1 = b.NODES(i), a2 = b.NODES(i + 1);
  const double m2 = static_cast<double>(b.SLOPE(i)), c2 = static_cast<double>(b.ICEPT(i));
  const double t = static_cast<double>(mesh.MESHtol);
  if (p.m == m2) return Crossing::none;
  double xi = (c2 - p.c) / (p.m - m2);
  if (p.m >= vertical_slope) {
    xi = p.Xs;
  } else if (m2 >= vertical_slope) {
    xi = static_cast<double>(static_cast<float>(mesh.Xnode(a1)));
  }
  const double yi = p.m >= vertical_slope ? c2 + m2 * p.Xs : p.m * xi + p.c;
  if (!in_boxes(mesh, p, b, i, xi, yi, t)) return Crossing::none;
  if (in_element(mesh, e, xi, yi)) {
    put(mesh, s, xi, yi, e);
    return Crossing::stopped;
  }
  for (int n : {mesh.ELnode1(e), mesh.ELnode2(e), mesh.ELnode3(e)}) {
    if (n == a1 || n == a2) continue;
    // One tolerance toward the third node.
    const double a = std::atan2(mesh.Ynode(n) - yi, mesh.Xnode(n) - xi);
    return put(mesh, s, xi + std::cos(a) * t, yi + std::sin(a) * t, e) ? Crossing::stopped
                                                                       : Crossing::lost;
  }
  return Crossing::lost;
}

inline int near_search(const MeshState& mesh, int e0, double x, double y) {
  if (in_element(mesh, e0, x, y)) return e0;
  const auto in_list = [&](int e) {
    for (int j = 0; j < mesh.NEIGHcount(e); ++j) {
      const int f = mesh.NEIGHlist(mesh.NEIGHstart(e) + j);
      if (in_element(mesh, f, x, y)) return f;
    }
    return 0;
  };
  int found = in_list(e0);
  for (int j = 0; found == 0 && j < mesh.NEIGHcount(e0); ++j) {
    found = in_list(mesh.NEIGHlist(mesh.NEIGHstart(e0) + j));
  }
  return found;
}

// The wall of a parcel that is outside the mesh, looked for over all land boundaries: first among
// the edges of its element, then of its neighbours.
inline Crossing search_walls(const MeshState& mesh, const Path& p, Working& s) {
  for (const bool own : {true, false}) {
    const int elements = own ? 1 : mesh.NEIGHcount(s.e0);
    for (int b = 1; b <= mesh.NUMland; ++b) {
      const Boundary& bnd = mesh.LANDbnd(b);
      for (int i = 1; i < bnd.NUMpts; ++i) {
        for (int j = 0; j < elements; ++j) {
          const int e = own ? s.e0 : mesh.NEIGHlist(mesh.NEIGHstart(s.e0) + j);
          if (!EDGE_IN_ELEMENT(bnd.NODES(i), bnd.NODES(i + 1), mesh.ELnode1(e), mesh.ELnode2(e),
                               mesh.ELnode3(e))) {
            continue;
          }
          const Crossing hit = crossing(mesh, p, bnd, i, e, s);
          if (hit != Crossing::none) return hit;
        }
      }
    }
  }
  return Crossing::none;
}

inline bool side_step(const MeshState& mesh, const Path& p, Working& s) {
  const double lx = p.x - p.Xs, ly = p.y - p.Ys;
  const float dist = static_cast<float>(std::sqrt(lx * lx + ly * ly));
  const double a = std::atan2(ly, lx);
  const double step = static_cast<double>(std::min(mesh.MESHtol, dist));
  for (const double side : {a + 1.570795, a - 1.570795}) {
    if (put(mesh, s, p.Xs + std::cos(side) * step, p.Ys + std::sin(side) * step, s.e0)) return true;
  }
  for (const double sx : {-1.0, 1.0}) {
    for (const double sy : {-1.0, 1.0}) {
      if (put(mesh, s, p.Xs + sx * step, p.Ys + sy * step, s.e0)) return true;
    }
  }
  return false;
}

inline bool crosses_open_boundary(const MeshState& mesh, Path p) {
  p.m = p.x == p.Xs ? 999999.0 : (p.y - p.Ys) / (p.x - p.Xs);
  p.c = p.Ys - p.Xs * p.m;
  for (int b = 1; b <= mesh.NUMopen; ++b) {
    const Boundary& bnd = mesh.OPENbnd(b);
    for (int i = 1; i < bnd.NUMpts; ++i) {
      const double m2 = static_cast<double>(bnd.SLOPE(i));
      if (m2 == p.m) continue;
      const double xi = m2 >= vertical_slope
                            ? static_cast<double>(static_cast<float>(mesh.Xnode(bnd.NODES(i))))
                            : (static_cast<double>(bnd.ICEPT(i)) - p.c) / (p.m - m2);
      if (in_boxes(mesh, p, bnd, i, xi, p.m * xi + p.c, 0.0)) return true;
    }
  }
  return false;
}

// Sets the element of (s.x, s.y), which it may move; negative if the parcel is lost.
inline int settle_element(const RunState& run, Working& s) {
  const MeshState& mesh = run.mesh;
  const int e0 = s.e0;
  const bool land = is_true(mesh.LANDelem(e0)), open = is_true(mesh.OPENelem(e0));
  if (!(std::isfinite(s.x) && std::isfinite(s.y))) return lost_off_mesh;
  for (bool shifted = false;; shifted = true) {
    s.element = near_search(mesh, e0, s.x, s.y);
    if (s.element != 0) return 1;
    Path p{s.Xs, s.Ys, s.x, s.y, 0.0, 0.0};
    if (land && !open) {
      LINE_COEFS8(s.Xs, s.x, s.Ys, s.y, p.m, p.c);
      const ElementBoundaries& refs = mesh.LANDrefs(e0);
      for (std::size_t j = 0; j < 3; ++j) {
        if (refs.BND[j] == 0) continue;
        const Crossing hit = crossing(mesh, p, mesh.LANDbnd(refs.BND[j]), refs.SEG[j], e0, s);
        if (hit != Crossing::none) return hit == Crossing::stopped ? 1 : lost_behind_wall;
      }
    }
    s.element = FIND_ELEMENT(mesh, s.x, s.y);
    if (s.element != 0) return 1;
    if (land && !open) {
      const Crossing hit = search_walls(mesh, p, s);
      if (hit != Crossing::none) return hit == Crossing::stopped ? 1 : lost_behind_wall;
      return side_step(mesh, p, s) ? 1 : lost_no_wall_found;
    }
    if (!land && open && crosses_open_boundary(mesh, p)) return lost_open_boundary;
    if (!run.settings.rvs_mesh || shifted) return lost_off_mesh;
    s.x = s.x + static_cast<double>(0.01f * std::sqrt(mesh.AREAelem(e0)));
  }
}

inline void PARCEL_LOCATE(const RunState& run, Working& s) {
  const MeshState& mesh = run.mesh;
  s.status = settle_element(run, s);
  if (s.status < 0) return;
  const int n1 = mesh.ELnode1(s.element), n2 = mesh.ELnode2(s.element),
            n3 = mesh.ELnode3(s.element);
  const Weights w = element_weights(run.messages, mesh, s.element, s.x, s.y);
  const float Hn = NODE_INTERP(w, n1, n2, n3, run.flow.Hnode);
  const float Bn = NODE_INTERP(w, n1, n2, n3, mesh.DEPTHnode);
  if (Hn < s.height) s.height = 2.0f * Hn - s.height;
  if (run.settings.method.advection != AdvectionMethod::d2) {
    s.height = std::min(std::max(s.height - (s.B0 - Bn), 0.0f), Hn);
  }
  s.z = (s.z0 - s.h0) + (s.B0 - Bn) + s.height;
}

inline TrackReport TRACK_PARCEL(const RunState& run, int order, Parcel& parcel,
                                RandomStream& random) {
  const Settings& set = run.settings;
  TrackReport report;
  Working s;
  s.x = s.Xs = parcel.X;
  s.y = s.Ys = parcel.Y;
  s.z = s.z0 = parcel.Z;
  s.height = s.h0 = parcel.h;
  s.element = s.e0 = parcel.ELEMENT;
  s.DORMANT = parcel.DORMANT;
  s.BURIAL = parcel.BURIAL;
  s.MOBILITY = parcel.MOBILITY;
  if (s.e0 < 1 || s.e0 > run.mesh.NUMelem) {
    parcel.ALIVE = logical_false;
    parcel.LOSS = lost_off_mesh;
    report.status = lost_off_mesh;
    return report;
  }
  if (order != 2 && order != 4) fatal_error(run.messages, " *** Iorder must be 2 or 4 ***");
  const double RKweights[4] = {0.5, order == 2 ? 1.0 : 0.5, order == 2 ? 0.0 : 1.0,
                               order == 2 ? 0.0 : 1.0};
  double RKx[4] = {}, RKy[4] = {}, RKz[4] = {};
  s.walk = WALK_NUMBERS(random, set.debug, set.repeatable, run.clock.NStep);

  bool landed = false;  // came down in an earlier stage of this step
  for (int i = 1; i <= order; ++i) {
    s.DTsub = static_cast<double>(i) * set.time_step / static_cast<double>(order);
    if (!LOCAL_CONDITIONS(run, parcel, s, random)) {
      parcel.DORMANT = s.DORMANT;
      report.dry = true;
      return report;
    }
    if (i == 1) s.B0 = s.B;
    if (parcel.RHOs > s.rho) {
      PARCEL_VELOCITY(run, parcel, s);
    } else {
      LIGHT_VELOCITY(run, parcel, s);
    }
    DISPLACEMENT(run, parcel, s, random);
    RKx[i - 1] = s.dx;
    RKy[i - 1] = s.dy;
    RKz[i - 1] = s.dz;

    bool last = false;
    if (is_true(s.DORMANT) || s.absolute) {
      s.x = s.dx;
      s.y = s.dy;
      s.height = static_cast<float>(s.dz);
      parcel.DORMANT = logical_true;
      last = true;
    } else {
      double height = static_cast<double>(parcel.h);
      if (i < 4) {
        s.x = parcel.X + s.dx * RKweights[i - 1];
        s.y = parcel.Y + s.dy * RKweights[i - 1];
        height = height + s.dz * RKweights[i - 1];
      } else {
        s.x = parcel.X + (RKx[0] + 2.0 * (RKx[1] + RKx[2]) + RKx[3]) / 6.0;
        s.y = parcel.Y + (RKy[0] + 2.0 * (RKy[1] + RKy[2]) + RKy[3]) / 6.0;
        height = height + (RKz[0] + 2.0 * (RKz[1] + RKz[2]) + RKz[3]) / 6.0;
      }
      if (set.method.advection == AdvectionMethod::d2) height = s.dz;
      s.height = static_cast<float>(height);
    }
    s.height = std::max(s.height, 0.0f);
    PARCEL_LOCATE(run, s);
    const float floor = s.KSgrain / 4.0f;
    if (s.height < floor) {
      s.z = s.z - s.height + floor;
      s.height = floor;
    }
    if (s.status < 0) {
      parcel.ALIVE = logical_false;
      parcel.LOSS = static_cast<std::int16_t>(s.status);
      report.status = s.status;
      return report;
    }
    if (s.height > floor) {
      if (last && is_true(s.DORMANT) && landed) {
        s.height = floor;
        s.z = floor - s.B0;
        break;
      }
      s.DORMANT = logical_false;
      s.BURIAL = 0.0f;
    } else {
      s.DORMANT = logical_true;
      landed = landed || !last;
      s.BURIAL = static_cast<float>(static_cast<double>(s.BURIAL) +
                                    static_cast<double>(run.sediment.BEDrate(parcel.ELEMENT)) *
                                        s.DTsub / static_cast<double>(order / 2));
    }
    if (last) break;
  }

  parcel.X = s.x;
  parcel.Y = s.y;
  parcel.h = s.height;
  parcel.Z = s.z;
  parcel.ELEMENT = s.element;
  parcel.DORMANT = s.DORMANT;
  parcel.BURIAL = s.BURIAL;
  parcel.MOBILITY = s.MOBILITY;
  if (set.flow_output) {
    parcel.VEC[0] = s.u;
    parcel.VEC[1] = s.v;
    parcel.VEC[2] = s.w;
  }
  const double lx = s.x - s.Xs, ly = s.y - s.Ys;
  report.displacement_squared = (lx * lx + ly * ly) / static_cast<double>(run.mesh.AREAelem(s.e0));
  return report;
}

}  // namespace dfl::literal
