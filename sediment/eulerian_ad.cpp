#include "sediment/eulerian_ad.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "sediment/eulerian_files.h"
#include "sediment/primitives.h"

namespace dfl {

namespace {

constexpr float wet_depth = 0.01f;  // m; deeper nodes take part
constexpr float pi = 3.14158f;
constexpr float half_pi = 1.570795f;
constexpr float no_velocity = -1000.0f;  // a velocity below it is no value

struct LatticeSize {
  int elements, nodes, columns, rows;
};
constexpr LatticeSize special_lattices[] = {{59302, 30000, 200, 150},
                                            {5000, 2601, 51, 51},
                                            {118902, 60000, 150, 400},
                                            {80000, 40581, 501, 81},
                                            {298402, 150000, 300, 500}};

// Per node, made anew in every pass.
struct Terms {
  explicit Terms(int nodes) {
    for (Array<float>* term : {&USTARc, &USTARw, &PICKUP, &DEPO, &QBx, &QBy, &QSx, &QSy, &QBs}) {
      term->allocate(nodes);
    }
  }
  Array<float> USTARc, USTARw;  // shear velocities of current and waves, m/s
  Array<float> PICKUP, DEPO;    // exchange with the bed, m/s
  Array<float> QBx, QBy;        // bed load at the node, m2/s
  Array<float> QSx, QSy;        // bed load at its west and south face
  Array<float> QBs;             // its magnitude
};

// What a pass reads.
struct Pass {
  const RunState& run;
  NodeLattice lattice;
  float dt;
  const Array<float>& rho;
  const Array<float>& nu;
  const Array<float>& breaking;

