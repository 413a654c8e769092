// The boundary file: the same bytes as by searching all chains for every joint, reuse, damage.

#include "mesh/grid_boundary_file.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "common/test_run.h"
#include "control/text_tools.h"
#include "mesh/find_element.h"
#include "mesh/grid_files.h"
#include "mesh/grid_mesh.h"

namespace dfl {
namespace {

using Chain = std::vector<int>;
using Chains = std::vector<Chain>;

// ---- the literal way ----

bool outer_edge(const RunState& run, int e, int a, int b) {
  const MeshState& mesh = run.mesh;
  if (run.settings.rvs_mesh) {
    const double s =
        std::min(mesh.XMAXelem(e) - mesh.XMINelem(e), mesh.YMAXelem(e) - mesh.YMINelem(e));
    const double theta =
        std::atan2(mesh.Ynode(b) - mesh.Ynode(a), mesh.Xnode(b) - mesh.Xnode(a)) - 1.570795;
    return FIND_ELEMENT(mesh, (mesh.Xnode(a) + mesh.Xnode(b)) / 2.0 + 0.02 * s * std::cos(theta),
                        (mesh.Ynode(a) + mesh.Ynode(b)) / 2.0 + 0.02 * s * std::sin(theta)) == 0;
  }
  // All elements instead of the neighbours.
  for (int f = 1; f <= mesh.NUMelem; ++f) {
    const int n[3] = {mesh.ELnode1(f), mesh.ELnode2(f), mesh.ELnode3(f)};
    if (f != e && std::count(n, n + 3, a) > 0 && std::count(n, n + 3, b) > 0) return false;
  }
  return true;
}

Chains literal_first_chains(const RunState& run) {
  Chains chains;
  int end = 0;
  for (int e = 1; e <= run.mesh.NUMelem; ++e) {
    const int n[4] = {run.mesh.ELnode1(e), run.mesh.ELnode2(e), run.mesh.ELnode3(e),
                      run.mesh.ELnode1(e)};
    for (int k = 0; k < 3; ++k) {
      const int a = n[k], b = n[k + 1];
      if (!outer_edge(run, e, a, b)) continue;
      if (end == 0) {
        chains.push_back({a, b});
        end = b;
      } else if (a == end) {
        chains.back().push_back(b);
        end = b;
      } else {
        chains.push_back({a, b});
        end = 0;
      }
    }
  }
  return chains;
}

Chains literal_join(const Chains& chains) {
  Chains joined;
  std::vector<bool> used(chains.size());
  for (std::size_t i = 0; i < chains.size(); ++i) {
    if (used[i]) continue;
    used[i] = true;
    joined.push_back(chains[i]);
    for (bool found = true; found;) {
      found = false;
      for (std::size_t k = 0; k < chains.size() && !found; ++k) {
        if (used[k] || chains[k].front() != joined.back().back()) continue;
        joined.back().insert(joined.back().end(), chains[k].begin(), chains[k].end());
        used[k] = found = true;
      }
    }
  }
  return joined;
}

Chains literal_lines(const RunState& run) {
  Chains chains = literal_join(literal_first_chains(run));
  for (std::size_t k = 0; k + 1 < chains.size(); ++k) {
    if (chains[k].size() == 2) std::reverse(chains[k].begin(), chains[k].end());
  }
  chains = literal_join(chains);
  for (Chain& chain : chains) {
    chain.erase(std::unique(chain.begin(), chain.end()), chain.end());
  }
  return chains;
}

void literal_split(const Chains& lines, const std::vector<int>& corners, Chains& open,
                   Chains& land) {
  const auto marked = [&](int node) {
    return std::find(corners.begin(), corners.end(), node) != corners.end();
  };
  Chains mixed;
  for (const Chain& line : lines) {
    (std::any_of(line.begin(), line.end(), marked) ? mixed : land).push_back(line);
  }
  for (const Chain& line : mixed) {
    bool first_land = true;
    for (std::size_t k = 0; k < line.size(); ++k) {
      const bool before = k > 0 && marked(line[k - 1]);
      if (marked(line[k])) {
        if (!before) open.emplace_back();
        open.back().push_back(line[k]);
        continue;
      }
      if (first_land) {
        land.emplace_back();
        if (k > 0) land.back().push_back(line[k - 1]);
      } else if (before) {
        land.emplace_back();
      }
      first_land = false;
      land.back().push_back(line[k]);
    }
  }
}

std::string boundary_text(const Chains& chains, const std::string& name, const std::string& kind) {
  std::ostringstream out;
  std::size_t total = 0;
  for (const Chain& chain : chains) total += chain.size();
  out << chains.size() << " = Number of " << name << " boundaries\n"
      << total << " = Total number of " << name << " boundary nodes\n";
  for (std::size_t k = 0; k < chains.size(); ++k) {
    out << chains[k].size() << kind << " = Number of nodes for " << name << " boundary " << k + 1
        << '\n';
    for (int node : chains[k]) out << node << '\n';
  }
  return out.str();
}

std::string literal_file(const RunState& run, const std::vector<int>& cells) {
  const MeshState& mesh = run.mesh;
  std::ostringstream out;
  out << "DFL_BC 1\n" << columns(mesh.NUMelem, 12) << columns(mesh.NUMnode, 12) << '\n';
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    out << columns(n, 8) << columns(mesh.Xnode(n), 16, 3) << columns(mesh.Ynode(n), 16, 3)
        << columns(static_cast<double>(mesh.DEPTHnode(n)), 12, 3) << '\n';
  }
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    for (int k : {e, 3, mesh.ELnode1(e), mesh.ELnode2(e), mesh.ELnode3(e)}) out << columns(k, 8);
    out << '\n';
  }
  std::vector<int> corners;
  for (int cell : cells) {
    for (int k = 1; k <= 4; ++k) corners.push_back(run.grid.CELLnodes(cell, k));
  }
  Chains open, land;
  literal_split(literal_lines(run), corners, open, land);
  out << boundary_text(open, "open", "") << boundary_text(land, "land", " 10");
  return out.str();
}

