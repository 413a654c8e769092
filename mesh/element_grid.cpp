#include "mesh/element_grid.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <new>
#include <span>
#include <utility>

#include "mesh/find_element.h"

namespace dfl {

namespace {

using Cell = ElementGrid::Cell;
using Lattice = ElementGrid::Lattice;
using List = ElementGrid::List;

constexpr std::size_t few_elements = 4;  // a finer lattice would hardly part them
constexpr int deepest = 24;              // levels of lattices
constexpr double cell_share = 0.7;       // cell side over mean side of the bounding boxes
constexpr double worth_it = 0.7;         // a finer lattice must cut the candidates to this share
constexpr std::int64_t lattice_entries = 16;  // of the cells of one lattice, for each element
constexpr std::int64_t grid_entries = 24;     // of all cells, for each element
constexpr std::int64_t grid_cells = 3;        // for each element

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
  Box box{};
  Box reach{};                       // holds every point that is looked up here
  std::size_t first = 0, count = 0;  // its elements in those of its level
};

// The tasks of lattices of one depth, their elements one behind the other: there can be as many
// tasks as elements.
struct Level {
  int depth = 0;
  std::vector<Task> tasks;
  std::vector<int> elements;
};

// A lattice under way. One draft serves for all, so that its memory does.
struct Draft {
  Lattice lattice;
  Box reach{};
  double cell_width = 0.0, cell_height = 0.0;
  double slack_x = 0.0, slack_y = 0.0;  // more than rounding can move the edge of a cell
  std::vector<int> wide;
  std::vector<std::int64_t> first;  // entries of each cell in `elements`
  std::vector<int> elements;
  // Work: the elements of the cells as they come, and where the next one of a cell goes.
  struct Entry {
    int cell, element;
  };
  HugePageVector<Entry> entries;
  std::vector<std::int64_t> next;
};

Box element_box(const MeshState& mesh, int e) {
  return {mesh.XMINelem(e), mesh.XMAXelem(e), mesh.YMINelem(e), mesh.YMAXelem(e)};
}

CellRange cell_range(const Lattice& lattice, const Box& box) {
  return {lattice_column(lattice, box.x_min).index, lattice_column(lattice, box.x_max).index,
          lattice_row(lattice, box.y_min).index, lattice_row(lattice, box.y_max).index};
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

void plan_lattice(const MeshState& mesh, const Task& task, std::span<const int> elements,
                  Draft& draft) {
  const double count = static_cast<double>(elements.size());
  const Box& area = task.box;
  double width_sum = 0.0, height_sum = 0.0;
  for (int e : elements) {
    const Box part = common_part(element_box(mesh, e), area);
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
  draft.reach = task.reach;
  draft.lattice = Lattice{};
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
  constexpr double roundings = 16.0 * std::numeric_limits<double>::epsilon();
  const auto slack = [&](double extent, double low, double high) {
    return roundings * (extent + std::max(std::abs(low), std::abs(high)));
  };
  draft.slack_x = slack(width, area.x_min, area.x_max);
  draft.slack_y = slack(height, area.y_min, area.y_max);
}

// Largest number of cells that an element may fill without passing the budget of the lattice; a
// power of 2. A few elements across the whole mesh would else fill it all.
std::int64_t most_cells(const MeshState& mesh, const Draft& draft, std::span<const int> elements) {
  constexpr auto unlimited = std::numeric_limits<std::int64_t>::max();
  // A small lattice is within the budget even if every element fills it.
  if (std::int64_t{draft.lattice.columns} * draft.lattice.rows <= lattice_entries) return unlimited;
  std::array<std::int64_t, 64> cells_by_size{};
  for (int e : elements) {
    const std::int64_t cells = cell_range(draft.lattice, element_box(mesh, e)).cells();
    const int size = std::bit_width(static_cast<std::uint64_t>(cells));
    cells_by_size[static_cast<std::size_t>(size)] += cells;
  }
  const std::int64_t budget = lattice_entries * static_cast<std::int64_t>(elements.size());
  std::int64_t sum = 0;
  for (std::size_t size = 0; size < cells_by_size.size() - 2; ++size) {
    sum += cells_by_size[size];
    if (sum > budget) return (std::int64_t{1} << (size - 1)) - 1;
  }
  return unlimited;
}

void sort_by_place(const std::vector<int>& place, int* begin, int* end) {
  const auto before = [&](int a, int b) {
    return place[static_cast<std::size_t>(a)] < place[static_cast<std::size_t>(b)];
  };
  std::sort(begin, end, before);
}

// Lists the elements of each cell.
void fill_draft(const MeshState& mesh, std::span<const int> elements, const std::vector<int>& place,
                Draft& draft) {
  const std::int64_t limit = most_cells(mesh, draft, elements);
  const std::size_t cells = cell_number(draft.lattice, 0, draft.lattice.rows);
  draft.first.assign(cells + 1, 0);
  draft.wide.clear();
  draft.entries.clear();
  for (int e : elements) {
    if (cell_range(draft.lattice, element_box(mesh, e)).cells() > limit) {
      draft.wide.push_back(e);
      continue;
    }
    for_cells(mesh, draft, e, [&](std::size_t cell) {
      draft.entries.push_back({static_cast<int>(cell), e});
      ++draft.first[cell + 1];
    });
  }
  for (std::size_t cell = 0; cell < cells; ++cell) draft.first[cell + 1] += draft.first[cell];
  draft.elements.resize(draft.entries.size());
  draft.next.assign(draft.first.begin(), draft.first.end() - 1);
  for (const Draft::Entry& entry : draft.entries) {
    std::int64_t& next = draft.next[static_cast<std::size_t>(entry.cell)];
    draft.elements[static_cast<std::size_t>(next++)] = entry.element;
  }
  int* list = draft.elements.data();
  for (std::size_t cell = 0; cell < cells; ++cell) {
    sort_by_place(place, list + draft.first[cell], list + draft.first[cell + 1]);
  }
  sort_by_place(place, draft.wide.data(), draft.wide.data() + draft.wide.size());
}

List add_candidates(ElementGrid& grid, const int* elements, std::size_t count) {
  const List list = {static_cast<int>(grid.candidates.size()), static_cast<int>(count)};
  grid.candidates.insert(grid.candidates.end(), elements, elements + count);
  return list;
}

void set_other(ElementGrid& grid, std::size_t cell, const List& list) {
  grid.cells[cell].element[0] = -1 - static_cast<int>(grid.others.size());
  grid.others.push_back(list);
}

// The line through two nodes: a value below 0 to the left of the way from one to the other, above 0
// to the right, with coordinates from the middle of a cell in cells.
struct Line {
  double slope_x, slope_y, level;  // the larger slope is 1 or -1
};

// False if the nodes are the same, or so far away that rounding counts.
bool line_through(const MeshState& mesh, const Lattice& lattice, int column, int row, int from,
                  int to, Line& line) {
  constexpr double farthest = 1.0e6, shortest = 1.0e-60;  // cells
  const double dx = (mesh.Xnode(to) - mesh.Xnode(from)) * lattice.columns_per_unit;
  const double dy = (mesh.Ynode(to) - mesh.Ynode(from)) * lattice.rows_per_unit;
  const double longer = std::max(std::abs(dx), std::abs(dy));
  const double x =
      (mesh.Xnode(from) - lattice.x_origin) * lattice.columns_per_unit - (column + 0.5);
  const double y = (mesh.Ynode(from) - lattice.y_origin) * lattice.rows_per_unit - (row + 0.5);
  if (!(longer >= shortest && std::max(std::abs(x), std::abs(y)) <= farthest)) return false;
  line.slope_x = dy / longer;
  line.slope_y = -dx / longer;
  line.level = -(line.slope_x * x + line.slope_y * y);
  return true;
}

// The edges of the elements of a cell, while they are written into it.
struct CellEdges {
  std::array<int, ElementGrid::edges> from, to;
  std::size_t count = 0;
};

// A line as it stands in a cell.
struct CellLine {
  int slope_x, slope_y, level;
};

CellLine rounded_line(const Line& line) {
  using namespace cell_lines;
  constexpr double middle = 0.5 * cell_units + beside - 0.5;  // the unit's middle stands for it
  constexpr double farthest = 2.0;  // cells; what is farther stays on its side
  const double a = std::round(line.slope_x * slope_scale);
  const double b = std::round(line.slope_y * slope_scale);
  const double level = std::clamp(line.level, -farthest, farthest) * slope_scale * cell_units;
  return {static_cast<int>(a), static_cast<int>(b),
          static_cast<int>(std::round(level - (a + b) * middle))};
}

void write_line(const CellLine& line, std::size_t edge, Cell& cell) {
  cell.slope[2 * edge] = static_cast<std::int16_t>(line.slope_x);
  cell.slope[2 * edge + 1] = static_cast<std::int16_t>(line.slope_y);
  cell.level[edge] = line.level;
}

// True if the line of an edge in a cell is this one: edges follow each other along the rows of a
// grid, and those of small cells along that of a larger one.
bool same_line(const Cell& cell, std::size_t edge, const CellLine& line) {
  return cell.slope[2 * edge] == line.slope_x && cell.slope[2 * edge + 1] == line.slope_y &&
         std::abs(cell.level[edge] - line.level) <= cell_lines::shared_level;
}

// Half the side of the square around the middle of a cell that its points keep within, in cells.
constexpr double half_cell = 0.5 + 0.9 * cell_lines::beside / cell_lines::cell_units;

// Writes the line of an edge into the cell, if it is not there yet, and its side into `inside`,
// unless all of the cell lies inside the edge. False if there is no room or no sure line.
bool add_edge(const MeshState& mesh, const Lattice& lattice, int column, int row, int from, int to,
              CellEdges& edges, Cell& cell, std::uint16_t& inside) {
  const auto lies_on = [&](std::size_t side) {
    inside = static_cast<std::uint16_t>(inside | 1u << side);
    return true;
  };
  for (std::size_t k = 0; k < edges.count; ++k) {
    if (edges.from[k] == to && edges.to[k] == from) return lies_on(k + 8);
    if (edges.from[k] == from && edges.to[k] == to) return lies_on(k);
  }
  Line line;
  if (!line_through(mesh, lattice, column, row, from, to, line)) return false;
  constexpr double clear = 4.0 / cell_lines::cell_units;
  const double reach = half_cell * (std::abs(line.slope_x) + std::abs(line.slope_y));
  if (line.level + reach < -clear) return true;
  const CellLine written = rounded_line(line);
  const CellLine turned = {-written.slope_x, -written.slope_y, -written.level};
  for (std::size_t k = 0; k < edges.count; ++k) {
    if (same_line(cell, k, written)) return lies_on(k);
    if (same_line(cell, k, turned)) return lies_on(k + 8);
  }
  if (edges.count == edges.from.size()) return false;
  edges.from[edges.count] = from;
  edges.to[edges.count] = to;
  write_line(written, edges.count, cell);
  return lies_on(edges.count++);
}

// Writes the elements and their edges into an empty cell. False, and the cell stays empty, if they
// cannot be told apart there.
bool pack(const MeshState& mesh, const Lattice& lattice, int column, int row, const int* elements,
          std::size_t count, Cell& cell) {
  CellEdges edges;
  cell.inside.fill(0xffff);  // an empty slot: no place lies on both sides of a line
  for (std::size_t k = 0; k < count; ++k) {
    const int e = elements[k];
    const std::array<int, 3> nodes = {mesh.ELnode1(e), mesh.ELnode2(e), mesh.ELnode3(e)};
    cell.element[k] = e;
    cell.inside[k] = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      if (!add_edge(mesh, lattice, column, row, nodes[i], nodes[(i + 1) % 3], edges, cell,
                    cell.inside[k])) {
        cell = Cell{};
        return false;
      }
    }
  }
  for (std::size_t k = edges.count; k < ElementGrid::edges; ++k) cell.level[k] = 1 << 20;
  return true;
}

// True if all points whose cell this is lie close enough around it for its lines.
bool keeps_close(const Lattice& lattice, int column, int row, const Box& reach) {
  const double x_middle = column + 0.5, y_middle = row + 0.5;
  const auto x = [&](double value) {
    return std::abs((value - lattice.x_origin) * lattice.columns_per_unit - x_middle);
  };
  const auto y = [&](double value) {
    return std::abs((value - lattice.y_origin) * lattice.rows_per_unit - y_middle);
  };
  return std::max({x(reach.x_min), x(reach.x_max), y(reach.y_min), y(reach.y_max)}) <= half_cell;
}

Box cell_box(const Draft& draft, int column, int row) {
  const double x = draft.lattice.x_origin + column * draft.cell_width;
  const double y = draft.lattice.y_origin + row * draft.cell_height;
  return {x, x + draft.cell_width, y, y + draft.cell_height};
}

// Makes a lattice of the grid out of the draft; cells with more elements than slots become tasks.
void settle_draft(const MeshState& mesh, ElementGrid& grid, const Draft& draft, Level& finer) {
  Lattice lattice = draft.lattice;
  lattice.first_cell = static_cast<int>(grid.cells.size());
  lattice.wide = add_candidates(grid, draft.wide.data(), draft.wide.size());
  grid.lattices.push_back(lattice);
  // Products of two lengths must be ordinary numbers.
  const double cells_per_area = lattice.columns_per_unit * lattice.rows_per_unit;
  const bool may_pack = cells_per_area > 1.0e-200 && cells_per_area < 1.0e200;
  std::size_t in_lattice = 0;
  for (int row = 0; row < lattice.rows; ++row) {
    for (int column = 0; column < lattice.columns; ++column, ++in_lattice) {
      const int* elements = draft.elements.data() + draft.first[in_lattice];
      const auto count =
          static_cast<std::size_t>(draft.first[in_lattice + 1] - draft.first[in_lattice]);
      const std::size_t cell = static_cast<std::size_t>(lattice.first_cell) + in_lattice;
      Cell& made = grid.cells.emplace_back();
      const Box reach = cell_reach(draft, column, row);
      const bool packed = count <= ElementGrid::slots && may_pack &&
                          keeps_close(lattice, column, row, reach) &&
                          pack(mesh, lattice, column, row, elements, count, made);
      if (packed) continue;
      if (count > (may_pack ? few_elements : ElementGrid::slots) && finer.depth <= deepest) {
        finer.tasks.push_back({static_cast<int>(cell), cell_box(draft, column, row), reach,
                               finer.elements.size(), count});
        finer.elements.insert(finer.elements.end(), elements, elements + count);
      } else {
        set_other(grid, cell, add_candidates(grid, elements, count));
      }
    }
  }
}

Level whole_mesh(const MeshState& mesh) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  Task task;
  task.box = {infinity, -infinity, infinity, -infinity};
  task.count = static_cast<std::size_t>(mesh.NUMelem);
  Level level;
  level.elements.resize(task.count);
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    const Box box = element_box(mesh, e);
    task.box.x_min = std::min(task.box.x_min, box.x_min);
    task.box.x_max = std::max(task.box.x_max, box.x_max);
    task.box.y_min = std::min(task.box.y_min, box.y_min);
    task.box.y_max = std::max(task.box.y_max, box.y_max);
    level.elements[static_cast<std::size_t>(e) - 1] = e;
  }
  task.reach = task.box;
  level.tasks.push_back(task);
  return level;
}

