#pragma once

// A straight channel with a ship in it, set up by hand.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "common/test_run.h"
#include "flow/flow_frames.h"
#include "mesh/geometry.h"
#include "ships/ship_effects.h"
#include "ships/ship_routes.h"

namespace dfl::test {

struct ShipRun {
  TemporaryFolder folder;
  RunState run;

  explicit ShipRun(bool to_stderr = false) {
    quiet(run, folder.path("ship"), to_stderr);
    run.settings.water_density = 1025.0f;
  }

  // `columns` by `rows` cells of `size` m; depth(x, y). The channel lies along +x, its axis at the
  // middle row. `layers` 0: depth-averaged flow.
  void channel(int columns, int rows, double size,
               const std::function<float(double, double)>& depth, int layers = 0) {
    std::vector<TestNode> nodes;
    std::vector<TestElement> elements;
    rectangle_mesh(columns, rows, size, 0.0f, nodes, elements);
    for (TestNode& node : nodes) node.depth = depth(node.x, node.y);
    set_mesh(run, nodes, elements);
    MESH_GEOMETRY(run);
    run.settings.currents = true;
    FlowState& flow = run.flow;
    flow.FLOW2D = layers == 0;
    flow.NUMlayers = layers;
    allocate_flow_arrays(run);
    for (int k = 1; k <= layers; ++k) {
      flow.SIGMA(k) = static_cast<float>(k - 1) / static_cast<float>(layers - 1);
    }
    run.clock.NStep = 1;
  }

  // A ship under way or, with one point, in place; a route a propeller.
  std::string route_text(const std::string& routes) const {
    return "# a ship\n:Name passage\n:Start 2020 1 1 0 0 0 0\n:EndHeader\n" + routes;
  }
  void route(const std::string& routes) {
    run.settings.ship_route_file = folder.write("route.i3s", route_text(routes));
  }
  void hull(const std::string& method, const std::string& sizes = "180\n28\n8\n") {
    run.settings.drawdown_on = true;
    run.settings.drawdown_method = method;
    run.settings.drawdown_data_file = folder.write("hull.dat", sizes);
  }
  // Method 1: 80 turns a minute of a propeller of 6 m, at 5 m below the surface.
  void propeller(const std::string& spacing,
                 const std::string& rest = "0\n1.0\n0\n1\n80\n0\n0\n0\n") {
    run.settings.propwash_on = true;
    run.settings.propwash_data_file =
        folder.write("prop.dat", "6.0\n" + spacing + "\n" + rest + "-5.0\n0\n");
  }
  double start() const { return 2208988800.0; }  // 2020-01-01 after 1950
  void pass_at(double seconds) {
    run.clock.Tnow = start() + seconds;
    SHIP_PASS(run);
  }
};

}  // namespace dfl::test
