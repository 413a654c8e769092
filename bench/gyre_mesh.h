#pragma once

// Meshes of a closed basin for timing: 20 km by 10 km, nodes displaced at random, elements
// counter-clockwise, land all around.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "mesh/adcirc_mesh.h"

namespace dfl::bench {

constexpr double basin_length = 20000.0;  // m, along x
constexpr double basin_width = 10000.0;   // m, along y

struct GyreMesh {
  std::vector<double> x, y;                  // m
  std::vector<float> depth;                  // m, positive down
  std::vector<std::array<int, 3>> elements;  // node numbers from 1
  std::vector<int> land;                     // boundary nodes, the first repeated at the end
};

// A number from -1 to 1 that depends on its index alone.
inline double scatter(std::uint64_t index) {
  std::uint64_t z = index * 0x9E3779B97F4A7C15u + 0x632BE59BD9B4E019u;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
  z ^= z >> 31;
  return static_cast<double>(z >> 11) / 4503599627370496.0 - 1.0;
}

// About `elements` elements: twice as many cells along x as along y, each cut by one of its
// diagonals. Inner nodes lie up to 0.2 of a cell off the lattice.
inline GyreMesh gyre_mesh(int elements) {
  constexpr double jitter = 0.2;
  const int rows = std::max(1, static_cast<int>(std::lround(std::sqrt(elements / 4.0))));
  const int columns = std::max(1, static_cast<int>(std::lround(elements / 2.0 / rows)));
  const double dx = basin_length / columns, dy = basin_width / rows;
  const auto node = [&](int i, int j) { return j * (columns + 1) + i + 1; };
  GyreMesh mesh;
  for (int j = 0; j <= rows; ++j) {
    for (int i = 0; i <= columns; ++i) {
      const bool inner = i > 0 && i < columns && j > 0 && j < rows;
      const auto number = static_cast<std::uint64_t>(node(i, j));
      mesh.x.push_back(i * dx + (inner ? jitter * dx * scatter(2 * number) : 0.0));
      mesh.y.push_back(j * dy + (inner ? jitter * dy * scatter(2 * number + 1) : 0.0));
      mesh.depth.push_back(10.0f);
    }
  }
  for (int j = 0; j < rows; ++j) {
    for (int i = 0; i < columns; ++i) {
      const int a = node(i, j), b = node(i + 1, j), c = node(i + 1, j + 1), d = node(i, j + 1);
      if (scatter(static_cast<std::uint64_t>(a) + 0x100000000u) < 0.0) {
        mesh.elements.push_back({a, b, c});
        mesh.elements.push_back({a, c, d});
      } else {
        mesh.elements.push_back({a, b, d});
        mesh.elements.push_back({b, c, d});
      }
    }
  }
  for (int i = 0; i < columns; ++i) mesh.land.push_back(node(i, 0));
  for (int j = 0; j < rows; ++j) mesh.land.push_back(node(columns, j));
  for (int i = columns; i > 0; --i) mesh.land.push_back(node(i, rows));
  for (int j = rows; j >= 0; --j) mesh.land.push_back(node(0, j));
  return mesh;
}

// Puts the mesh into a run: nodes, elements and the land boundary; geometry and lists are left.
inline void set_gyre_mesh(RunState& run, const GyreMesh& gyre) {
  run.mesh.NUMnode = static_cast<int>(gyre.x.size());
  run.mesh.NUMelem = static_cast<int>(gyre.elements.size());
  allocate_mesh_arrays(run);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const auto i = static_cast<std::size_t>(n) - 1;
    run.mesh.Xnode(n) = gyre.x[i];
    run.mesh.Ynode(n) = gyre.y[i];
    run.mesh.DEPTHnode(n) = gyre.depth[i];
  }
  for (int e = 1; e <= run.mesh.NUMelem; ++e) {
    const std::array<int, 3>& nodes = gyre.elements[static_cast<std::size_t>(e) - 1];
    run.mesh.ELnode1(e) = nodes[0];
    run.mesh.ELnode2(e) = nodes[1];
    run.mesh.ELnode3(e) = nodes[2];
  }
}

}  // namespace dfl::bench
