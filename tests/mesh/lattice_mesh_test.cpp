#include "mesh/lattice_mesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>

#include "mesh/find_element.h"
#include "mesh/model_files.h"

namespace dfl {
namespace {

using test::DatasetFile;
using test::Lattice;
using test::Values;

void lattice_run(RunState& run, const test::TemporaryFolder& folder, const std::string& boundaries,
                 bool to_stderr = false) {
  test::quiet(run, folder.path("run"), to_stderr);
  run.settings.mesh_file = folder.path("mesh.h5");
  run.settings.hyfs_n3d_path = "Grid";
  run.settings.neighbor_file = folder.path("mesh.nei");
  if (!boundaries.empty()) run.settings.bc_file = folder.write("mesh.bc", boundaries);
}

TEST(LatticeMesh, UniformGridIsPlacedByOriginBearingAndFirstSpacing) {
  const test::TemporaryFolder folder;
  Lattice lattice;
  lattice.NumI = 4;
  lattice.NumJ = 3;
  lattice.levels = 2;
  lattice.x0 = 500000.25;
  lattice.y0 = -200.0;
  lattice.bearing = 330.0;  // turned by 30 degrees
  lattice.dx = 10.0;
  lattice.dy = 20.0;
  lattice.depth = [](int i, int j) { return static_cast<float>(i + 10 * j); };
  test::write_n3d_mesh(folder.path("mesh.h5"), lattice);
  RunState run;
  run.settings.morphology = true;
  lattice_run(run, folder,
              test::lattice_boundaries({{{4, 1}, {4, 2}, {4, 3}}}, {{{1, 3}, {1, 2}}, {{2, 1}}}));
  READ_N3D_MESH(run);

  const MeshState& mesh = run.mesh;
  EXPECT_EQ(run.grid.NumI, 4);
  EXPECT_EQ(run.grid.NumJ, 3);
  EXPECT_EQ(run.grid.NUMactive, 6);
  EXPECT_EQ(run.flow.NUMlayers, 2);
  ASSERT_EQ(mesh.NUMnode, 12);
  ASSERT_EQ(mesh.NUMelem, 12);
  const double s = 0.5, c = std::sqrt(3.0) / 2.0;
  for (int j = 0; j < 3; ++j) {
    for (int i = 0; i < 4; ++i) {
      const int n = j * 4 + i + 1;
      EXPECT_NEAR(mesh.Xnode(n), 500000.25 + i * 10.0 * c + j * 20.0 * s, 1e-4) << n;
      EXPECT_NEAR(mesh.Ynode(n), -200.0 - i * 10.0 * s + j * 20.0 * c, 1e-4) << n;
      EXPECT_EQ(mesh.DEPTHnode(n), static_cast<float>(i + 1 + 10 * (j + 1)));
      EXPECT_EQ(run.sediment.BEDlevel(n), mesh.DEPTHnode(n));
    }
  }
  // The fifth cell: (2, 2).
  const int lower[3] = {6, 7, 10}, upper[3] = {7, 11, 10};
  for (const auto& [e, nodes] : {std::pair{9, lower}, {10, upper}}) {
    EXPECT_EQ(mesh.ELnode1(e), nodes[0]);
    EXPECT_EQ(mesh.ELnode2(e), nodes[1]);
    EXPECT_EQ(mesh.ELnode3(e), nodes[2]);
    EXPECT_NEAR(mesh.AREAelem(e), 100.0f, 0.01f);
  }
  ASSERT_EQ(mesh.NUMopen, 1);
  ASSERT_EQ(mesh.NUMland, 2);
  EXPECT_EQ(mesh.OPENbnd(1).NODES(3), 12);
  EXPECT_EQ(mesh.LANDbnd(1).NODES(1), 9);
  EXPECT_EQ(mesh.LANDbnd(1).NODES(2), 5);
  EXPECT_EQ(mesh.LANDbnd(2).NODES(1), 2);
  EXPECT_NEAR(mesh.OPENbnd(1).SLOPE(2), c / s, 1e-3);
  EXPECT_EQ(mesh.OPENbnd(1).SLOPE(3), 0.0f);
  EXPECT_TRUE(is_true(mesh.OPENelem(6)));  // the upper triangle of cell (3, 1)
  EXPECT_FALSE(is_true(mesh.OPENelem(3)));
  EXPECT_EQ(mesh.LANDrefs(7).BND[0], 1);
}

TEST(LatticeMesh, StoredPositionsHaveFourBytes) {
  const test::TemporaryFolder folder;
  Lattice lattice;
  lattice.NumJ = 3;
  lattice.levels = 5;
  lattice.x0 = 500000.123456;
  lattice.y0 = 0.1;
  lattice.depth = [](int i, int j) { return static_cast<float>(i + 10 * j); };
  test::write_gr3d_mesh(folder.path("mesh.h5"), lattice);
  RunState run;
  run.settings.morphology = true;
  // Without land boundaries nothing follows their count.
  lattice_run(run, folder, "title\n1 open\n2\n1 1\n1 3\n0");
  READ_GR3D_MESH(run);
  EXPECT_EQ(run.mesh.Xnode(1), static_cast<double>(500000.123456f));
  EXPECT_EQ(run.mesh.Ynode(6), static_cast<double>(20.1f));
  EXPECT_EQ(run.mesh.DEPTHnode(6), 32.0f);
  EXPECT_EQ(run.sediment.DEPTHstart(5), 31.0f);
  EXPECT_EQ(run.flow.NUMlayers, 5);
  EXPECT_EQ(run.mesh.NUMelem, 4);
  EXPECT_EQ(run.mesh.OPENbnd(1).NODES(2), 5);
  EXPECT_EQ(run.mesh.NUMland, 0);
}

TEST(LatticeMesh, RimWithoutBoundaryFileIsOneOpenBoundary) {
  for (const auto& [NumI, NumJ] : {std::pair{2, 2}, {2, 5}, {5, 2}, {6, 5}}) {
    SCOPED_TRACE(std::to_string(NumI) + " by " + std::to_string(NumJ));
    const test::TemporaryFolder folder;
    Lattice lattice;
    lattice.NumI = NumI;
    lattice.NumJ = NumJ;
    test::write_gr3d_mesh(folder.path("mesh.h5"), lattice);
    RunState run;
    lattice_run(run, folder, "");
    READ_GR3D_MESH(run);
    const MeshState& mesh = run.mesh;
    ASSERT_EQ(mesh.NUMopen, 1);
    const Boundary& rim = mesh.OPENbnd(1);
    EXPECT_EQ(rim.NUMpts, 2 * (NumI - 1) + 2 * (NumJ - 1) + 1);
    EXPECT_EQ(rim.NODES(rim.NUMpts), rim.NODES(1));
    // Both elements of the cells in the first and last rows and columns, no others; every rim edge
    // belongs to one element.
    int edges = 0, e = 0;
    for (int j = 1; j < NumJ; ++j) {
      for (int i = 1; i < NumI; ++i) {
        const bool at_rim = i == 1 || j == 1 || i == NumI - 1 || j == NumJ - 1;
        for (int half = 0; half < 2; ++half) {
          ++e;
          EXPECT_EQ(is_true(mesh.OPENelem(e)), at_rim) << e;
          EXPECT_FALSE(is_true(mesh.LANDelem(e)));
          for (const int b : mesh.OPENrefs(e).BND) edges += b;
        }
      }
    }
    EXPECT_EQ(edges, rim.NUMpts - 1);
    EXPECT_EQ(FIND_ELEMENT(mesh, 10.0 * NumI - 11.0, 10.0 * NumJ - 11.0), mesh.NUMelem);
    EXPECT_GT(mesh.NEIGHcount(1), 0);
  }
}

TEST(LatticeMeshDeathTest, BadBoundaryFilesStopWithPlaceAndFault) {
  struct Case {
    const char* text;
    const char* message;
  };
  const Case cases[] = {
      {"", "mesh.bc"},
      {"title\n", "mesh.bc:.*expected an integer, found the end"},
      {"title\nopen\n", "mesh.bc:2: expected an integer, found \"open\""},
      {"title\n-1\n", "mesh.bc:2: expected a number of open boundaries of 0 or more, found -1"},
      {"title\n2000000000\n1\n", "mesh.bc:2: 2000000000 open boundaries cannot stand"},
      {"title\n1\n2000000000\n", "mesh.bc:3: 2000000000 boundary points cannot stand"},
      {"title\n1\n2\n1 1\n0 3\n0\n",
       "mesh.bc:5: expected i, j of a boundary point within 1 to 4, 1 to 3, found 0, 3"},
      {"title\n1\n2\n1 1\n4 4\n0\n", "mesh.bc:5: .*found 4, 4"},
      {"title\n1\n2\n1 1\n3 2147483647\n0\n", "mesh.bc:5: .*found 3, 2147483647"},
      {"title\n1\n2\n1 1\n", "mesh.bc:.*expected an integer, found the end"},
      {"title\n0\n", "mesh.bc:.*expected an integer, found the end"},
      {"title\n0\n1\n77\n2\n1 1\n1 x\n", "mesh.bc:7: expected an integer, found \"x\""},
      {"title\n0\n1\n1\n1 1\n", "mesh.bc:.*expected an integer, found the end"},  // no dropped line
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const test::TemporaryFolder folder;
    Lattice lattice;
    lattice.NumI = 4;
    lattice.NumJ = 3;
    test::write_gr3d_mesh(folder.path("mesh.h5"), lattice);
    RunState run;
    lattice_run(run, folder, "x", true);
    folder.write("mesh.bc", c.text);
    EXPECT_EXIT(READ_GR3D_MESH(run), testing::ExitedWithCode(0), c.message);
  }
}

// ---- dataset files ----

using Writer = std::function<void(const std::string& path, RunState& run)>;

Writer n3d_with(const std::function<void(Lattice&)>& change) {
  return [=](const std::string& path, RunState&) {
    Lattice lattice;
    lattice.NumI = 3;
    change(lattice);
    test::write_n3d_mesh(path, lattice);
  };
}

// A good grid whose depths have these steps.
Writer n3d_depths(const std::vector<Values>& steps) {
  return [=](const std::string& path, RunState&) {
    DatasetFile file(path);
    EXPECT_EQ(hfcreategrid_f(file.file, "Grid", test::grid_of(Lattice{})), 0);
    file.info.values = static_cast<std::int64_t>(steps[0].size());
    std::vector<double> times;
    for (std::size_t k = 0; k < steps.size(); ++k) times.push_back(static_cast<double>(k));
    file.scalar("Grid/Datasets/Depth", times, steps);
  };
}

// A good file but for what `change` writes over it.
Writer gr3d_with(const std::function<void(HyfsHandle)>& change) {
  return [=](const std::string& path, RunState&) {
    test::write_gr3d_mesh(path, Lattice{});
    HyfsHandle file = 0;
    EXPECT_EQ(hfopenfile_f(path, false, file), 0);
    change(file);
    EXPECT_EQ(hfclosefile_f(file), 0);
  };
}

void write_text(const std::string& path, RunState&) {
  std::ofstream(path) << "title\n1 2 3\n";
}
void write_nothing(const std::string&, RunState&) {}

struct BadFile {
  const char* what;
  Writer write;
  const char* message;
};

void expect_stops(const std::vector<BadFile>& cases, void (*read)(RunState&)) {
  for (const BadFile& c : cases) {
    SCOPED_TRACE(c.what);
    const test::TemporaryFolder folder;
    RunState run;
    lattice_run(run, folder, "title\n0\n0\n", true);
    c.write(folder.path("mesh.h5"), run);
    EXPECT_EXIT(read(run), testing::ExitedWithCode(0), c.message);
  }
}

constexpr float nan4 = std::numeric_limits<float>::quiet_NaN();

TEST(LatticeMeshDeathTest, BadUniformGridsStopWithTheirMessage) {
  const auto set = [](auto member, auto value) {
    return n3d_with([=](Lattice& lattice) { lattice.*member = value; });
  };
  expect_stops(
      {
          {"no file", write_nothing, "mesh.h5: no such file\nERROR: HF_OPEN_FILE error"},
          {"text", write_text, "mesh.h5: not an HDF5 file\nERROR: HF_OPEN_FILE error <RETURN>$"},
          {"no grid",
           [](const std::string& path, RunState& run) {
             n3d_with([](Lattice&) {})(path, run);
             run.settings.hyfs_n3d_path = "Other";
           },
           "\"Other\": does not exist\nERROR: HF_OPEN_GROUP error"},
          {"a dataset for the grid",
           [](const std::string& path, RunState& run) {
             n3d_with([](Lattice&) {})(path, run);
             run.settings.hyfs_n3d_path = "Grid/Datasets/Depth";
           },
           "ERROR: HF_READ_PROPERTY_INT\\(NX\\) error"},
          {"a group that is no grid",
           [](const std::string& path, RunState& run) {
             n3d_with([](Lattice&) {})(path, run);
             run.settings.hyfs_n3d_path = "Grid/Datasets";
           },
           "ERROR: HF_READ_PROPERTY_INT\\(NX\\) error"},
          {"one column", set(&Lattice::NumI, 1), "ERROR: A lattice of 1 by 2 nodes and 1 levels"},
          {"bearing", set(&Lattice::bearing, std::nan("")),
           "ERROR: HF_READ_PROPERTY_INT\\(Layers\\) error"},
          {"origin", set(&Lattice::y0, HUGE_VAL), "ERROR: HF_GET_ORIGIN error"},
          {"spacing", set(&Lattice::dx, std::nan("")), "ERROR: HF_GET_GRID_COORDS_I error"},
          {"spacing along J", set(&Lattice::dy, 1e300), "ERROR: HF_GET_GRID_COORDS_J error"},
          {"no depths",
           [](const std::string& path, RunState& run) {
             n3d_with([](Lattice&) {})(path, run);
             run.settings.hyfs_dep_path = "Datasets/Bed";
           },
           "\"Datasets/Bed\"(.|\n)*ERROR: HF_OPEN_GROUP error \\(H\\)"},
          {"a group for the depths",
           [](const std::string& path, RunState& run) {
             n3d_with([](Lattice&) {})(path, run);
             run.settings.hyfs_dep_path = "Datasets";
           },
           "ERROR: HF_GET_DATASET_NUM_TIMES\\(H\\) error"},
          {"two steps", n3d_depths({Values(8, 1.0f), Values(8, 1.0f)}),
           "ERROR: Depth has more than 1 frame"},
          {"one plane", n3d_depths({Values(4, 1.0f)}),
           "ERROR: Depth has more than \"NUMnode\" points"},
          {"no number", n3d_depths({{1, 1, 1, nan4, 0, 0, 0, 0}}),
           "ERROR: The depth of node 4 is not a number"},
          {"mirrored", set(&Lattice::dx, -10.0), "ELEMENT not counter-clockwise     1"},
      },
      READ_N3D_MESH);
}

TEST(LatticeMeshDeathTest, BadPropertiesStopWithTheirMessage) {
  const auto ints = [](const char* name, const std::vector<int>& values) {
    return gr3d_with(
        [=](HyfsHandle file) { EXPECT_EQ(hfwritepropertyint_f(file, name, values), 0); });
  };
  const auto reals = [](const char* name, const std::vector<double>& values) {
    return gr3d_with(
        [=](HyfsHandle file) { EXPECT_EQ(hfwritepropertydouble_f(file, name, values), 0); });
  };
  expect_stops(
      {
          {"no file", write_nothing, "ERROR: HF_OPEN_FILE error"},
          {"text", write_text, "ERROR: HF_OPEN_FILE error"},
          {"no properties", [](const std::string& path, RunState&) { DatasetFile file(path); },
           "\"NumI\": does not exist\nERROR: HF_READ_PROPERTY_FLOAT\\(NX\\) error"},
          {"two values", ints("NumI", {2, 2}),
           "of a wrong size\nERROR: HF_READ_PROPERTY_FLOAT\\(NX\\) error"},
          {"half a node", reals("NumJ", {2.5}),
           "numbers that do not fit\nERROR: HF_READ_PROPERTY_FLOAT\\(NY\\) error"},
          {"levels", ints("NumK", {1, 2, 3}), "ERROR: HF_READ_PROPERTY_FLOAT\\(L\\) error"},
          {"no level", ints("NumK", {0}), "2 by 2 nodes and 0 levels is no mesh"},
          {"below 0", ints("NumI", {-2}), "-2 by 2 nodes and 1 levels is no mesh"},
          {"too large", ints("NumI", {2000000000}), "2000000000 by 2 nodes .* is too large"},
          {"levels too many", ints("NumK", {2147483647}), "is too large"},
          {"other count", ints("NumI", {30000}),
           "of a wrong size\nERROR: HF_READ_PROPERTY_DOUBLE\\(X\\) error"},
          {"short Y", reals("Y", {0, 0, 1}),
           "of a wrong size\nERROR: HF_READ_PROPERTY_DOUBLE\\(Y\\) error"},
          {"position", reals("Y", {0, 0, std::nan(""), 1}),
           "ERROR: The position of node 3 is not a number"},
          {"position beyond 4 bytes", reals("X", {0, 1e300, 0, 1}),
           "ERROR: The position of node 2 is not a number"},
          {"long depths", reals("Depth", {1, 1, 1, 1, 1}),
           "of a wrong size\nERROR: HF_READ_PROPERTY_FLOAT\\(H\\) error"},
          {"depth", reals("Depth", {1, HUGE_VAL, 1, 1}),
           "ERROR: The depth of node 2 is not a number"},
      },
      READ_GR3D_MESH);
}

TEST(LatticeMeshDeathTest, FilesCutOffStopAtTheFileOrAtWhatIsMissing) {
  for (const bool n3d : {true, false}) {
    const test::TemporaryFolder folder;
    Lattice lattice;
    lattice.NumI = 20;
    lattice.NumJ = 20;
    RunState run;
    lattice_run(run, folder, "title\n0\n0\n", true);
    const std::string path = folder.path("mesh.h5"), whole = folder.path("whole.h5");
    n3d ? test::write_n3d_mesh(whole, lattice) : test::write_gr3d_mesh(whole, lattice);
    const auto size = std::filesystem::file_size(whole);
    for (const std::uintmax_t part : {0U, 1U, 3U, 5U, 7U, 9U}) {
      std::filesystem::copy_file(whole, path, std::filesystem::copy_options::overwrite_existing);
      std::filesystem::resize_file(path, size * part / 10);
      EXPECT_EXIT(n3d ? READ_N3D_MESH(run) : READ_GR3D_MESH(run), testing::ExitedWithCode(0),
                  "ERROR: HF_")
          << part;
    }
  }
}

}  // namespace
}  // namespace dfl
