#pragma once

// Grids of a gridded flow model with known answers, as files: a structured one (dataset file) and a
// telescoping one (text), each with its card file.

#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "dataset/hyfs.h"
#include "tests/common/test_run.h"

namespace dfl::test {

inline void good(int status) {
  if (status < 0) throw std::runtime_error("dataset file, status " + std::to_string(status));
}

// ---- structured ----

struct StructuredGrid {
  std::vector<double> i, j;  // coordinates: the far side of each column and row
  double x0 = 0.0, y0 = 0.0, bearing = 0.0;
  std::vector<int> types;  // odd: active; I fastest
  std::vector<float> depths;
  std::string location = "centre";
};

inline StructuredGrid even_grid(int columns, int rows, double size, float depth) {
  StructuredGrid grid;
  for (int i = 1; i <= columns; ++i) grid.i.push_back(i * size);
  for (int j = 1; j <= rows; ++j) grid.j.push_back(j * size);
  const auto cells = static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
  grid.types.assign(cells, 1);
  grid.depths.assign(cells, depth);
  return grid;
}

inline void write_structured(const std::string& path, const StructuredGrid& grid) {
  HyfsHandle file = 0, group = 0, depth = 0;
  HyfsFileInfo info;
  info.start_date = "2000-01-01 00:00:00";
  good(hfpinitialize_f());
  good(hfcreatefile_f(path, true, info, file));
  HyfsGrid head;
  head.origin = {grid.x0, grid.y0, 0.0};
  head.bearing = grid.bearing;
  head.i = grid.i;
  head.j = grid.j;
  head.k = {1.0};
  good(hfcreategrid_f(file, "Grid", head));
  good(hfopengroup_f(file, "Grid", group));
  good(hfwritepropertyint_f(group, "CellTypes", grid.types));
  HyfsDatasetInfo about;
  about.location = grid.location;
  good(hfcreatescalardataset_f(file, "Grid/Datasets/Depth", about, depth));
  good(hfwritescalartimestep_f(depth, 0.0, grid.depths.data(),
                               static_cast<std::int64_t>(grid.depths.size())));
  good(hfclosefile_f(file));
}

// Cellstrings: dataset paths and their cells.
inline void write_cellstrings(const std::string& path,
                              const std::vector<std::pair<std::string, std::vector<int>>>& lists) {
  HyfsHandle file = 0;
  HyfsFileInfo info;
  info.start_date = "2000-01-01 00:00:00";
  good(hfpinitialize_f());
  good(hfcreatefile_f(path, true, info, file));
  for (const auto& [name, cells] : lists) {
    HyfsGrid none;  // any group serves
    none.i = none.j = none.k = {1.0};
    HyfsHandle group = 0;
    good(hfcreategrid_f(file, name, none));
    good(hfopengroup_f(file, name, group));
    good(hfwritepropertyint_f(group, "Cells", cells));
    good(hfclosegroup_f(group));
  }
  good(hfclosefile_f(file));
}

inline std::string structured_cards(const std::string& cellstrings = "") {
  return "params_file \"cells.h5\"\ngrid_file \"grid.h5\"\n"
         "bathymetry_dataset \"grid.h5\" \"Grid/Datasets/Depth\"\n" +
         cellstrings + "end_parameters\n";
}

// ---- telescoping ----

// Cells of size `size` over a rectangle, cut into four where `levels` asks for it; cells that meet
// along a side differ by one level at most.
class QuadtreeGrid {
 public:
  using Levels = std::function<int(double x, double y)>;
  using Depth = std::function<float(double x, double y)>;

  QuadtreeGrid(int columns_in, int rows_in, double size_in, const Levels& levels)
      : columns(columns_in), rows(rows_in), size(size_in) {
    for (int j = 0; j < rows; ++j) {
      for (int i = 0; i < columns; ++i) refine(0, i, j, levels);
    }
    balance();
    int number = 0;
    for (auto& [key, n] : leaves) n = ++number;
  }

  int count() const { return static_cast<int>(leaves.size()); }

  void set_cells(const Depth& depth, Array<Cell>& cells) const {
    cells.allocate(count());
    for (const auto& [key, n] : leaves) {
      const auto& [level, i, j] = unordered(key);
      Cell& cell = cells(n);
      cell.DX = cell.DY = width(level);
      cell.X = (i + 0.5) * width(level);
      cell.Y = (j + 0.5) * width(level);
      cell.DEPTH = depth(cell.X, cell.Y);
      // Two on a side clockwise: north from west to east, east from north to south, ...
      set_side(cell, N1, level, i, j + 1, {0, 0}, {1, 0});
      set_side(cell, E1, level, i + 1, j, {0, 1}, {0, 0});
      set_side(cell, S1, level, i, j - 1, {1, 1}, {0, 1});
      set_side(cell, W1, level, i - 1, j, {1, 0}, {1, 1});
    }
  }

  std::string text(double x0, double y0, double bearing, const Depth& depth) const {
    Array<Cell> cells;
    set_cells(depth, cells);
    std::string out = "telescoping grid\n";
    char line[400];
    std::snprintf(line, sizeof line, "%.10g %.10g %.10g %d\n", bearing, x0, y0, cells.size());
    out += line;
    for (int n = 1; n <= cells.size(); ++n) {
      const Cell& c = cells(n);
      std::snprintf(line, sizeof line, "%d %.10g %.10g %.10g %.10g %d %d %d %d %d %d %d %d %.8g\n",
                    n, c.X, c.Y, c.DX, c.DY, c.NEIGH[N1], c.NEIGH[N2], c.NEIGH[E1], c.NEIGH[E2],
                    c.NEIGH[S1], c.NEIGH[S2], c.NEIGH[W1], c.NEIGH[W2],
                    static_cast<double>(c.DEPTH));
      out += line;
    }
    return out;
  }

