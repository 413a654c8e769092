#pragma once

// Runs on flow datasets: at nodes, at the cells of a grid, on a lattice in layers.

#include <cmath>
#include <functional>

#include "flow/dataset_files.h"
#include "flow/flow_datasets.h"
#include "flow/flow_files.h"

namespace dfl::test {

constexpr double day_2000 = 2451544.5;  // Julian day of 2000-01-01 00:00

inline FlowRun& hyfs_run(FlowRun& f) {
  f.run.settings.method.flow = FlowFormat::hyfs;
  f.run.settings.flow_format = "hyfs";
  f.run.settings.flow_file_z = f.run.settings.flow_file_uv = f.folder.path("flow.h5");
  f.run.settings.hyfs_wse_path = "z";
  f.run.settings.hyfs_vel_path = "uv";
  return f;
}

// Two nodes; at time t elevation t / 1000 and 1, velocity t / 100 and 0, 2 and 3.
inline void write_two_nodes(DatasetFile& file, const std::vector<double>& times) {
  std::vector<Values> z, uv;
  for (const double t : times) {
    const float s = static_cast<float>(t);
    z.push_back({s / 1000.0f, 1.0f});
    uv.push_back({s / 100.0f, 0.0f, 2.0f, 3.0f});
  }
  file.info.values = 2;
  file.scalar("z", times, z);
  file.vector("uv", times, uv);
}

// The run on a file of its own with such times.
inline FlowRun& two_node_run(FlowRun& f, const std::vector<double>& times) {
  DatasetFile file(f.folder.path("flow.h5"));
  write_two_nodes(file, times);
  return hyfs_run(f);
}

// Bottom flow at two nodes at the times 0, 60 ...: U is t / 10 at node 1.
inline void bottom_flow(FlowRun& f, int steps) {
  DatasetFile bottom(f.folder.path("bottom.h5"));
  bottom.info.values = 2;
  std::vector<double> times;
  std::vector<Values> pairs;
  for (int k = 0; k < steps; ++k) {
    times.push_back(60.0 * k);
    pairs.push_back({6.0f * static_cast<float>(k), 1, 2, 3});
  }
  bottom.vector("ub", times, pairs);
  Settings& s = f.run.settings;
  s.method.velocity = VelocityMethod::two_point;
  s.method.bottom_flow = FlowFormat::hyfs;
  s.bottom_flow_file = f.folder.path("bottom.h5");
  s.hyfs_bot_path = "ub";
}

// A grid of square cells of 10 m, turned by `angle` degrees, all active; mesh nodes at their
// corners.
struct CellRun : FlowRun {
  CellRun(int columns, int rows, double angle) : FlowRun((columns + 1) * (rows + 1)) {
    run.settings.method.flow = FlowFormat::n2d;
    run.settings.flow_format = "n2d";
    run.settings.flow_file_z = folder.path("level.h5");
    run.settings.flow_file_uv = folder.path("flow.h5");
    run.settings.hyfs_wse_path = "z";
    run.settings.hyfs_vel_path = "uv";
    GridState& grid = run.grid;
    grid.NumI = columns;
    grid.NumJ = rows;
    grid.NUMcells = grid.NUMactive = columns * rows;
    grid.GRIDangle = angle;
    grid.CELLS.allocate(grid.NUMcells);
    grid.CELLnodes.allocate(grid.NUMcells, 1, 4);
    run.mesh.Xnode.allocate(run.mesh.NUMnode);
    run.mesh.Ynode.allocate(run.mesh.NUMnode);
    const double s = std::sin(angle * 3.14159265 / 180.0), c = std::cos(angle * 3.14159265 / 180.0);
    const auto place = [&](double p, double q, double& x, double& y) {
      x = c * p + s * q;
      y = -s * p + c * q;
    };
    for (int j = 0; j <= rows; ++j) {
      for (int i = 0; i <= columns; ++i) {
        const int n = j * (columns + 1) + i + 1;
        place(10.0 * i, 10.0 * j, run.mesh.Xnode(n), run.mesh.Ynode(n));
        if (i == columns || j == rows) continue;
        Cell& cell = grid.CELLS(j * columns + i + 1);
        cell.DX = cell.DY = 10.0;
        place(10.0 * i + 5.0, 10.0 * j + 5.0, cell.X, cell.Y);
        const int corners[] = {n, n + 1, n + columns + 1, n + columns + 2};
        for (int k = 1; k <= 4; ++k) grid.CELLnodes(j * columns + i + 1, k) = corners[k - 1];
      }
    }
  }
  void write(const std::vector<double>& times, const std::vector<Values>& z,
             const std::vector<Values>& uv, const std::string& units = "Seconds",
             const std::string& z_place = "centre", const std::string& uv_place = "faces") {
    const std::int64_t cells = run.grid.NUMcells;
    DatasetFile level(folder.path("level.h5")), flow(folder.path("flow.h5"));
    level.info.values = flow.info.values = cells;
    level.info.time_units = flow.info.time_units = units;
    level.reference_day = day_2000;
    level.info.location = z_place;
    level.scalar("z", times, z);
    flow.info.location = uv_place;
    flow.vector("uv", times, uv);
  }
  void open() {
    allocate_flow_arrays(run);
    OPEN_FLOW_N2D(run);
  }
};

struct LatticeRun : FlowRun {
  LatticeRun(FlowFormat format, int NumI, int NumJ, int layers) : FlowRun(NumI * NumJ, false) {
    const bool n3d = format == FlowFormat::n3d;
    run.settings.method.flow = format;
    run.settings.flow_format = n3d ? "n3d" : "gr3d";
    run.settings.flow_file_uv = folder.path("flow.h5");
    run.settings.hyfs_wse_path = "z";
    run.settings.hyfs_vel_path = "u,v,w";
    run.settings.hyfs_u_path = "u";
    run.settings.hyfs_v_path = "v";
    run.settings.hyfs_w_path = "w";
    run.settings.hyfs_sal_path = "s";
    run.settings.hyfs_temp_path = "t";
    run.settings.hyfs_n3d_path = "grid";
    run.settings.salinity = 0.034f;
    run.grid.NumI = NumI;
    run.grid.NumJ = NumJ;
    run.grid.NUMactive = (NumI - 1) * (NumJ - 1);
    run.flow.NUMlayers = layers;
    run.flow.IDEN = n3d ? 6 : 5;
  }
  // One value for each place of a step, with k the level or plane, i and j from 1.
  using Field = std::function<float(int i, int j, int k)>;
  void write(DatasetFile& file, const std::string& path, int levels, const Field& field,
             const std::vector<double>& times = {0, 60}) const {
    const bool n3d = run.flow.IDEN == 6;
    const int ni = run.grid.NumI - (n3d ? 0 : 1), nj = run.grid.NumJ - (n3d ? 0 : 1);
    Values values;
    for (int k = 1; k <= levels; ++k) {
      for (int j = 1; j <= nj; ++j) {
        for (int i = 1; i <= ni; ++i) values.push_back(field(i, j, k));
      }
    }
    file.info.values = static_cast<std::int64_t>(values.size());
    file.scalar(path, times, std::vector<Values>(times.size(), values));
  }
  void open() {
    run.flow.IDEN == 6 ? OPEN_FLOW_N3D(run) : OPEN_FLOW_GR3D(run);
    allocate_flow_arrays(run);
    run.flow.IDEN == 6 ? OPEN_SCALARS_N3D(run) : OPEN_SCALARS_GR3D(run);
  }
  int node(int i, int j) const { return (j - 1) * run.grid.NumI + i; }
};

}  // namespace dfl::test