// ---- grids ----

using test::GridRun;

const std::string two_strings =
    "cellstring cells.h5 Strings/A\ntidal_cellstring cells.h5 Strings/B\n";

void expect_literal(GridRun& it, const std::vector<int>& cells) {
  READ_GRID_MESH(it.run);
  const std::string expected = literal_file(it.run, cells);
  EXPECT_EQ(test::read_text(it.run.settings.bc_file), expected);
  // What was read back is what the file says.
  std::size_t points = 0;
  for (const Boundary& boundary : it.run.mesh.LANDbnd) {
    points += static_cast<std::size_t>(boundary.NUMpts);
  }
  EXPECT_NE(expected.find(std::to_string(points) + " = Total number of land boundary nodes"),
            std::string::npos);
}

TEST(GridBoundaryFile, StructuredSameAsSearchingAllChains) {
  for (unsigned seed = 1; seed <= 25; ++seed) {
    std::mt19937 random(seed);
    const int columns = 3 + static_cast<int>(random() % 12),
              rows = 3 + static_cast<int>(random() % 12);
    test::StructuredGrid grid = test::even_grid(columns, rows, 10.0, 3.0f);
    grid.bearing = 7.0 * seed;
    for (int& type : grid.types) type = random() % 100 < 4 * seed % 60 ? 0 : 1;
    grid.types[0] = 1;
    std::vector<int> cells;
    for (unsigned k = 0; k < seed % 7; ++k)
      cells.push_back(1 + static_cast<int>(random() % grid.types.size()));
    GridRun it(test::structured_cards(cells.empty() ? "" : two_strings));
    test::write_structured(it.folder.path("grid.h5"), grid);
    if (!cells.empty()) {
      test::write_cellstrings(it.folder.path("cells.h5"),
                              {{"Strings/A", {cells[0]}}, {"Strings/B", cells}});
    }
    SCOPED_TRACE(seed);
    expect_literal(it, cells);
  }
}

