#pragma once

// Meshes for comparisons: irregular, graded, with slivers, fans, overlapping and lone elements.

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "common/test_run.h"

namespace dfl::test {

enum class MeshKind {
  even,       // a plain lattice, many equal keys
  irregular,  // nodes displaced, either diagonal
  graded,     // cells from small to large along both axes
  slivers,    // cells 200 times as long as wide
  long_one,   // irregular, and one element across the whole width beside it
  diagonal,   // long slivers at 45 degrees
  fan,        // all elements around one node
  lone,       // elements apart from each other, and pairs that share one node
};

inline const char* name_of(MeshKind kind) {
  switch (kind) {
    case MeshKind::even:
      return "even";
    case MeshKind::irregular:
      return "irregular";
    case MeshKind::graded:
      return "graded";
    case MeshKind::slivers:
      return "slivers";
    case MeshKind::long_one:
      return "long_one";
    case MeshKind::diagonal:
      return "diagonal";
    case MeshKind::fan:
      return "fan";
    case MeshKind::lone:
      return "lone";
  }
  return "";
}

constexpr MeshKind all_mesh_kinds[] = {MeshKind::even,    MeshKind::irregular, MeshKind::graded,
                                       MeshKind::slivers, MeshKind::long_one,  MeshKind::diagonal,
                                       MeshKind::fan,     MeshKind::lone};

struct MeshLists {
  std::vector<TestNode> nodes;
  std::vector<TestElement> elements;
};

inline double signed_area(const MeshLists& lists, const TestElement& e) {
  const auto& a = lists.nodes[static_cast<std::size_t>(e.a) - 1];
  const auto& b = lists.nodes[static_cast<std::size_t>(e.b) - 1];
  const auto& c = lists.nodes[static_cast<std::size_t>(e.c) - 1];
  return 0.5 * ((b.x - a.x) * (c.y - a.y) - (c.x - a.x) * (b.y - a.y));
}

inline MeshLists fan_mesh(int elements) {
  MeshLists lists;
  lists.nodes.push_back({0.0, 0.0, 1.0f});
  for (int i = 0; i < elements; ++i) {
    const double angle = 6.283185307179586 * i / elements;
    lists.nodes.push_back({1000.0 * std::cos(angle), 1000.0 * std::sin(angle), 1.0f});
  }
  for (int i = 0; i < elements; ++i) {
    lists.elements.push_back({1, i + 2, (i + 1) % elements + 2});
  }
  return lists;
}

inline MeshLists lone_mesh(int elements, std::mt19937& random) {
  std::uniform_real_distribution<double> place(0.0, 100.0), part(0.1, 6.0);
  MeshLists lists;
  const auto corner = [&](double x, double y) {
    lists.nodes.push_back({x, y, 1.0f});
    return static_cast<int>(lists.nodes.size());
  };
  for (int i = 0; i < elements; ++i) {
    const double x = place(random), y = place(random);
    const int first = corner(x, y);
    lists.elements.push_back({first, corner(x + part(random), y), corner(x, y + part(random))});
    if (i % 3 == 0) {
      lists.elements.push_back({first, corner(x - part(random), y), corner(x, y - part(random))});
    }
  }
  return lists;
}

inline MeshLists random_mesh(MeshKind kind, int columns, int rows, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> shift(-0.3, 0.3);
  if (kind == MeshKind::fan) return fan_mesh(std::max(3, columns * rows));
  if (kind == MeshKind::lone) return lone_mesh(columns * rows, random);
  MeshLists lists;
  rectangle_mesh(columns, rows, 1.0, 1.0f, lists.nodes, lists.elements);
  for (TestNode& node : lists.nodes) {
    if (kind == MeshKind::even) continue;
    node.x += shift(random);
    node.y += shift(random);
    if (kind == MeshKind::graded) {
      node.x = std::exp(0.5 * node.x);
      node.y = std::exp(0.4 * node.y);
    } else if (kind == MeshKind::slivers) {
      node.x *= 200.0;
    } else if (kind == MeshKind::diagonal) {
      const double u = 300.0 * node.x, v = node.y;
      node.x = u - v;
      node.y = u + v;
    }
  }
  if (kind == MeshKind::long_one) {
    const auto n = static_cast<int>(lists.nodes.size());
    lists.nodes.push_back({-2.0, -2.0, 1.0f});
    lists.nodes.push_back({columns * 3.0, -1.5, 1.0f});
    lists.elements.push_back({1, n + 1, n + 2});
  }
  // Displaced nodes may turn an element over.
  for (TestElement& e : lists.elements) {
    if (signed_area(lists, e) < 0.0) std::swap(e.b, e.c);
  }
  std::shuffle(lists.elements.begin(), lists.elements.end(), random);
  return lists;
}

}  // namespace dfl::test
