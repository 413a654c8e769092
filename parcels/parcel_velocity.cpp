#include "parcels/parcel_velocity.h"

#include <cmath>

#include "parcels/centroid_estimate.h"
#include "parcels/local_conditions.h"

namespace dfl {

namespace {

// Height of the centre of motion and the factor on the velocity.
void find_centroid(const RunState& run, const TrackFields& fields, const Parcel& parcel, Stage& s) {
  const Settings& set = run.settings;
  const FlowState& flow = run.flow;
  s.hc = 0.0f;
  s.fr = 0.0f;
  if (set.method.centroid == CentroidMethod::rouse) {
    if (!(s.MOBILITY >= 1.0f)) return;
    s.ustarc = s.S / (5.75f * std::log10(s.H / s.KSgrain) + 6.0f);
    SUSPENDED_LAYER(set.method.velocity, s.H, parcel.Ws, s.S, s.MOBILITY, s.KStotal, s.KSgrain,
                    s.ustarc, s.ustar, s.hc, s.fr);
    return;
  }
  CentroidInput in;
  in.waves = set.waves;
  in.H = s.H;
  in.wave_period = s.Tw;
  in.wave_height = s.Hw;
  in.wave_direction = s.theta_w;
  in.S = s.S;
  in.u = s.U;
  in.v = s.V;
  in.D = parcel.D;
  in.KStotal = s.KStotal;
  in.temperature = flow.UNIFORMtem ? set.temperature
                                   : level_value(run, fields, s, s.height, 1, EndRule::hold,
                                                 EndRule::hold, flow.TEMnode);
  // A salinity field is in parts per thousand, the card's value a mass fraction.
  in.salinity = flow.UNIFORMsal ? set.salinity
                                : level_value(run, fields, s, s.height, 1, EndRule::hold,
                                              EndRule::hold, flow.SALnode) /
                                      1000.0f;
  in.ustar = s.ustar;
  in.parcel = parcel_number(run, parcel);
  CENTROID_VAN_RIJN(run.messages, set.method.velocity, in, parcel.Ws, s.KSgrain, s.hc, s.fr);
}

// Velocity near the bed where it is known.
struct BottomPoint {
  bool known = false;
  float UB = 0.0f, VB = 0.0f;  // m/s
};

BottomPoint find_bottom_point(const RunState& run, const TrackFields& fields, const Stage& s) {
  BottomPoint point;
  if (run.settings.method.velocity != VelocityMethod::two_point) return point;
  const FlowState& flow = run.flow;
  const TrackElement& t = fields.elements(s.element);
  point.known = is_true(flow.BOTTOMmask(t.n1)) && is_true(flow.BOTTOMmask(t.n2)) &&
                is_true(flow.BOTTOMmask(t.n3));
  if (!point.known) return point;
  point.UB = NODE_INTERP(s.weights, t.n1, t.n2, t.n3, flow.UBnode);
  point.VB = NODE_INTERP(s.weights, t.n1, t.n2, t.n3, flow.VBnode);
  return point;
}

// Logarithmic profile over the total roughness; without roughness the profile is uniform.
void log_velocity(const Stage& s, float z, float& u, float& v) {
  const float L = 2.5f * std::log(11.0f * s.H / s.KStotal);
  if (!(s.KStotal > 0.0f) || L == 0.0f) {
    u = s.U;
    v = s.V;
  } else if (z <= s.KStotal / 2.0f) {
    const float share = 2.0f * z / s.KStotal;
    u = (6.77f * s.U / L) * share;
    v = (6.77f * s.V / L) * share;
  } else {
    const float share = std::log(30.0f * z / s.KStotal);
    u = (2.5f * s.U / L) * share;
    v = (2.5f * s.V / L) * share;
  }
}

void profile_velocity(const RunState& run, const Stage& s, const BottomPoint& bottom, float z,
                      float& u, float& v) {
  if (bottom.known) {
    TWO_POINT_PROFILE(s.H, run.settings.bottom_flow_height, s.KSgrain, s.U, s.V, bottom.UB,
                      bottom.VB, z, u, v);
  } else {
    log_velocity(s, z, u, v);
  }
}

// u, v, w at height z of three-dimensional flow.
void level_velocity(const RunState& run, const TrackFields& fields, Stage& s, float z) {
  const FlowState& flow = run.flow;
  s.u = level_value(run, fields, s, z, 0, EndRule::to_zero, EndRule::hold, flow.Unode);
  s.v = level_value(run, fields, s, z, 0, EndRule::to_zero, EndRule::hold, flow.Vnode);
  s.w = level_value(run, fields, s, z, 1, EndRule::to_zero, EndRule::to_zero, flow.Wnode);
}

float continuity(const TrackFields& fields, const Stage& s, float z) {
  return CONTINUITY_W(z, s.H, fields.elements(s.element).divergence, s.f[at_ETAnew], s.f[at_ETAold],
                      fields.time_new, fields.time_old);
}

// Below 1.4 times the centre of motion a grain that rests between its jumps is slower than the
// water; leaves the velocity where it is picked up faster than it settles.
void slow_near_bed(const RunState& run, const TrackFields& fields, const Parcel& parcel,
                   const BottomPoint& bottom, Stage& s) {
  const float c = s.hc;
  if (parcel.Ws <= 0.0f || !(1.4f * c >= s.height)) return;
  if (s.Pu_wanted) {
    s.Pu = pickup_chance(run, fields, parcel, s);
    s.Pu_wanted = false;
  }
  const float r = s.Pu * c / parcel.Ws;
  if (!(r < 1.0f)) return;
  if (c <= 0.0f) {
    s.u = s.v = s.su = 0.0f;
    return;
  }
  const auto speed_at = [&](float z) {
    float u = 0.0f, v = 0.0f;
    profile_velocity(run, s, bottom, z, u, v);
    return std::sqrt(u * u + v * v);
  };
  const float q = r * speed_at(c);
  float speed = 0.0f;
  if (s.height <= c) {
    speed = q * s.height / c;
  } else {
    speed = q + ((s.height - c) / (0.4f * c)) * (speed_at(1.4f * c) - q);
  }
  if (s.su > 0.0f) {
    s.u = (s.u / s.su) * speed;
    s.v = (s.v / s.su) * speed;
    s.su = speed;
  } else {
    s.u = s.v = s.su = 0.0f;
  }
}

}  // namespace

void PARCEL_VELOCITY(const RunState& run, const TrackFields& fields, const Parcel& parcel,
                     bool estimate, Stage& s) {
  const Settings& set = run.settings;
  const AdvectionMethod advection = fields.advection;
  const VelocityMethod method = set.method.velocity;
  // In "3d" only a pick-up without scatter goes to the centre of motion.
  const bool centroid_read = advection != AdvectionMethod::d3 || set.debug;
  const bool estimated = estimate && !is_true(s.DORMANT) && s.MOBILITY >= 1.0f &&
                         centroid_estimated(run, fields, parcel, s);
  if (centroid_read && !estimated) find_centroid(run, fields, parcel, s);
  if (advection != AdvectionMethod::d2) s.fr = 1.0f;
  s.hs = advection == AdvectionMethod::d2 ? s.hc : s.height;

  const bool level_flow = !run.flow.FLOW2D;
  BottomPoint bottom;
  if (level_flow) {
    level_velocity(run, fields, s, s.hs);
    s.su = std::sqrt(s.u * s.u + s.v * s.v);
  } else if (advection == AdvectionMethod::d2 || method == VelocityMethod::uniform) {
    s.u = s.U;
    s.v = s.V;
    s.su = s.S;
  } else if (method == VelocityMethod::log || method == VelocityMethod::two_point) {
    bottom = find_bottom_point(run, fields, s);
    if (bottom.known && !(s.hs > 0.0f)) {
      s.u = s.v = s.su = 0.0f;
    } else {
      profile_velocity(run, s, bottom, s.hs, s.u, s.v);
      s.su = std::sqrt(s.u * s.u + s.v * s.v);
    }
  } else {
    fatal_error(run.messages, "Selected VELOCITY_METHOD not available");
  }
  if (!level_flow && advection != AdvectionMethod::d2) s.w = continuity(fields, s, s.height);
  if (advection == AdvectionMethod::q3d && set.bed_interaction && !estimated) {
    slow_near_bed(run, fields, parcel, bottom, s);
  }
}

void LIGHT_VELOCITY(const RunState& run, const TrackFields& fields, Parcel& parcel, Stage& s) {
  const bool flat = fields.advection == AdvectionMethod::d2;
  parcel.MOBILITY = 1.0f;
  s.MOBILITY = 1.0f;
  s.Pu = 1.0f;
  s.Pu_wanted = false;
  const float hq = std::max(s.height, s.KStotal / 30.0f);
  s.hs = s.hc = hq;
  s.fr = 1.0f;
  if (!run.flow.FLOW2D) {
    // Only the rise is that of the parcel's height; it drifts with the mean current.
    s.w = level_value(run, fields, s, hq, 1, EndRule::to_zero, EndRule::to_zero, run.flow.Wnode);
  } else if (!flat) {
    float k = 0.0f;  // roughness of the profile, m
    if (0.0f < s.KStotal && s.KStotal <= s.H) {
      k = s.KStotal;
    } else if (0.0f < s.KSgrain && s.KSgrain <= s.H) {
      k = s.KSgrain;
    }
    if (s.S > 0.0f && k > 0.0f) {
      const float ustar = s.S / (5.75f * std::log10(s.H / k) + 6.0f);
      s.fr = 2.5f * ustar * std::log(30.0f * hq / k) / s.S;
    }
    s.w = continuity(fields, s, s.height);
  }
  s.u = s.U;
  s.v = s.V;
  s.su = s.S;
}

}  // namespace dfl
