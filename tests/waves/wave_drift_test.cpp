// Plane waves of every form carry a parcel near the bed the way they travel, in whole runs.

#include <gtest/gtest.h>

#include <cmath>

#include "waves/wave_case.h"

namespace dfl {
namespace {

using namespace test;

// Waves of 1 m and 6 s; one weightless parcel in the middle of the basin, 2 cm above the bed.
Lines one_parcel() {
  return {
      "1", "1 1 'light'", "2000 1 1 0 0 0 200. 200. 0.02 1. 0. 0. 1. 0.0001 0. 1000. 0. -1. -1.",
      "0", "0",           "0"};
}

struct Drift {
  double bearing = 0.0, distance = 0.0;  // degrees clockwise from north, m
};

Drift drift_of(WaveCase c, const Lines& cards) {
  c.tiny.sources = one_parcel();
  // Depth-averaged, so that no profile over the depth slows the parcel near the bed.
  add_cards(c.tiny, {":no_random_walk", ":debug", ":advection_method 1d"});
  add_cards(c.tiny, cards);
  WaveRun r(c);
  r.whole_run();
  EXPECT_EQ(r.run.parcels.NUMborn, 1);
  const Parcel& parcel = r.run.parcels.PARCELS(1);
  EXPECT_TRUE(is_true(parcel.ALIVE));
  const double x = parcel.X - 200.0, y = parcel.Y - 200.0;
  return {std::atan2(x, y) * 180.0 / 3.14159265358979, std::hypot(x, y)};
}

// Mass transport at the bed after Longuet-Higgins 1953, 5/4 (pi H / T)^2 / (c sinh^2 kh), for 1 m
// and 6 s in 5 m of water.
double bed_drift() {
  const double pi = 3.14159265358979, omega = 2.0 * pi / 6.0, h = 5.0;
  double k = omega * omega / 9.81;
  for (int n = 0; n < 200; ++n) k = 0.5 * (k + omega * omega / (9.81 * std::tanh(k * h)));
  const double a = 0.5 * omega, s = std::sinh(k * h);
  return 1.25 * a * a / (omega / k) / (s * s);
}

void refill(WaveCase& c, const char* name, int frames, float value) {
  Lines& lines = c.files[name];
  lines.clear();
  for (int f = 1; f <= frames; ++f) append_rows(lines, 6, 6, false, f, constant(value));
}

TEST(WaveDrift, ParcelsGoTheWayTheWavesTravel) {
  struct Form {
    const char* name;
    WaveCase c;
  };
  std::vector<Form> forms = {{"oswell", oswell_case()},
                             {"simulation file", simulation_case()},
                             {"swan, nautical", swan_case()},
                             {"swan, cartesian", swan_case()},
                             {"swan mesh, cartesian", swan_mesh_case()},
                             {"lagoon", lagoon_case()},
                             {"hyfs", hyfs_case()}};
  for (Form& form : forms) {
    if (form.c.files.count("waves.dat") != 0) {
      form.c.files["waves.dat"] =
          oswell_file(6, 6, 1, 3, constant(1.0f), constant(6.0f), constant(90.0f - wave_bearing));
    }
  }
  for (std::size_t k : {2u, 3u}) {
    refill(forms[k].c, "hs.blk", 3, 1.0f);
    refill(forms[k].c, "per.blk", 3, 6.0f);
  }
  refill(forms[3].c, "dir.blk", 3, 90.0f - wave_bearing);
  forms[3].c.files["waves.swn"][2] = "SET CARTESIAN";
  forms[4].c.files["hs.blk"] = {"4*1.", "4*1."};
  forms[4].c.files["per.blk"] = {"4*6.", "4*6."};
  Lines& height = forms[5].c.files["height.r2s"];
  height.resize(height.size() - 6);
  append_rows(height, 6, 6, false, 1, constant(1.0f));
  const double expected = 1200.0 * bed_drift();  // the run takes 20 minutes
  for (const Form& form : forms) {
    SCOPED_TRACE(form.name);
    const Drift drift = drift_of(form.c, {":wave_mass_transport"});
    if (std::string(form.name) == "hyfs") {  // heights of its own, larger ones
      EXPECT_NEAR(drift.bearing, wave_bearing, 0.01);
      EXPECT_GT(drift.distance, expected);
      continue;
    }
    EXPECT_NEAR(drift.bearing, wave_bearing, 0.01);
    EXPECT_NEAR(drift.distance, expected, 0.03 * expected);  // 2 cm above the bed
    EXPECT_LT(drift_of(form.c, {}).distance, 1e-6);
  }
}

// The return flow under breaking waves goes against them.
TEST(WaveDrift, UndertowGoesAgainstTheWaves) {
  WaveCase c = swan_case();
  add_cards(c.tiny, {":wave_breaking"});
  c.tiny.control.insert(c.tiny.control.end() - 2, "FOLDER/diss.blk");
  refill(c, "hs.blk", 3, 1.0f);
  refill(c, "per.blk", 3, 6.0f);
  refill(c, "diss.blk", 3, 50.0f);
  const Drift drift = drift_of(c, {":undertow"});
  EXPECT_NEAR(drift.bearing, static_cast<double>(wave_bearing) - 180.0, 0.01);
  EXPECT_GT(drift.distance, 1.0);
}

}  // namespace
}  // namespace dfl