TEST(GridBoundaryFile, TelescopingSameAsSearchingAllChains) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    std::mt19937 random(seed);
    const test::QuadtreeGrid grid(4, 3, 32.0, test::random_levels(seed, 32.0, 2));
    std::vector<int> cells;
    for (unsigned k = 0; k < seed % 5; ++k) {
      cells.push_back(1 + static_cast<int>(random() % static_cast<unsigned>(grid.count())));
    }
    GridRun it(test::telescoping_cards(cells.empty() ? "" : two_strings));
    it.folder.write("grid.tel", grid.text(100.0, 200.0, 13.0 * seed,
                                          test::random_islands(seed, 0.04 * (seed % 8))));
    if (!cells.empty()) {
      test::write_cellstrings(it.folder.path("cells.h5"),
                              {{"Strings/A", {cells[0]}}, {"Strings/B", cells}});
    }
    SCOPED_TRACE(seed);
    expect_literal(it, cells);
  }
}

// Three by three cells of 10 m; the middle one is an island; a cellstring along the west side.
void island_grid(GridRun& it, const std::vector<int>& string, int extra_hole = 0) {
  test::StructuredGrid grid = test::even_grid(3, 3, 10.0, 3.5f);
  grid.x0 = 1000.0;
  grid.types[4] = 0;
  if (extra_hole > 0) grid.types[static_cast<std::size_t>(extra_hole) - 1] = 2;
  test::write_structured(it.folder.path("grid.h5"), grid);
  test::write_cellstrings(it.folder.path("cells.h5"), {{"S", string}});
}

TEST(GridBoundaryFile, OpenAlongTheCellstringAndAnIsland) {
  // Five by five cells of 10 m, the middle one an island, open along the west side.
  GridRun it(test::structured_cards("cellstring cells.h5 S\n"));
  test::StructuredGrid grid = test::even_grid(5, 5, 10.0, 3.5f);
  grid.types[12] = 0;
  test::write_structured(it.folder.path("grid.h5"), grid);
  test::write_cellstrings(it.folder.path("cells.h5"), {{"S", {1, 6, 11, 16, 21}}});
  READ_GRID_MESH(it.run);
  const MeshState& mesh = it.run.mesh;
  const auto at = [&](int node) {
    return std::pair{std::lround(mesh.Xnode(node)), std::lround(mesh.Ynode(node))};
  };
  const auto places = [&](const Boundary& boundary) {
    std::vector<std::pair<long, long>> list;
    for (int node : boundary.NODES) list.push_back(at(node));
    return list;
  };
  using Places = std::vector<std::pair<long, long>>;
  // The closed outside begins at the lower left corner, in the middle of the open stretch, so that
  // this falls into two. The cells of the string have a corner each on the sides beside them.
  ASSERT_EQ(mesh.NUMopen, 2);
  EXPECT_EQ(places(mesh.OPENbnd(1)), (Places{{0, 0}, {10, 0}}));
  EXPECT_EQ(places(mesh.OPENbnd(2)),
            (Places{{10, 50}, {0, 50}, {0, 40}, {0, 30}, {0, 20}, {0, 10}, {0, 0}}));
  ASSERT_EQ(mesh.NUMland, 2);
  Places island = places(mesh.LANDbnd(1));
  ASSERT_EQ(island.size(), 5u);
  EXPECT_EQ(island.front(), island.back());
  island.pop_back();
  std::sort(island.begin(), island.end());
  EXPECT_EQ(island, (Places{{20, 20}, {20, 30}, {30, 20}, {30, 30}}));
  // The land begins with the last open node and does not end with the next one.
  const Places outside = places(mesh.LANDbnd(2));
  ASSERT_EQ(outside.size(), 13u);  // five on the south, five on the east, three on the north
  EXPECT_EQ(outside.front(), (std::pair{10L, 0L}));
  EXPECT_EQ(outside.back(), (std::pair{20L, 50L}));
}

