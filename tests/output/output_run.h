#pragma once

// A small run with parcels set by hand.

#include <gtest/gtest.h>

#include <string>

#include "common/test_run.h"
#include "control/run_clock.h"

namespace dfl::test {

// A quiet run in a folder of its own.
class OutputTest : public testing::Test {
 protected:
  OutputTest() { quiet(run, folder.path("run")); }
  std::string output(const std::string& name) const { return read_text(folder.path(name)); }

  const TemporaryFolder folder;
  RunState run;
};

// A square of two triangles; depths 1 to 4 m.
inline void square_mesh(RunState& run) {
  set_mesh(run, {{0, 0, 1.0f}, {100, 0, 2.0f}, {100, 100, 3.0f}, {0, 100, 4.0f}},
           {{1, 2, 3}, {1, 3, 4}});
}

inline void make_parcels(RunState& run, int slots, int born) {
  ParcelState& parcels = run.parcels;
  parcels.NUMparcels = slots;
  parcels.NUMborn = born;
  parcels.PARCELS.allocate(slots);
  parcels.VECLEN = run.settings.flow_output ? 3 : 0;
  parcels.VECstore.allocate(slots * parcels.VECLEN);
  for (int id = 1; id <= slots && parcels.VECLEN > 0; ++id) {
    parcels.PARCELS(id).VEC = &parcels.VECstore(3 * (id - 1) + 1);
  }
}

// From 1 o'clock on 2 January 2000, steps of 30 s.
inline void set_clock(RunState& run, int step) {
  run.settings.start_run = DATE_TO_SECONDS(REFyear, {2000, 1, 2, 1, 0, 0, 0});
  run.settings.stop_run = run.settings.start_run + 3600.0;
  run.settings.time_step = 30.0;
  run.clock.NStep = step;
  run.clock.Tnow = run.settings.start_run + 30.0 * (step - 1);
  run.clock.DATEnow = SECONDS_TO_DATE(REFyear, run.clock.Tnow + 30.0);
}

}  // namespace dfl::test
