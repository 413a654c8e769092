#include "ships/propeller_wash.h"

#include <algorithm>
#include <cmath>

#include "control/text_reader.h"

namespace dfl {

namespace {

// Thrust coefficient by pitch.
float thrust(bool ducted, float p) {
  if (ducted) return 0.73f * p - 0.208f;
  return ((7.0833f * p - 8.9167f) * p + 5.4667f) * p - 1.07f - 2.0833f * (p * p * p * p);
}

// Exit speed of the jet; false for an unknown method.
bool exit_speed(const ShipState& ships, float water_density, float& V0) {
  const float p = pitch_in_range(ships.PROPpitch);
  const float B = ships.PROPducted ? 1.17f : 1.48f;
  const float N = ships.PROPducted ? 2.0f : 1.0f;
  const float D = ships.PROPdiameter, P = ships.PROPdrive;
  switch (ships.PROPmethod) {
    case 1:
      V0 = 1.6f * (P / 60.0f) * D * std::sqrt(thrust(ships.PROPducted, p) / N);
      return true;
    case 2:
      V0 = (1.6f / D) * std::sqrt(9810.0f * P / N / water_density);
      return true;
    case 3:
      V0 = B * std::pow(P / (D * D), 0.333f);
      return true;
    default:
      return false;
  }
}

// The formulas leave the range of numbers for a jet without bounds. An unknown method is told at
// the first point astern.
void check_exit_speed(const TextReader& in, const ShipState& ships, float water_density) {
  constexpr float fastest_jet = 1.0e6f;  // m/s
  float V0 = 0.0f;
  if (!exit_speed(ships, water_density, V0) || V0 <= fastest_jet) return;
  in.stop("expected a propeller whose jet leaves with 1e6 m/s or less");
}

// Speed on the axis X behind the propeller. e0: base exponent; C: coefficient of the far jet.
float speed_on_axis(float V0, float X, float D, float e0, float C) {
  const float s = X / D;
  float V = V0;
  if (s > 4.0f) {
    // Beyond 5000 diameters the exponential overflows; with e0 = 1 its factor is 0.
    float e = e0 < 1.0f ? e0 + (std::exp(std::pow(s, 1.5f) / 5000.0f) - 1.0f) * (1.0f - e0) : e0;
    e = std::min(std::max(e, 0.6f), 1.0f);
    V = C * V0 * std::pow(s, -e);
  } else if (s > 2.6f) {
    V = (2.6f / s) * V0;
  }
  return std::min(V, V0);
}

}  // namespace

void READ_PROPWASH_DATA(RunState& run) {
  TextReader in(run.messages, run.settings.propwash_data_file);
  ShipState& ships = run.ships;
  int ducted = 0, clearance = 0, halfdecay = 0;
  float unused = 0.0f, mesh_depth = 0.0f;
  in.read(ships.PROPdiameter);
  if (!(ships.PROPdiameter > 0.0f)) in.stop("expected a propeller diameter above 0");
  in.read(ships.PROPspacing);
  in.read(ducted);
  in.read(ships.PROPpitch);
  in.read(ships.PROPangle);
  in.read(ships.PROPmethod);
  in.read(ships.PROPdrive);
  if (ships.PROPdrive < 0.0f) in.stop("expected revolutions or a power of 0 or more");
  in.read(clearance);
  in.read(unused);
  in.read(mesh_depth);
  in.read(ships.PROPdepth);
  in.read(halfdecay);
  ships.NUMprops = ships.PROPspacing > 0.0f ? 2 : 1;
  ships.PROPducted = ducted == 1;
  ships.PROPclearance = clearance == 1;
  ships.PROPhalfdecay = halfdecay == 1;

  const std::string program = program_name;
  if (mesh_depth > 0.0f) {
    fatal_error(run.messages, program + " uses mesh depth for PropWash (i.e., PROPdepth < 0.)");
  }
  if (ships.PROPdepth > 0.0f) {
    fatal_error(run.messages, program + " only uses distance DOWN from surface for PropWash");
  }
  check_exit_speed(in, ships, run.settings.water_density);
}

float pitch_in_range(float pitch) {
  return pitch < 0.6f || pitch > 1.4f ? 1.0f : pitch;
}

PropellerJets propeller_jets(const ShipState& ships, const std::array<ShipPosition, 2>& place,
                             float heading, float water_density) {
  PropellerJets jets;
  jets.NUMprops = ships.NUMprops;
  for (std::size_t k = 0; k < place.size(); ++k) {
    jets.x[k] = place[k].x;
    jets.y[k] = place[k].y;
    jets.z[k] = place[k].z;
  }
  const float h = (heading - 180.0f - 90.0f) * 3.141593f / 180.0f;
  const float a = ships.PROPangle * 3.141593f / 180.0f;
  jets.sh = std::sin(h);
  jets.ch = std::cos(h);
  jets.sa = std::sin(a);
  jets.ca = std::cos(a);
  jets.D = ships.PROPdiameter;
  jets.clearance = ships.PROPclearance;
  jets.halfdecay = ships.PROPhalfdecay;
  jets.method_known = exit_speed(ships, water_density, jets.V0);
  return jets;
}

JetVelocity PROP_WASH(const MessageState& messages, const PropellerJets& jets, float H, double x,
                      double y, float z) {
  // exp(-104) is 0 in 4 bytes: further off the axis than this the jet adds nothing at all.
  constexpr float nothing_left = -104.0f;
  const float sh = jets.sh, ch = jets.ch, sa = jets.sa, ca = jets.ca, D = jets.D;
  JetVelocity sum;
  for (std::size_t k = 0; k < static_cast<std::size_t>(jets.NUMprops); ++k) {
    // From the propeller to the point, z up from the axis.
    const double dx = x - static_cast<double>(jets.x[k]);
    const double dy = y - static_cast<double>(jets.y[k]);
    const float c = H - jets.z[k];
    const double dz = static_cast<double>(z) - static_cast<double>(c);

    // Along the jet, across it, and up. A point forward of one propeller ends the sum.
    const float X =
        static_cast<float>(static_cast<double>(ch * ca) * dx - static_cast<double>(sa) * dz -
                           static_cast<double>(sh * ca) * dy);
    if (X < 0.0f) break;
    if (!jets.method_known) fatal_error(messages, " *** PROPWASH METHOD ERROR ***");
    const float Y = static_cast<float>(static_cast<double>(sh) * dx + static_cast<double>(ch) * dy);
    const float Z =
        static_cast<float>(static_cast<double>(ch * sa) * dx - static_cast<double>(sh * sa) * dy +
                           static_cast<double>(ca) * dz);
    const float R = std::sqrt(X * X + Y * Y + Z * Z);
    const float r = std::sqrt(Y * Y + Z * Z);
    float Vx = jets.V0, Vy = 0.0f, Vz = 0.0f;  // at the propeller itself
    if (R > 0.0f) {
      const float radial = -22.2f * (r * r) / (X * X);
      if (radial < nothing_left) continue;
      const float a0 = std::min(1.0f, std::max(0.6f, (3.0f + 2.0f * H / D) / 15.0f));
      const float C = 1.88f * std::exp(jets.clearance ? -0.161f * c / D : -0.092f * H / D);
      const float e0 = jets.halfdecay ? 0.5f * a0 : a0;
      float V = speed_on_axis(jets.V0, X, D, e0, C);
      V = V * std::exp(radial);
      Vx = V * X / R;
      Vy = V * Y / R;
      Vz = V * Z / R;
    }
    sum.U += ch * ca * Vx + sh * Vy + ch * sa * Vz;
    sum.V += -sh * ca * Vx + ch * Vy - sh * sa * Vz;
    sum.W += -sa * Vx + ca * Vz;
  }
  return sum;
}

}  // namespace dfl
