#include "mesh/element_grid.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <deque>
#include <limits>
#include <utility>

#include "mesh/find_element.h"

namespace dfl {

namespace {

using Cell = ElementGrid::Cell;
using Lattice = ElementGrid::Lattice;

constexpr int crowded = 16;         // a cell with more candidates gets a finer lattice
constexpr int deepest = 24;         // levels of lattices
constexpr double cell_share = 0.7;  // cell side over mean side of the bounding boxes
constexpr double worth_it = 0.7;    // a finer lattice must cut the candidates to this share
constexpr std::int64_t cells_per_element = 16;    // in one lattice, on average
constexpr std::int64_t entries_per_element = 24;  // in the whole grid, on average

struct Box {
  double x_min, x_max, y_min, y_max;
};

struct CellRange {
  int column1, column2, row1, row2;
  std::int64_t cells() const {
    return static_cast<std::int64_t>(column2 - column1 + 1) * (row2 - row1 + 1);
  }
};

// A cell that still has to be settled: as a list or as a lattice.
struct Task {
  int cell = -1;  // in grid.cells; -1 for the whole mesh
  int depth = 0;
  Box box{};
  Box reach{};             // holds every point that is looked up here
  std::vector<int> ranks;  // ascending
};

// A lattice under way.
struct Draft {
  Lattice lattice;
  Box reach{};
  double cell_width = 0.0, cell_height = 0.0;
  double slack_x = 0.0, slack_y = 0.0;  // more than rounding can move the edge of a cell
  std::vector<int> wide;                // ranks
  std::vector<std::int64_t> first;      // entries of each cell in `ranks`
  std::vector<int> ranks;
};

Box element_box(const MeshState& mesh, int e) {
  return {mesh.XMINelem(e), mesh.XMAXelem(e), mesh.YMINelem(e), mesh.YMAXelem(e)};
}

CellRange cell_range(const Lattice& lattice, const Box& box) {
  return {lattice_column(lattice, box.x_min), lattice_column(lattice, box.x_max),
          lattice_row(lattice, box.y_min), lattice_row(lattice, box.y_max)};
}

// True if IN_TRIANGLE rejects every point of the rectangle, which lies in the bounding box of e.
// The cross product of an edge is smallest at a corner; the margin is far above its rounding.
bool misses(const MeshState& mesh, int e, const Box& box, const Box& rectangle) {
  constexpr double margin = 1.0e-12;
  const double scale = (box.x_max - box.x_min) * (box.y_max - box.y_min);
  if (!(scale > 1.0e-200 && scale < 1.0e200)) return false;
  const std::array<int, 3> nodes = {mesh.ELnode1(e), mesh.ELnode2(e), mesh.ELnode3(e)};
  for (std::size_t i = 0; i < 3; ++i) {
    const int a = nodes[i], b = nodes[(i + 1) % 3];
    const double dx = mesh.Xnode(b) - mesh.Xnode(a), dy = mesh.Ynode(b) - mesh.Ynode(a);
    const double x = dy > 0.0 ? rectangle.x_min : rectangle.x_max;
    const double y = dx > 0.0 ? rectangle.y_max : rectangle.y_min;
    if (dy * (x - mesh.Xnode(a)) - dx * (y - mesh.Ynode(a)) > margin * scale) return true;
  }
  return false;
}

// All points whose cell this is, rounding included.
Box cell_reach(const Draft& draft, int column, int row) {
  const Lattice& lattice = draft.lattice;
  Box reach = draft.reach;
  const double x = lattice.x_origin + column * draft.cell_width;
  const double y = lattice.y_origin + row * draft.cell_height;
  if (column > 0) reach.x_min = x - draft.slack_x;
  if (column < lattice.columns - 1) reach.x_max = x + draft.cell_width + draft.slack_x;
  if (row > 0) reach.y_min = y - draft.slack_y;
  if (row < lattice.rows - 1) reach.y_max = y + draft.cell_height + draft.slack_y;
  return reach;
}

Box common_part(const Box& a, const Box& b) {
  return {std::max(a.x_min, b.x_min), std::min(a.x_max, b.x_max), std::max(a.y_min, b.y_min),
          std::min(a.y_max, b.y_max)};
}

// Calls use(cell) for the cells of the lattice that may hold a point of element e.
template <class Use>
void for_cells(const MeshState& mesh, const Draft& draft, int e, const Use& use) {
  const Lattice& lattice = draft.lattice;
  const Box box = element_box(mesh, e);
  const CellRange range = cell_range(lattice, box);
  const bool few = range.cells() <= 2;  // the bounding box itself decides
  for (int row = range.row1; row <= range.row2; ++row) {
    for (int column = range.column1; column <= range.column2; ++column) {
      if (few || !misses(mesh, e, box, common_part(box, cell_reach(draft, column, row)))) {
        use(static_cast<std::size_t>(row) * static_cast<std::size_t>(lattice.columns) +
            static_cast<std::size_t>(column));
      }
    }
  }
}

// Number of columns or rows: cells somewhat smaller than the mean bounding box.
double wanted_cells(double extent, double mean_side, double most) {
  if (!(extent > 0.0)) return 1.0;
  const double wanted = mean_side > 0.0 ? extent / (cell_share * mean_side) : most;
  return std::clamp(wanted, 1.0, most);
}

Draft plan_lattice(const MeshState& mesh, const Task& task) {
  const double count = static_cast<double>(task.ranks.size());
  const Box& area = task.box;
  double width_sum = 0.0, height_sum = 0.0;
  for (int rank : task.ranks) {
    const Box part = common_part(element_box(mesh, mesh.SORTxmin(rank)), area);
    width_sum += std::max(0.0, part.x_max - part.x_min);
    height_sum += std::max(0.0, part.y_max - part.y_min);
  }
  const double width = area.x_max - area.x_min, height = area.y_max - area.y_min;
  double columns = wanted_cells(width, width_sum / count, count);
  double rows = wanted_cells(height, height_sum / count, count);
  if (columns * rows > count) {
    // Not more cells than elements; the longer direction gives way first.
    const double excess = columns * rows / count;
    double& longer = columns > rows ? columns : rows;
    double& shorter = columns > rows ? rows : columns;
    if (shorter <= std::sqrt(count)) {
      longer = std::max(1.0, longer / excess);
    } else {
      columns = rows = std::max(1.0, std::floor(std::sqrt(count)));
    }
  }
  Draft draft;
  draft.reach = task.reach;
  Lattice& lattice = draft.lattice;
  lattice.x_origin = area.x_min;
  lattice.y_origin = area.y_min;
  lattice.columns = static_cast<int>(columns);
  lattice.rows = static_cast<int>(rows);
  draft.cell_width = width / lattice.columns;
  draft.cell_height = height / lattice.rows;
  lattice.columns_per_unit = lattice.columns / width;
  lattice.rows_per_unit = lattice.rows / height;
  if (!(width > 0.0) || !std::isfinite(width) || !std::isfinite(lattice.columns_per_unit)) {
    lattice.columns = 1;
    lattice.columns_per_unit = 0.0;
  }
  if (!(height > 0.0) || !std::isfinite(height) || !std::isfinite(lattice.rows_per_unit)) {
    lattice.rows = 1;
    lattice.rows_per_unit = 0.0;
  }
  constexpr double part_of_cell = 1.0e-6;
  constexpr double roundings = 16.0 * std::numeric_limits<double>::epsilon();
  draft.slack_x = part_of_cell * draft.cell_width +
                  roundings * std::max(std::abs(area.x_min), std::abs(area.x_max));
  draft.slack_y = part_of_cell * draft.cell_height +
                  roundings * std::max(std::abs(area.y_min), std::abs(area.y_max));
  return draft;
}

// Largest number of cells that an element may fill without passing the budget of the lattice; a
// power of 2. A few elements across the whole mesh would else fill it all.
std::int64_t most_cells(const MeshState& mesh, const Draft& draft, const std::vector<int>& ranks) {
  std::array<std::int64_t, 64> cells_by_size{};
  for (int rank : ranks) {
    const CellRange range = cell_range(draft.lattice, element_box(mesh, mesh.SORTxmin(rank)));
    const auto cells = static_cast<std::uint64_t>(range.cells());
    cells_by_size[static_cast<std::size_t>(std::bit_width(cells))] += range.cells();
  }
  const std::int64_t budget = cells_per_element * static_cast<std::int64_t>(ranks.size());
  std::int64_t sum = 0;
  for (std::size_t size = 0; size < cells_by_size.size() - 2; ++size) {
    sum += cells_by_size[size];
    if (sum > budget) return (std::int64_t{1} << (size - 1)) - 1;
  }
  return std::numeric_limits<std::int64_t>::max();
}

void fill_draft(const MeshState& mesh, const std::vector<int>& ranks, Draft& draft) {
  const std::int64_t limit = most_cells(mesh, draft, ranks);
  std::vector<int> narrow;
  narrow.reserve(ranks.size());
  for (int rank : ranks) {
    const CellRange range = cell_range(draft.lattice, element_box(mesh, mesh.SORTxmin(rank)));
    (range.cells() > limit ? draft.wide : narrow).push_back(rank);
  }
  const std::size_t cells = static_cast<std::size_t>(draft.lattice.columns) *
                            static_cast<std::size_t>(draft.lattice.rows);
  draft.first.assign(cells + 1, 0);
  for (int rank : narrow) {
    for_cells(mesh, draft, mesh.SORTxmin(rank), [&](std::size_t cell) { ++draft.first[cell + 1]; });
  }
  for (std::size_t cell = 0; cell < cells; ++cell) draft.first[cell + 1] += draft.first[cell];
  draft.ranks.resize(static_cast<std::size_t>(draft.first[cells]));
  std::vector<std::int64_t> next(draft.first.begin(), draft.first.end() - 1);
  for (int rank : narrow) {
    for_cells(mesh, draft, mesh.SORTxmin(rank), [&](std::size_t cell) {
      draft.ranks[static_cast<std::size_t>(next[cell]++)] = rank;
    });
  }
}

Box cell_box(const Draft& draft, int column, int row) {
  const double x = draft.lattice.x_origin + column * draft.cell_width;
  const double y = draft.lattice.y_origin + row * draft.cell_height;
  return {x, x + draft.cell_width, y, y + draft.cell_height};
}

Cell add_candidates(ElementGrid& grid, const int* ranks, std::size_t count) {
  const Cell cell = {static_cast<int>(grid.candidates.size()), static_cast<int>(count)};
  grid.candidates.insert(grid.candidates.end(), ranks, ranks + count);
  return cell;
}

// Makes a lattice of the grid out of the draft; crowded cells become tasks.
void settle_draft(ElementGrid& grid, const Draft& draft, int depth, std::deque<Task>& tasks) {
  grid.lattices.push_back(draft.lattice);
  Lattice& lattice = grid.lattices.back();
  lattice.first_cell = static_cast<int>(grid.cells.size());
  lattice.wide = add_candidates(grid, draft.wide.data(), draft.wide.size());
  grid.cells.resize(grid.cells.size() + draft.first.size() - 1);
  std::size_t in_lattice = 0;
  for (int row = 0; row < lattice.rows; ++row) {
    for (int column = 0; column < lattice.columns; ++column, ++in_lattice) {
      const auto begin = static_cast<std::size_t>(draft.first[in_lattice]);
      const auto count = static_cast<std::size_t>(draft.first[in_lattice + 1]) - begin;
      const std::size_t cell = static_cast<std::size_t>(lattice.first_cell) + in_lattice;
      const int* ranks = draft.ranks.data() + begin;
      if (count > crowded && depth < deepest) {
        const Box box = cell_box(draft, column, row);
        tasks.push_back({static_cast<int>(cell), depth + 1, box, cell_reach(draft, column, row),
                         std::vector<int>(ranks, ranks + count)});
      } else {
        grid.cells[cell] = add_candidates(grid, ranks, count);
      }
    }
  }
}

// Turns the ranks of the candidates into places of `triangles`, stored in the order of the cells.
void store_triangles(const MeshState& mesh, ElementGrid& grid) {
  constexpr int not_stored = -1;
  std::vector<int> place(static_cast<std::size_t>(mesh.NUMelem) + 1, not_stored);
  grid.triangles.reserve(static_cast<std::size_t>(mesh.NUMelem));
  for (int& candidate : grid.candidates) {
    const int rank = candidate;
    int& stored = place[static_cast<std::size_t>(rank)];
    if (stored == not_stored) {
      stored = static_cast<int>(grid.triangles.size());
      const int e = mesh.SORTxmin(rank);
      const int n1 = mesh.ELnode1(e), n2 = mesh.ELnode2(e), n3 = mesh.ELnode3(e);
      grid.triangles.push_back({mesh.Xnode(n1), mesh.Ynode(n1), mesh.Xnode(n2), mesh.Ynode(n2),
                                mesh.Xnode(n3), mesh.Ynode(n3), rank, e});
    }
    candidate = stored;
  }
}

Task whole_mesh(const MeshState& mesh) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  Task task;
  task.box = {infinity, -infinity, infinity, -infinity};
  for (int i = 1; i <= mesh.NUMelem; ++i) {
    const Box box = element_box(mesh, mesh.SORTxmin(i));
    task.box.x_min = std::min(task.box.x_min, box.x_min);
    task.box.x_max = std::max(task.box.x_max, box.x_max);
    task.box.y_min = std::min(task.box.y_min, box.y_min);
    task.box.y_max = std::max(task.box.y_max, box.y_max);
    task.ranks.push_back(i);
  }
  task.reach = task.box;
  return task;
}

// True if the lattice leaves clearly fewer candidates at a point than the list it replaces, and the
// grid keeps within its memory.
bool worth_a_lattice(const Draft& draft, const Task& task, std::int64_t entries,
                     std::int64_t budget) {
  const auto before = static_cast<std::int64_t>(task.ranks.size());
  const auto after = static_cast<std::int64_t>(draft.ranks.size() + draft.wide.size());
  const double mean =
      static_cast<double>(draft.wide.size()) +
      static_cast<double>(draft.ranks.size()) / static_cast<double>(draft.first.size() - 1);
  return mean <= worth_it * static_cast<double>(before) && entries - before + after <= budget;
}

}  // namespace