  float u(int n) const { return run.flow.Unode(n, 0); }
  float v(int n) const { return run.flow.Vnode(n, 0); }
  float H(int n) const { return std::max(run.flow.Hnode(n), 0.0f); }
  bool wet(int n) const { return run.flow.Hnode(n) > wet_depth; }
};

// Numbers of a node and of its neighbours to the east, west, north and south.
struct Star {
  int C, E, W, N, S;
};

// Calls `visit` with the star of each node that is not on the edge of the lattice, row by row.
template <class Visit>
void visit_interior(const NodeLattice& lattice, Visit visit) {
  for (int j = 2; j <= lattice.rows - 1; ++j) {
    for (int i = 2; i <= lattice.columns - 1; ++i) {
      const int n = (j - 1) * lattice.columns + i;
      visit(Star{n, n + 1, n - 1, n + lattice.columns, n - lattice.columns});
    }
  }
}

float x_step(const MeshState& mesh, int from, int to) {
  return static_cast<float>(mesh.Xnode(to) - mesh.Xnode(from));
}
float y_step(const MeshState& mesh, int from, int to) {
  return static_cast<float>(mesh.Ynode(to) - mesh.Ynode(from));
}

void require_lattice(const RunState& run, const NodeLattice& lattice) {
  const MeshState& mesh = run.mesh;
  visit_interior(lattice, [&](const Star& at) {
    const float steps[] = {x_step(mesh, at.C, at.E), x_step(mesh, at.W, at.C),
                           x_step(mesh, at.W, at.E), y_step(mesh, at.C, at.N),
                           y_step(mesh, at.S, at.C), y_step(mesh, at.S, at.N)};
    for (const float step : steps) {
      if (step == 0.0f) fatal_error(run.messages, "Eulerian solver needs a lattice mesh");
    }
  });
}

float degrees_from_north(float x, float y) {
  const float angle = std::atan2(x, y) * 180.0f / pi;
  return angle < 0.0f ? angle + 360.0f : angle;
}

// Angle from the waves to the current, degrees.
float current_against_waves(float u, float v, float wave_x, float wave_y) {
  const float A = degrees_from_north(u, v);
  float B = degrees_from_north(wave_x, wave_y);
  if (B > 360.0f) B = B - 360.0f;
  float phi = A + 360.0f - B;
  if (phi > 360.0f) phi = phi - 360.0f;
  if (phi < 0.0f) phi = phi + 360.0f;
  return phi;
}

// Bed shear stress of the current, Pa; h: depth, ks: roughness, m. None where the log law has no
// finite drag, in water as shallow as the roughness.
float current_stress(float U, float h, float ks, float rho) {
  const float divisor = 1.0f + std::log(ks / 30.0f / h);
  if (divisor == 0.0f) return 0.0f;
  const float kappa = 0.4f / divisor;
  return kappa * kappa * (U * U) * rho;
}

// The same of the waves.
float wave_stress(const WaveState& waves, int n, float h, float ks, float rho) {
  float Uw = 0.0f, fw = 0.3f;
  if (waves.WAVEheight(n) > 0.0f) {
    const float T = waves.WAVEperiod(n);
    const float omega = 6.28316f / T;
    const float k = WAVE_NUMBER(h, omega).k;
    float Aw = 0.0f;
    if (k * h < 20.0f) {
      Uw = waves.WAVEheight(n) * 9.8065f * k * T / std::cosh(k * h) / 4.0f / pi;
      Aw = Uw * T / 2.0f / pi;
    }
    fw = std::min(0.3f, 0.00251f * std::exp(5.21f * std::pow(Aw / ks, -0.19f)));
  }
  return 0.5f * fw * (Uw * Uw) * rho;
}

float squared_sine(float angle) {
  const float s = std::sin(angle);
  return s * s;
}

// Diffusion coefficients of current and waves (after Camenen and Larson 2008); 0 without stress.
float current_diffusion(float ws, float USTARc) {
  if (USTARc == 0.0f) return 0.0f;
  const float r = ws / USTARc;
  return r <= 1.0f ? 0.4f + 3.5f * squared_sine(half_pi * r)
                   : 1.0f + 2.9f * squared_sine(half_pi / r);
}
float wave_diffusion(float ws, float USTARw) {
  if (USTARw == 0.0f) return 0.0f;
  const float r = ws / USTARw;
  return r <= 1.0f ? 0.15f + 1.5f * squared_sine(half_pi * r)
                   : 1.0f + 0.65f * squared_sine(half_pi / r);
}

float cube(float x) {
  return x * x * x;
}

// Rate at which a mean concentration C settles, m/s. eps: vertical diffusivity.
float deposition(float C, float ws, float eps, float h) {
  if (ws == 0.0f) return 0.0f;
  // Ratio of the mean to the near-bed concentration; 0 without diffusion, where C settles at a
  // rate of 1 m/s whatever the grains are.
  const float F = (1.0f - std::exp(-h * ws / eps)) * (eps / h) / ws;
  return F > 0.0f ? ws * C / F : C;
}

// Exchange of a wet node with the bed, and its bed load.
void exchange(const Pass& pass, int n, Terms& terms) {
  const Settings& settings = pass.run.settings;
  const SedimentState& bed = pass.run.sediment;
  const WaveState& waves = pass.run.waves;
  const float rho = pass.rho(n), nu = pass.nu(n);
  const float s = settings.rhos / rho;
  const float gs = (s - 1.0f) * 9.81f;
  const float h = pass.run.flow.Hnode(n), D = bed.D50(n), ks = bed.KSnode(n);
  // Grains without a size, or no heavier than the water, have no threshold and no load.
  const bool mobile = is_true(bed.BEDmobile(n)) && D > 0.0f && s > 1.0f;
  const float u = pass.u(n), v = pass.v(n);

  const float U = std::sqrt(u * u + v * v);
  const float ws = FALL_VELOCITY(nu, rho, settings.rhos, D);
  const float Dstar = D * std::pow(gs / (nu * nu), 1.0f / 3.0f);
  const float TAUc = current_stress(U, h, ks, rho);
  const float TAUw = wave_stress(waves, n, h, ks, rho);

  const float phi = current_against_waves(u, v, waves.WAVEdirx(n), waves.WAVEdiry(n));
  const float square = TAUc * TAUc + TAUw * TAUw + 2.0f * TAUc * TAUw * std::cos(phi * pi / 180.0f);
  // Against each other, equal stresses leave a rounding that may be below 0.
  const float THETA = 0.5f * std::sqrt(std::max(square, 0.0f)) / rho / (s - 1.0f) / 9.81f / D;
  const float THETAcr = 0.3f / (1.0f + 1.2f * Dstar) + 0.055f * (1.0f - std::exp(-0.02f * Dstar));
  const float M = THETA > 0.0f ? std::exp(-4.5f * THETAcr / THETA) : 0.0f;
  const float CR = THETA > 0.0f ? 0.0035f * std::exp(-0.3f * Dstar) * THETA * M : 0.0f;
  terms.PICKUP(n) = mobile ? settings.suspended_load_coef * ws * CR : 0.0f;

  const float USTARc = std::sqrt(TAUc / rho), USTARw = std::sqrt(TAUw / rho);
  terms.USTARc(n) = USTARc;
  terms.USTARw(n) = USTARw;
  float Bc = current_diffusion(ws, USTARc);
  float Bw = wave_diffusion(ws, USTARw);
  float X = 0.0f, an = 12.0f;
  if (TAUc + TAUw > 0.0f) {
    X = TAUc / (TAUc + TAUw);
    an = 6.0f + 6.0f * X;
  }
  if (settings.waves && settings.currents) Bc = Bw = X * Bc + (1.0f - X) * Bw;
  const bool broken = settings.waves && settings.wave_breaking && pass.breaking(n) < 0.0f;
  const float Db = broken ? std::abs(pass.breaking(n)) : 0.0f;
  const float E = TAUc * USTARc * cube(0.4f * Bc / 6.0f) + TAUw * USTARw * cube(0.4f * Bw / 9.42f) +
                  Db * cube(0.015f);
  const float eps = std::pow(E / rho, 0.33333f) * h;

  terms.DEPO(n) = deposition(bed.SSCnode(n, 1), ws, eps, h);

  const float QB = mobile
                       ? std::sqrt(gs * cube(D)) * std::sqrt(TAUc / rho / (s - 1.0f) / 9.81f / D) *
                             settings.bedload_coef * THETA * an * M
                       : 0.0f;
  terms.QBx(n) = U > 0.0f ? u * QB / U : 0.0f;
  terms.QBy(n) = U > 0.0f ? v * QB / U : 0.0f;
}

float neighbour_velocity(float value) {
  return value < no_velocity ? 0.0f : value;
}

// Flux through the face between the nodes `low` and `high`, `step` metres apart, with the velocity
// q at the face: upwind in the concentration, and diffusion.
float face_flux(const Pass& pass, const Terms& terms, int low, int high, float q, float step) {
  const Array2<float>& SSC = pass.run.sediment.SSCnode;
  const float C_low = SSC(low, 1), C_high = SSC(high, 1);
  const float depths = pass.H(high) + pass.H(low);
  const float Cu = q >= 0.0f ? C_low : C_high;
  return (0.5f * q * Cu -
          1.4825f * depths * (terms.USTARc(high) + terms.USTARc(low)) * (C_high - C_low) / step) *
         depths;
}

float new_concentration(const Pass& pass, const Terms& terms, const Star& at) {
  const MeshState& mesh = pass.run.mesh;
  const float uE = (neighbour_velocity(pass.u(at.E)) + pass.u(at.C)) / 2.0f;
  const float uW = (neighbour_velocity(pass.u(at.W)) + pass.u(at.C)) / 2.0f;
  const float vN = (neighbour_velocity(pass.v(at.N)) + pass.v(at.C)) / 2.0f;
  const float vS = (neighbour_velocity(pass.v(at.S)) + pass.v(at.C)) / 2.0f;
  const auto flux = [&](int neighbour, int low, int high, float q, float step) {
    return pass.run.flow.Hnode(neighbour) < wet_depth ? 0.0f
                                                      : face_flux(pass, terms, low, high, q, step);
  };
  const float FE = flux(at.E, at.C, at.E, uE, x_step(mesh, at.C, at.E));
  const float FW = flux(at.W, at.W, at.C, uW, x_step(mesh, at.W, at.C));
  const float FN = flux(at.N, at.C, at.N, vN, y_step(mesh, at.C, at.N));
  const float FS = flux(at.S, at.S, at.C, vS, y_step(mesh, at.S, at.C));
  const float dx = x_step(mesh, at.W, at.E) / 2.0f, dy = y_step(mesh, at.S, at.N) / 2.0f;
  const float C = pass.run.sediment.SSCnode(at.C, 1);
  const float Cnew =
      C - (pass.dt / dx / dy / pass.H(at.C)) *
              ((FE - FW - (terms.PICKUP(at.C) - terms.DEPO(at.C)) * dx) * dy + dx * (FN - FS));
  return std::max(Cnew, 0.0f);
}

// How often the sediment of a node's water is carried off or settles in a pass; above 1 the
// concentrations swing from pass to pass and soon grow without end.
float turnover(const Pass& pass, const Terms& terms, const Star& at) {
  const MeshState& mesh = pass.run.mesh;
  const float dx = std::abs(x_step(mesh, at.W, at.E)) / 2.0f;
  const float dy = std::abs(y_step(mesh, at.S, at.N)) / 2.0f;
  const float h = pass.H(at.C), C = pass.run.sediment.SSCnode(at.C, 1);
  const float K = 8.0f * 1.4825f * h * terms.USTARc(at.C);  // both depths and speeds doubled
  const float settled = C > 0.0f ? terms.DEPO(at.C) / C / h : 0.0f;
  return pass.dt * (std::abs(pass.u(at.C)) / dx + std::abs(pass.v(at.C)) / dy +
                    2.0f * K / (dx * dx) + 2.0f * K / (dy * dy) + settled);
}

void warn_of_long_step(RunState& run, float dt, float most, int node) {
  if (most <= 1.0f || run.sediment.ad_step_warned) return;
  run.sediment.ad_step_warned = true;
  char text[240];
  std::snprintf(
      text, sizeof text,
      "eulerian_sed_trans \"a-d\": bed updates %.3g s apart (grid_update x time_step) are "
      "too far apart for the flow at node %d; concentrations are stable below about %.2g s",
      static_cast<double>(dt), node, static_cast<double>(dt / most));
  echo_warning(run.messages, text);
}

// Bed load at the west and south face of a node, with a term of the bed slope. Its sign is that of
// bed levels, but the depths count downward: it carries bed load up the slope and sharpens the bed.
void face_bed_load(const Pass& pass, const Star& at, Terms& terms) {
  const MeshState& mesh = pass.run.mesh;
  const float xW = (terms.QBx(at.W) + terms.QBx(at.C)) / 2.0f;
  const float yW = (terms.QBy(at.W) + terms.QBy(at.C)) / 2.0f;
  terms.QSx(at.C) = xW - 5.0f * std::sqrt(xW * xW + yW * yW) *
                             (mesh.DEPTHnode(at.C) - mesh.DEPTHnode(at.W)) /
                             x_step(mesh, at.W, at.C);
  const float xS = (terms.QBx(at.C) + terms.QBx(at.S)) / 2.0f;
  const float yS = (terms.QBy(at.C) + terms.QBy(at.S)) / 2.0f;
  terms.QSy(at.C) = yS - 5.0f * std::sqrt(xS * xS + yS * yS) *
                             (mesh.DEPTHnode(at.C) - mesh.DEPTHnode(at.S)) /
                             y_step(mesh, at.S, at.C);
  terms.QBs(at.C) =
      std::sqrt(terms.QSx(at.C) * terms.QSx(at.C) + terms.QSy(at.C) * terms.QSy(at.C));
}

// Rates of the wet nodes within the lattice; all others have none.
void bed_rates(const Pass& pass, const Terms& terms, Array<float>& DZDT) {
  const MeshState& mesh = pass.run.mesh;
  DZDT.fill(0.0f);
  visit_interior(pass.lattice, [&](const Star& at) {
    if (!pass.wet(at.C)) return;
    const float dx = x_step(mesh, at.W, at.E) / 2.0f, dy = y_step(mesh, at.S, at.N) / 2.0f;
    DZDT(at.C) = -(1.0f / (1.0f - pass.run.settings.bed_porosity)) *
                 ((terms.QSx(at.E) - terms.QSx(at.C)) / dx +
                  (terms.QSy(at.N) - terms.QSy(at.C)) / dy + terms.PICKUP(at.C) - terms.DEPO(at.C));
  });
}

void smooth_rates(const Pass& pass, Array<float>& DZDT) {
  const Array<float> before = DZDT;
  visit_interior(pass.lattice, [&](const Star& at) {
    if (!pass.wet(at.C)) {
      DZDT(at.C) = 0.0f;
      return;
    }
    float sum = 2.0f * before(at.C), weight = 2.0f;
    for (const int n : {at.E, at.W, at.N, at.S}) {
      if (!pass.wet(n)) continue;
      sum = sum + before(n);
      weight = weight + 1.0f;
    }
    DZDT(at.C) = sum / weight;
  });
}

void warn_without_lattice(RunState& run, const NodeLattice& lattice) {
  if ((lattice.columns >= 3 && lattice.rows >= 3) || run.sediment.lattice_warned) return;
  run.sediment.lattice_warned = true;
  echo_warning(
      run.messages,
      "eulerian_sed_trans \"a-d\" needs a lattice of nodes, at least 3 by 3: an \"n3d\" or "
      "\"gr3d\" mesh, or one of the sizes of the card special; the bed is at rest");
}

}  // namespace

NodeLattice node_lattice(const RunState& run) {
  if (run.settings.special) {
    for (const LatticeSize& size : special_lattices) {
      if (size.elements == run.mesh.NUMelem && size.nodes == run.mesh.NUMnode) {
        return {size.columns, size.rows};
      }
    }
  }
  const MeshFormat format = run.settings.method.mesh;
  if (format != MeshFormat::n3d && format != MeshFormat::gr3d) return {};
  const long long nodes = static_cast<long long>(run.grid.NumI) * run.grid.NumJ;
  if (nodes != run.mesh.NUMnode) return {};
  return {run.grid.NumI, run.grid.NumJ};
}

void EULERIAN_AD(RunState& run, float dt, const Array<float>& rho, const Array<float>& nu,
                 const Array<float>& breaking) {
  SedimentState& bed = run.sediment;
  const int nodes = run.mesh.NUMnode;
  if (!bed.SSCnode.allocated()) bed.SSCnode.allocate(nodes, 1, 2);
  const NodeLattice lattice = node_lattice(run);
  warn_without_lattice(run, lattice);
  require_lattice(run, lattice);
  const Pass pass{run, lattice, dt, rho, nu, breaking};
  Terms terms(nodes);

  visit_interior(lattice, [&](const Star& at) {
    if (pass.wet(at.C)) exchange(pass, at.C, terms);
  });
  begin_eulerian_frame(run);
  write_eulerian_field(run, EulerianField::pick_up, terms.PICKUP);
  write_eulerian_field(run, EulerianField::depo, terms.DEPO);

  float most_turnover = 0.0f;
  int most_node = 0;
  visit_interior(lattice, [&](const Star& at) {
    const bool wet = pass.wet(at.C);
    bed.SSCnode(at.C, 2) = wet ? new_concentration(pass, terms, at) : 0.0f;
    if (!wet) return;
    face_bed_load(pass, at, terms);
    if (const float share = turnover(pass, terms, at); share > most_turnover) {
      most_turnover = share;
      most_node = at.C;
    }
  });
  warn_of_long_step(run, dt, most_turnover, most_node);
  Array<float> concentration;
  concentration.allocate(nodes);
  for (int n = 1; n <= nodes; ++n) concentration(n) = bed.SSCnode(n, 2);
  write_eulerian_field(run, EulerianField::ssc, concentration);
  write_eulerian_field(run, EulerianField::qbs, terms.QBs);

  bed_rates(pass, terms, bed.DZDT);
  smooth_rates(pass, bed.DZDT);

  for (int n = 1; n <= nodes; ++n) {
    const float Cnew = bed.SSCnode(n, 2), u = pass.u(n), v = pass.v(n), h = run.flow.Hnode(n);
    bed.SSCnode(n, 1) = Cnew;
    bed.SSCnode(n, 2) = h > 0.0f ? std::sqrt(u * u + v * v) * Cnew * h + terms.QBs(n) : 0.0f;
  }
}

}  // namespace dfl
