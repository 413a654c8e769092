#include "sediment/bed_fields.h"

#include <algorithm>
#include <cmath>

#include "flow/vertical_profile.h"
#include "sediment/eulerian_ad.h"
#include "sediment/morphology.h"
#include "sediment/primitives.h"
#include "sediment/transport_formulas.h"
#include "sediment/van_rijn.h"

namespace dfl {

namespace {

constexpr float g = 9.81f;      // m/s2
constexpr float pi = 3.14159f;  // to five decimals everywhere here
constexpr float two_pi = 6.28318f;
constexpr float friction_angle = 31.0f;     // of the bed, degrees
constexpr float D50mud = 0.0001f;           // m; finer beds erode as mud in "cohesive"
constexpr float no_waves_number = 1.0e10f;  // 1/m, wave number of a period of 0

// The same for all nodes of one pass.
struct Pass {
  float dt = 0.0f;          // s between two passes
  int level = 0;            // of the velocity arrays
  bool first_step = false;  // bedforms take their equilibrium at once
};

struct NodeFlow {
  float h = 0.0f;                      // m
  float u = 0.0f, v = 0.0f, U = 0.0f;  // m/s
};

struct WaterAtBed {
  float rho = 0.0f;          // kg/m3
  float nu = 0.0f;           // m2/s
  float temperature = 0.0f;  // degrees C
  float salinity = 0.0f;     // parts per thousand
};

// The fields of one node, from the arrays and back to them. What a pass does not touch stays.
struct NodeFields {
  float USTAR, TAUbed, KSnode, BEDFORMnode, MOBILITYnode, QSED, DZDT;
};

// What the closed formulas need of a node.
struct TransportPoint {
  bool mobile = false;  // the node has a load
  float h = 0.0f, U = 0.0f, H = 0.0f, T = 0.0f, Uw = 0.0f;
  float rho = 0.0f, nu = 0.0f, D50 = 0.0f;
  bool breaking = false;
  float Db = 0.0f;  // dissipation by breaking, positive; 0 without
  float TAUc = 0.0f, TAUw = 0.0f, TAUbed = 0.0f;
  float THETAcr = 0.0f, TAUcr = 0.0f, Dstar = 0.0f, Ucr = 0.0f, Dtot = 0.0f;
};

struct NodeResult {
  NodeFields fields;
  TransportPoint point;
};

float value_or_zero(const Array2<float>& field, int n, int level) {
  return field.allocated() ? field(n, std::min(level, field.last_column())) : 0.0f;
}

NodeFlow node_flow(const FlowState& flow, int n, int level) {
  NodeFlow at;
  at.h = flow.Hnode.allocated() ? flow.Hnode(n) : 0.0f;
  at.u = value_or_zero(flow.Unode, n, level);
  at.v = value_or_zero(flow.Vnode, n, level);
  at.U = std::sqrt(at.u * at.u + at.v * at.v);
  return at;
}

// Density, viscosity, temperature and salinity at min_depth above the bed.
WaterAtBed water_at_bed(const RunState& run, int n, float h) {
  const Settings& settings = run.settings;
  const FlowState& flow = run.flow;
  const auto at_bed = [&](const Array2<float>& field) {
    return VERT_INTERP(flow, settings.method.flow, settings.min_depth, h, 1, EndRule::hold,
                       EndRule::hold, field, n);
  };
  WaterAtBed water;
  water.rho = flow.UNIFORMden ? settings.water_density : at_bed(flow.DENnode);
  water.temperature = flow.UNIFORMtem ? settings.temperature : at_bed(flow.TEMnode);
  water.nu = flow.UNIFORMtem ? settings.water_viscosity : VISCOSITY_T(water.temperature);
  water.salinity = flow.UNIFORMsal ? settings.salinity * 1000.0f : at_bed(flow.SALnode);
  return water;
}

// Angle from the waves to the current, degrees, 0 to 360.
float current_against_waves(float u, float v, float wx, float wy) {
  float c = std::atan2(u, v) * 180.0f / pi;
  float w = std::atan2(wx, wy) * 180.0f / pi;
  if (c < 0.0f) c = c + 360.0f;
  if (w < 0.0f) w = w + 360.0f;
  if (w > 360.0f) w = w - 360.0f;
  float A = c + 360.0f - w;
  if (A > 360.0f) A = A - 360.0f;
  if (A < 0.0f) A = A + 360.0f;
  return A;
}

// Shear velocity of the current over the roughness KS; negative where h is a small part of KS.
float shear_velocity(const NodeFlow& at, float KS, float min_depth) {
  if (KS <= 0.0f || at.h < min_depth || at.h <= 0.0f) return 0.0f;
  const float divisor = 5.75f * std::log10(at.h / KS) + 6.0f;
  return divisor == 0.0f ? 0.0f : at.U / divisor;
}

float relaxed_bedform(float present, float equilibrium, float rate, const Pass& pass) {
  if (pass.first_step) return equilibrium;
  if (equilibrium > present) return std::min(equilibrium, present + pass.dt * rate);
  if (equilibrium < present) return std::max(equilibrium, present - pass.dt * rate);
  return equilibrium;
}

NodeFields fields_of(const SedimentState& sediment, int n) {
  return {sediment.USTAR(n),        sediment.TAUbed(n), sediment.KSnode(n), sediment.BEDFORMnode(n),
          sediment.MOBILITYnode(n), sediment.QSED(n),   sediment.DZDT(n)};
}

void store_fields(const NodeFields& fields, int n, SedimentState& sediment) {
  sediment.USTAR(n) = fields.USTAR;
  sediment.TAUbed(n) = fields.TAUbed;
  sediment.KSnode(n) = fields.KSnode;
  sediment.BEDFORMnode(n) = fields.BEDFORMnode;
  sediment.MOBILITYnode(n) = fields.MOBILITYnode;
  sediment.QSED(n) = fields.QSED;
  sediment.DZDT(n) = fields.DZDT;
}

// A node without water. Its stress stays as it was.
bool dry_node(const RunState& run, const NodeFlow& at, float Ks1, NodeFields& fields) {
  const float min_depth = run.settings.min_depth;
  if (at.h > min_depth && at.h > 0.0f) return false;
  fields.KSnode = Ks1;
  fields.USTAR = shear_velocity(at, Ks1, min_depth);
  fields.QSED = 0.0f;
  fields.MOBILITYnode = 0.0f;
  fields.BEDFORMnode = 0.0f;
  return true;
}

// Waves at a node as the closed formulas see them.
struct NodeWaves {
  float H = 0.0f, T = 0.0f;
  float wx = 0.0f, wy = 0.0f;
  float omega = 0.0f, k = 0.0f, G = 0.0f;
  float Uw = 0.0f, Aw = 0.0f;  // orbital speed and excursion at the bed
};

NodeWaves node_waves(const WaveState& state, int n, float h) {
  NodeWaves waves;
  waves.H = state.WAVEheight(n);
  waves.T = state.WAVEperiod(n);
  waves.wx = state.WAVEdirx(n);
  waves.wy = state.WAVEdiry(n);
  if (waves.T == 0.0f) {
    waves.k = no_waves_number;
    return waves;
  }
  waves.omega = two_pi / waves.T;
  const WaveNumber number = WAVE_NUMBER(h, waves.omega);
  waves.k = number.k;
  waves.G = number.G;
  const float kh = waves.k * h;
  if (!(kh >= 20.0f)) {
    waves.Uw = waves.k * g * waves.H * waves.T / std::cosh(kh) / 4.0f / pi;
    waves.Aw = waves.T * 0.5f * waves.Uw / pi;
  }
  return waves;
}

// Critical stress on a sloping bed, from its parts along x and y.
float stress_on_slope(const SedimentState& sediment, int n, const NodeFlow& at, float TAUcr) {
  float slope = sediment.BEDslopeX(n);
  if (at.u < 0.0f) slope = -slope;
  const float Tx = TAUcr * SLOPE_FACTOR(slope, friction_angle) * at.u / at.U;
  slope = sediment.BEDslopeY(n);
  if (at.v < 0.0f) slope = -slope;
  const float Ty = TAUcr * SLOPE_FACTOR(slope, friction_angle) * at.v / at.U;
  return std::sqrt(Tx * Tx + Ty * Ty);
}

// Threshold, bedforms and roughness of a mobile node with the stresses of `point`.
void move_bed(const RunState& run, const Pass& pass, int n, const NodeFlow& at,
              const NodeWaves& waves, float Ks1, NodeFields& fields, TransportPoint& point) {
  const SedimentState& sediment = run.sediment;
  const float rhos = run.settings.rhos, rho = point.rho, nu = point.nu, D50 = point.D50;
  const float h = at.h, D90 = sediment.D90(n);
  point.mobile = true;

  const float s1 = rhos / rho - 1.0f;
  const float THETA = point.TAUc / rho / g / s1 / D50;
  point.Dstar = D50 * std::pow(s1 * g / (nu * nu), 1.0f / 3.0f);
  point.THETAcr =
      0.3f / (1.0f + 1.2f * point.Dstar) + 0.055f * (1.0f - std::exp(-0.02f * point.Dstar));
  point.TAUcr = point.THETAcr * g * (rhos - rho) * D50;
  if (run.settings.slope_effects && at.U > 0.0f) {
    point.TAUcr = stress_on_slope(sediment, n, at, point.TAUcr);
    point.THETAcr = point.TAUcr / g / (rhos - rho) / D50;
  }
  const float stage = point.TAUc / point.TAUcr;
  fields.MOBILITYnode = fields.TAUbed / point.TAUcr;

  const float equilibrium = BEDFORM_HEIGHT(stage, h, D50);
  const float rate = BEDFORM_RATE(rhos, rho, nu, THETA, point.THETAcr, D50);
  const float form = std::max(relaxed_bedform(fields.BEDFORMnode, equilibrium, rate, pass), 0.01f);
  fields.BEDFORMnode = form;
  const float K = 1.1f * form * (1.0f - std::exp(-25.0f * form / (7.3f * h))) + Ks1 +
                  RIPPLE_ROUGHNESS(rho, rhos, D50, waves.omega, waves.Aw);
  fields.KSnode = std::max(Ks1, K);

  // Critical speed by grain size (van Rijn 1984).
  point.Ucr = D50 < 0.0005f ? 0.19f * std::pow(D50, 0.1f) * std::log10(4.0f * h / D90)
                            : 8.5f * std::pow(D50, 0.6f) * std::log10(4.0f * h / D90);
}

// Stresses on the bed of a node in waves and current, Pa.
void stress_in_waves(const RunState& run, int n, const NodeFlow& at, NodeWaves& waves, float Ks1,
                     float rho, TransportPoint& point) {
  // Without a period waves count as absent and the period as 1 s.
  waves = node_waves(run.waves, n, at.h);
  const float kx = waves.wx * waves.k, ky = waves.wy * waves.k;
  float a = waves.H / 2.0f;
  if (waves.T <= 0.0f) {
    a = 0.0f;
    waves.T = 1.0f;
  }

  // Dissipation by waves, current and breaking.
  const WaveFriction friction =
      WAVE_FRICTION(two_pi / waves.T, waves.k, at.h, Ks1, a, kx, ky, at.u, at.v, rho);
  const float Db = run.waves.WAVEbreak(n);
  point.breaking = run.settings.wave_breaking && Db < 0.0f;
  point.Db = point.breaking ? std::abs(Db) : 0.0f;
  point.Dtot = friction.Dw + friction.Dc;
  if (point.breaking) point.Dtot = point.Dtot + point.Db;

  // Stress by current, waves and breaking.
  const float Tx = friction.Cdx * rho * at.U * at.u, Ty = friction.Cdy * rho * at.U * at.v;
  point.TAUc = std::sqrt(Tx * Tx + Ty * Ty);
  float fw = 0.0f;
  if (waves.Aw > 1.0e-6f && Ks1 >= 0.0f) {
    fw = std::clamp(std::exp(5.5f * std::pow(Ks1 / waves.Aw, 0.2f) - 6.3f), 0.0f, 1.0f);
  }
  point.TAUw = 0.5f * rho * fw * (waves.Uw * waves.Uw);
  float TAUbr = 0.0f;
  if (point.breaking) {
    const float Cg = 0.5f * (waves.omega / waves.k) * (waves.G + 1.0f);
    TAUbr = Cg == 0.0f ? 0.0f : 0.1f * point.Db / Cg;
  }
  const float A = current_against_waves(at.u, at.v, waves.wx, waves.wy) * pi / 180.0f;
  const float along = point.TAUc + point.TAUw * std::cos(A);
  const float across = point.TAUw * std::sin(A);
  point.TAUbed = TAUbr + std::sqrt(along * along + across * across);
}

// The same without waves, where the friction is that of the current alone: the same numbers without
// the wave formulas, but for the dissipation. False where the friction is another one; nothing is
// set then.
bool stress_without_waves(const RunState& run, int n, const NodeFlow& at, NodeWaves& waves,
                          float Ks1, float rho, TransportPoint& point) {
  const bool takes_dissipation = run.settings.method.transport == TransportFormula::camenen_larson;
  if (takes_dissipation || !calm_node(run.waves, n)) return false;
  const float log_drag = 0.4f / (std::log(Ks1 / 30.0f / at.h) + 1.0f);
  const float Cd = log_drag * log_drag;
  if (!current_alone(at.u, at.v, at.U, Cd)) return false;
  const float Tx = Cd * rho * at.U * at.u, Ty = Cd * rho * at.U * at.v;
  const float TAUc = std::sqrt(Tx * Tx + Ty * Ty);
  // Within these the root of the square is the number itself.
  if (!(TAUc > 1.0e-15f && TAUc < 1.0e15f)) return false;
  waves.T = run.waves.WAVEperiod(n);
  waves.omega = two_pi / waves.T;
  point.TAUc = point.TAUbed = TAUc;
  return true;
}

// One node by closed formulas, all but its load.
NodeResult closed_formula_node(const RunState& run, const Pass& pass, int n) {
  const Settings& settings = run.settings;
  const SedimentState& sediment = run.sediment;
  NodeResult result{fields_of(sediment, n), {}};
  NodeFields& fields = result.fields;
  TransportPoint& point = result.point;
  const float Ks1 = 3.0f * sediment.D90(n);
  const NodeFlow at = node_flow(run.flow, n, pass.level);
  if (dry_node(run, at, Ks1, fields)) return result;

  const WaterAtBed water = water_at_bed(run, n, at.h);
  NodeWaves waves;
  if (!stress_without_waves(run, n, at, waves, Ks1, water.rho, point)) {
    stress_in_waves(run, n, at, waves, Ks1, water.rho, point);
  }
  fields.TAUbed = point.TAUbed;

  point.h = at.h;
  point.U = at.U;
  point.H = waves.H;
  point.T = waves.T;
  point.Uw = waves.Uw;
  point.rho = water.rho;
  point.nu = water.nu;
  point.D50 = sediment.D50(n);

  // Hard bottom, or grains for which no threshold of motion exists.
  const bool has_threshold = settings.rhos > water.rho && point.D50 > 0.0f && Ks1 > 0.0f;
  if (!is_true(sediment.BEDmobile(n)) || !has_threshold) {
    fields.KSnode = Ks1;
    fields.QSED = 0.0f;
    fields.BEDFORMnode = 0.0f;
    if (!has_threshold) fields.MOBILITYnode = 0.0f;
  } else {
    move_bed(run, pass, n, at, waves, Ks1, fields, point);
  }
  if (settings.no_bedforms) {
    fields.KSnode = Ks1;
    fields.BEDFORMnode = 0.0f;
  }
  fields.USTAR = shear_velocity(at, fields.KSnode, settings.min_depth);
  return result;
}

// Rate of mud erosion at x times the critical stress.
float MUD_RATE(float x, float E) {
  const float e = std::exp(-0.5f * (x * x));
  const float near = e == 0.0f ? 0.0f : (std::exp(x - 2.0f) - 0.13533528f) * e;
  return E * (near + (x - 1.0f) * (1.0f - e));
}

// Rate of bed level change of a muddy node, m/s.
float MUD_EROSION(const Settings& settings, float TAUc) {
  if (!(settings.cohesive_taucr > 0.0f)) return 0.0f;
  const float x = std::min(100.0f, TAUc / settings.cohesive_taucr);
  return std::min(0.0f, -x * MUD_RATE(x, settings.cohesive_erodibility));
}

// The load of a mobile node by the chosen formula, kg/m/s. `latches` is that of the Lund formulas.
void transport_load(const RunState& run, const TransportPoint& p, SedimentState& latches,
                    NodeFields& fields) {
  const Settings& s = run.settings;
  const float slope = 0.0f;
  const auto soulsby = [&] {
    return Q_SOULSBY_VAN_RIJN(p.D50, p.h, p.rho, s.rhos, p.U, p.Uw, p.Ucr, slope, transport_z0,
                              p.Dstar) *
           s.rhos;
  };
  switch (s.method.transport) {
    case TransportFormula::soulsby_van_rijn:
      fields.QSED = soulsby();
      return;
    case TransportFormula::cohesive:
      if (p.D50 >= D50mud) {
        fields.QSED = soulsby();
        fields.DZDT = 0.0f;
      } else {
        fields.DZDT = MUD_EROSION(s, p.TAUc);
      }
      return;
    case TransportFormula::van_rijn_2017:
      fields.QSED = Q_VAN_RIJN_2017(p.D50, p.h, p.rho, s.rhos, p.U, p.Uw, p.Ucr, p.T, p.Dstar);
      return;
    case TransportFormula::camenen_larson:
      fields.QSED = Q_CAMENEN_LARSON(p.D50, p.rho, s.rhos, p.THETAcr, p.h, p.nu, p.U, p.breaking,
                                     p.TAUc, p.TAUw, p.TAUbed, p.TAUcr, p.Dtot, slope, transport_kb)
                        .total *
                    s.rhos;
      return;
    case TransportFormula::lund: {
      const auto formula = s.old_lund ? Q_LUND_OLD : Q_LUND;
      fields.QSED = formula(latches, p.D50, p.rho, s.rhos, p.THETAcr, p.h, p.nu, p.U, p.H, p.TAUc,
                            p.TAUw, p.TAUbed, p.Db, slope, transport_kb)
                        .total *
                    s.rhos;
      return;
    }
    case TransportFormula::a_d:
      return;
    case TransportFormula::van_rijn:  // a profile formula; no closed form of it exists
      console(run.messages, "\n");
      return;
  }
}

// One node by the van Rijn profile, which is repeated until its roughness stands.
NodeFields profile_node(const RunState& run, const Pass& pass, int n) {
  const Settings& settings = run.settings;
  const SedimentState& sediment = run.sediment;
  NodeFields fields = fields_of(sediment, n);
  const float D50 = sediment.D50(n), D90 = sediment.D90(n);
  const float Ks1 = 3.0f * D90;
  const NodeFlow at = node_flow(run.flow, n, 0);
  if (dry_node(run, at, Ks1, fields)) return fields;

  const float H = run.waves.WAVEheight(n), T = run.waves.WAVEperiod(n);
  float M = 0.0f;  // mass transport by the waves at the bed
  if (T != 0.0f) {
    const float k = WAVE_NUMBER(at.h, two_pi / T).k;
    M = WAVE_DRIFT(run.messages, 1, k, at.h, settings.min_depth, H, T, two_pi / T / k);
  }
  const WaterAtBed water = water_at_bed(run, n, at.h);
  VanRijnInput in;
  in.number = n;
  in.h = at.h;
  in.U = at.U;
  in.Ud = M;
  in.H = H;
  in.T = T;
  in.phi = current_against_waves(at.u, at.v, run.waves.WAVEdirx(n), run.waves.WAVEdiry(n));
  in.D50 = D50;
  in.D90 = D90;
  in.Ds = D50;
  in.temperature = water.temperature;
  in.salinity = water.salinity;

  const bool mobile = is_true(sediment.BEDmobile(n));
  const bool calm = at.U <= 0.001f && M <= 0.001f;
  float Kc = fields.KSnode, Kw = fields.KSnode;
  VanRijnResult result;
  if (calm) {
    fields.MOBILITYnode = 0.0f;
  } else {
    float change = 0.0f;
    do {
      in.kc = Kc;
      in.kw = Kw;
      result = VAN_RIJN(run.messages, in);
      const float Kc_before = Kc, Kw_before = Kw;
      Kc = mobile ? std::max(result.new_kc, result.kc) : result.kc;
      Kw = mobile ? std::max(result.new_kw, result.kw) : result.kw;
      change = std::max(std::abs(Kc - Kc_before), std::abs(Kw - Kw_before));
    } while (change > 0.0001f);
    fields.MOBILITYnode = result.mobility;
  }
  fields.TAUbed = result.max_stress;

  if (!mobile) {
    fields.KSnode = Ks1;
    fields.QSED = 0.0f;
    fields.BEDFORMnode = 0.0f;
  } else {
    fields.QSED = std::abs(result.total);
    if (settings.no_bedforms) {
      fields.KSnode = Ks1;
      fields.BEDFORMnode = 0.0f;
    } else {
      const float rate = calm ? 0.0f
                              : BEDFORM_RATE(settings.rhos, water.rho, water.nu, result.THETA,
                                             result.THETAcr, D50);
      fields.BEDFORMnode = relaxed_bedform(fields.BEDFORMnode, Kc, rate, pass);
      fields.KSnode = std::min(fields.BEDFORMnode, 0.5f * at.h);
    }
  }
  fields.USTAR = shear_velocity(at, fields.KSnode, settings.min_depth);
  return fields;
}

// Rates of bed change from the divergence of the load.
void bed_change(RunState& run, const Pass& pass) {
  const MeshState& mesh = run.mesh;
  SedimentState& sediment = run.sediment;
  Array<float> qx, qy;
  qx.allocate(mesh.NUMnode);
  qy.allocate(mesh.NUMnode);
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    const NodeFlow at = node_flow(run.flow, n, pass.level);
    if (at.U > 0.001f) {
      qx(n) = at.u * sediment.QSED(n) / at.U;
      qy(n) = at.v * sediment.QSED(n) / at.U;
    }
  }
  const float solid = 1.0f / (1.0f - run.settings.bed_porosity);
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    const int n1 = mesh.ELnode1(e), n2 = mesh.ELnode2(e), n3 = mesh.ELnode3(e);
    const float area = mesh.AREAelem(e);
    const double x1 = mesh.Xnode(n1), y1 = mesh.Ynode(n1);
    const double x2 = mesh.Xnode(n2), y2 = mesh.Ynode(n2);
    const double x3 = mesh.Xnode(n3), y3 = mesh.Ynode(n3);
    const float dqx = DFDX(area, x1, y1, x2, y2, x3, y3, qx(n1), qx(n2), qx(n3));
    const float dqy = DFDY(area, x1, y1, x2, y2, x3, y3, qy(n1), qy(n2), qy(n3));
    sediment.BEDrate(e) = -solid * (dqx + dqy) / run.settings.rhos;
  }
  NODE_AVERAGE(mesh, sediment.BEDrate, sediment.DZDT);
}

