#include "ships/drawdown.h"

#include <algorithm>
#include <cmath>

#include "control/text_reader.h"
#include "control/text_tools.h"
#include "ships/return_flow.h"
#include "ships/sgh_file.h"

namespace dfl {

namespace {

constexpr float g = 9.81f;  // m/s2
constexpr float pi = 3.14159f;
constexpr float fastest = 5.0f;  // m/s, of each component that the hull adds

float square(float x) {
  return x * x;
}

std::string existing_file(const RunState& run, const std::string& path, const char* missing) {
  if (!file_exists(found_path(path))) fatal_error(run.messages, missing);
  return path;
}

void need_same_shape(const TextReader& in, const SghHeader& a, const SghHeader& b) {
  if (a.xcount == b.xcount && a.ycount == b.ycount) return;
  in.stop("expected a grid of the shape of the surface grid, " + std::to_string(a.xcount) + " by " +
          std::to_string(a.ycount) + ", found " + std::to_string(b.xcount) + " by " +
          std::to_string(b.ycount));
}

void warn_of_grid_off_ship(const RunState& run, const DrawdownGrid& grid) {
  if (grid.DDxs <= 0.0f && grid.DDxe >= 0.0f && grid.DDys <= 0.0f && grid.DDye >= 0.0f) return;
  echo_warning(run.messages,
               "the drawdown grid does not hold the middle of the ship: :xorigin and :yorigin "
               "count in half lengths and half beams of the hull from there");
}

void read_grids(RunState& run) {
  const Settings& s = run.settings;
  DrawdownGrid& grid = run.ships.grid;
  TextReader surface(run.messages,
                     existing_file(run, s.drawdown_fse_file, " *** DRAWDOWN z FILE NOT FOUND ***"));
  TextReader velocity(run.messages, existing_file(run, s.drawdown_vel_file,
                                                  " *** DRAWDOWN u-v FILE NOT FOUND ***"));
  const SghHeader header = read_sgh_header(run, surface);
  READ_SGH_FILE_SCALAR(run, surface, header, grid.DDz);
  const SghHeader same = read_sgh_header(run, velocity);
  need_same_shape(velocity, header, same);
  READ_SGH_FILE_SCALAR(run, velocity, header, grid.DDu);
  READ_SGH_FILE_SCALAR(run, velocity, header, grid.DDv);

  grid.DDni = header.xcount;
  grid.DDnj = header.ycount;
  grid.DDdx = header.xdelta;
  grid.DDdy = header.ydelta;
  grid.DDangle = header.angle;
  grid.DDxs = header.xorigin;
  grid.DDys = header.yorigin;
  const ShipState& ships = run.ships;
  grid.DDxe = grid.DDxs + static_cast<float>(grid.DDni - 1) * grid.DDdx / (0.5f * ships.SHIPlength);
  grid.DDye = grid.DDys + static_cast<float>(grid.DDnj - 1) * grid.DDdy / (0.5f * ships.SHIPbeam);
  warn_of_grid_off_ship(run, grid);
}

// Half width of the oval around two sources of strength m at -s and +s in a stream U; a: half
// length of the hull.
float oval_half_width(const MessageState& messages, float s, float m, float U, float a) {
  const float c = (0.5f * m / pi / U) / a;
  return RTBIS(messages, "ROOT MUST BE BRACKETED IN RTBIS_STAG",
               "TOO MANY ITERATIONS IN RTBIS_STAG", 0.005f * m / U, 0.495f * m / U, 1.0e-5f,
               [=](float y) { return square(s) - square(y) + 2.0f * y * s / std::tan(y / a / c); });
}

}  // namespace

void READ_DRAWDOWN_DATA(RunState& run) {
  if (run.settings.drawdown_data_file == "none") {
    fatal_error(run.messages, " *** NEED DRAWDOWN DATA FILE ***");
  }
  TextReader in(run.messages, run.settings.drawdown_data_file);
  ShipState& ships = run.ships;
  for (float* size : {&ships.SHIPlength, &ships.SHIPbeam, &ships.SHIPdraft}) {
    in.read(*size);
    if (!(*size > 0.0f)) in.stop("expected length, beam and draught of the ship above 0");
  }
  if (ships.interpolated) read_grids(run);
}

void SHIP_STAGNATION(RunState& run) {
  constexpr int most_rounds = 1000;
  ShipState& ships = run.ships;
  const float U = ships.SHIPspeed, L = ships.SHIPlength, B = ships.SHIPbeam;
  const float a = L / 2.0f;
  float s = L / 4.0f;
  float step = 1.0f;
  for (int round = 1; round <= most_rounds; ++round) {
    s = s + step * L / 4000.0f;
    const float m = (square(a) - square(s)) * pi * U / s;
    const float w = oval_half_width(run.messages, s, m, U, a);
    if (2.0f * w > 1.01f * B) {
      step = 1.0f;
    } else if (2.0f * w < 0.99f * B) {
      step = -1.0f;
    } else {
      ships.SHIPsource = s;
      ships.SHIPstrength = m;
      return;
    }
  }
  fatal_error(run.messages, "NO HULL MODEL FOUND IN SHIP_STAGNATION: length and beam of " +
                                run.settings.drawdown_data_file + " do not fit an oval hull");
}

PassingHull passing_hull(const RunState& run) {
  const ShipState& ships = run.ships;
  PassingHull hull;
  hull.xs = ships.xs;
  hull.ys = ships.ys;
  float turn = ships.heading - 450.0f;
  if (ships.interpolated) turn = ships.grid.DDangle + turn;
  hull.sn = std::sin(turn * pi / 180.0f);
  hull.cs = std::cos(turn * pi / 180.0f);
  hull.bn = std::sin(turn * pi / -180.0f);
  hull.bc = std::cos(turn * pi / -180.0f);
  hull.length = ships.SHIPlength;
  hull.beam = ships.SHIPbeam;
  hull.U = ships.SHIPspeed;
  hull.s = ships.SHIPsource;
  hull.m = ships.SHIPstrength;
  hull.continuity = ships.continuity;
  hull.returns = ships.return_flow != ReturnFlow::none;
  hull.depth = ships.depth;
  hull.Vr = ships.Vr;
  hull.Lr = ships.Lr;
  hull.calibration_factor = run.settings.calibration_factor;
  return hull;
}

NodeDrawdown DRAWDOWN_FUNCTION(const PassingHull& hull, float H, double x, double y) {
  const float B = hull.beam, L = hull.length, U = hull.U, s = hull.s, m = hull.m;

  // Into the ship's axes, X along it; a point inside the hull moves to its side.
  const float dx = static_cast<float>(static_cast<double>(hull.xs) - x);
  const float dy = static_cast<float>(static_cast<double>(hull.ys) - y);
  const float X = dx * hull.cs - dy * hull.sn;
  float Y = dx * hull.sn + dy * hull.cs;
  if (std::abs(Y) <= B / 2.0f && std::abs(X) <= L / 2.0f) {
    const float Yh = std::sqrt(square(B) / 4.0f * (1.0f - 4.0f * square(X) / square(L)));
    if (std::abs(Y) <= Yh) Y = std::copysign(Yh, Y);
  }

  // Potential flow of the two sources, and the surface by Bernoulli.
  float a = 0.0f, b = 0.0f;
  const float D = square(square(s)) - 2.0f * (square(X) - square(Y)) * square(s) +
                  square(square(X) + square(Y));
  if (D != 0.0f) {
    a = 2.0f * s * (square(Y) + square(s) - square(X)) / D;
    b = -4.0f * Y * X * s / D;
  }
  float u = (-m / 2.0f / pi) * a;
  float v = (-m / 2.0f / pi) * b;
  const float t = -U - (m / 2.0f / pi) * a;
  float dz = -(((square(t) + square(v)) * 0.5f) / g - (square(U) / g) * 0.5f);

  if (hull.continuity) {
    constexpr float largest_ratio = 10.0f;
    const float c = dz + H <= 0.0f ? 0.0f : std::min(hull.depth / (dz + H), largest_ratio);
    u = dz + H <= 0.0f ? 0.0f : u * c;
    v = dz + H <= 0.0f ? 0.0f : v * c;
  }
  if (hull.returns && hull.Vr > 0.0f && -s <= X && X <= s) {
    u = u - hull.Vr * ((std::cos(pi * X / s) + 1.0f) / 2.0f) * std::exp(-std::abs(Y) / hull.Lr);
  }
  // Close to the ends of the hull the velocity fades.
  if (std::abs(Y) <= 2.0f * B) {
    const float r = std::sqrt(square(Y) + square(std::abs(X) - s));
    if (r <= 2.0f * B) {
      const float f = std::min(1.0f, std::log(r / B + 1.0f));
      u = u * f;
      v = v * f;
    }
  }
  NodeDrawdown result;
  result.dz = dz * hull.calibration_factor;
  result.du = std::clamp(u * hull.bc - v * hull.bn, -fastest, fastest) * hull.calibration_factor;
  result.dv = std::clamp(v * hull.bc + u * hull.bn, -fastest, fastest) * hull.calibration_factor;
  return result;
}

NodeDrawdown DRAWDOWN_GRID(const PassingHull& hull, const DrawdownGrid& grid, double x, double y) {
  NodeDrawdown result;
  // From the first point of the grid, along its axes.
  const float dx = static_cast<float>(x - static_cast<double>(hull.xs));
  const float dy = static_cast<float>(y - static_cast<double>(hull.ys));
  const float X = dx * hull.cs - dy * hull.sn - grid.DDxs * 0.5f * hull.length;
  const float Y = dx * hull.sn + dy * hull.cs - grid.DDys * 0.5f * hull.beam;
  const float column = X / grid.DDdx + 1.0f, row = Y / grid.DDdy + 1.0f;
  if (!(column >= 1.0f && column < static_cast<float>(grid.DDni) && row >= 1.0f &&
        row < static_cast<float>(grid.DDnj))) {
    return result;
  }
  const int I = static_cast<int>(column), J = static_cast<int>(row);

  // Each corner of the cell weighs as its opposite is far.
  const float left = X - static_cast<float>(I - 1) * grid.DDdx, right = grid.DDdx - left;
  const float below = Y - static_cast<float>(J - 1) * grid.DDdy, above = grid.DDdy - below;
  const float d1 = std::sqrt(square(left) + square(below));
  const float d2 = std::sqrt(square(right) + square(below));
  const float d3 = std::sqrt(square(right) + square(above));
  const float d4 = std::sqrt(square(left) + square(above));
  const float sum = d1 + d2 + d3 + d4;
  const auto at_point = [&](const Array2<float>& values) {
    return (d3 / sum) * values(J, I) + (d4 / sum) * values(J, I + 1) +
           (d1 / sum) * values(J + 1, I + 1) + (d2 / sum) * values(J + 1, I);
  };
  const float u = at_point(grid.DDu), v = at_point(grid.DDv);
  result.dz = at_point(grid.DDz) * hull.calibration_factor;
  result.du = (u * hull.bc - v * hull.bn) * hull.calibration_factor;
  result.dv = (v * hull.bc + u * hull.bn) * hull.calibration_factor;
  return result;
}

}  // namespace dfl
