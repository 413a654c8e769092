#pragma once

// A run over a square basin that reads sources and releases their parcels; nothing moves.

#include <memory>
#include <string>

#include "common/test_run.h"
#include "control/run_clock.h"
#include "mesh/geometry.h"
#include "parcels/population.h"
#include "parcels/releases.h"
#include "parcels/sources.h"

namespace dfl::test {

// 100 by 100 mesh units, bed 8 m below datum, 10 m of water, D90 0.4 mm, so that a release at 0.3
// mm or less lies on the bed. The run starts on 1 June 2020, takes steps of 10 s and lasts 1000 s.
struct SourceRun {
  TemporaryFolder folder;
  RunState run;

  explicit SourceRun(bool to_stderr = false) {
    quiet(run, folder.path("t"), to_stderr);
    run.messages.HOSTEDmode = true;
    std::vector<TestNode> nodes;
    std::vector<TestElement> elements;
    rectangle_mesh(10, 10, 10.0, 8.0f, nodes, elements);
    set_mesh(run, nodes, elements);
    MESH_GEOMETRY(run);
    run.flow.Hnode.allocate(run.mesh.NUMnode, 10.0f);
    run.sediment.D90.allocate(run.mesh.NUMnode, 0.0004f);
    run.settings.water_density = 1025.0f;
    run.settings.water_viscosity = 1.2e-6f;
    run.settings.time_step = 10.0;
    run.settings.start_run = DATE_TO_SECONDS(REFyear, {2020, 6, 1, 0, 0, 0, 0});
    run.settings.stop_run = run.settings.start_run + 1000.0;
    run.parcels.RANDOMfirst = {0.3f, 0.7f};
  }

  void read(const std::string& text) {
    run.settings.source_file = folder.write("sources.txt", text);
    run.messages.echo_file = std::fopen(folder.path("t.input").c_str(), "w");
    SOURCE_SETUP(run);
    std::fclose(run.messages.echo_file);
    run.messages.echo_file = nullptr;
    run.clock.Tnow = run.settings.start_run - run.settings.time_step;
  }

  // The releases of the next step, as the time loop calls them.
  void step() {
    const double dt = run.settings.time_step;
    run.clock.Tnow = SNAP_TIME(run.clock.Tnow, run.settings.start_run) + dt;
    ++run.clock.NStep;
    run.parcels.NUMnew = 0;
    const ParcelState& parcels = run.parcels;
    if (parcels.RELlast > 0.0 && run.clock.Tnow > parcels.RELlast + dt) return;
    if (run.clock.Tnow < parcels.RELfirst) return;
    RELEASE_INST(run);
    RELEASE_POINT(run);
    RELEASE_LINE(run);
    RELEASE_AREA(run);
  }
  void run_all() {
    while (run.clock.Tnow < run.settings.stop_run) step();
  }
  const Parcel& parcel(int id) const { return run.parcels.PARCELS(id); }
};

// A date on the day of the run, as the source file has it.
inline std::string at_second(int second) {
  return "2020 6 1 " + std::to_string(second / 3600) + " " + std::to_string(second / 60 % 60) +
         " " + std::to_string(second % 60) + " ";
}

}  // namespace dfl::test