// The load and the rate of bed change of transport "a-d".
void advect_load(RunState& run, const Pass& pass) {
  const int nodes = run.mesh.NUMnode;
  SedimentState& sediment = run.sediment;
  Array<float> rho, nu, breaking;
  rho.allocate(nodes);
  nu.allocate(nodes);
  breaking.allocate(nodes);
  for (int n = 1; n <= nodes; ++n) {
    const WaterAtBed water = water_at_bed(run, n, std::max(run.flow.Hnode(n), 0.0f));
    rho(n) = water.rho;
    nu(n) = water.nu;
    if (run.settings.wave_breaking) breaking(n) = run.waves.WAVEbreak(n);
  }
  EULERIAN_AD(run, pass.dt, rho, nu, breaking);
  for (int n = 1; n <= nodes; ++n) sediment.QSED(n) = run.settings.rhos * sediment.SSCnode(n, 2);
}

// Combinations that run but are likely not meant; told at the first pass.
void warn_of_combinations(const RunState& run) {
  const Settings& settings = run.settings;
  if (settings.method.eulerian == EulerianMethod::pie &&
      settings.method.transport == TransportFormula::van_rijn) {
    echo_warning(
        run.messages,
        "eulerian_sed_trans \"van_rijn\" needs eulerian_method \"van_rijn\": the transport "
        "rates of the nodes stay 0");
  }
  if (settings.method.eulerian != EulerianMethod::pie &&
      settings.method.transport == TransportFormula::a_d) {
    echo_warning(run.messages,
                 "eulerian_sed_trans \"a-d\" needs eulerian_method \"pie\": the bed is at rest");
  }
  if (settings.ensim && (settings.morphology || settings.slope_effects)) {
    echo_warning(run.messages,
                 "ensim (depths upward) together with morphology or slope_effects: bed changes "
                 "and slopes are taken as for depths downward");
  }
}

}  // namespace