void BUILD_ELEMENT_GRID(MeshState& mesh) {
  mesh.grid = ElementGrid{};
  ElementGrid& grid = mesh.grid;
  if (mesh.NUMelem < 1) return;
  std::deque<Task> tasks;
  tasks.push_back(whole_mesh(mesh));
  const Box& box = tasks.front().box;
  grid.x_min = box.x_min;
  grid.x_max = box.x_max;
  grid.y_min = box.y_min;
  grid.y_max = box.y_max;
  // Lists made and lists that may yet be cut. Level by level, so that no corner takes it all.
  const std::int64_t budget = entries_per_element * mesh.NUMelem + crowded;
  std::int64_t entries = mesh.NUMelem;
  while (!tasks.empty()) {
    const Task task = std::move(tasks.front());
    tasks.pop_front();
    Draft draft = plan_lattice(mesh, task);
    const bool root = task.cell < 0;
    const bool several = draft.lattice.columns > 1 || draft.lattice.rows > 1;
    if (root || several) fill_draft(mesh, task.ranks, draft);
    if (root || (several && worth_a_lattice(draft, task, entries, budget))) {
      entries += static_cast<std::int64_t>(draft.ranks.size() + draft.wide.size()) -
                 static_cast<std::int64_t>(task.ranks.size());
      if (!root) {
        grid.cells[static_cast<std::size_t>(task.cell)] = {static_cast<int>(grid.lattices.size()),
                                                           ElementGrid::finer_lattice};
      }
      settle_draft(grid, draft, task.depth, tasks);
    } else {
      grid.cells[static_cast<std::size_t>(task.cell)] =
          add_candidates(grid, task.ranks.data(), task.ranks.size());
    }
  }
  store_triangles(mesh, grid);
  grid.candidates.shrink_to_fit();
  grid.cells.shrink_to_fit();
  grid.built = true;
}

}  // namespace dfl
