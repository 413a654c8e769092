#include "parcels/local_conditions.h"

#include <bit>
#include <cmath>

#include "parcels/estimates.h"
#include "parcels/kinematics.h"
#include "sediment/primitives.h"
#include "sediment/van_rijn.h"

namespace dfl {

namespace {

constexpr float least_roughness = 0.01f;  // of VAN_RIJN, m

// TAUCR_SOULSBY of a material denser than water whose grain_scale is known.
float threshold_stress(float rho, float RHOs, float scale, float D) {
  const float Ds = D * scale;
  return gravity * (RHOs - rho) * D *
         (0.3f / (1.0f + 1.2f * Ds) + 0.055f * (1.0f - std::exp(-0.02f * Ds)));
}

// Wave quantities that the stress needs.
struct WavesHere {
  float omega = 1.0f, k = 1.0f;  // 1/s, 1/m
  float Cg = 0.0f;               // group velocity, m/s
  float kx = 0.0f, ky = 0.0f;    // wave number vector, 1/m
  float Ub = 0.0f, Aw = 0.0f;    // orbital speed, m/s, and excursion, m, at the bed
  float Ud = 0.0f;               // mass transport, m/s
  float phi = 0.0f;              // angle to the current, degrees
};

// Return flow under breaking waves, m/s.
float undertow(const Settings& set, const Stage& s, const WavesHere& waves) {
  const float Hu = s.H - s.Hw / 2.0f;
  if (!(Hu > 5.0f * set.min_depth)) return 0.0f;
  const float Uu = -(((s.Hw * s.Hw * s.Hw / 4.0f) / s.H / 0.2679492f) / s.Tw +
                     (1.22625f / (waves.omega / waves.k)) * (s.Hw * s.Hw)) /
                   Hu;
  return std::max(Uu, -0.2f * s.Hw);
}

// Waves at the parcel; adds their drift to the current.
void find_waves(const RunState& run, Stage& s, WavesHere& waves) {
  const Settings& set = run.settings;
  const float Ax = s.f[at_Ax], Ay = s.f[at_Ay];
  s.theta_w = to_degrees(std::atan2(Ax, Ay));
  s.Hw = s.f[at_Hw];
  s.Tw = s.f[at_Tw];
  if (!(s.Tw > 0.0f)) {  // no waves
    s.Tw = 1.0f;
    s.Hw = 0.0f;
  }
  const float omega = waves.omega = short_two_pi / s.Tw;
  const WaveNumber number = WAVE_NUMBER(s.H, omega);
  const float k = waves.k = number.k;
  waves.Cg = (1.0f + number.G) * 0.5f * omega / k;
  waves.kx = Ax * k;
  waves.ky = Ay * k;
  if (!(s.H * k >= 20.0f)) {
    waves.Ub = (s.Tw * gravity * s.Hw * k / std::cosh(k * s.H)) * 0.25f / short_pi;
    waves.Aw = s.Tw * waves.Ub * 0.5f / short_pi;
    if (set.wave_mass_transport) {
      waves.Ud = WAVE_DRIFT(run.messages, 1, k, s.H, std::max(s.height, s.KSgrain / 4.0f), s.Hw,
                            s.Tw, omega / k);
    }
  }
  if (set.wave_mass_transport || set.undertow) {
    const float along_x = std::sin(to_radians(s.theta_w));
    const float along_y = std::cos(to_radians(s.theta_w));
    if (set.wave_mass_transport) {
      s.U = s.U + waves.Ud * along_x;
      s.V = s.V + waves.Ud * along_y;
    }
    if (set.undertow) {
      const float Uu = s.Db != 0.0f ? undertow(set, s, waves) : 0.0f;
      s.U = s.U + Uu * along_x;
      s.V = s.V + Uu * along_y;
    }
  }

  float theta_c = to_degrees(std::atan2(s.U, s.V));
  if (theta_c < 0.0f) theta_c = theta_c + 360.0f;
  if (s.theta_w < 0.0f) s.theta_w = s.theta_w + 360.0f;
  if (s.theta_w > 360.0f) s.theta_w = s.theta_w - 360.0f;
  float phi = theta_c + 360.0f - s.theta_w;
  if (phi > 360.0f) phi = phi - 360.0f;
  if (phi < 0.0f) phi = phi + 360.0f;
  waves.phi = phi;
}

// Stress of a current without waves, Pa. The sum with a wave stress of 0 takes the root of its
// square once more, which gives the same number, or 0 or infinity where the square does not fit.
float calm_stress(const Stage& s) {
  const float log_drag = 0.4f / (std::log(s.KSgrain / 30.0f / s.H) + 1.0f);
  float Cdx = log_drag * log_drag, Cdy = Cdx;
  if (!current_alone(s.U, s.V, s.S, Cdx)) {
    const WaveFriction friction =
        WAVE_FRICTION(1.0f, 1.0f, s.H, s.KSgrain, 0.0f, 0.0f, 0.0f, s.U, s.V, s.rho);
    Cdx = friction.Cdx;
    Cdy = friction.Cdy;
  }
  const float tau_x = Cdx * s.rho * s.U * s.S;
  const float tau_y = Cdy * s.rho * s.V * s.S;
  const float tau_c = std::sqrt(tau_x * tau_x + tau_y * tau_y);
  return tau_c > 1.0e-15f && tau_c < 1.0e15f ? tau_c : std::sqrt(tau_c * tau_c);
}

// Stress of current and waves, Pa.
float wave_stress(const Stage& s, const WavesHere& waves) {
  const WaveFriction friction = WAVE_FRICTION(waves.omega, waves.k, s.H, s.KSgrain, s.Hw / 2.0f,
                                              waves.kx, waves.ky, s.U, s.V, s.rho);
  const float tau_x = friction.Cdx * s.rho * s.U * s.S;
  const float tau_y = friction.Cdy * s.rho * s.V * s.S;
  const float tau_c = std::sqrt(tau_x * tau_x + tau_y * tau_y);
  float fw = 0.0f;  // Soulsby 1997 after Swart 1974
  if (waves.Aw > 1.0e-6f) {
    fw = held(std::exp(5.5f * std::pow(s.KSgrain / waves.Aw, 0.2f) - 6.3f), 0.0f, 1.0f);
  }
  const float tau_w = s.rho * 0.5f * fw * (waves.Ub * waves.Ub);
  const float along = tau_c + tau_w * std::cos(to_radians(waves.phi));
  const float across = tau_w * std::sin(to_radians(waves.phi));
  return std::sqrt(along * along + across * across);
}

float van_rijn_stress(const RunState& run, const TrackFields& fields, const Parcel& parcel,
                      const Stage& s, const WavesHere& waves) {
  const FlowState& flow = run.flow;
  VanRijnInput in;
  in.number = parcel_number(run, parcel);
  in.h = s.H;
  in.U = s.S;
  in.Ud = waves.Ud;
  in.H = s.Hw;
  in.T = s.Tw;
  in.phi = waves.phi;
  in.D50 = s.f[at_D50];
  in.D90 = s.f[at_D90];
  in.Ds = s.f[at_D50];
  in.kc = s.KStotal;
  in.kw = s.KStotal;
  in.temperature = flow.UNIFORMtem ? run.settings.temperature
                                   : level_value(run, fields, s, s.height, 1, EndRule::hold,
                                                 EndRule::hold, flow.TEMnode);
  in.salinity = flow.UNIFORMsal ? run.settings.salinity * 1000.0f
                                : level_value(run, fields, s, s.height, 1, EndRule::hold,
                                              EndRule::hold, flow.SALnode);
  return VAN_RIJN(run.messages, in).max_stress;
}

// Water at the parcel.
void find_water(const RunState& run, const TrackFields& fields, Stage& s) {
  s.rho = run.settings.water_density;
  s.nu = run.settings.water_viscosity;
  if (fields.uniform_water) return;
  const FlowState& flow = run.flow;
  if (!flow.UNIFORMden) {
    s.rho = level_value(run, fields, s, s.height, 1, EndRule::hold, EndRule::hold, flow.DENnode);
  }
  if (!flow.UNIFORMtem) {
    s.nu = VISCOSITY_T(
        level_value(run, fields, s, s.height, 1, EndRule::hold, EndRule::hold, flow.TEMnode));
  }
}

}  // namespace

int parcel_number(const RunState& run, const Parcel& parcel) {
  return static_cast<int>(&parcel - run.parcels.PARCELS.data()) + 1;
}

float level_value(const RunState& run, const TrackFields& fields, const Stage& s, float z,
                  int first_level, EndRule bottom, EndRule top, const Array2<float>& field) {
  const TrackElement& t = fields.elements(s.element);
  return ELEMENT_VERT_INTERP(run.flow, run.settings.method.flow, s.weights, t.n1, t.n2, t.n3, z,
                             s.H, first_level, bottom, top, field);
}

float pickup_chance(const RunState& run, const TrackFields& fields, const Parcel& parcel,
                    const Stage& s) {
  const Settings& set = run.settings;
  // Shields numbers of the grain and at its threshold (Soulsby 1997). Mostly nothing moves.
  const float theta = (s.tau / s.rho / gravity) / (parcel.RHOs / s.rho - 1.0f) / parcel.D;
  float theta_cr = 0.0f;
  if (run.parcels.TAUgiven) {
    theta_cr = parcel.TAUcr / gravity / (parcel.RHOs - s.rho) / parcel.D;
  } else {
    const float scale = fields.uniform_water && parcel.RHOs == set.rhos
                            ? fields.cbrt_rhos
                            : grain_scale(parcel.RHOs, s.rho, s.nu);
    const float Dstar = parcel.D * scale;
    theta_cr = 0.3f / (1.0f + 1.2f * Dstar) + 0.055f * (1.0f - std::exp(-0.02f * Dstar));
  }

  const float rate = PICKUP_RATE(parcel.RHOs, s.rho, s.nu, theta, theta_cr, parcel.D);
  if (rate == 0.0f && parcel.D > 0.0f) return 0.0f;

  // Mobile layer of the bed: its thickness against the grain and the burial.
  const float tau_b = fields.uniform_water && set.rhos > s.rho
                          ? threshold_stress(s.rho, set.rhos, fields.cbrt_rhos, s.f[at_D50])
                          : TAUCR_SOULSBY(s.rho, set.rhos, s.nu, s.f[at_D50]);
  const float delta =
      (s.tau - tau_b) / (1.0f - set.bed_porosity) / (set.rhos - s.rho) / gravity / tan_of_repose;
  float e1 = 1.0f, e2 = 1.0f;
  if (delta > 0.0f) {
    e1 = held(parcel.D / delta, 0.0f, 1.0f);
    e2 = held(1.0f - s.BURIAL / delta, 0.0f, 1.0f);
  }
  return std::min(rate / parcel.D, 1.0f) * e2 * e1;
}

bool LOCAL_CONDITIONS(const RunState& run, const TrackFields& fields, const Parcel& parcel,
                      Stage& s, RandomStream& random) {
  const Settings& set = run.settings;
  const AdvectionMethod advection = fields.advection;

  // Depth, bed and roughness.
  if (!s.sampled) {
    sample_fields(run, fields, s);
    s.sampled_start = true;
  }
  s.H = s.f[at_H];
  s.Db = set.wave_breaking ? s.f[at_Db] : 0.0f;
  s.KSgrain = 3.0f * s.f[at_D90];
  s.KStotal = std::max(s.KSgrain, s.f[at_KS]);
  if (s.H < set.min_depth) return false;
  // VAN_RIJN raises the roughness that it is given; velocities follow the raised one.
  if (set.method.eulerian != EulerianMethod::pie) s.KStotal = std::max(s.KStotal, least_roughness);

  // Current and waves.
  find_water(run, fields, s);
  const bool light = parcel.RHOs <= s.rho;
  const bool drifts = set.wave_mass_transport || set.undertow;
  s.U = s.f[at_U];
  s.V = s.f[at_V];
  s.Hw = 0.0f;
  WavesHere waves;
  const bool calm = fields.plain_calm && s.f[at_waves] == 0.0f && s.H > 0.0f;
  if (calm) {
    if (drifts) {  // a drift of 0 turns a negative zero into a positive one
      s.U = s.U + 0.0f;
      s.V = s.V + 0.0f;
    }
  } else {
    find_waves(run, s, waves);
  }
  s.S = std::sqrt(s.U * s.U + s.V * s.V);
  s.ustar = std::sqrt(s.f[at_TAUbed] / s.rho);
  s.tau_cr = is_true(s.DORMANT) ? parcel.TAUcr : parcel.TAUcd;
  s.Pu = 0.0f;
  s.Pu_wanted = false;

  // The stress on a parcel without weight decides on nothing, but with "2d" on standing still.
  if (light && (advection != AdvectionMethod::d2 ||
                (calm && s.DORMANT == logical_false &&
                 surely_mobile(s.H, s.KSgrain, s.U, s.V, s.rho, s.tau_cr)))) {
    if (fields.turbulent_draws) pass_gauss(s.gauss, random);
    s.MOBILITY = 1.0f;
    return true;
  }

  // Stress on the bed.
  if (calm) {
    s.tau = calm_stress(s);
  } else {
    s.tau = set.method.eulerian == EulerianMethod::pie
                ? wave_stress(s, waves)
                : van_rijn_stress(run, fields, parcel, s, waves);
    if (set.wave_breaking && s.Db < 0.0f) s.tau = s.tau + std::max(-0.1f * s.Db / waves.Cg, 0.0f);
  }
  if (set.turbulent_shear) {
    float g = 0.0f;
    if (!set.debug) g = held(static_cast<float>(draw_gauss(s.gauss, random)), -6.0f, 6.0f);
    const double f = std::min(std::max(s.DTsub * 0.05 * static_cast<double>(g), -0.4), 0.4);
    s.tau = std::max(s.tau * (1.0f + static_cast<float>(f)), 0.0f);
  }
  // Grains smaller than the bed's hide, larger ones stand out (Egiazaroff 1965).
  if (s.DORMANT == logical_true && set.hiding_exposure) {
    const float r = held(parcel.D / s.f[at_D50], 0.3f, 10.0f);
    const float exposure = std::log10(19.0f * r);
    s.tau_cr = s.tau_cr * 1.6666666f / (exposure * exposure);
  }
  s.MOBILITY = s.tau / s.tau_cr;

  // Pick-up; the formula is evaluated where its result is read.
  s.Pu_wanted =
      set.bed_interaction && (advection == AdvectionMethod::q3d ||
                              (advection == AdvectionMethod::d3 && s.DORMANT == logical_true));
  if (is_true(s.DORMANT) && !set.bed_interaction && advection == AdvectionMethod::q3d) {
    s.Pu = s.MOBILITY < 1.0f ? 0.0f : 1.0f;
  }
  if (advection == AdvectionMethod::d2 && s.MOBILITY < 1.0f) s.DORMANT = logical_true;

  // A grain roughness that fills the depth holds everything.
  if (s.KSgrain <= 0.0f || s.H < s.KSgrain) s.MOBILITY = 0.0f;
  return true;
}

}  // namespace dfl
