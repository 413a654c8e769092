#include "ships/return_flow.h"

#include <algorithm>

#include "mesh/find_element.h"
#include "mesh/geometry.h"

namespace dfl {

namespace {

constexpr float g = 9.81f;                 // m/s2
constexpr float side_slope = 3.0f;         // of channel and trench, horizontal to vertical
constexpr float trench_depth = 6.0f;       // m
constexpr float trench_bottom = 110.0f;    // m
constexpr float drop_tolerance = 1.0e-6f;  // m

// What the three balances share.
struct Balance {
  float U = 0.0f;             // ship, m/s
  float h1 = 0.0f, B = 0.0f;  // its draught and beam, m
  float Hm = 0.0f, W = 0.0f;  // mean depth and width of the section, m
  float A = 0.0f;             // Hm W
  float n = 0.0f;             // A over the section of the hull
};

float square(float x) {
  return x * x;
}
float cube(float x) {
  return x * x * x;
}

// Drop and return flow in turn until the return flow stands. residual(z, Vr): of the balance at a
// drop z; velocity(z): the return flow beside the hull by discharge.
template <class Residual, class Velocity>
void iterate(const MessageState& messages, const char* too_many, float first_guess,
             float bracket_end, Residual residual, Velocity velocity, ReturnFlowResult& result) {
  constexpr int most_rounds = 100;
  constexpr float close_enough = 1.0e-5f;
  float Vr = first_guess;
  float error_before = 0.0f;
  for (int round = 1; round <= most_rounds; ++round) {
    const float Vold = Vr;
    result.z = RTBIS(messages, "ROOT MUST BE BRACKETED IN RTBIS", too_many, 0.0f, bracket_end,
                     drop_tolerance, [&](float z) { return residual(z, Vold); });
    Vr = velocity(result.z);
    const float error = Vr == Vold ? 0.0f : std::abs((Vr - Vold) / Vr);
    if (error < close_enough) break;
    if (round > 1 && error > 2.0f * error_before) {
      Vr = 0.0f;
      break;
    }
    error_before = error;
  }
  result.Vr = Vr;
}

// A section with vertical walls.
void solve_square(const MessageState& messages, const Balance& b, ReturnFlowResult& result) {
  const auto [U, h1, B, Hm, W, A, n] = b;
  const float e = (square(U) / 2.0f) * (W * h1 / A) / g;
  const auto residual = [=](float z, float Vr) {
    return (square(Hm) - square(Hm - z)) * W + (square(h1) - square(z + e + h1)) * B -
           (((Hm - z) * W - h1 * B) * square(U + Vr) - Hm * W * square(U)) * 0.20387359f;
  };
  const auto velocity = [=](float z) { return (W * Hm / ((Hm - z) * W - h1 * B) - 1.0f) * U; };
  iterate(messages, "TOO MANY ITERATIONS IN RTBIS_square", (A / (A - B * h1) - 1.0f) * U, h1,
          residual, velocity, result);
}

// A section with banks of slope S from the surface on.
void solve_channel(const MessageState& messages, const Balance& b, ReturnFlowResult& result) {
  constexpr float S = side_slope;
  const auto [U, h1, B, Hm, W, A, n] = b;
  const float A0 = (W - Hm * S) * Hm;
  const float e = ((h1 * W / A0) * 0.5f * square(U)) / g;
  const float P = 0.5f * W * square(Hm) - (2.0f / 3.0f) * S * cube(Hm) + (A0 / g) * square(U);
  const auto residual = [=](float z, float Vr) {
    const float q = Hm - z;
    const float R = P + 0.5f * B * square(h1) - 0.5f * W * square(q) -
                    (square(Hm) - square(z)) * z * S + (2.0f / 3.0f) * (cube(Hm) - cube(z)) * S -
                    (((S * q + W - 2.0f * Hm * S) * q - B * h1) / g) * square(U + Vr);
    return std::sqrt(2.0f * std::max(R, 0.0f) / B) - e - h1 - z;
  };
  const auto velocity = [=](float z) {
    const float r = z / Hm;
    const float t = square(r) * S * Hm / W;
    return U * (r - t + 1.0f / n) / (1.0f - r + t - 1.0f / n);
  };
  iterate(messages, "TOO MANY ITERATIONS IN RTBIS_channel", U / (n - 1.0f), h1 / 5.0f, residual,
          velocity, result);
}

// A dredged trench below wide flats. The quarters and thirds of its balance and the discharge that
// its velocity is formed with are not those of a trapezium; results depend on them.
void solve_trench(const MessageState& messages, const Balance& balance, ReturnFlowResult& result) {
  constexpr float S = side_slope, d = trench_depth, b = trench_bottom;
  const auto [U, h1, B, Hm, W, A, n] = balance;
  const float q0 = Hm - d;
  const float A1 = d * W + b * q0 + S * square(q0);
  const float e = ((W * h1 / A1) * 0.5f * square(U)) / g;
  const float F = square(Hm) * b + square(d) * 0.25f * (W - b) + (S / 3.0f) * cube(q0);
  const auto residual = [=](float z, float Vr) {
    const float q = Hm - z;
    const float R = F - square(q) * b - (S / 3.0f) * cube(q0) + 0.5f * B * square(h1) +
                    (A1 / g) * square(U) - square(d - z) * (W - b) * 0.25f -
                    (((d - z) * W + S * square(q0) + b * q0 - B * h1) / g) * square(U + Vr);
    return std::sqrt(2.0f * std::max(R, 0.0f) / B) - e - h1 - z;
  };
  const auto velocity = [=](float z) {
    return U * h1 * B / ((S * q0 + b) * q0 + (d - z) * W - h1 * B);
  };
  iterate(messages, "TOO MANY ITERATIONS IN RTBIS_trench", U / (n - 1.0f), h1 / 5.0f, residual,
          velocity, result);
}

}  // namespace

ChannelSection CHANNEL_SECTION(const RunState& run, double xs, double ys, float heading,
                               const Array<float>& depth) {
  constexpr int reach = 500, step = 10;  // m
  const MeshState& mesh = run.mesh;
  // At right angles to the track, to starboard for a positive distance.
  const float t = (heading - 450.0f) * 3.14159f / -180.0f;
  const float s1 = std::sin(t), c1 = std::cos(t);
  float Hsum = 0.0f, dmin = 0.0f, dmax = 0.0f;
  int n = 0;
  for (int i = -reach; i <= reach; i += step) {
    const float d = static_cast<float>(i);
    const double x = xs + static_cast<double>(s1 * d), y = ys - static_cast<double>(c1 * d);
    const int e = FIND_ELEMENT(mesh, x, y);
    if (e == 0) continue;
    const Weights w = element_weights(run.messages, mesh, e, x, y);
    const float H = NODE_INTERP(w, mesh.ELnode1(e), mesh.ELnode2(e), mesh.ELnode3(e), depth);
    if (!(H > 0.0f)) continue;
    Hsum = Hsum + H;
    ++n;
    dmin = std::min(dmin, d);
    dmax = std::max(dmax, d);
  }
  ChannelSection section;
  if (n == 0) return section;
  section.W = dmax - dmin;
  section.A = (Hsum / static_cast<float>(n)) * section.W;
  return section;
}

ReturnFlowResult RETURN_FLOW(const MessageState& messages, const ShipState& ships,
                             const ChannelSection& section) {
  constexpr float least_depth = 1.1f;  // of the section, in draughts
  ReturnFlowResult result;
  if (ships.return_flow == ReturnFlow::none) return result;
  Balance b;
  b.U = ships.SHIPspeed;
  b.h1 = ships.SHIPdraft;
  b.B = ships.SHIPbeam;
  b.W = section.W;
  result.blocked = !(b.W > 0.0f);
  if (result.blocked) return result;
  b.Hm = std::max(section.A / b.W, least_depth * b.h1);
  b.A = b.W * b.Hm;
  b.n = b.A / b.h1 / b.B;
  result.A = b.A;
  result.blocked = !(b.n > 1.0f);
  if (result.blocked) return result;

  const float a1 = std::acos(1.0f - 1.0f / b.n);
  const float c3 = std::cos(a1 / 3.0f + 1.0471967f);
  const float Vc = std::sqrt(78.48f * cube(c3) * b.Hm);
  if (0.8f * Vc <= b.U) {
    result.Vr = std::sqrt(19.62f * c3 * b.Hm) - Vc;
  } else if (ships.return_flow == ReturnFlow::square) {
    solve_square(messages, b, result);
  } else if (ships.return_flow == ReturnFlow::channel) {
    solve_channel(messages, b, result);
  } else {
    solve_trench(messages, b, result);
  }

  const float m = std::max(1.0f, 0.114f * b.W / b.B + 0.715f);
  const float E = std::exp(-(0.52f * std::log(m) + 0.42f) * m);
  result.Lr = (0.5f * b.W / m) / (1.0f - E);
  return result;
}

}  // namespace dfl
