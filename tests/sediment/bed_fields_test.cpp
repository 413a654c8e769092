#include "sediment/bed_fields.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "sediment/bed_run.h"
#include "sediment/primitives.h"
#include "sediment/van_rijn.h"

namespace dfl {
namespace {

using test::bed_run;
using test::set_current;
using test::set_waves;

// The log-law drag of a current over grain roughness ks.
double log_drag(double ks, double h) {
  const double root = 0.4 / (std::log(ks / 30.0 / h) + 1.0);
  return root * root;
}

TEST(BedFields, SteadyCurrentOverHardAndSoftBottom) {
  RunState run;
  bed_run(run, 2, 2, 4.0f);
  set_current(run, 0.6f, 0.8f);
  run.sediment.BEDmobile(5) = logical_false;
  BED_FIELDS(run);
  const SedimentState& bed = run.sediment;
  const double stress = 1025.0 * log_drag(0.0012, 4.0);  // U is 1 m/s
  for (int n : {1, 5}) {
    EXPECT_NEAR(static_cast<double>(bed.TAUbed(n)), stress, 1.0e-4 * stress);
    EXPECT_NEAR(bed.USTAR(n), 1.0f / (5.75f * std::log10(4.0f / bed.KSnode(n)) + 6.0f), 1.0e-6f);
  }
  // Hard: grain roughness alone, no load.
  EXPECT_FLOAT_EQ(bed.KSnode(5), 0.0012f);
  EXPECT_EQ(bed.QSED(5), 0.0f);
  EXPECT_EQ(bed.BEDFORMnode(5), 0.0f);
  // Soft: Dstar of 4.68491 gives a critical stress of 0.160125 Pa.
  EXPECT_NEAR(static_cast<double>(bed.MOBILITYnode(1)), stress / 0.160125, 1.0e-3);
  EXPECT_GT(bed.KSnode(1), 0.0012f);
  EXPECT_GT(bed.QSED(1), 0.0f);
}

TEST(BedFields, BedFallsWhereTheLoadGrows) {
  RunState run;
  bed_run(run, 4, 1, 4.0f);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    run.flow.Unode(n, 0) = static_cast<float>(0.8 + 0.01 * run.mesh.Xnode(n));
  }
  BED_FIELDS(run);
  const SedimentState& bed = run.sediment;
  // Between nodes i and i + 1, 10 m apart: -(1 / 0.6) dq / 10 / 2650 on both triangles of a cell.
  for (int i = 1; i <= 4; ++i) {
    const float expected = -(bed.QSED(i + 1) - bed.QSED(i)) / 0.6f / 10.0f / 2650.0f;
    EXPECT_LT(expected, 0.0f);
    EXPECT_NEAR(bed.BEDrate(2 * i - 1), expected, 1.0e-4f * std::abs(expected));
    EXPECT_NEAR(bed.BEDrate(2 * i), expected, 1.0e-4f * std::abs(expected));
  }
  EXPECT_NEAR(bed.DZDT(1), bed.BEDrate(1), 1.0e-5f * std::abs(bed.BEDrate(1)));
}

TEST(BedFields, NodeAtTheLeastDepthIsDry) {
  for (const EulerianMethod method : {EulerianMethod::pie, EulerianMethod::van_rijn}) {
    RunState run;
    bed_run(run, 1, 1, 4.0f);
    run.settings.method.eulerian = method;
    set_current(run, 1.0f, 0.0f);
    for (Array<float>* field : {&run.sediment.TAUbed, &run.sediment.QSED,
                                &run.sediment.MOBILITYnode, &run.sediment.BEDFORMnode}) {
      field->fill(7.0f);
    }
    run.flow.Hnode(1) = run.settings.min_depth;
    run.flow.Hnode(2) = -99990.0f;
    BED_FIELDS(run);
    for (int n : {1, 2}) {
      EXPECT_EQ(run.sediment.TAUbed(n), 7.0f);  // the stress stays
      EXPECT_EQ(run.sediment.QSED(n), 0.0f);
      EXPECT_EQ(run.sediment.MOBILITYnode(n), 0.0f);
      EXPECT_EQ(run.sediment.BEDFORMnode(n), 0.0f);
      EXPECT_FLOAT_EQ(run.sediment.KSnode(n), 0.0012f);
    }
    // At exactly the least depth there is still a shear velocity, below it none.
    EXPECT_NEAR(run.sediment.USTAR(1), 1.0f / (5.75f * std::log10(0.01f / 0.0012f) + 6.0f),
                1.0e-6f);
    EXPECT_EQ(run.sediment.USTAR(2), 0.0f);
    EXPECT_NE(run.sediment.TAUbed(3), 7.0f);
  }
}

// A wave direction of -0 is one that only the full formulas take; it changes no number.
TEST(BedFields, CalmNodesGetWhatTheWaveFormulasGive) {
  for (const TransportFormula transport :
       {TransportFormula::soulsby_van_rijn, TransportFormula::van_rijn_2017, TransportFormula::lund,
        TransportFormula::camenen_larson, TransportFormula::cohesive}) {
    RunState calm, full;
    std::mt19937 random(3);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (RunState* run : {&calm, &full}) {
      bed_run(*run, 60, 60, 4.0f);
      run->settings.method.transport = transport;
      run->settings.wave_breaking = true;
      set_waves(*run, 0.0f, 1.0f, run == &full ? -0.0f : 0.0f, 0.0f);
    }
    for (int n = 1; n <= calm.mesh.NUMnode; ++n) {
      const float h = std::pow(10.0f, 4.5f * unit(random) - 2.0f);
      const float speed = std::pow(10.0f, 4.0f * unit(random) - 3.5f);
      const float turn = n % 7 == 0 ? 1.5707964f * static_cast<float>(n % 4) : 6.3f * unit(random);
      const float D50 = std::pow(10.0f, 2.5f * unit(random) - 5.0f);
      for (RunState* run : {&calm, &full}) {
        run->flow.Hnode(n) = h;
        run->flow.Unode(n, 0) = n % 14 == 0 ? -0.0f : speed * std::sin(turn);
        run->flow.Vnode(n, 0) = speed * std::cos(turn);
        run->sediment.D50(n) = D50;
        run->sediment.D90(n) = 2.0f * D50;
      }
    }
    for (int step : {1, 2}) {
      calm.clock.NStep = full.clock.NStep = step;
      BED_FIELDS(calm);
      BED_FIELDS(full);
    }
    const std::pair<const char*, Array<float> SedimentState::*> fields[] = {
        {"USTAR", &SedimentState::USTAR},
        {"TAUbed", &SedimentState::TAUbed},
        {"KSnode", &SedimentState::KSnode},
        {"BEDFORMnode", &SedimentState::BEDFORMnode},
        {"MOBILITYnode", &SedimentState::MOBILITYnode},
        {"QSED", &SedimentState::QSED},
        {"DZDT", &SedimentState::DZDT},
        {"BEDrate", &SedimentState::BEDrate}};
    for (const auto& [name, field] : fields) {
      const Array<float>&a = calm.sediment.*field, &b = full.sediment.*field;
      EXPECT_EQ(std::memcmp(a.data(), b.data(), sizeof(float) * static_cast<std::size_t>(a.size())),
                0)
          << name;
    }
  }
}

TEST(BedFields, NoBedformsLeaveGrainRoughness) {
  for (const EulerianMethod method : {EulerianMethod::pie, EulerianMethod::van_rijn}) {
    RunState run;
    bed_run(run, 1, 1, 4.0f);
    run.settings.method.eulerian = method;
    run.settings.no_bedforms = true;
    set_current(run, 0.7f, -0.2f);
    set_waves(run, 0.6f, 5.0f, 0.0f, 1.0f);
    BED_FIELDS(run);
    for (int n = 1; n <= 4; ++n) {
      EXPECT_EQ(run.sediment.KSnode(n), 3.0f * 0.0004f);
      EXPECT_EQ(run.sediment.BEDFORMnode(n), 0.0f);
      EXPECT_GT(run.sediment.QSED(n), 0.0f);
    }
  }
}

TEST(BedFields, BedformsRelaxInTime) {
  RunState run;
  bed_run(run, 1, 1, 4.0f);
  run.settings.grid_update = 2;
  set_current(run, 0.8f, 0.0f);
  BED_FIELDS(run);
  // The first step takes the equilibrium.
  const double stage = 1025.0 * log_drag(0.0012, 4.0) * 0.64 / 0.160125;
  const float equilibrium = BEDFORM_HEIGHT(static_cast<float>(stage), 4.0f, 0.0002f);
  EXPECT_NEAR(run.sediment.BEDFORMnode(1), equilibrium, 1.0e-3f * equilibrium);

  // A flow of stage above 24 washes the forms out at a rate; dt is 2 steps of 10 s.
  run.clock.NStep = 2;
  set_current(run, 2.0f, 0.0f);
  const float before = run.sediment.BEDFORMnode(1);
  BED_FIELDS(run);
  const float T = static_cast<float>(stage * 4.0 / 0.64 - 1.0);
  const float rate = BEDFORM_RATE(2650.0f, 1025.0f, 1.1e-6f, 1.0f + T, 1.0f, 0.0002f);
  const float fall = before - run.sediment.BEDFORMnode(1);
  EXPECT_NEAR(fall, 20.0f * rate, 2.0e-3f * 20.0f * rate);
  // ... and no lower than 0.01 m.
  run.settings.time_step = 1.0e6;
  BED_FIELDS(run);
  EXPECT_EQ(run.sediment.BEDFORMnode(1), 0.01f);
}

TEST(BedFields, MudErodesAndSandOfTheLimitDoesNot) {
  RunState run;
  bed_run(run, 1, 1, 4.0f);
  run.settings.method.transport = TransportFormula::cohesive;
  run.settings.cohesive_taucr = 1.0f;
  run.settings.eulerian_sed_trans_efficiency = 0.5f;
  run.sediment.QSED.fill(8.0f);
  run.sediment.DZDT.fill(9.0f);
  run.sediment.D50(1) = 0.0001f;
  run.sediment.D50(2) = 0.00009f;
  set_current(run, 1.0f, 0.0f);
  BED_FIELDS(run);
  EXPECT_EQ(run.sediment.DZDT(1), 0.0f);
  EXPECT_NE(run.sediment.QSED(1), 4.0f);
  // Mud: E x ((e^(x-2) - e^-2) e + (x - 1)(1 - e)), e = exp(-x^2 / 2).
  const double x = 1025.0 * log_drag(0.0012, 4.0);
  const double e = std::exp(-0.5 * x * x);
  const double rate =
      -1.0e-6 * x * ((std::exp(x - 2.0) - std::exp(-2.0)) * e + (x - 1.0) * (1.0 - e));
  EXPECT_NEAR(static_cast<double>(run.sediment.DZDT(2)), rate, 1.0e-3 * std::abs(rate));
  EXPECT_EQ(run.sediment.QSED(2), 4.0f);  // what stood there, by the efficiency

  // Very strong and very weak stress give neither overflow nor a rising bed.
  run.settings.cohesive_taucr = 1.0e-6f;
  BED_FIELDS(run);
  EXPECT_NEAR(run.sediment.DZDT(2), -1.0e-6f * 100.0f * 99.0f, 1.0e-7f);
  run.settings.cohesive_taucr = 1.0e6f;
  BED_FIELDS(run);
  EXPECT_LE(run.sediment.DZDT(2), 0.0f);
  run.settings.cohesive_taucr = 0.0f;
  BED_FIELDS(run);
  EXPECT_EQ(run.sediment.DZDT(2), 0.0f);
}

TEST(BedFields, EveryFormulaIsReachedAndScaled) {
  for (const TransportFormula formula :
       {TransportFormula::soulsby_van_rijn, TransportFormula::van_rijn_2017,
        TransportFormula::camenen_larson, TransportFormula::lund}) {
    for (const bool old_lund : {false, true}) {
      RunState run;
      bed_run(run, 1, 1, 4.0f);
      run.settings.method.transport = formula;
      run.settings.old_lund = old_lund;
      set_current(run, 1.0f, 0.3f);
      set_waves(run, 0.8f, 6.0f, 0.6f, 0.8f);
      BED_FIELDS(run);
      const float full = run.sediment.QSED(1);
      run.settings.eulerian_sed_trans_efficiency = 0.25f;
      BED_FIELDS(run);
      // All rates of such a sea are of the order of 0.1 to 10 kg/m/s.
      EXPECT_GT(full, 0.05f) << static_cast<int>(formula);
      EXPECT_LT(full, 50.0f) << static_cast<int>(formula);
      EXPECT_FLOAT_EQ(run.sediment.QSED(1), 0.25f * full);
    }
  }
}

TEST(BedFields, LundSeesTheNodesInTheirOrder) {
  RunState run;
  bed_run(run, 1, 1, 4.0f);
  run.settings.method.transport = TransportFormula::lund;
  set_waves(run, 0.0f, 6.0f, 1.0f, 0.0f);
  run.waves.WAVEheight(3) = 1.0f;  // waves are first seen at node 3
  set_current(run, 1.0f, 0.0f);
  BED_FIELDS(run);
  const float unmixed = run.sediment.QSED(2), after = run.sediment.QSED(4);
  EXPECT_GT(unmixed, 0.0f);
  EXPECT_FLOAT_EQ(run.sediment.QSED(1), unmixed);
  // Without waves X is 1 and mixing changes nothing; the latches must be set all the same.
  EXPECT_FLOAT_EQ(after, unmixed);
  EXPECT_TRUE(run.sediment.lund_waves_seen);
  EXPECT_FALSE(run.sediment.lund_old_waves_seen);
}

TEST(BedFields, BreakingWavesAddStress) {
  RunState run;
  bed_run(run, 1, 1, 2.0f);
  set_waves(run, 1.0f, 6.0f, 1.0f, 0.0f);
  set_current(run, 0.5f, 0.0f);
  run.waves.WAVEbreak(1) = -30.0f;
  run.waves.WAVEbreak(2) = 30.0f;  // positive: not breaking
  run.settings.wave_breaking = true;
  BED_FIELDS(run);
  const SedimentState& bed = run.sediment;
  EXPECT_EQ(bed.TAUbed(2), bed.TAUbed(3));
  // 0.1 |Db| over the group velocity, 3.956 m/s in 2 m of water (kh = 0.4912, G = 0.8555).
  EXPECT_NEAR(bed.TAUbed(1) - bed.TAUbed(3), 0.1f * 30.0f / 3.956f, 0.002f);
  run.settings.wave_breaking = false;
  BED_FIELDS(run);
  EXPECT_EQ(bed.TAUbed(1), bed.TAUbed(3));
}

TEST(BedFields, SlopeChangesTheThreshold) {
  RunState run;
  run.settings.slope_effects = true;
  bed_run(run, 1, 1, 4.0f);
  run.sediment.BEDslopeX.fill(0.1f);
  run.flow.Unode(1, 0) = 0.8f;   // upslope
  run.flow.Unode(2, 0) = -0.8f;  // downslope
  BED_FIELDS(run);
  const double stress = 1025.0 * log_drag(0.0012, 4.0) * 0.64;
  const double tangent = std::tan(31.0 * 3.14159 / 180.0);
  const double up = std::cos(0.1) + std::sin(0.1) / tangent;
  const double down = std::cos(0.1) - std::sin(0.1) / tangent;
  EXPECT_NEAR(static_cast<double>(run.sediment.MOBILITYnode(1)), stress / 0.160125 / up, 1.0e-3);
  EXPECT_NEAR(static_cast<double>(run.sediment.MOBILITYnode(2)), stress / 0.160125 / down, 1.0e-3);
  // Still water has no direction: no NaN, no mobility.
  EXPECT_NEAR(run.sediment.MOBILITYnode(3), 0.0f, 1.0e-6f);
}

TEST(BedFields, BottomLevelServesTheClosedFormulasUnderAPropeller) {
  for (const EulerianMethod method : {EulerianMethod::pie, EulerianMethod::van_rijn}) {
    RunState run;
    bed_run(run, 1, 1, 4.0f);
    run.settings.method.eulerian = method;
    run.settings.no_bedforms = true;
    run.settings.propwash_on = true;
    run.flow.FLOW2D = false;
    run.flow.NUMlayers = 2;
    run.flow.Unode.allocate(4, 0, 2);
    run.flow.Vnode.allocate(4, 0, 2);
    for (int n = 1; n <= 4; ++n) {
      run.flow.Unode(n, 0) = 0.5f;
      run.flow.Unode(n, 1) = 0.9f;
    }
    BED_FIELDS(run);
    const float speed = method == EulerianMethod::pie ? 0.9f : 0.5f;
    EXPECT_NEAR(run.sediment.USTAR(1), speed / (5.75f * std::log10(4.0f / 0.0012f) + 6.0f),
                1.0e-6f);
  }
}

TEST(BedFields, ProfileMethodRepeatsUntilItsRoughnessStands) {
  RunState run;
  bed_run(run, 1, 1, 4.0f);
  run.settings.method.eulerian = EulerianMethod::van_rijn;
  set_current(run, 0.4f, 0.3f);
  set_waves(run, 0.5f, 4.0f, 0.0f, 1.0f);
  BED_FIELDS(run);
  const SedimentState& bed = run.sediment;

  // One more call with the roughness that was found must give the same fields.
  const WaveNumber number = WAVE_NUMBER(4.0f, 6.28318f / 4.0f);
  const float drift = WAVE_DRIFT(run.messages, 1, number.k, 4.0f, 0.01f, 0.5f, 4.0f, 1.0f);
  const float phi = std::atan2(0.4f, 0.3f) * 180.0f / 3.14159f;  // from north to the current
  VanRijnInput in{0, 4, 0.5f, 0, drift, 0.5f, 4, phi, 2e-4f, 4e-4f, 2e-4f, 0, 0, 15, 34};
  VanRijnResult result = VAN_RIJN(run.messages, in);
  in.kc = std::max(result.new_kc, result.kc);
  in.kw = std::max(result.new_kw, result.kw);
  result = VAN_RIJN(run.messages, in);
  EXPECT_NEAR(bed.TAUbed(1), result.max_stress, 1.0e-4f * result.max_stress);
  EXPECT_NEAR(bed.QSED(1), result.total, 1.0e-4f * result.total);
  EXPECT_NEAR(bed.MOBILITYnode(1), result.mobility, 1.0e-4f * result.mobility);
  EXPECT_FLOAT_EQ(bed.BEDFORMnode(1), in.kc);  // the first step takes it at once
  EXPECT_FLOAT_EQ(bed.KSnode(1), in.kc);
}

TEST(BedFields, ProfileMethodInCalmWaterKeepsItsRoughness) {
  RunState run;
  bed_run(run, 1, 1, 4.0f);
  run.settings.method.eulerian = EulerianMethod::van_rijn;
  run.clock.NStep = 2;
  run.sediment.KSnode.fill(0.05f);
  run.sediment.BEDFORMnode.fill(0.04f);
  run.sediment.TAUbed.fill(1.0f);
  set_current(run, 0.001f, 0.0f);
  BED_FIELDS(run);
  EXPECT_EQ(run.sediment.TAUbed(1), 0.0f);
  EXPECT_EQ(run.sediment.QSED(1), 0.0f);
  EXPECT_EQ(run.sediment.MOBILITYnode(1), 0.0f);
  EXPECT_EQ(run.sediment.BEDFORMnode(1), 0.04f);  // no rate, no relaxation
  EXPECT_EQ(run.sediment.KSnode(1), 0.04f);
}

TEST(BedFields, HardInputGivesNoNan) {
  const struct {
    const char* name;
    float D50, D90, H, T, U, h, rhos;
  } cases[] = {
      {"period 0", 0.0002f, 0.0004f, 0.0f, 0.0f, 0.5f, 4.0f, 2650.0f},
      {"period below 0", 0.0002f, 0.0004f, 1.0f, -1.0f, 0.5f, 4.0f, 2650.0f},
      {"no grain", 0.0f, 0.0f, 1.0f, 6.0f, 0.5f, 4.0f, 2650.0f},
      {"light grain", 0.0002f, 0.0004f, 1.0f, 6.0f, 0.5f, 4.0f, 1000.0f},
      {"still", 0.0002f, 0.0004f, 0.0f, 1.0f, 0.0f, 4.0f, 2650.0f},
      {"ocean", 0.0002f, 0.0004f, 9.0f, 3.0f, 0.5f, 6000.0f, 2650.0f},
      {"film", 0.0002f, 0.0004f, 0.5f, 6.0f, 3.0f, 0.0101f, 2650.0f},
  };
  for (const EulerianMethod method : {EulerianMethod::pie, EulerianMethod::van_rijn}) {
    for (const TransportFormula formula :
         {TransportFormula::soulsby_van_rijn, TransportFormula::van_rijn_2017,
          TransportFormula::camenen_larson, TransportFormula::lund, TransportFormula::cohesive}) {
      for (const auto& c : cases) {
        RunState run;
        bed_run(run, 1, 1, c.h);
        run.settings.method.eulerian = method;
        run.settings.method.transport = formula;
        run.settings.rhos = c.rhos;
        run.settings.wave_breaking = true;
        run.sediment.D50.fill(c.D50);
        run.sediment.D90.fill(c.D90);
        run.waves.WAVEbreak.fill(-1.0f);
        set_waves(run, c.H, c.T, 0.0f, 1.0f);
        set_current(run, c.U, 0.0f);
        run.flow.Unode(1, 0) = 0.0f;
        run.clock.NStep = 1;
        BED_FIELDS(run);
        run.clock.NStep = 2;
        BED_FIELDS(run);
        const SedimentState& bed = run.sediment;
        for (int n = 1; n <= 4; ++n) {
          for (const float value : {bed.USTAR(n), bed.TAUbed(n), bed.KSnode(n), bed.BEDFORMnode(n),
                                    bed.MOBILITYnode(n), bed.QSED(n), bed.DZDT(n)}) {
            EXPECT_TRUE(std::isfinite(value))
                << c.name << " node " << n << " method " << static_cast<int>(method) << " formula "
                << static_cast<int>(formula);
          }
        }
      }
    }
  }
}

TEST(BedFields, SmoothingRunsOnlyOnAnActiveBed) {
  RunState run;
  bed_run(run, 4, 1, 4.0f);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    run.flow.Unode(n, 0) = static_cast<float>(0.8 + 0.01 * run.mesh.Xnode(n));
  }
  const auto rate = [&](int smoothing, bool active) {
    run.settings.morphology_smoothing = smoothing;
    run.settings.active_morphology = active;
    BED_FIELDS(run);
    return run.sediment.DZDT(1);
  };
  const float rough = rate(0, true);
  EXPECT_EQ(rate(3, false), rough);
  EXPECT_NE(rate(3, true), rough);
}

TEST(BedFields, ProfileFormulaWithoutItsMethodGivesEmptyLines) {
  test::TemporaryFolder folder;
  RunState run;
  bed_run(run, 1, 1, 4.0f);
  run.settings.method.transport = TransportFormula::van_rijn;
  run.sediment.BEDmobile(2) = logical_false;
  set_current(run, 1.0f, 0.0f);
  run.messages.console_out = std::fopen(folder.path("console").c_str(), "w");
  const auto log = test::echoed(run, [&] {
    for (run.clock.NStep = 1; run.clock.NStep <= 2; ++run.clock.NStep) BED_FIELDS(run);
  });
  std::fclose(run.messages.console_out);
  // Three mobile nodes in two passes, one warning.
  EXPECT_EQ(test::read_text(folder.path("console")), "\n\n\n\n\n\n");
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].rfind("WARNING: eulerian_sed_trans \"van_rijn\"", 0), 0u);
  EXPECT_EQ(run.sediment.QSED(1), 0.0f);
}

}  // namespace
}  // namespace dfl
