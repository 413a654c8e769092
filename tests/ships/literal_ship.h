#pragma once

// The ship's formulas one by one, node by node, without anything taken out of the loop or left out:
// what the quick form has to give to the last bit.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "flow/vertical_profile.h"
#include "ships/ship_effects.h"

namespace dfl::test {

inline bool same_bytes(float a, float b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

inline JetVelocity literal_prop_wash(const ShipState& ships,
                                     const std::array<ShipPosition, 2>& place, float heading,
                                     float H, float rho, double x, double y, float z) {
  const float D = ships.PROPdiameter, P = ships.PROPdrive, p = ships.PROPpitch;
  const float h = (heading - 180.0f - 90.0f) * 3.141593f / 180.0f;
  const float a = ships.PROPangle * 3.141593f / 180.0f;
  const float sh = std::sin(h), ch = std::cos(h), sa = std::sin(a), ca = std::cos(a);
  const float a0 = std::min(1.0f, std::max(0.6f, (3.0f + 2.0f * H / D) / 15.0f));
  const float C0 = 1.88f * std::exp(-0.092f * H / D);
  JetVelocity sum;
  for (int k = 0; k < ships.NUMprops; ++k) {
    const ShipPosition& at = place[static_cast<std::size_t>(k)];
    const double dx = x - static_cast<double>(at.x), dy = y - static_cast<double>(at.y);
    const float c = H - at.z;
    const double dz = static_cast<double>(z) - static_cast<double>(c);
    const float X =
        static_cast<float>(static_cast<double>(ch * ca) * dx - static_cast<double>(sa) * dz -
                           static_cast<double>(sh * ca) * dy);
    if (X < 0.0f) return sum;
    const float Y = static_cast<float>(static_cast<double>(sh) * dx + static_cast<double>(ch) * dy);
    const float Z =
        static_cast<float>(static_cast<double>(ch * sa) * dx - static_cast<double>(sh * sa) * dy +
                           static_cast<double>(ca) * dz);
    const float R = std::sqrt(X * X + Y * Y + Z * Z), r = std::sqrt(Y * Y + Z * Z);
    float Kt = ((7.0833f * p - 8.9167f) * p + 5.4667f) * p - 1.07f - 2.0833f * (p * p * p * p);
    float B = 1.48f, N = 1.0f;
    if (ships.PROPducted) {
      Kt = 0.73f * p - 0.208f;
      B = 1.17f;
      N = 2.0f;
    }
    float V0 = 1.6f * (P / 60.0f) * D * std::sqrt(Kt / N);
    if (ships.PROPmethod == 2) V0 = (1.6f / D) * std::sqrt(9810.0f * P / N / rho);
    if (ships.PROPmethod == 3) V0 = B * std::pow(P / (D * D), 0.333f);
    const float C = ships.PROPclearance ? 1.88f * std::exp(-0.161f * c / D) : C0;
    const float e0 = ships.PROPhalfdecay ? 0.5f * a0 : a0;
    const float s = X / D;
    float V = V0;
    if (s > 2.6f && s <= 4.0f) V = (2.6f / s) * V0;
    if (s > 4.0f) {
      float e = e0 + (std::exp(std::pow(s, 1.5f) / 5000.0f) - 1.0f) * (1.0f - e0);
      e = std::min(std::max(e, 0.6f), 1.0f);
      V = C * V0 * std::pow(s, -e);
    }
    V = std::min(V, V0);
    V = V * std::exp(-22.2f * (r * r) / (X * X));
    const float Vx = V * X / R, Vy = V * Y / R, Vz = V * Z / R;
    sum.U += ch * ca * Vx + sh * Vy + ch * sa * Vz;
    sum.V += -sh * ca * Vx + ch * Vy - sh * sa * Vz;
    sum.W += -sa * Vx + ca * Vz;
  }
  return sum;
}

inline NodeDrawdown literal_drawdown(const RunState& run, float H, double x, double y) {
  const ShipState& ships = run.ships;
  const float B = ships.SHIPbeam, L = ships.SHIPlength, U = ships.SHIPspeed;
  const float s = ships.SHIPsource, m = ships.SHIPstrength, c = ships.heading;
  float sn = std::sin((c - 450.0f) * 3.14159f / 180.0f);
  float cs = std::cos((c - 450.0f) * 3.14159f / 180.0f);
  const float dx = static_cast<float>(static_cast<double>(ships.xs) - x);
  const float dy = static_cast<float>(static_cast<double>(ships.ys) - y);
  float Y = dx * sn + dy * cs;
  const float X = dx * cs - dy * sn;
  if (std::abs(Y) <= B / 2.0f && std::abs(X) <= L / 2.0f) {
    const float Yh = std::sqrt(B * B / 4.0f * (1.0f - 4.0f * (X * X) / (L * L)));
    if (std::abs(Y) <= Yh) Y = std::signbit(Y) ? -Yh : Yh;
  }
  float a = 0.0f, b = 0.0f;
  if (!(X * X - Y * Y - s * s == 0.0f && (X == 0.0f || Y == 0.0f))) {
    const float D =
        s * s * (s * s) - 2.0f * (X * X - Y * Y) * (s * s) + (X * X + Y * Y) * (X * X + Y * Y);
    a = 2.0f * s * (Y * Y + s * s - X * X) / D;
    b = -4.0f * Y * X * s / D;
  }
  float u = (-m / 2.0f / 3.14159f) * a, v = (-m / 2.0f / 3.14159f) * b;
  const float t = -U - (m / 2.0f / 3.14159f) * a;
  float dz = -(((t * t + v * v) * 0.5f) / 9.81f - (U * U / 9.81f) * 0.5f);
  if (ships.continuity) {
    if (dz + H <= 0.0f) {
      u = v = 0.0f;
    } else {
      const float ratio = std::min(ships.depth / (dz + H), 10.0f);
      u = u * ratio;
      v = v * ratio;
    }
  }
  if (ships.return_flow != ReturnFlow::none && ships.Vr > 0.0f && -s <= X && X <= s) {
    u = u -
        ships.Vr * ((std::cos(3.14159f * X / s) + 1.0f) / 2.0f) * std::exp(-std::abs(Y) / ships.Lr);
  }
  if (std::abs(Y) <= 2.0f * B) {
    const float r = std::sqrt(Y * Y + (std::abs(X) - s) * (std::abs(X) - s));
    if (r <= 2.0f * B) {
      const float f = std::min(1.0f, std::log(r / B + 1.0f));
      u = u * f;
      v = v * f;
    }
  }
  const float k = run.settings.calibration_factor;
  sn = std::sin((c - 450.0f) * 3.14159f / -180.0f);
  cs = std::cos((c - 450.0f) * 3.14159f / -180.0f);
  return {dz * k, std::clamp(u * cs - v * sn, -5.0f, 5.0f) * k,
          std::clamp(v * cs + u * sn, -5.0f, 5.0f) * k};
}

// Adds the ship to all levels of all nodes, one level of the whole mesh after another.
inline void literal_pass(RunState& run) {
  const Settings& s = run.settings;
  FlowState& flow = run.flow;
  std::vector<NodeDrawdown> drawdown(static_cast<std::size_t>(run.mesh.NUMnode));
  for (int k = 0; k <= flow.NUMlayers; ++k) {
    for (int n = 1; n <= run.mesh.NUMnode; ++n) {
      const double x = run.mesh.Xnode(n), y = run.mesh.Ynode(n);
      const float H = flow.Hnode(n);
      NodeDrawdown& down = drawdown[static_cast<std::size_t>(n) - 1];
      if (s.propwash_on) {
        std::array<ShipPosition, 2> place = run.ships.propeller;
        if (s.drawdown_on) {
          const float t = run.ships.heading * 3.14159f / 180.0f;
          for (ShipPosition& propeller : place) {
            propeller.x = propeller.x - run.ships.SHIPlength / 2.3f * std::sin(t);
            propeller.y = propeller.y - run.ships.SHIPlength / 2.3f * std::cos(t);
          }
        }
        const float z = k == 0 ? std::min(1.0f, H / 2.0f) : flow.SIGMA(k) * H;
        if (H > 0.0f && (!run.ships.SHIPstill || run.ships.SHIPrunning)) {
          const JetVelocity jet =
              literal_prop_wash(run.ships, place, run.ships.heading, H, s.water_density, x, y, z);
          flow.Unode(n, k) = flow.Unode(n, k) + jet.U;
          flow.Vnode(n, k) = flow.Vnode(n, k) + jet.V;
        }
      }
      if (s.drawdown_on) {
        if (k == 0 && H > 0.0f) {
          down = literal_drawdown(run, H, x, y);
          flow.Hnode(n) = std::max(0.0f, H + down.dz);
          flow.ETAnode(n) = flow.ETAnode(n) + down.dz;
        }
        flow.Unode(n, k) = flow.Unode(n, k) + down.du;
        flow.Vnode(n, k) = flow.Vnode(n, k) + down.dv;
      }
    }
  }
}

}  // namespace dfl::test
