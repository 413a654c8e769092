#include "mesh/quadtree_map.h"

#include <cmath>

namespace dfl {

namespace {

// The cells around a node and their distances from it stay the same from frame to frame, so they
// are kept in tables, one for each location. A frame is then one pass over the nodes, whose cells
// stand near each other in the values.

constexpr float dry = -999.0f;
constexpr int slots = 4;  // a fifth wet cell of a node is left out

struct Point {
  double x, y;
};

// Half a cell toward the face on which the values stand.
Point offset_of(const Cell& cell, int location) {
  if (location == 3) return {-cell.DX / 2.0, 0.0};
  if (location == 4) return {0.0, -cell.DY / 2.0};
  return {0.0, 0.0};
}

// Where the value of a cell stands, in mesh coordinates.
Point sample_point(const GridState& grid, const Cell& cell, int location, double s, double c) {
  const Point offset = offset_of(cell, location);
  if (grid.maps_quadtree) {
    const double x = cell.X + offset.x, y = cell.Y + offset.y;
    return {grid.GRIDx0 + c * x + s * y, grid.GRIDy0 - s * x + c * y};
  }
  return {cell.X + c * offset.x + s * offset.y, cell.Y - s * offset.x + c * offset.y};
}

// Places of the lists of all nodes: how many corners of cells each node is, summed up.
void count_corners(const GridState& grid, int nodes, GridState::MapTable& table) {
  table.first.assign(static_cast<std::size_t>(nodes) + 2, 0);
  for (int cell = 1; cell <= grid.NUMcells; ++cell) {
    for (int corner = 1; corner <= 4; ++corner) {
      const int node = grid.CELLnodes(cell, corner);
      if (node != 0) ++table.first[static_cast<std::size_t>(node) + 1];
    }
  }
  for (std::size_t k = 1; k < table.first.size(); ++k) table.first[k] += table.first[k - 1];
}

void build_table(const RunState& run, int location, GridState::MapTable& table) {
  const GridState& grid = run.grid;
  const MeshState& mesh = run.mesh;
  const double angle = grid.GRIDangle * static_cast<double>(3.14159f) / 180.0;
  const double s = std::sin(angle), c = std::cos(angle);
  count_corners(grid, mesh.NUMnode, table);
  table.entries.resize(table.first.back());
  std::vector<std::uint32_t> next = table.first;
  for (int cell = 1; cell <= grid.NUMcells; ++cell) {
    const Point sample = sample_point(grid, grid.CELLS(cell), location, s, c);
    for (int corner = 1; corner <= 4; ++corner) {
      const int node = grid.CELLnodes(cell, corner);
      if (node == 0) continue;
      const double dx = mesh.Xnode(node) - sample.x, dy = mesh.Ynode(node) - sample.y;
      const std::uint32_t place = next[static_cast<std::size_t>(node)]++;
      table.entries[place] = {cell, static_cast<float>(std::sqrt(dx * dx + dy * dy))};
    }
  }
}

const GridState::MapTable& table_for(RunState& run, int location, bool quadtree) {
  GridState& grid = run.grid;
  if (location != 0 && location != 3 && location != 4) {
    fatal_error(run.messages, "iPOS (map_quadtree) error");
  }
  if (grid.maps_quadtree != quadtree) grid.maps = {};
  grid.maps_quadtree = quadtree;
  GridState::MapTable& table =
      grid.maps[location == 0 ? 0 : static_cast<std::size_t>(location) - 2];
  if (table.first.empty()) build_table(run, location, table);
  return table;
}

// What a node has collected: the values of wet cells and their distances, in cell order.
struct Collected {
  float f1 = dry, f2 = dry, f3 = dry, f4 = dry;
  float d1 = dry, d2 = dry, d3 = dry, d4 = dry;
};

float weight_four(const Collected& at) {
  const float S = at.d1 + at.d2 + at.d3 + at.d4;
  return (at.f1 * (S - at.d1) / S + at.f2 * (S - at.d2) / S + at.f3 * (S - at.d3) / S +
          at.f4 * (S - at.d4) / S) /
         3.0f;
}

// A cell whose sample point is the node itself takes a slot, but does not count.
float weight(const Collected& at) {
  const int n = (at.d1 > 0.0f) + (at.d2 > 0.0f) + (at.d3 > 0.0f) + (at.d4 > 0.0f);
  if (n == 1) return at.f1;
  if (n == 2) return at.f1 * at.d2 / (at.d1 + at.d2) + at.f2 * at.d1 / (at.d1 + at.d2);
  if (n == 3) {
    const float S = at.d1 + at.d2 + at.d3;
    return (at.f1 * (S - at.d1) / S + at.f2 * (S - at.d2) / S + at.f3 * (S - at.d3) / S) * 0.5f;
  }
  return weight_four(at);
}

// The general way: dry cells leave their slot to the next.
float map_node(const GridState::MapEntry* entry, const GridState::MapEntry* end,
               const float* values) {
  float f[slots] = {dry, dry, dry, dry}, d[slots] = {dry, dry, dry, dry};
  int used = 0;
  for (; entry != end && used < slots; ++entry) {
    const float value = values[entry->cell - 1];
    f[used] = value > dry ? value : dry;
    d[used] = value > dry ? entry->distance : dry;
    used += value > dry ? 1 : 0;
  }
  return weight({f[0], f[1], f[2], f[3], d[0], d[1], d[2], d[3]});
}

void map_cells(RunState& run, const Array<float>& cell_values, int location, bool quadtree,
               Array<float>& node_values) {
  const GridState::MapTable& table = table_for(run, location, quadtree);
  if (cell_values.size() < run.grid.NUMcells) {
    fatal_error(run.messages, "A gridded field holds " + std::to_string(cell_values.size()) +
                                  " values for " + std::to_string(run.grid.NUMcells) + " cells");
  }
  const int nodes = run.mesh.NUMnode;
  if (node_values.size() != nodes) node_values.allocate(nodes);
  const float* const values = cell_values.data();
  const GridState::MapEntry* const entries = table.entries.data();
  for (int n = 1; n <= nodes; ++n) {
    const GridState::MapEntry* const at = entries + table.first[static_cast<std::size_t>(n)];
    const GridState::MapEntry* const end = entries + table.first[static_cast<std::size_t>(n) + 1];
    if (end - at == slots) {  // almost every node
      const float f1 = values[at[0].cell - 1], f2 = values[at[1].cell - 1];
      const float f3 = values[at[2].cell - 1], f4 = values[at[3].cell - 1];
      const bool wet = f1 > dry && f2 > dry && f3 > dry && f4 > dry;
      const bool apart = at[0].distance > 0.0f && at[1].distance > 0.0f && at[2].distance > 0.0f &&
                         at[3].distance > 0.0f;
      if (wet && apart) {
        node_values(n) = weight_four(
            {f1, f2, f3, f4, at[0].distance, at[1].distance, at[2].distance, at[3].distance});
        continue;
      }
    }
    node_values(n) = map_node(at, end, values);
  }
}

}  // namespace

void MAP_GRID(RunState& run, const Array<float>& cell_values, int location,
              Array<float>& node_values) {
  map_cells(run, cell_values, location, false, node_values);
}

void MAP_QUADTREE(RunState& run, const Array<float>& cell_values, int location,
                  Array<float>& node_values) {
  map_cells(run, cell_values, location, true, node_values);
}

}  // namespace dfl