void BED_FIELDS(RunState& run) {
  const Settings& settings = run.settings;
  SedimentState& sediment = run.sediment;
  const int nodes = run.mesh.NUMnode;
  Pass pass;
  pass.dt = static_cast<float>(static_cast<double>(settings.grid_update) * settings.time_step);
  pass.first_step = run.clock.NStep == 1;
  if (pass.first_step) warn_of_combinations(run);

  if (settings.method.eulerian == EulerianMethod::pie) {
    if (!run.flow.FLOW2D && settings.propwash_on) pass.level = 1;
    // The latches of the Lund formulas take the nodes in their order.
    for (int n = 1; n <= nodes; ++n) {
      NodeResult result = closed_formula_node(run, pass, n);
      if (result.point.mobile) transport_load(run, result.point, sediment, result.fields);
      store_fields(result.fields, n, sediment);
    }
    for (int n = 1; n <= nodes; ++n) {
      sediment.QSED(n) = sediment.QSED(n) * settings.eulerian_sed_trans_efficiency;
    }
    if (settings.method.transport == TransportFormula::a_d) advect_load(run, pass);
  } else {
    for (int n = 1; n <= nodes; ++n) store_fields(profile_node(run, pass, n), n, sediment);
  }

  const TransportFormula transport = settings.method.transport;
  if (transport != TransportFormula::cohesive && transport != TransportFormula::a_d) {
    bed_change(run, pass);
  }
  if (settings.active_morphology && transport != TransportFormula::a_d) {
    for (int k = 1; k <= settings.morphology_smoothing; ++k) SMOOTH_DZDT(run);
  }
}

}  // namespace dfl