// What the grid may still take. Lists that may yet be cut count as entries.
struct Budget {
  std::int64_t entries = 0, most_entries = 0;
  std::int64_t cells = 0, most_cells = 0;
};

std::int64_t entries_of(const Draft& draft) {
  return static_cast<std::int64_t>(draft.elements.size() + draft.wide.size());
}

// True if the lattice leaves clearly fewer candidates at a point than the list it replaces, and the
// grid keeps within its memory.
bool worth_a_lattice(const Draft& draft, const Task& task, const Budget& budget) {
  const auto before = static_cast<std::int64_t>(task.count);
  const auto cells = static_cast<std::int64_t>(draft.first.size()) - 1;
  const double mean = static_cast<double>(draft.wide.size()) +
                      static_cast<double>(draft.elements.size()) / static_cast<double>(cells);
  return mean <= worth_it * static_cast<double>(before) &&
         budget.entries - before + entries_of(draft) <= budget.most_entries &&
         budget.cells + cells <= budget.most_cells;
}

// Room for all cells that there may be, so that they never move. It is address space only: memory
// comes as they are written.
void reserve_cells(const Budget& budget, ElementGrid& grid) {
  try {
    grid.cells.reserve(static_cast<std::size_t>(budget.most_cells));
  } catch (const std::bad_alloc&) {
    // Where memory is promised strictly they move as they grow.
  }
}

}  // namespace