TEST(GridBoundaryFile, Form) {
  GridRun it(test::structured_cards());
  test::StructuredGrid grid = test::even_grid(2, 2, 10.0, 3.5f);
  grid.x0 = 1000.0;
  grid.types = {1, 0, 0, 0};
  test::write_structured(it.folder.path("grid.h5"), grid);
  READ_GRID_MESH(it.run);
  EXPECT_EQ(test::read_text(it.run.settings.bc_file),
            "DFL_BC 1\n"
            "           2           4\n"
            "       1        1000.000           0.000       3.500\n"
            "       2        1010.000           0.000       3.500\n"
            "       3        1000.000          10.000       3.500\n"
            "       4        1010.000          10.000       3.500\n"
            "       1       3       1       2       3\n"
            "       2       3       2       4       3\n"
            "0 = Number of open boundaries\n"
            "0 = Total number of open boundary nodes\n"
            "1 = Number of land boundaries\n"
            "5 = Total number of land boundary nodes\n"
            "5 10 = Number of nodes for land boundary 1\n"
            "1\n2\n4\n3\n1\n");
}

TEST(GridBoundaryFile, CellstringsWithoutUseLeaveLand) {
  struct Case {
    const char* cards;
    std::vector<int> string;
    int hole;
    int open;
  };
  const Case cases[] = {
      {"", {1}, 0, 0},                                             // none named
      {"cellstring none.h5 S\n", {1}, 0, 0},                       // no such file
      {"cellstring cells.h5 Other\n", {1}, 0, 0},                  // no such string
      {"cellstring cells.h5\n", {1}, 0, 0},                        // no path
      {"cellstring rvcards S\n", {1}, 0, 0},                       // no dataset file
      {"cellstring cells.h5 S\n", {0, -5, 10, 2000000000}, 0, 0},  // no cells of the grid
      {"cellstring cells.h5 S\n", {5}, 0, 1},  // the island: its corners are those of others
      {"cellstring cells.h5 S\n", {9}, 9, 1},  // an inactive corner cell: three nodes are others'
      {"cellstring cells.h5 S\n", {3, 3, 3}, 0, 1},
  };
  for (const Case& c : cases) {
    GridRun it(test::structured_cards(c.cards));
    island_grid(it, c.string, c.hole);
    READ_GRID_MESH(it.run);
    SCOPED_TRACE(std::string(c.cards) + std::to_string(c.string[0]));
    if (c.open == 0) {
      EXPECT_EQ(it.run.mesh.NUMopen, 0);
      EXPECT_EQ(it.run.mesh.NUMland, 2);
    } else {
      EXPECT_GE(it.run.mesh.NUMopen, c.open);
    }
  }
}

// ---- files that are there ----

std::string sound_file() {
  GridRun it(test::structured_cards());
  island_grid(it, {1});
  READ_GRID_MESH(it.run);
  return test::read_text(it.run.settings.bc_file);
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t place = text.find(from);
  EXPECT_NE(place, std::string::npos) << from;
  return place == std::string::npos ? text : text.replace(place, from.size(), to);
}

TEST(GridBoundaryFile, SoundHeadIsUsedAsItIs) {
  const std::string sound = sound_file();
  // Another title, and an open boundary where the grid has none.
  std::string other = replaced(sound, "DFL_BC 1", "by hand");
  other = replaced(other, "0 = Number of open", "1 = Number of open");
  other = replaced(other, "0 = Total number of open boundary nodes\n", "2\n2\n1\n2\n");
  GridRun it(test::structured_cards());
  island_grid(it, {1});
  it.folder.write("grid.bc", other);
  READ_GRID_MESH(it.run);
  EXPECT_EQ(test::read_text(it.run.settings.bc_file), other);
  ASSERT_EQ(it.run.mesh.NUMopen, 1);
  EXPECT_EQ(it.run.mesh.OPENbnd(1).NODES(2), 2);
  EXPECT_NEAR(it.run.mesh.OPENbnd(1).SLOPE(1), 0.0f, 1e-4f);
  EXPECT_FALSE(file_exists(it.run.settings.bc_file + ".new"));
}

