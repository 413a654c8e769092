#pragma once

// The tiny case on the meshes, flows and beds of all models: the same basin, the same uniform flow,
// the same grain sizes, each as the model leaves them.

#include <functional>
#include <string>

#include "mesh/grid_files.h"
#include "mesh/model_files.h"
#include "runs/tiny_run.h"

namespace dfl::test {

struct ModelFlow {
  float u = 0.1f, v = 0.0f;            // m/s
  float first_eta = 0.0f, eta = 0.0f;  // m, of the first frame at 0 s and the second at 600 s
};

// ---- meshes of 4 by 4 cells of 100 m, 5 m deep ----

inline Lattice basin_lattice(int levels) {
  Lattice lattice;
  lattice.NumI = lattice.NumJ = 5;
  lattice.levels = levels;
  lattice.dx = lattice.dy = 100.0;
  return lattice;
}

// Open on the right, walls on the other sides.
inline std::string basin_boundaries() {
  LatticeLine open, land;
  for (int j = 1; j <= 5; ++j) open.push_back({5, j});
  for (int i = 5; i > 1; --i) land.push_back({i, 5});
  for (int j = 5; j > 1; --j) land.push_back({1, j});
  for (int i = 1; i <= 5; ++i) land.push_back({i, 1});
  return lattice_boundaries({open}, {land});
}

inline void use_mesh(TinyCase& c, const TemporaryFolder& folder, const std::string& format,
                     int levels) {
  if (format == "adcirc") return;
  add_cards(c,
            {":mesh_format " + (format == "n2d" ? "rvs-2d" : format), ":bc_file FOLDER/mesh.bc"});
  if (format == "kfe") {
    std::vector<TestNode> nodes;
    std::vector<TestElement> elements;
    rectangle_mesh(4, 4, 100.0, 5.0f, nodes, elements);
    folder.write("mesh.kfe", kfe_text(nodes, elements));
    folder.write("mesh.bc", kfe_faces(elements.size()));
    add_cards(c, {":mesh_file FOLDER/mesh.kfe"});
  } else if (format == "n2d") {
    write_structured(folder.path("grid.h5"), even_grid(4, 4, 100.0, 5.0f));
    folder.write("rvcards", structured_cards());
    add_cards(c, {":rvcards_file FOLDER/rvcards"});
  } else {
    const Lattice lattice = basin_lattice(levels);
    format == "n3d" ? write_n3d_mesh(folder.path("mesh.h5"), lattice)
                    : write_gr3d_mesh(folder.path("mesh.h5"), lattice);
    folder.write("mesh.bc", basin_boundaries());
    add_cards(c, {":mesh_file FOLDER/mesh.h5", ":hyfs_n3d_path Grid"});
  }
}

// ---- flow ----

const std::vector<double> two_frames = {0.0, 600.0};

// Two equal steps of each dataset, or a first and a second one.
inline void two_steps(DatasetFile& file, const std::string& path, const Values& first,
                      const Values& second) {
  file.info.values = static_cast<std::int64_t>(first.size());
  file.scalar(path, two_frames, {first, second});
}
inline void two_steps(DatasetFile& file, const std::string& path, std::size_t count, float value) {
  two_steps(file, path, Values(count, value), Values(count, value));
}

inline Values repeated(std::size_t count, const Values& item) {
  Values values;
  for (std::size_t k = 0; k < count; ++k) values.insert(values.end(), item.begin(), item.end());
  return values;
}

// Planes of nodes, one more than levels, from the bed to the surface at the given relative heights.
inline Values plane_heights(const std::vector<float>& sigma, float eta) {
  Values values;
  for (const float s : sigma) values.insert(values.end(), 25, -5.0f + s * (5.0f + eta));
  return values;
}

inline void write_kfe_flow(const TemporaryFolder& folder, const ModelFlow& f) {
  const std::string head = "one\ntwo\nthree\nND 25\nNE 32\nsix\n";
  std::string displacement = head, velocity = head;
  for (int k = 0; k < 2; ++k) {
    const std::string line = "TS " + std::to_string(k) + " " + std::to_string(600 * k) + ".0\n";
    displacement += line;
    velocity += line;
    for (int n = 1; n <= 25; ++n) {
      displacement += std::to_string(k == 0 ? f.first_eta : f.eta) + "\n";
      velocity += std::to_string(f.u) + " " + std::to_string(f.v) + " 0.0\n";
    }
  }
  folder.write("dsp.dat", displacement + "ENDDS\n");
  folder.write("vel.dat", velocity + "ENDDS\n");
}

// Two levels in text form, at the bed and at the surface.
inline Lines layered_velocity(const ModelFlow& f) {
  Lines lines = {"flow", "2 25 600 10 2 3"};
  for (int k = 0; k < 2; ++k) {
    lines.push_back(std::to_string(600 * k) + " " + std::to_string(10 * k) + " 9 9 -1 9 1");
    for (int n = 1; n <= 25; ++n) {
      const std::string level = " " + std::to_string(f.u) + " " + std::to_string(f.v) + " 0";
      lines.push_back(std::to_string(n) + level + level);
    }
  }
  return lines;
}

inline void write_n2d_flow(const TemporaryFolder& folder, const ModelFlow& f) {
  DatasetFile level(folder.path("flow_wse.h5")), flow(folder.path("flow_vel.h5"));
  level.info.location = "centre";
  two_steps(level, "eta", Values(16, f.first_eta), Values(16, f.eta));
  flow.info.values = 16;
  flow.info.location = "faces";
  const Values pairs = repeated(16, {f.u, f.v});
  flow.vector("uv", two_frames, {pairs, pairs});
}

// Three levels, so that the file fits meshes of three levels.
inline void write_gr3d_flow(const TemporaryFolder& folder, const ModelFlow& f, int levels) {
  DatasetFile file(folder.path("flow.h5"));
  const auto values = 16 * static_cast<std::size_t>(levels);
  two_steps(file, "eta", Values(16, f.first_eta), Values(16, f.eta));
  two_steps(file, "u", values, f.u);
  two_steps(file, "v", values, f.v);
  two_steps(file, "w", values, 0.0f);
  two_steps(file, "s", values, 30.0f);
  two_steps(file, "t", values, 12.0f);
}

inline void write_n3d_flow(const TemporaryFolder& folder, const ModelFlow& f, int levels) {
  DatasetFile file(folder.path("flow.h5"));
  const auto values = 25 * (static_cast<std::size_t>(levels) + 1);
  std::vector<float> sigma;
  for (int k = 0; k <= levels; ++k) {
    sigma.push_back(static_cast<float>(k) / static_cast<float>(levels));
  }
  two_steps(file, "Grid/eta", plane_heights(sigma, f.first_eta), plane_heights(sigma, f.eta));
  two_steps(file, "Grid/east", values, f.u);
  two_steps(file, "Grid/north", values, f.v);
  two_steps(file, "Grid/up", values, 0.0f);
  two_steps(file, "Grid/salt", values, 30.0f);
}

inline Lines n3d_flow_cards() {
  return {":flow_format n3d",    ":flow_file_hyfs FOLDER/flow.h5",
          ":hyfs_n3d_path Grid", ":hyfs_wse_path eta",
          ":hyfs_u_path east",   ":hyfs_v_path north",
          ":hyfs_w_path up",     ":hyfs_sal_path salt",
          ":velocity_method 3d"};
}

// format: the word of the card, or "adcirc 3d".
inline void use_flow(TinyCase& c, const TemporaryFolder& folder, const std::string& format,
                     const ModelFlow& f, int levels) {
  if (format == "adcirc" || format == "adcirc 3d") {
    c.elevation = frames(1, 600.0, 2, 25, f.first_eta, 0.0f);
    c.velocity = format == "adcirc" ? frames(2, 600.0, 2, 25, f.u, f.v) : layered_velocity(f);
    if (format != "adcirc") add_cards(c, {":velocity_method 3d"});
  } else if (format == "hyfs") {
    DatasetFile file(folder.path("flow.h5"));
    two_steps(file, "eta", Values(25, f.first_eta), Values(25, f.eta));
    const Values pairs = repeated(25, {f.u, f.v});
    file.vector("uv", two_frames, {pairs, pairs});
    add_cards(c, {":flow_format hyfs", ":flow_file_hyfs FOLDER/flow.h5", ":hyfs_wse_path eta",
                  ":hyfs_vel_path uv"});
  } else if (format == "n2d") {
    write_n2d_flow(folder, f);
    add_cards(c, {":flow_format rvs-2d", ":flow_prefix_hyfs FOLDER/flow", ":hyfs_wse_path eta",
                  ":hyfs_vel_path uv"});
  } else if (format == "kfe") {
    write_kfe_flow(folder, f);
    add_cards(c, {":flow_format kfe", ":flow_files FOLDER/dsp.dat FOLDER/vel.dat",
                  ":velocity_method 3d"});
  } else if (format == "gr3d") {
    write_gr3d_flow(folder, f, levels);
    add_cards(c, {":flow_format gr3d", ":flow_file_hyfs FOLDER/flow.h5", ":hyfs_wse_path eta",
                  ":hyfs_vel_path u,v,w", ":hyfs_sal_path s", ":hyfs_temp_path t",
                  ":velocity_method 3d"});
  } else {
    write_n3d_flow(folder, f, levels);
    add_cards(c, n3d_flow_cards());
  }
}

// ---- bed: sizes of 0.1, 0.2 and 0.5 mm ----

inline void use_bed(TinyCase& c, const TemporaryFolder& folder, const std::string& format,
                    const std::string& mesh) {
  if (format == "adcirc") return;  // that of the tiny case
  add_cards(c, {":sediments_format " + format + (format == "uniform" ? " 0.1 0.2 0.5" : "")});
  if (format == "hyfs") {
    DatasetFile file(folder.path("bed.h5"));
    const std::size_t count = mesh == "n2d" ? 16 : 25;
    file.info.values = static_cast<std::int64_t>(count);
    for (const auto& [path, size] : {std::pair{"d35", 0.1f}, {"d50", 0.2f}, {"d90", 0.5f}}) {
      file.scalar(path, {0.0}, {Values(count, size)});
    }
    add_cards(c, {":sediment_file FOLDER/bed.h5", ":hyfs_d35_path d35", ":hyfs_d50_path d50",
                  ":hyfs_d90_path d90"});
  } else if (format == "kfe") {
    c.sediments = {"sizes", "25"};
    for (int n = 25; n >= 1; --n) c.sediments.push_back(std::to_string(n) + " 0.1 0.2 0.5");
  } else if (format == "n2d") {
    c.sediments = {"sizes"};
    for (int j = 4; j >= 1; --j) {
      for (int i = 1; i <= 4; ++i) {
        c.sediments.push_back("0 " + std::to_string(j) + " " + std::to_string(i) + " 0.1 0.2 0.5");
      }
    }
  }
}

}  // namespace dfl::test
