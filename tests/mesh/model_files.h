#pragma once

// Mesh files of the flow models KFE, N3D and GR3D, with known answers.

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "flow/dataset_files.h"

namespace dfl::test {

// ---- KFE ----

inline std::string kfe_text(const std::vector<TestNode>& nodes,
                            const std::vector<TestElement>& elements) {
  std::ostringstream out;
  out.precision(15);
  out << "a mesh\n";
  for (std::size_t e = 0; e < elements.size(); ++e) {
    out << "E4T " << e + 1 << ' ' << elements[e].a << ' ' << elements[e].b << ' ' << elements[e].c
        << " 0 1\n";
  }
  for (std::size_t n = 0; n < nodes.size(); ++n) {
    out << "ND " << n + 1 << ' ' << nodes[n].x << ' ' << nodes[n].y << ' ' << nodes[n].depth
        << '\n';
  }
  return out.str();
}

// Face codes: the first face of every element lies on the bed.
inline std::string kfe_faces(std::size_t elements) {
  std::string text = "face codes\n";
  for (std::size_t e = 1; e <= elements; ++e) text += std::to_string(e) + " 1 0 0 0\n";
  return text;
}

// ---- lattices ----

struct Lattice {
  int NumI = 2, NumJ = 2, levels = 1;
  double x0 = 0.0, y0 = 0.0, bearing = 0.0, dx = 10.0, dy = 10.0;
  std::function<float(int i, int j)> depth = [](int, int) { return 5.0f; };  // i, j from 1

  // One value a node, I fastest.
  template <class Value, class Field>
  std::vector<Value> nodes(Field field) const {
    std::vector<Value> values;
    for (int j = 1; j <= NumJ; ++j) {
      for (int i = 1; i <= NumI; ++i) values.push_back(static_cast<Value>(field(i, j)));
    }
    return values;
  }
};

inline HyfsGrid grid_of(const Lattice& lattice) {
  HyfsGrid grid;
  grid.origin = {lattice.x0, lattice.y0, 0.0};
  grid.bearing = lattice.bearing;
  for (int i = 0; i < lattice.NumI; ++i) grid.i.push_back(7.0 + i * lattice.dx);
  for (int j = 0; j < lattice.NumJ; ++j) grid.j.push_back(3.0 + j * lattice.dy);
  for (int k = 0; k < lattice.levels; ++k) grid.k.push_back(k);
  return grid;
}

// Depths in the first plane, 1000 in the others.
inline Values depth_planes(const Lattice& lattice) {
  Values values = lattice.nodes<float>(lattice.depth);
  values.resize(values.size() * (static_cast<std::size_t>(lattice.levels) + 1), 1000.0f);
  return values;
}

inline void write_n3d_mesh(const std::string& path, const Lattice& lattice) {
  DatasetFile file(path);
  EXPECT_EQ(hfcreategrid_f(file.file, "Grid", grid_of(lattice)), 0);
  const Values depths = depth_planes(lattice);
  file.info.values = static_cast<std::int64_t>(depths.size());
  file.scalar("Grid/Datasets/Depth", {0.0}, {depths});
}

inline void write_gr3d_mesh(const std::string& path, const Lattice& lattice) {
  DatasetFile file(path);
  EXPECT_EQ(hfwritepropertyint_f(file.file, "NumI", {lattice.NumI}), 0);
  EXPECT_EQ(hfwritepropertyint_f(file.file, "NumJ", {lattice.NumJ}), 0);
  EXPECT_EQ(hfwritepropertyint_f(file.file, "NumK", {lattice.levels}), 0);
  const auto x = [&](int i, int) { return lattice.x0 + (i - 1) * lattice.dx; };
  const auto y = [&](int, int j) { return lattice.y0 + (j - 1) * lattice.dy; };
  EXPECT_EQ(hfwritepropertydouble_f(file.file, "X", lattice.nodes<double>(x)), 0);
  EXPECT_EQ(hfwritepropertydouble_f(file.file, "Y", lattice.nodes<double>(y)), 0);
  EXPECT_EQ(hfwritepropertyfloat_f(file.file, "Depth", lattice.nodes<float>(lattice.depth)), 0);
}

// The text of a boundary file; points as (i, j).
using LatticeLine = std::vector<std::pair<int, int>>;
inline std::string lattice_boundaries(const std::vector<LatticeLine>& open,
                                      const std::vector<LatticeLine>& land) {
  std::ostringstream out;
  out << "boundaries\n";
  for (const auto* lines : {&open, &land}) {
    out << lines->size() << '\n';
    if (lines == &land && !land.empty()) out << "77\n";
    for (const LatticeLine& line : *lines) {
      out << line.size() << '\n';
      for (const auto& [i, j] : line) out << i << ' ' << j << '\n';
    }
  }
  return out.str();
}

}  // namespace dfl::test
