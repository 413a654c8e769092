#include <cstdlib>

#include "dataset/hyfs.h"
#include "flow/dataset_files.h"
#include "tools/tool_run.h"

namespace dfl {
namespace {

using test::expect_parts;
using test::has;
using test::tool;
using test::ToolRun;
using test::Values;

ToolRun check_grid(const test::TemporaryFolder& folder, const std::string& cards = "") {
  folder.write("rvcards", test::grid_cards());
  folder.write("run.pcf", test::grid_control(cards));
  return tool({"check", folder.path("grid.h5"), folder.path("run.pcf")});
}

TEST(HyfsCheck, GridAndFlowThatFitMissNothing) {
  const test::TemporaryFolder folder;
  ASSERT_EQ(tool(test::small_grid(folder)).status, 0);
  const ToolRun run = check_grid(folder, ":output_prefix " + folder.path("run") + "\n");
  EXPECT_EQ(run.status, 0) << run.out << run.err;
  expect_parts(run.out, {"used as grid of the mesh", "used as flow (flow_format n2d)",
                         "nothing is missing"});
  // The log of a run is not touched.
  EXPECT_FALSE(std::filesystem::exists(folder.path("run.input")));
  EXPECT_FALSE(std::filesystem::exists(folder.path("run.err")));
}

struct Fault {
  std::string cards;
  std::vector<std::string> findings;
};

// Cards behind the others count.
TEST(HyfsCheck, WhatTheControlFileAsksForInVainIsFound) {
  const test::TemporaryFolder folder;
  std::vector<std::string> words = test::small_grid(folder);
  words.insert(words.end(), {"--property", "zero", folder.write("zero.txt", "6*0")});
  ASSERT_EQ(tool(words).status, 0);
  const Fault faults[] = {
      {":hyfs_wse_path level\n",
       {"hyfs_wse_path \"level\": does not exist; the file has \"Grid/Datasets/Depth\", \"flow\", "
        "\"wse\""}},
      {":hyfs_vel_path wse\n", {"hyfs_vel_path \"wse\": expected 2 values at each place, found 1"}},
      {":hyfs_wse_path flow_x\n",
       {"\"flow_x\": expected values at cell centres, found I-faces",
        "units \"m/s\" are unknown here, the values are taken in m"}},
      {":stop_run 2020 3 1 0 10 1\n", {"\"wse\": ends at", "the run stops at"}},
      {":start_run 2020 2 29 0 0 0\n", {"\"wse\": begins at", "the run starts at"}},
      {":start_flow 2021 1 1 0 0 0\n", {"\"wse\": begins at"}},
      {":hyfs_vel_path Grid/Datasets/Depth\n", {"expected 2 time steps, as the elevation has"}},
      {":velocity_method 3d\n", {"does not go with velocity_method 3d (sigma)"}},
      {":flow_format adcirc\n", {"flow_format adcirc is none of dataset files"}},
      {":sediments_format hyfs property\n:sediment_file grid.h5\n",
       {"property \"Nodes\": does not exist", "property \"Datasets/D35\": does not exist"}},
      {":sediments_format hyfs dataset\n:sediment_file grid.h5\n:hyfs_d35_path wse\n",
       {"hyfs_d50_path \"Datasets/D50\": does not exist", "units \"m\" are unknown here"}},
      {":waves\n:wave_format hyfs\n:wave_file_hyfs grid.h5\n",
       {"property \"NX\": does not exist", "property \"Del\": does not exist",
        "hyfs_h_path \"Datasets/Wave Height\": does not exist"}},
      {":flow_files none.h5 grid.h5\n", {"the file none.h5 beside it: no such file"}},
      {":bottom_flow_format hyfs\n:bottom_flow_file grid.h5\n",
       {"bottom flow does not go with velocity_method 2d (log)"}},
      {":sediments_format hyfs property\n:sediment_file grid.h5\n:hyfs_d35_path zero\n",
       {"property \"zero\": 6 of 6 cells have a size of 0"}},
      {":n2d_step 0\n:velocity_method 2d (two-point)\n:bottom_flow_format hyfs\n:bottom_flow_file "
       "grid.h5\n"
       ":hyfs_bot_path flow\n",
       {"hyfs_bot_path \"flow\": expected 12 values a step (mesh nodes), found 6",
        "expected a time scale above 0 on the card n2d_step"}},
  };
  for (const Fault& fault : faults) {
    const ToolRun run = check_grid(folder, fault.cards);
    EXPECT_EQ(run.status, 1) << fault.cards << run.err;
    expect_parts(run.out, fault.findings);
    EXPECT_FALSE(has(run.out, "nothing is missing"));
  }
}

TEST(HyfsCheck, AFileThatNoCardNamesIsAFinding) {
  const test::TemporaryFolder folder;
  ASSERT_EQ(tool(test::small_grid(folder)).status, 0);
  ASSERT_EQ(tool({"make", folder.path("other.h5"), "--property", "N", "=1"}).status, 0);
  check_grid(folder);
  const ToolRun run = tool({"check", folder.path("other.h5"), folder.path("run")});
  EXPECT_EQ(run.status, 1);
  expect_parts(run.out, {"no card of", "names"});
}

TEST(HyfsCheck, GridWithoutItsPartsIsTold) {
  const test::TemporaryFolder folder;
  ASSERT_EQ(tool({"make", folder.path("grid.h5"), "--grid", "Grid", "--i", "3:1", "--j", "1:1",
                  "--dataset", "Grid/Datasets/Depth", "m", "i-face", "=5"})
                .status,
            0);
  const ToolRun run = check_grid(folder);
  EXPECT_EQ(run.status, 1);
  expect_parts(run.out, {"grid \"Grid\": expected 2 by 2 or more, found 3 by 1",
                         "expected values at cell centres, found I-faces",
                         "hyfs_wse_path \"wse\": does not exist"});
}

// What a run needs of a grid and of values beyond their being there.
TEST(HyfsCheck, GridsAndValuesThatARunStopsAtAreTold) {
  const test::TemporaryFolder folder;
  const std::string back = folder.write("back.txt", "-1 1");
  ASSERT_EQ(tool({"make", folder.path("grid.h5"), "--grid", "Grid", "--celltypes", "=2", "--i",
                  back, "--j", "2:1", "--dataset", "Grid/Datasets/Depth", "m", "centre", "=5"})
                .status,
            0);
  expect_parts(check_grid(folder).out, {"coords_i: expected numbers that grow from 0 on, found -1",
                                        "property \"CellTypes\": no cell is active"});
  folder.write("mesh.14", "mesh\n1 3\n");
  {
    test::DatasetFile file(folder.path("bed.h5"));
    file.info.values = 3;
    file.scalar("D", {0}, {{0.2f, 0.0f, 0.2f}});
    file.scalar("dry", {0}, {{0.2f, 0.2f, -99999.0f}});
  }
  folder.write("run.pcf",
               ":mesh_file mesh.14\n:sediments_format hyfs dataset\n:sediment_file bed.h5\n"
               ":hyfs_d35_path D\n:hyfs_d50_path dry\n:hyfs_d90_path D\n:end_data\n");
  const ToolRun bed = tool({"check", folder.path("bed.h5"), folder.path("run.pcf")});
  EXPECT_EQ(bed.status, 1);
  expect_parts(bed.out, {"\"D\": expected a grain size at node 2, found 0",
                         "\"dry\": expected a grain size at node 3, found -99999"});
}

// Waves begin at start_waves, whatever time their first step has, and their first interval counts
// for all.
TEST(HyfsCheck, WavesHaveToFitTheRun) {
  const test::TemporaryFolder folder;
  folder.write("mesh.14", "mesh\n1 3\n");
  const std::string times = folder.write("times.txt", "50 350 1250");
  std::vector<std::string> words = {"make", folder.path("w.h5"), "--times", times};
  for (const char* name : {"H", "T", "Q"}) {
    words.insert(words.end(), {"--dataset", name, "", "node", folder.write("w.txt", "18*1")});
  }
  for (const auto& [name, value] : {std::pair<const char*, const char*>{"NX", "=3"},
                                    {"NY", "=2"},
                                    {"Angle", "=0"},
                                    {"X_org", "=0"},
                                    {"Y_org", "=0"},
                                    {"Del", "=100"}}) {
    words.insert(words.end(), {"--property", name, value});
  }
  ASSERT_EQ(tool(words).status, 0);
  const auto check = [&](const std::string& cards) {
    folder.write("run.pcf",
                 ":mesh_file mesh.14\n:waves\n:wave_format hyfs\n:wave_file_hyfs w.h5\n"
                 ":hyfs_h_path H\n:hyfs_t_path T\n:hyfs_q_path Q\n:start_waves 2000 1 1 0 0 0\n"
                 ":start_run 2000 1 1 0 0 0\n:stop_run 2000 1 1 0 10 0\n" +
                     cards + ":end_data\n");
    return tool({"check", folder.path("w.h5"), folder.path("run.pcf")});
  };
  const ToolRun good = check("");
  EXPECT_EQ(good.status, 0) << good.out << good.err;
  expect_parts(good.out, {"note: hyfs_h_path \"H\": step 3 does not follow at the interval"});
  EXPECT_EQ(check(":stop_run 2000 1 1 0 20 0\n:exceed_waves\n").status, 0);
  const std::pair<std::string, std::string> faults[] = {
      {":stop_run 2000 1 1 0 10 1\n", "ends at 2000/01/01 00:10:00, the run stops at"},
      {":start_waves 2000 1 1 0 5 1\n:exceed_waves\n", "begins at 2000/01/01 00:05:01"},
      {":nested\n:wave_file_2_hyfs none.h5\n", "the file none.h5 beside it: no such file"},
      {":wave_format swan\n", "wave_format swan is none of dataset files"},
  };
  for (const auto& [cards, message] : faults) {
    const ToolRun bad = check(cards);
    EXPECT_EQ(bad.status, 1) << cards;
    expect_parts(bad.out, {message});
  }
  words.back() = "=0";
  words.push_back("--overwrite");
  ASSERT_EQ(tool(words).status, 0);
  expect_parts(check("").out, {"property \"Del\": expected a size above 0, found 0"});
}

// The flow of a text mesh; its head tells the number of nodes.
TEST(HyfsCheck, FlowAtTheNodesOfATextMesh) {
  const test::TemporaryFolder folder;
  folder.write("mesh.14", "mesh\n1 3\n");
  {
    test::DatasetFile file(folder.path("flow.h5"), "2000-01-01 00:00:00");
    file.info.values = 3;
    file.scalar("z", {0, 600}, {Values(3, 0.0f), Values(3, 0.0f)});
    file.vector("uv", {0, 600}, {Values(6, 0.1f), Values(6, 0.1f)});
    file.info.values = 4;
    file.info.time_units = "Hours";
    file.scalar("four", {0, 1}, {Values(4, 0.0f), Values(4, 0.0f)});
  }
  const auto check = [&](const std::string& cards) {
    folder.write("run.pcf",
                 ":mesh_file mesh.14\n:currents\n:flow_format hyfs\n:flow_file_hyfs flow.h5\n"
                 ":hyfs_wse_path z\n:hyfs_vel_path uv\n:start_run 2000 1 1 0 0 0\n"
                 ":stop_run 2000 1 1 0 10 0\n" +
                     cards + ":end_data\n");
    return tool({"check", folder.path("flow.h5"), folder.path("run.pcf")});
  };
  const ToolRun good = check("");
  EXPECT_EQ(good.status, 0) << good.out << good.err;
  const ToolRun bad = check(":hyfs_wse_path four\n");
  EXPECT_EQ(bad.status, 1);
  expect_parts(bad.out, {"expected 3 values a step (mesh nodes), found 4",
                         "its times are in \"Hours\", they are taken as seconds"});
}

// A lattice in layers: mesh and flow in one file, paths counted from the grid.
TEST(HyfsCheck, LatticeInLayers) {
  const test::TemporaryFolder folder;
  const std::string path = folder.path("model.h5");
  std::vector<std::string> words = {"make",      path,      "--start",  "2000-01-01 00:00:00",
                                    "--grid",    "G",       "--i",      "3:10",
                                    "--j",       "2:10",    "--planes", "2",
                                    "--dataset", "G/Depth", "m",        "node",
                                    "=5",        "--times", "2:600"};
  for (const char* name : {"Z", "U", "V", "W"}) {
    for (const std::string& word : {std::string("--dataset"), std::string("G/") + name,
                                    std::string(), std::string("node"), std::string("=0")}) {
      words.push_back(word);
    }
  }
  ASSERT_EQ(tool(words).status, 0);
  folder.write("run.pcf",
               ":mesh_format rvs-3d\n:mesh_file model.h5\n:hyfs_n3d_path G\n:hyfs_dep_path Depth\n"
               ":currents\n:velocity_method 3d\n:flow_format rvs-3d\n"
               ":flow_file_hyfs model.h5\n:hyfs_wse_path Z\n:hyfs_u_path U\n:hyfs_v_path V\n"
               ":hyfs_w_path W\n:hyfs_sal_path Salt\n:start_run 2000 1 1 0 0 0\n"
               ":stop_run 2000 1 1 0 10 0\n:end_data\n");
  const ToolRun run = tool({"check", path, folder.path("run.pcf")});
  // The salinity alone is missing.
  EXPECT_EQ(run.status, 1);
  expect_parts(run.out,
               {"used as mesh (mesh_format n3d)", "hyfs_sal_path \"Salt\": does not exist"});
  std::size_t findings = 0;
  for (const std::string& line : test::lines_of(run.out)) {
    if (line.rfind("MISSING: ", 0) == 0) ++findings;
  }
  EXPECT_EQ(findings, 1u) << run.out;
}

TEST(HyfsCheckDeathTest, FaultsOfTheControlFileAreToldWithTheLine) {
  const test::TemporaryFolder folder;
  ASSERT_EQ(tool(test::small_grid(folder)).status, 0);
  const std::pair<std::string, std::string> controls[] = {
      {":currents\nmesh\n:end_data\n", "bad.pcf:2: expected a card, a comment or a blank line"},
      {":currents\n", "expected the card :end_data, found the end of the file"},
      {":mesh_file\n:end_data\n", "bad.pcf:1: cannot be used: \":mesh_file\""},
  };
  for (const auto& [text, message] : controls) {
    const std::vector<std::string> words = {"check", folder.path("grid.h5"),
                                            folder.write("bad.pcf", text)};
    EXPECT_EXIT(HYFS_TOOL(words, stdout, stderr), testing::ExitedWithCode(1), message);
  }
}

// ---- the example of the manual ----

// The lines between the fence that follows a heading and the next fence.
std::string block_behind(const std::string& path, const std::string& heading) {
  std::string block;
  bool found = false, inside = false;
  for (const std::string& line : test::lines_of(test::read_text(path))) {
    if (line == heading) found = true;
    if (!found) continue;
    if (line.rfind("```", 0) == 0) {
      if (inside) return block;
      inside = true;
    } else if (inside) {
      block += line + "\n";
    }
  }
  return "";
}

std::string python_with_h5py() {
  for (const std::string& python : {std::string(DFL_PYTHON), std::string("/usr/bin/python3")}) {
    if (!python.empty() && test::command_runs(python + " -c 'import h5py, numpy'")) return python;
  }
  return "";
}

TEST(HyfsManual, TheExampleWritesAGridAndFlowThatPassTheCheck) {
  const std::string manual = std::string(DFL_SOURCE_DIR) + "/docs/hyfs.md";
  const std::string example = block_behind(manual, "### Writing an input file with Python");
  ASSERT_NE(example, "");
  const std::string python = python_with_h5py();
  if (python.empty()) GTEST_SKIP() << "no h5py";
  const test::TemporaryFolder folder;
  folder.write("example.py", example);
  ASSERT_EQ(std::system(("cd '" + folder.path("") + "' && " + python + " example.py").c_str()), 0);
  std::filesystem::rename(folder.path("flow.h5"), folder.path("grid.h5"));
  const ToolRun info = tool({"info", folder.path("grid.h5")});
  EXPECT_EQ(info.status, 0) << info.out << info.err;
  expect_parts(info.out,
               {"cells: 40 x 20 x 1", "vector of 2 components, 800 values",
                "  Grid/Datasets/Depth\n    scalar, 800 values\n    times: none (one step "
                "at time 0)\n    at: cell centres\n",
                "times: 2 times, 0 to 600, step 600 Seconds, from 2020-03-01 00:00:00"});
  const ToolRun check =
      check_grid(folder, ":hyfs_wse_path Datasets/wse\n:hyfs_vel_path Datasets/flow\n");
  EXPECT_EQ(check.status, 0) << check.out << check.err;
  expect_parts(check.out, {"used as grid of the mesh", "used as flow (flow_format n2d)"});
}

}  // namespace
}  // namespace dfl
