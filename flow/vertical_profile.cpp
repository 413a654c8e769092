#include "flow/vertical_profile.h"

#include <algorithm>
#include <cmath>

#include "sediment/van_rijn.h"

namespace dfl {

namespace {

constexpr float degrees_per_pi = 180.0f;
constexpr float pi = 3.14159f;

bool has_log_profile(VelocityMethod method) {
  return method == VelocityMethod::log || method == VelocityMethod::two_point;
}

// Height of the centre of the whole load: bed load within half the grain roughness.
float uniform_centroid(float fs, float hr, float KSgrain) {
  return (1.0f - fs) * KSgrain * 0.5f + fs * hr;
}

// Angle between current and waves, degrees, 0 to 360.
float wave_current_angle(float u, float v, float wave_direction) {
  if (wave_direction < 0.0f) wave_direction = wave_direction + 360.0f;
  if (wave_direction > 360.0f) wave_direction = wave_direction - 360.0f;
  float direction = std::atan2(u, v) * degrees_per_pi / pi;
  if (direction < 0.0f) direction = direction + 360.0f;
  float angle = direction - (wave_direction - 360.0f);
  if (angle > 360.0f) angle = angle - 360.0f;
  if (angle < 0.0f) angle = angle + 360.0f;
  return angle;
}

}  // namespace

void stop_at_end_rule() {
  const MessageState messages;
  console(messages, " *** BC error in VERT_INTERP ***\n");
  stop_run(messages, true);
}

void TWO_POINT_PROFILE(float H, float zb, float z0, float U, float V, float UB, float VB, float hs,
                       float& u, float& v) {
  if (hs > zb) {
    // A line through the bottom point whose integral from z0 to H is that of the mean velocity.
    const float A = H - z0;
    const float B = (z0 * z0 - H * H) / 2.0f + zb * A;
    u = UB;
    v = VB;
    // B is 0 where no such line exists: the velocity is then that of the bottom point.
    if (B == 0.0f) return;
    u = UB + ((UB * A - U * H) / B) * (hs - zb);
    v = VB + ((VB * A - V * H) / B) * (hs - zb);
  } else if (hs > z0) {
    // A bed without roughness has the velocity of the bottom point down to the bed.
    const float share = z0 > 0.0f ? std::log(hs / z0) : 1.0f;
    const float whole = z0 > 0.0f ? std::log(zb / z0) : 1.0f;
    u = UB * share / whole;
    v = VB * share / whole;
  } else {
    u = 0.0f;
    v = 0.0f;
  }
}

void continuity_times(const RunState& run, double& time_new, double& time_old) {
  const FlowState& flow = run.flow;
  const FlowFormat format = run.settings.method.flow;
  if (format == FlowFormat::adcirc || format == FlowFormat::kfe) {
    time_new = flow.TIMEflow;
    time_old = flow.TIMEold;
    return;
  }
  const bool any = flow.FRAMEflow >= 1 && flow.FRAMEflow <= flow.TIMESflow.size();
  time_new = any ? flow.TIMESflow(flow.FRAMEflow) : 0.0;
  time_old = any && flow.FRAMEflow > 1 ? flow.TIMESflow(flow.FRAMEflow - 1) : time_new;
}

float SUSPENDED_FRACTION(float Ws, float ustar) {
  if (Ws == 0.0f) return 1.0f;  // never settles, also in still water
  const float r = ustar / Ws;
  if (r <= 1.0e-6f) return 0.0f;
  if (r >= 1.0e6f) return 1.0f;
  return 0.5f + 0.5f * std::tanh(1.3f * (std::log(r) - 0.3f));
}

float ROUSE_CENTROID(float H, float Ws, float ustar) {
  // Grains that do not settle: the limit of a settling speed towards 0.
  const float t = Ws > 0.0f ? std::tanh(1.2f * std::log(Ws / (0.4f * ustar)) - 0.4f) : -1.0f;
  return 0.0398f * H * std::pow(10.0f, -1.08f * t);
}

void SUSPENDED_LAYER(VelocityMethod method, float H, float Ws, float S, float MOBILITY,
                     float KStotal, float KSgrain, float ustarc, float ustar, float& hc,
                     float& fr) {
  const float fs = SUSPENDED_FRACTION(Ws, ustar);
  const float hr = ROUSE_CENTROID(H, Ws, ustar);
  if (!has_log_profile(method)) {
    fr = 1.0f;
    hc = uniform_centroid(fs, hr, KSgrain);
    return;
  }
  // Speed of the suspended part at its centre and of the bed load, m/s.
  const float Uc = ustar * 2.5f * std::log(30.0f * hr / KStotal) * fs +
                   (1.0f - fs) * (10.0f - 7.0f / std::sqrt(MOBILITY)) * ustarc;
  fr = Uc / std::max(S, 0.001f);
  // Where the log profile has the speed Uc. Without shear, or with so little that the power has no
  // finite value, nothing is held up: where the profile begins.
  const float power = ustar == 0.0f ? -1.47826f : 0.173913f * Uc / ustar - 1.47826f;
  hc = KStotal * std::pow(10.0f, power);
  if (!std::isfinite(hc)) hc = KStotal * std::pow(10.0f, -1.47826f);
}

void CENTROID_VAN_RIJN(const MessageState& messages, VelocityMethod method, const CentroidInput& in,
                       float Ws, float KSgrain, float& hc, float& fr) {
  VanRijnInput point;
  point.number = in.parcel;
  point.h = in.H;
  point.U = in.S;
  if (in.waves) {
    point.H = in.wave_height;
    point.T = in.wave_period;
  }
  point.phi = wave_current_angle(in.u, in.v, in.waves ? in.wave_direction : 0.0f);
  point.D50 = point.D90 = point.Ds = in.D;
  point.kc = point.kw = in.KStotal;
  point.temperature = in.temperature;
  point.salinity = in.salinity * 1000.0f;
  const VanRijnResult result = VAN_RIJN(messages, point);
  hc = result.centroid;
  if (!(hc > 0.0f)) {
    hc = uniform_centroid(SUSPENDED_FRACTION(Ws, in.ustar), ROUSE_CENTROID(in.H, Ws, in.ustar),
                          KSgrain);
  }
  fr = 1.0f;
  if (!has_log_profile(method)) return;
  const float speed =
      in.ustar * 2.5f * std::log(30.0f * hc / result.kc);  // kc: KStotal at its floor
  fr = speed > 0.0f ? speed / std::max(in.S, 0.001f) : 0.0f;
}

}  // namespace dfl
