// Wave files of each form with known values at the nodes: grids, turned, nested, of variable cells,
// layouts, marks for land, and the forms that SWAN commands come in.

#include <gtest/gtest.h>

#include "waves/wave_case.h"

namespace dfl {
namespace {

using namespace test;

TEST(WaveReaders, EveryFormGivesTheFirstFrameAtItsStart) {
  struct Form {
    const char* name;
    WaveCase c;
  };
  const Form forms[] = {{"oswell", oswell_case()},
                        {"simulation file", simulation_case()},
                        {"swan", swan_case()},
                        {"lagoon", lagoon_case()},
                        {"hyfs", hyfs_case()}};
  for (const Form& form : forms) {
    SCOPED_TRACE(form.name);
    WaveRun r(form.c, 0.0);
    if (std::string(form.name) != "lagoon") {
      expect_waves(r, 1.0f, 0.0f, 1.0f, wave_bearing);
      continue;
    }
    EXPECT_FLOAT_EQ(r.height(4, 2), height_in(1, 4, 2));
    EXPECT_FLOAT_EQ(r.period(4, 2), 6.0f);  // one for all cells
    EXPECT_NEAR(r.run.waves.WAVEdirx(WaveRun::node(4, 2)), 0.8660254f, 2e-5f);
    EXPECT_NEAR(r.run.waves.WAVEdiry(WaveRun::node(4, 2)), 0.5f, 2e-5f);
  }
}

TEST(WaveReaders, NodesOnTheLastRowOrColumnAreOutside) {
  WaveCase c = oswell_case();
  // Five cells: the last column of nodes lies in cell 5.
  c.files["waves.dat"] =
      oswell_file(5, 5, 1, 3, height_in, period_in, constant(90.0f - wave_bearing));
  WaveRun r(c, 0.0);
  EXPECT_FLOAT_EQ(r.height(4, 4), height_in(1, 4, 4));
  EXPECT_EQ(r.height(5, 1), 0.0f);
  EXPECT_EQ(r.height(1, 5), 0.0f);
  EXPECT_EQ(r.period(5, 1), 1.0f);
}

TEST(WaveReaders, TurnedGridTurnsPlacesAndDirections) {
  // Turned by 90 degrees anticlockwise: the grid's x axis points north, its y axis west.
  WaveCase c = oswell_case();
  for (std::string& card : c.tiny.control) {
    if (card == ":wave_grid_angle 0.") card = ":wave_grid_angle 90.";
    if (card == ":wave_x_origin -50.") card = ":wave_x_origin 450.";
  }
  // Along the grid's x axis: to the north.
  c.files["waves.dat"] =
      oswell_file(wave_cells, wave_cells, 1, 3, height_in, period_in, constant(0.0f));
  WaveRun r(c, 0.0);
  EXPECT_NEAR(r.height(5, 1), height_in(1, 1, 1), 1e-6f);  // next to the origin
  EXPECT_NEAR(r.height(5, 4), height_in(1, 4, 1), 1e-6f);
  EXPECT_NEAR(r.height(2, 1), height_in(1, 1, 4), 1e-6f);
  EXPECT_NEAR(r.run.waves.WAVEdirx(1), 0.0f, 2e-5f);
  EXPECT_NEAR(r.run.waves.WAVEdiry(1), 1.0f, 2e-5f);
}

TEST(WaveReaders, LagoonComponentsTurnWithTheGrid) {
  WaveCase c = lagoon_case();
  for (auto& [name, lines] : c.files) {
    for (std::string& line : lines) {
      if (line == ":Angle 0.") line = ":Angle 20.";
    }
  }
  WaveRun r(c, 0.0);
  // 60 degrees clockwise from the grid's y axis, which itself points 20 degrees west of north.
  EXPECT_NEAR(r.run.waves.WAVEdirx(WaveRun::node(3, 3)), std::sin(40.0f / 57.29578f), 2e-5f);
  EXPECT_NEAR(r.run.waves.WAVEdiry(WaveRun::node(3, 3)), std::cos(40.0f / 57.29578f), 2e-5f);
}

TEST(WaveReaders, ThirdSizeOfTheDepthFileTellsTheKindOfGrid) {
  struct Depth {
    const char* head;
    bool variable;
    float DX, DY;
  };
  // The mark of a variable grid is 999 itself.
  const Depth depths[] = {{"6 6 100. 0.", false, 100.0f, 100.0f},
                          {"6 6 100. -1.", false, 100.0f, 100.0f},
                          {"6 6 50. 100.", false, 50.0f, 100.0f},
                          {"6 6 100. 998.9", false, 100.0f, 998.9f},
                          {"6 6 100. 999.", true, 0.0f, 0.0f}};
  for (const Depth& depth : depths) {
    SCOPED_TRACE(depth.head);
    WaveCase c = simulation_case();
    Lines& file = c.files["waves.dep"] = {depth.head};
    if (depth.variable) {
      for (int j = 0; j < 6; ++j) file.push_back("6*5.");
      // Cells from -50 on: two of 50, then 100 to 400; rows of 250 and five of 100.
      file.push_back("50. 50. 100. 100. 200. 100.");
      file.push_back("250. 5*100.");
    }
    WaveRun r(c, 0.0);
    const WaveGrid& grid = r.run.waves.grid[0];
    EXPECT_EQ(grid.variable, depth.variable);
    if (!depth.variable) {
      EXPECT_EQ(grid.DX(1), depth.DX);
      EXPECT_EQ(grid.DY(1), depth.DY);
      continue;
    }
    // x' = x + 50: 50 lies at the end of cell 1, so in cell 2; 150 in 3; 250 in 4; 350, 450 in 5.
    const int column[] = {2, 3, 4, 5, 5}, row[] = {1, 1, 2, 3, 4};
    for (int j = 1; j <= 5; ++j) {
      for (int i = 1; i <= 5; ++i) {
        EXPECT_FLOAT_EQ(r.height(i, j), height_in(1, column[i - 1], row[j - 1])) << i << ' ' << j;
      }
    }
  }
}

TEST(WaveReaders, NodesLeftOfAndBelowAVariableGridAreOutside) {
  WaveCase c = simulation_case();
  c.files["waves.sim"][0] = "grid 50. 150. 0.";
  c.files["waves.dep"] = {"6 6 100. 999.", "36*5.", "36*5.",  "36*5.", "36*5.",
                          "36*5.",         "36*5.", "6*100.", "6*100."};
  WaveRun r(c, 0.0);
  EXPECT_EQ(r.height(1, 3), 0.0f);
  EXPECT_EQ(r.height(2, 2), 0.0f);
  EXPECT_FLOAT_EQ(r.height(2, 3), height_in(1, 1, 1));
}

TEST(WaveReaders, DepthFileStandsBesideTheSimulationFileUnlessItNamesAFolder) {
  WaveCase c = simulation_case();  // "waves.dep" beside "FOLDER/waves.sim"
  {
    WaveRun r(c);
    r.open();
    EXPECT_EQ(r.run.waves.grid[0].NI, 6);
  }
  c.files["waves.sim"][2] = "dep .\\waves.dep";  // from the working folder
  WaveRun r(c);
  r.open();
  EXPECT_EQ(r.run.waves.grid[0].NI, 6);
}

TEST(WaveReaders, NestedGridLiesOverTheParent) {
  WaveCase c =
      calm_case({":wave_format oswell", ":wave_x_origin -50.", ":wave_y_origin -50.",
                 ":wave_grid_angle 0.", ":nested", ":wave_x_origin_2 150.", ":wave_y_origin_2 150.",
                 ":wave_grid_angle_2 90.", ":wave_breaking", ":start_waves 2000 1 1 0 0 0",
                 ":wave_step 3600.", ":wave_frames 2", ":wave_files 1", "FOLDER/waves.dat",
                 "FOLDER/break.dat", "FOLDER/nest.dat", "FOLDER/nestbreak.dat"});
  const auto breaking = [](int NI, int NJ, float value) {
    Lines lines = {std::to_string(NI) + " " + std::to_string(NJ) + " 100."};
    for (int f = 1; f <= 2; ++f) {
      lines.push_back("frame");
      append_rows(lines, NI, NJ, true, f, constant(value));
    }
    return lines;
  };
  c.files["waves.dat"] = oswell_file(2);
  c.files["break.dat"] = breaking(6, 6, -1.0f);
  // The nested grid's x axis points north, its y axis west: it reaches from (150, 150) to x = -50.
  c.files["nest.dat"] = oswell_file(
      3, 3, 1, 2,
      [](int, int i, int j) { return 10.0f * static_cast<float>(i) + static_cast<float>(j); },
      constant(9.0f), constant(0.0f));
  c.files["nestbreak.dat"] = breaking(3, 3, -2.0f);
  WaveRun r(c, 0.0);
  const WaveState& waves = r.run.waves;
  EXPECT_NEAR(r.height(2, 3), 11.0f,
              1e-5f);  // (100, 200): first row to the north, first to the west
  EXPECT_NEAR(r.height(1, 4), 22.0f, 1e-5f);
  EXPECT_EQ(r.period(2, 3), 9.0f);
  EXPECT_EQ(waves.WAVEbreak(WaveRun::node(2, 3)), -2.0f);
  EXPECT_NEAR(waves.WAVEdiry(WaveRun::node(2, 3)), 1.0f, 2e-5f);  // along the nested x axis
  EXPECT_FLOAT_EQ(r.height(2, 5), height_in(1, 2, 5));            // its last column: the parent's
  EXPECT_FLOAT_EQ(r.height(3, 3), height_in(1, 3, 3));
  EXPECT_EQ(waves.WAVEbreak(WaveRun::node(3, 3)), -1.0f);
  EXPECT_NEAR(waves.WAVEdirx(WaveRun::node(3, 3)), 0.8660254f, 2e-5f);
}

TEST(WaveReaders, SwanLayoutOneBeginsWithTheTopRow) {
  WaveCase c = swan_case();
  // The last block command counts; without a layout it is 1.
  c.files["waves.swn"][6] = "BLOCK 'COMPGRID' NOHEADER 'dir.blk' DIR";
  set_swan_fields(c, true, height_in, period_in, constant(180.0f + wave_bearing));
  WaveRun r(c, 0.0);
  EXPECT_EQ(r.run.waves.SWANidla, 1);
  expect_waves(r, 1.0f, 0.0f, 1.0f, wave_bearing);
  std::fflush(r.run.messages.echo_file);
  EXPECT_NE(read_text(r.folder.path("tiny.input")).find("differ in layout"), std::string::npos);
}

TEST(WaveReaders, CartesianSwanDirectionsCountFromThePlanesAxesAlsoOnATurnedGrid) {
  WaveCase c = swan_case();
  c.files["waves.swn"][2] = "SET LEVEL=0.0 CARTESIAN";
  c.files["waves.swn"][3] = "CGRID REG 450. -50. 90. 500. 500. 5 5 CIRCLE 36 0.05 0.8 24";
  set_swan_fields(c, false, height_in, period_in, constant(90.0f - wave_bearing));
  WaveRun r(c, 0.0);
  EXPECT_NEAR(r.height(5, 4), height_in(1, 4, 1), 1e-6f);
  EXPECT_NEAR(r.run.waves.WAVEdirx(13), 0.8660254f, 2e-5f);
  EXPECT_NEAR(r.run.waves.WAVEdiry(13), 0.5f, 2e-5f);
}

TEST(WaveReaders, SwanMarksOfLandCountAsNoWaves) {
  WaveCase c = swan_case();
  add_cards(c.tiny, {":wave_breaking"});
  c.tiny.control.insert(c.tiny.control.end() - 2, "FOLDER/diss.blk");
  const auto land = [](float mark, const CellValue& sea) -> CellValue {
    return [=](int f, int i, int j) { return i == 2 ? mark : sea(f, i, j); };
  };
  set_swan_fields(c, false, land(-9.0f, height_in), land(-9.0f, period_in),
                  land(-999.0f, constant(240.0f)));
  for (int f = 1; f <= 3; ++f) {
    append_rows(c.files["diss.blk"], 6, 6, false, f, land(-9.0f, breaking_in));
  }
  WaveRun r(c, 0.0);
  const WaveState& waves = r.run.waves;
  EXPECT_EQ(r.height(2, 3), 0.0f);
  EXPECT_EQ(r.period(2, 3), 1.0f);
  EXPECT_EQ(waves.WAVEbreak(WaveRun::node(2, 3)), 0.0f);
  EXPECT_EQ(waves.WAVEdirx(WaveRun::node(2, 3)), 0.0f);
  EXPECT_EQ(waves.WAVEdiry(WaveRun::node(2, 3)), 1.0f);
  // Positive where waves break in the file, negative at the nodes.
  EXPECT_FLOAT_EQ(waves.WAVEbreak(WaveRun::node(3, 3)), -breaking_in(1, 3, 3));
}

TEST(WaveReaders, SwanMeshValuesAreLinearWithinItsElements) {
  WaveRun r(swan_mesh_case(), 0.0);
  for (int j = 1; j <= 5; ++j) {
    for (int i = 1; i <= 5; ++i) {
      EXPECT_NEAR(r.height(i, j), 1.0 + 0.1 * (i - 1) + 0.2 * (j - 1), 1e-6) << i << ' ' << j;
      EXPECT_NEAR(r.period(i, j), 6.0f, 1e-6f);
      EXPECT_NEAR(r.run.waves.WAVEdirx(WaveRun::node(i, j)), 0.8660254f, 2e-5f);
    }
  }
  r.at(3.0 * hour);
  EXPECT_NEAR(r.height(1, 1), 1.5f, 1e-6f);
  EXPECT_NEAR(r.period(1, 1), 7.0f, 1e-6f);
}

TEST(WaveReaders, NodesOutsideTheSwanMeshHaveNoWaves) {
  WaveCase c = swan_mesh_case();
  c.files["swan.14"][3] = "2 250. -100. 5.";
  c.files["swan.14"][4] = "3 250. 900. 5.";
  WaveRun r(c, 0.0);
  EXPECT_GT(r.height(3, 3), 0.0f);
  EXPECT_EQ(r.height(4, 3), 0.0f);
  EXPECT_EQ(r.period(4, 3), 1.0f);
}

TEST(WaveReaders, FileNamesBehindTheirCardMayStandApartAndCardsGoOnBehindThem) {
  WaveCase c = swan_case();
  Lines& control = c.tiny.control;
  const auto names = std::find(control.begin(), control.end(), "FOLDER/hs.blk");
  control.insert(names + 1, {"", "# the period", "  "});
  control.insert(control.end() - 1, ":exceed_waves");
  WaveRun r(c);
  r.open();
  EXPECT_TRUE(r.run.settings.exceed_waves);
  ASSERT_EQ(r.run.settings.wave_file_names.size(), 3u);
  EXPECT_EQ(r.run.settings.wave_file_names[1], r.folder.path(".") + "/per.blk");
  r.at(0.0);
  expect_waves(r, 1.0f, 0.0f, 1.0f, wave_bearing);
}

TEST(WaveReaders, SwanCommandsComeInManyForms) {
  struct Form {
    const char* what;
    struct Frames {
      int count;
      double start, step;  // hours after 2000-01-01
    } frames;
    Lines commands;
  };
  const Lines grid = {"CGRID REG -50. -50. 0. 500. 500. 5 5 CIRCLE 36 0.05 0.8 24"};
  const Form forms[] = {
      {"small letters",
       {2, 0.0, 6.0},
       {"set level=0.0 nautical", "cgrid reg -50. -50. 0. 500. 500. 5 5 circle 36 0.05 0.8",
        "block 'compgrid' nohead 'hs' layout 3 hsign", "compute stat 20000101.000000",
        "compute stat 20000101.060000", "stop"}},
      {"mixed letters, abbreviations, no REGULAR, wide spacing and tabs",
       {5, 0.0, 3.0},
       {"Set   Naut", "CGrid\t-50.   -50.  0. 500.\t500. 5  5 CIRCLE 36 0.05 0.8",
        "BLO 'COMPGRID' NOHEAD 'hs'  LAY   3 HSIGN",
        "Comp  NonStat  20000101.000000  3 Hr  "
        "20000101.120000",
        "Stop  "}},
      {"commas between numbers",
       {1, 0.0, 0.0},
       {"SET NAUTICAL", "CGRID REG -50.,-50.,0.,500.,500.,5,5 CIRCLE 36 0.05 0.8",
        "BLOCK 'COMPGRID' NOHEAD 'hs' LAY 3 HSIGN", "COMPUTE 20000101.000000", "STOP"}},
      {"numbers by name",
       {1, 1.0, 0.0},
       {"SET NAUTICAL",
        "CGRID REG xpc=-50. ypc=-50. alpc=0. xlenc = 500. ylenc= 500. mxc=5 myc =5 CIRCLE 36",
        "BLOCK 'COMPGRID' NOHEAD 'hs' LAYOUT idla=3 HSIGN", "COMPUTE", "STOP"}},
      {"commands over several lines, with comments in between and behind",
       {5, 6.0, 0.5},
       {"SET LEVEL 0. &", "  NAUTICAL", "$ a line of comment does not go on _", "$ _________ &",
        "CGRID REG -50. -50. 0. & ! the corner", "$ and", "500. 500. _",
        "   5 5 CIRCLE 36 0.05 0.8", "BLOCK 'COMPGRID' NOHEAD 'hs' $ a remark $ LAYOUT 3 HSIGN",
        "COMPUTE NONSTATIONARY 20000101.060000 &", "30 MIN 20000101.080000", "STOP"}},
      {"minutes, seconds and days as units; the word left out",
       {3, 0.0, 24.0},
       {"SET NAUTICAL", grid[0], "BLOCK 'COMPGRID' NOHEAD 'hs' LAY 3 HSIGN",
        "COMPUTE 20000101.000000 1 DAY 20000103.000000", "STOP"}},
      {"an interval that does not fit into the run",
       {11, 0.0, 4000.0 / 3600.0},
       {"SET NAUTICAL", grid[0], "BLOCK 'COMPGRID' NOHEAD 'hs' LAY 3 HSIGN",
        "COMP NONST 20000101.000000 4000 SEC 20000101.120000", "STOP"}},
      {"the output has times of its own",
       {4, 6.0, 2.0},
       {"SET NAUTICAL", grid[0],
        "BLOCK 'COMPGRID' NOHEAD 'hs' LAYOUT 3 HSIGN OUTPUT 20000101.060000 2 HR",
        "COMPUTE NONSTAT 20000101.000000 10 MIN 20000101.120000", "STOP"}},
      {"a run in two pieces",
       {13, 0.0, 1.0},
       {"SET NAUTICAL", grid[0], "BLOCK 'COMPGRID' NOHEAD 'hs' LAYOUT 3 HSIGN",
        "COMPUTE NONSTAT 20000101.000000 1 HR 20000101.060000",
        "COMPUTE NONSTAT 20000101.060000 1 HR 20000101.120000", "STOP"}},
      {"a layout in the name of the file",
       {1, 1.0, 0.0},
       {"SET NAUTICAL", grid[0], "BLOCK 'COMPGRID' NOHEAD 'my layout 1.blk' LAYOUT 3 HSIGN",
        "COMPUTE STAT", "STOP"}},
      {"lines behind a blank are passed over",
       {1, 0.0, 0.0},
       {"SET NAUTICAL", " CGRID REG 0. 0. 0. 1. 1. 1 1", grid[0],
        "BLOCK 'COMPGRID' NOHEAD 'hs' LAYOUT 3 HSIGN", "COMPUTE STAT 20000101.000000",
        " COMPUTE STAT 20000102.000000", " STOP", "", "STOP"}},
      {"what stands behind STOP is not read",
       {1, 0.0, 0.0},
       {"SET NAUTICAL", grid[0], "BLOCK 'COMPGRID' NOHEAD 'hs' LAYOUT 3 HSIGN",
        "COMPUTE STAT 20000101.000000", "STOP", "CGRID CURV 3 3", "BLOCK 'COMPGRID' NOHEAD 'hs'"}}};
  for (const Form& form : forms) {
    SCOPED_TRACE(form.what);
    WaveCase c = swan_case();
    add_cards(c.tiny, {":start_waves 2000 1 1 1 0 0", ":exceed_waves"});
    c.files["waves.swn"] = form.commands;
    WaveRun r(c);
    r.open();
    const WaveState& waves = r.run.waves;
    EXPECT_TRUE(waves.WAVEnautical);
    EXPECT_FALSE(waves.swan_on_mesh);
    EXPECT_EQ(waves.SWANidla, 3);
    EXPECT_EQ(waves.NUMwaveframes, form.frames.count);
    EXPECT_EQ(waves.start_waves, 1577836800.0 + form.frames.start * hour);
    EXPECT_EQ(waves.wave_step, static_cast<float>(form.frames.step * hour));
    EXPECT_EQ(waves.grid[0].NI, 6);
    EXPECT_EQ(waves.grid[0].NJ, 6);
    EXPECT_EQ(waves.grid[0].DX(1), 100.0f);
    EXPECT_EQ(waves.grid[0].DY(1), 100.0f);
    EXPECT_EQ(waves.grid[0].x_origin, -50.0);
  }
}

}  // namespace
}  // namespace dfl