void BUILD_ELEMENT_GRID(MeshState& mesh) {
  mesh.grid = ElementGrid{};
  ElementGrid& grid = mesh.grid;
  if (mesh.NUMelem < 1) return;
  Level level = whole_mesh(mesh), finer;
  const Box box = level.tasks.front().box;
  grid.x_min = box.x_min, grid.x_max = box.x_max;
  grid.y_min = box.y_min, grid.y_max = box.y_max;
  std::vector<int> place(static_cast<std::size_t>(mesh.NUMelem) + 1);
  for (int i = 1; i <= mesh.NUMelem; ++i) place[static_cast<std::size_t>(mesh.SORTxmin(i))] = i;
  Budget budget = {mesh.NUMelem, grid_entries * mesh.NUMelem, 0, grid_cells * mesh.NUMelem};
  reserve_cells(budget, grid);
  Draft draft;
  bool any_wide = false;
  // Level by level, so that no corner of the mesh takes it all.
  while (!level.tasks.empty()) {
    finer.depth = level.depth + 1;
    finer.tasks.clear();
    finer.elements.clear();
    for (const Task& task : level.tasks) {
      const std::span<const int> elements(level.elements.data() + task.first, task.count);
      const bool root = task.cell < 0;
      plan_lattice(mesh, task, elements, draft);
      const bool several = draft.lattice.columns > 1 || draft.lattice.rows > 1;
      if (root || several) fill_draft(mesh, elements, place, draft);
      if (root || (several && worth_a_lattice(draft, task, budget))) {
        budget.entries += entries_of(draft) - static_cast<std::int64_t>(task.count);
        budget.cells += static_cast<std::int64_t>(draft.first.size()) - 1;
        any_wide = any_wide || !draft.wide.empty();
        if (!root) {
          set_other(grid, static_cast<std::size_t>(task.cell),
                    {static_cast<int>(grid.lattices.size()), ElementGrid::finer_lattice});
        }
        settle_draft(mesh, grid, draft, finer);
      } else {
        set_other(grid, static_cast<std::size_t>(task.cell),
                  add_candidates(grid, elements.data(), elements.size()));
      }
    }
    std::swap(level, finer);
  }
  if (any_wide) grid.place = std::move(place);
  grid.built = true;
}

}  // namespace dfl