TEST(GridBoundaryFile, DamagedHeadOrOtherMeshIsBuiltAnew) {
  const std::string sound = sound_file();
  const char* const corrupted = "Boundary file corrupted -> building new BC file";
  const char* const mismatch = "WARNING: Mesh and BC mismatch -> building new BC file";
  const std::pair<std::string, std::string> cases[] = {
      {"", corrupted},
      {"DFL_BC 1", corrupted},
      {"DFL_BC 1\n", corrupted},
      {"DFL_BC 1\n 16\n", corrupted},
      {"DFL_BC 1\n 16 x\n", corrupted},
      {"DFL_BC 1\n 1.5 16\n", corrupted},
      {std::string("\0\0\0\n\xff\xfe\n", 7), corrupted},
      {"DFL_BC 1\n 16 17\n", std::string(mismatch) + "    17    16"},
      {"DFL_BC 1\n -16 16\n", std::string(mismatch) + "    16   -16"},
      {"DFL_BC 1\n 2000000000 2000000000\n", mismatch},
  };
  for (const auto& [text, message] : cases) {
    GridRun it(test::structured_cards());
    island_grid(it, {1});
    it.folder.write("grid.bc", text);
    it.run.messages.console_out = std::fopen(it.folder.path("console").c_str(), "w");
    READ_GRID_MESH(it.run);
    std::fclose(it.run.messages.console_out);
    EXPECT_EQ(test::read_text(it.run.settings.bc_file), sound) << text;
    EXPECT_NE(test::read_text(it.folder.path("console")).find(message), std::string::npos) << text;
  }
}

TEST(GridBoundaryFile, DamagedBodyStopsWithItsLine) {
  const std::string sound = sound_file();
  struct Case {
    std::string text;
    const char* message;
  };
  const std::string head = sound.substr(0, sound.find("0 = Number of open"));
  const Case cases[] = {
      {sound.substr(0, 200), "grid.bc:[0-9]+: "},
      {head, "grid.bc:34: expected an integer"},
      {sound.substr(0, sound.size() - 3), "grid.bc:[0-9]+: expected an integer"},
      {replaced(sound, "1000.000", "1000.0x0"), "grid.bc:3: expected a real number"},
      {replaced(sound, "       1       3 ", "       a       3 "),
       "grid.bc:19: expected an integer"},
      {head + "-1\n0\n", "grid.bc:35: a number of open boundaries of -1 cannot"},
      {head + "2000000000\n0\n", "grid.bc:35: a number of open boundaries of 2000000000 cannot"},
      {head + "1\n3\n2000000000\n1\n2\n", "grid.bc:37: a number of boundary nodes of 2000000000"},
      {head + "1\n2\n2\n1\n17\n0\n0\n",
       "grid.bc:39: expected a boundary node from 1 to 16, found 17"},
      {head + "1\n2\n2\n0\n1\n0\n0\n",
       "grid.bc:38: expected a boundary node from 1 to 16, found 0"},
      {head + "0\n0\n1\n2\n2 10\n1\n", "grid.bc:[0-9]+: expected an integer"},
  };
  for (const Case& c : cases) {
    GridRun it(test::structured_cards(), true);
    island_grid(it, {1});
    it.folder.write("grid.bc", c.text);
    EXPECT_EXIT(READ_GRID_MESH(it.run), testing::ExitedWithCode(0), c.message) << c.text;
  }
}

TEST(GridBoundaryFile, FileThatCannotBeWrittenStops) {
  GridRun it(test::structured_cards(), true);
  island_grid(it, {1});
  it.run.settings.bc_file = it.folder.path("no/such/folder.bc");
  EXPECT_EXIT(READ_GRID_MESH(it.run), testing::ExitedWithCode(0),
              "Boundary file .*folder.bc\": cannot write it");
}

}  // namespace
}  // namespace dfl