  // The cell at a point, 0 outside.
  int at(double x, double y) const {
    for (int level = 0; level <= deepest; ++level) {
      const int n = find(level, static_cast<int>(std::floor(x / width(level))),
                         static_cast<int>(std::floor(y / width(level))));
      if (n > 0) return n;
    }
    return 0;
  }

 private:
  static constexpr int deepest = 12;
  // Row by row of the coarse cells, and within them likewise.
  using Key = std::tuple<int, int, int, int, int>;  // coarse row, column, level, j, i
  struct Place {
    int level, i, j;
  };
  Key key_of(int level, int i, int j) const { return {j >> level, i >> level, level, j, i}; }
  static Place unordered(const Key& key) {
    return {std::get<2>(key), std::get<4>(key), std::get<3>(key)};
  }
  double width(int level) const { return size / (1 << level); }
  bool inside(int level, int i, int j) const {
    return i >= 0 && j >= 0 && i < columns << level && j < rows << level;
  }
  int find(int level, int i, int j) const {
    const auto it = leaves.find(key_of(level, i, j));
    return it == leaves.end() ? 0 : it->second;
  }
  void refine(int level, int i, int j, const Levels& levels) {
    if (level < levels((i + 0.5) * width(level), (j + 0.5) * width(level))) {
      for (int k = 0; k < 4; ++k) refine(level + 1, 2 * i + (k & 1), 2 * j + (k >> 1), levels);
    } else {
      leaves[key_of(level, i, j)] = 1;
    }
  }
  void split(int level, int i, int j) {
    leaves.erase(key_of(level, i, j));
    for (int k = 0; k < 4; ++k) leaves[key_of(level + 1, 2 * i + (k & 1), 2 * j + (k >> 1))] = 1;
  }
  // Splits cells beside which cells of half the size are split.
  void balance() {
    for (bool changed = true; changed;) {
      changed = false;
      const auto present = leaves;
      for (const auto& [key, n] : present) {
        const auto [level, i, j] = unordered(key);
        const Place sides[] = {
            {level, i, j + 1}, {level, i + 1, j}, {level, i, j - 1}, {level, i - 1, j}};
        for (const Place& side : sides) {
          if (!inside(level, side.i, side.j)) continue;
          for (int up = 2; up <= level; ++up) {
            if (find(level - up, side.i >> up, side.j >> up) == 0) continue;
            split(level - up, side.i >> up, side.j >> up);
            changed = true;
          }
        }
      }
    }
  }
  void set_side(Cell& cell, Neighbour first, int level, int i, int j, std::pair<int, int> one,
                std::pair<int, int> two) const {
    if (!inside(level, i, j)) return;
    int& n1 = cell.NEIGH[first];
    int& n2 = cell.NEIGH[static_cast<std::size_t>(first) + 1];
    n1 = find(level, i, j);
    if (n1 == 0 && level > 0) n1 = find(level - 1, i >> 1, j >> 1);
    if (n1 != 0) return;
    n1 = find(level + 1, 2 * i + one.first, 2 * j + one.second);
    n2 = find(level + 1, 2 * i + two.first, 2 * j + two.second);
  }

  int columns, rows;
  double size;
  std::map<Key, int> leaves;
};

inline std::string telescoping_cards(const std::string& cellstrings = "") {
  return "params_file cells.h5\ntelescoping grid.tel\n" + cellstrings + "end_parameters\n";
}

// Levels 0 to `deepest` at random, in patches.
inline QuadtreeGrid::Levels random_levels(std::uint64_t seed, double patch, int deepest) {
  return [=](double x, double y) {
    const auto i = static_cast<std::uint64_t>(x / patch), j = static_cast<std::uint64_t>(y / patch);
    std::mt19937_64 random(seed + 7919 * i + 104729 * j);
    return static_cast<int>(random() % static_cast<std::uint64_t>(deepest + 1));
  };
}

// Islands at random: a share of the cells is inactive.
inline QuadtreeGrid::Depth random_islands(std::uint64_t seed, double share) {
  return [=](double x, double y) {
    std::mt19937_64 random(seed + static_cast<std::uint64_t>(x * 1024.0) * 7919 +
                           static_cast<std::uint64_t>(y * 1024.0) * 104729);
    random.discard(3);
    const bool island = std::uniform_real_distribution<double>()(random) < share;
    return island ? -999.0f : static_cast<float>(5.0 + 0.01 * x + 0.02 * y);
  };
}

// ---- a run on either ----

// Sets the files of a run whose folder holds "rvcards" and what it names.
inline void use_grid(RunState& run, const std::string& folder) {
  run.settings.mesh_format = "n2d";
  run.settings.method.mesh = MeshFormat::n2d;
  run.settings.mesh_file = folder + "/rvcards";
  run.settings.bc_file = folder + "/grid.bc";
  run.settings.neighbor_file = folder + "/grid.nei";
}

// Such a run in a folder of its own, before READ_GRID_MESH.
struct GridRun {
  TemporaryFolder folder;
  RunState run;
  explicit GridRun(const std::string& cards, bool to_stderr = false) {
    folder.write("rvcards", cards);
    quiet(run, folder.path("run"), to_stderr);
    run.messages.HOSTEDmode = true;
    use_grid(run, folder.path(""));
  }
};

}  // namespace dfl::test
