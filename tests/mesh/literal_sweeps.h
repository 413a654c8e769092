#pragma once

// The sweeps over pairs of elements and over boundary segments in their plain form. Neighbour and
// boundary lists must be the same, in the same order.

#include <algorithm>
#include <array>
#include <vector>

#include "mesh/geometry.h"

namespace dfl::test {

struct LiteralNeighbours {
  int longest = 0;
  std::vector<std::vector<int>> lists;  // of element e at e - 1
};

inline bool are_neighbours(const MeshState& mesh, int e, int f, bool cell_corners) {
  const std::array<int, 3> mine = {mesh.ELnode1(e), mesh.ELnode2(e), mesh.ELnode3(e)};
  for (int node : {mesh.ELnode1(f), mesh.ELnode2(f), mesh.ELnode3(f)}) {
    if (std::find(mine.begin(), mine.end(), node) != mine.end()) return true;
    for (int side = 1; cell_corners && side <= 4; ++side) {
      if (mesh.CELLcorners(mesh.ELcell(e), side) == node) return true;
    }
  }
  return false;
}

inline void add_neighbour(const MeshState& mesh, int e, int f, bool cell_corners,
                          std::vector<int>& list) {
  if (f != e && are_neighbours(mesh, e, f, cell_corners) &&
      std::find(list.begin(), list.end(), f) == list.end()) {
    list.push_back(f);
  }
}

inline LiteralNeighbours literal_neighbours(const MeshState& mesh, bool cell_corners = false) {
  const int N = mesh.NUMelem;
  const double m = 1.0;
  float W = -999.0f;
  for (int e = 1; e <= N; ++e) {
    W = std::max(W, static_cast<float>(mesh.XMAXelem(e) - mesh.XMINelem(e)));
  }
  std::array<double, 101> key{};
  std::array<int, 101> position{};
  const int s = N / 101;
  for (int i = 1; i <= 100; ++i) {
    const auto slot = static_cast<std::size_t>(i);
    position[slot] = N < 101 ? 1 : i * s;
    key[slot] = mesh.XMINelem(mesh.SORTxmin(position[slot]));
  }
  const int A = static_cast<int>(static_cast<float>(N / 2) + 0.2f * static_cast<float>(N));
  const int B = static_cast<int>(static_cast<float>(N / 2 + 1) - 0.2f * static_cast<float>(N));
  LiteralNeighbours result;
  result.lists.resize(static_cast<std::size_t>(N));
  const auto keep = [&](int e, const std::vector<int>& list) {
    result.lists[static_cast<std::size_t>(e) - 1] = list;
    result.longest = std::max(result.longest, static_cast<int>(list.size()));
  };
  for (int i = 1; i <= A; ++i) {
    const int e = mesh.SORTxmin(i);
    std::vector<int> list;
    const float lowkey = static_cast<float>(mesh.XMINelem(e) - m - static_cast<double>(W));
    int j = 1;
    for (std::size_t slot = 1; slot <= 100; ++slot) {
      if (key[slot] < static_cast<double>(lowkey)) j = position[slot];
    }
    for (; j <= N; ++j) {
      const int f = mesh.SORTxmin(j);
      if (mesh.XMINelem(f) > mesh.XMAXelem(e) + m) break;
      add_neighbour(mesh, e, f, cell_corners, list);
    }
    keep(e, list);
  }
  for (int i = N; i >= std::max(B, 1); --i) {
    const int e = mesh.SORTxmax(i);
    std::vector<int> list;
    const float highkey = static_cast<float>(mesh.XMAXelem(e) + static_cast<double>(W) + m);
    int j = N;
    for (std::size_t slot = 100; slot >= 1; --slot) {
      if (key[slot] > static_cast<double>(highkey)) j = position[slot];
    }
    for (; j >= 1; --j) {
      const int f = mesh.SORTxmax(j);
      if (mesh.XMAXelem(f) < mesh.XMINelem(e) - m) break;
      add_neighbour(mesh, e, f, cell_corners, list);
    }
    keep(e, list);
  }
  return result;
}

// Flags and references of one kind of boundary.
struct LiteralBoundaries {
  Array<Logical> flags;
  Array<ElementBoundaries> refs;
};

inline LiteralBoundaries literal_boundaries(const MeshState& mesh,
                                            const Array<Boundary>& boundaries) {
  LiteralBoundaries result;
  result.flags.allocate(mesh.NUMelem);
  result.refs.allocate(mesh.NUMelem);
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    const int n1 = mesh.ELnode1(e), n2 = mesh.ELnode2(e), n3 = mesh.ELnode3(e);
    std::size_t slot = 0;
    for (int b = 1; b <= boundaries.size(); ++b) {
      const Boundary& boundary = boundaries(b);
      for (int k = 1; k < boundary.NUMpts; ++k) {
        const int first = boundary.NODES(k), second = boundary.NODES(k + 1);
        for (int n : {n1, n2, n3}) {
          if (n == first || n == second) result.flags(e) = logical_true;
        }
        if (slot < 3 && EDGE_IN_ELEMENT(first, second, n1, n2, n3)) {
          result.refs(e).BND[slot] = b;
          result.refs(e).SEG[slot] = k;
          ++slot;
        }
      }
    }
  }
  return result;
}

}  // namespace dfl::test
