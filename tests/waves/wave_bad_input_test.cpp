// Every wave input in every broken form: each gives a message that tells what is wrong and where,
// and none crashes (the sanitizer build runs the same table).

#include <gtest/gtest.h>

#include "waves/wave_case.h"

namespace dfl {
namespace {

using namespace test;

// Cases by name. With breaking, nested and several files.
WaveCase swan_breaking_case() {
  WaveCase c = swan_case();
  add_cards(c.tiny, {":wave_breaking"});
  c.tiny.control.insert(c.tiny.control.end() - 2, "FOLDER/diss.blk");
  for (int f = 1; f <= 3; ++f) append_rows(c.files["diss.blk"], 6, 6, false, f, breaking_in);
  return c;
}

WaveCase lagoon_breaking_case() {
  WaveCase c = lagoon_case();
  add_cards(c.tiny, {":wave_breaking"});
  c.tiny.control.insert(c.tiny.control.end() - 2, "FOLDER/break.r2s");
  c.files["break.r2s"] = c.files["height.r2s"];
  return c;
}

// Two files of two frames, with breaking, parent and nested.
WaveCase nested_case() {
  WaveCase c = calm_case({":wave_format rvs-wave", ":wave_sim_file FOLDER/waves.sim",
                          ":wave_sim_file_2 FOLDER/nest.sim", ":nested", ":wave_breaking",
                          ":start_waves 2000 1 1 0 0 0", ":wave_step 3600.", ":wave_frames 2",
                          ":wave_files 2", "FOLDER/a.dat", "FOLDER/b.dat", "FOLDER/abreak.dat",
                          "FOLDER/bbreak.dat", "FOLDER/na.dat", "FOLDER/nb.dat",
                          "FOLDER/nabreak.dat", "FOLDER/nbbreak.dat"});
  for (const char* name : {"waves", "nest"}) {
    c.files[name + std::string(".sim")] = {"grid -50. -50. 0.",
                                           "dep " + std::string(name) + ".dep"};
    c.files[name + std::string(".dep")] = {"6 6 100. 0."};
  }
  for (const char* name : {"a", "b", "na", "nb"}) {
    c.files[name + std::string(".dat")] = oswell_file(2);
    Lines& lines = c.files[name + std::string("break.dat")] = {"6 6 100."};
    for (int f = 1; f <= 2; ++f) {
      lines.push_back("frame");
      append_rows(lines, 6, 6, true, f, constant(-1.0f));
    }
  }
  return c;
}

WaveCase variable_case() {
  WaveCase c = simulation_case();
  c.files["waves.dep"] = {"6 6 100. 999.", "6*5.", "6*5.",   "6*5.",  "6*5.",
                          "6*5.",          "6*5.", "6*100.", "6*100."};
  return c;
}

WaveCase hyfs_default_case() {
  return hyfs_case();
}

struct BadInput {
  const char* what;
  WaveCase (*good)();
  std::function<void(WaveCase&)> damage;
  const char* message;  // regular expression
};
void PrintTo(const BadInput& input, std::ostream* out) {
  *out << input.what;
}

std::function<void(WaveCase&)> line(const char* file, std::size_t k, const char* text) {
  return [=](WaveCase& c) { c.files.at(file).at(k) = text; };
}
std::function<void(WaveCase&)> keep(const char* file, std::size_t lines) {
  return [=](WaveCase& c) {
    ASSERT_GE(c.files.at(file).size(), lines);
    c.files.at(file).resize(lines);
  };
}
std::function<void(WaveCase&)> missing(const char* file) {
  return [=](WaveCase& c) { c.files.erase(file); };
}
// A folder stands where the file was.
std::function<void(WaveCase&)> folder(const char* file) {
  return [=](WaveCase& c) {
    c.files.erase(file);
    c.write_dataset = [=](const TemporaryFolder& f) {
      std::filesystem::create_directory(f.path(file));
    };
  };
}
std::function<void(WaveCase&)> card(const char* old_text, const char* text) {
  return [=](WaveCase& c) {
    Lines& control = c.tiny.control;
    const auto place = std::find(control.begin(), control.end(), old_text);
    ASSERT_NE(place, control.end());
    *place = text;
  };
}
std::function<void(WaveCase&)> datasets(const std::function<void(WaveDatasets&)>& change) {
  WaveDatasets d;
  change(d);
  return [d](WaveCase& c) { c = hyfs_case(d); };
}

const BadInput bad_inputs[] = {
    // "oswell"
    {"waves missing", oswell_case, missing("waves.dat"), "Cannot open file .*waves.dat"},
    {"waves empty", oswell_case, keep("waves.dat", 0), "waves.dat:1: .*end of the file"},
    {"waves a folder", oswell_case, folder("waves.dat"), "waves.dat.*not a regular file"},
    {"waves end in the head", oswell_case, line("waves.dat", 0, "6 6"),
     "waves.dat:2: expected a real number, found \"frame\""},
    {"letters in the head", oswell_case, line("waves.dat", 0, "6 x 100."),
     "waves.dat:1: expected an integer, found \"x\""},
    {"negative count", oswell_case, line("waves.dat", 0, "-6 6 100."),
     "waves.dat:1: expected a wave grid of 1 to 32767 cells a side, found -6 by 6"},
    {"no cells", oswell_case, line("waves.dat", 0, "6 0 100."), "waves.dat:1: .*6 by 0"},
    {"too many cells", oswell_case, line("waves.dat", 0, "6 40000 100."), "waves.dat:1: .*40000"},
    {"count beyond an integer", oswell_case, line("waves.dat", 0, "6 9000000000 100."),
     "waves.dat:1: expected an integer within its range"},
    {"far more cells than the file holds", oswell_case, line("waves.dat", 0, "32767 32767 100."),
     "waves.dat:.*expected a real number|End-of-file \\(waves\\)"},
    {"cells without size", oswell_case, line("waves.dat", 0, "6 6 0."),
     "waves.dat:1: expected wave cells of positive size"},
    {"waves end behind the head", oswell_case, keep("waves.dat", 1), "End-of-file \\(waves\\)"},
    {"waves end behind a marker", oswell_case, keep("waves.dat", 2), "End-of-file \\(waves\\)"},
    {"waves end in the first frame", oswell_case, keep("waves.dat", 12),
     "End-of-file \\(waves\\)"},
    {"waves end in a row", oswell_case,
     [](WaveCase& c) {
       c.files["waves.dat"].resize(13);
       c.files["waves.dat"][12] = "1. 2. 3.";
     },
     "End-of-file \\(waves\\)"},
    {"waves end in the second frame", oswell_case, keep("waves.dat", 30),
     "End-of-file \\(waves\\)"},
    {"first frame cut off with exceed_waves", oswell_case,
     [](WaveCase& c) {
       c.files["waves.dat"].resize(12);
       add_cards(c.tiny, {":exceed_waves"});
     },
     "End-of-file \\(waves\\)"},
    {"letters in a frame", oswell_case, line("waves.dat", 4, "1. 2. x. 4. 5. 6."),
     "waves.dat:5: expected a real number, found \"x.\""},
    {"letters between the numbers of a frame", oswell_case,
     line("waves.dat", 4, "1. 2. 3. word 4. 5. 6."),
     "waves.dat:5: expected a real number, found \"word\""},
    {"letters at the end of the file", oswell_case, line("waves.dat", 37, "1. 2. 3. 4. 5. abc"),
     "waves.dat:38: expected a real number, found \"abc\""},
    {"letters are no end of the file with exceed_waves", oswell_case,
     [](WaveCase& c) {
       c.files["waves.dat"].resize(38);
       c.files["waves.dat"][37] = "1. 2. 3. 4. 5. abc";
       add_cards(c.tiny, {":exceed_waves"});
     },
     "waves.dat:38: expected a real number, found \"abc\""},
    {"NaN in a frame", oswell_case, line("waves.dat", 4, "1. NaN 3. 4. 5. 6."),
     "waves.dat:5: expected a real number, found \"NaN\""},
    {"infinity in a frame", oswell_case, line("waves.dat", 4, "1. 1e39 3. 4. 5. 6."),
     "waves.dat:5: expected a real number within its range"},
    {"no number of frames", oswell_case, card(":wave_frames 3", "# none"),
     "Expected the card :wave_frames"},
    {"negative number of frames", oswell_case, card(":wave_frames 3", ":wave_frames -3"),
     "Expected the card :wave_frames"},
    {"more frames than numbers", oswell_case, card(":wave_frames 3", ":wave_frames 2000000000"),
     "More than 10000000 wave frames"},
    {"no wave file", oswell_case, card(":wave_files 1", ":wave_files 0"),
     "Require at least one wave file"},
    {"fewer names than files", oswell_case, card(":wave_files 1", ":wave_files 2"),
     "Expected 2 file names behind :wave_files, found 1"},
    {"far fewer names than files", oswell_case, card(":wave_files 1", ":wave_files 3000000"),
     "Expected 3000000 file names behind :wave_files, found 1"},
    {"no origin", oswell_case, card(":wave_x_origin -50.", "# none"), "Need wave grid origin"},
    {"no angle", oswell_case, card(":wave_grid_angle 0.", "# none"), "Need wave grid angle"},
    {"unknown form", oswell_case, card(":wave_format oswell", ":wave_format waves"),
     "WAVE_FILE type not supported"},
    // Simulation and depth file.
    {"no simulation file named", simulation_case, card(":wave_sim_file FOLDER/waves.sim", "# none"),
     "Require RVS-Wave simulation file name"},
    {"simulation file missing", simulation_case, missing("waves.sim"), "Cannot open .*waves.sim"},
    {"simulation file empty", simulation_case, keep("waves.sim", 0), "waves.sim:1: .*end of the file"},
    {"simulation file a folder", simulation_case, folder("waves.sim"),
     "waves.sim.*not a regular file"},
    {"letters for the origin", simulation_case, line("waves.sim", 0, "grid -50. here 0."),
     "waves.sim:1: expected a real number, found \"here\""},
    {"NaN for the angle", simulation_case, line("waves.sim", 0, "grid -50. -50. NaN"),
     "waves.sim:1: expected a real number, found \"NaN\""},
    {"no depth file named", simulation_case, keep("waves.sim", 2),
     "Depth file name not found in simulation file"},
    {"depth file name blank", simulation_case, line("waves.sim", 2, "DEP  "),
     "Depth file name not found in simulation file"},
    {"depth file missing", simulation_case, missing("waves.dep"), "Cannot open file .*waves.dep"},
    {"depth file empty", simulation_case, keep("waves.dep", 0), "waves.dep:1: .*end of the file"},
    {"depth file a folder", simulation_case, folder("waves.dep"), "waves.dep.*not a regular file"},
    {"depth head too short", simulation_case, line("waves.dep", 0, "6 6 100."),
     "waves.dep:1: .*end of the file"},
    {"negative counts in the depth file", simulation_case, line("waves.dep", 0, "-1 6 100. 0."),
     "waves.dep:1: .*-1 by 6"},
    {"negative cells in the depth file", simulation_case, line("waves.dep", 0, "6 6 -100. 0."),
     "waves.dep:1: expected wave cells of positive size"},
    {"variable grid without its depths", variable_case, keep("waves.dep", 3),
     "Variable parent wave grid detected, but data not in depth file"},
    {"variable grid without sizes", variable_case, keep("waves.dep", 7),
     "Variable parent wave grid detected, but data not in depth file .*end of the file"},
    {"variable grid of 32767 cells in a short file", variable_case,
     line("waves.dep", 0, "32767 32767 100. 999."),
     "Variable parent wave grid detected, but data not in depth file"},
    {"letters in the sizes", variable_case, line("waves.dep", 8, "100. abc 4*100."),
     "Variable parent wave grid detected, but data not in depth file .*waves.dep:9: .*\"abc\""},
    {"negative sizes", variable_case, line("waves.dep", 8, "100. -1. 4*100."),
     "waves.dep:9: expected wave cells of positive size"},
    // Several files, breaking, nested.
    {"dimensions of the first file", nested_case, line("a.dat", 0, "6 5 100."),
     " \\*\\*\\* DIMENSION ERROR IN OSWELL FILE .*a.dat \\*\\*\\* "},
    {"dimensions of the second file", nested_case, line("b.dat", 0, "7 6 100."),
     " \\*\\*\\* DIMENSION ERROR IN OSWELL FILE .*b.dat \\*\\*\\* "},
    {"dimensions of a breaking file", nested_case, line("abreak.dat", 0, "5 6 100."),
     " \\*\\*\\* DIMENSION ERROR IN OSWELL FILE .*abreak.dat \\*\\*\\* "},
    {"dimensions of a nested file", nested_case, line("na.dat", 0, "5 6 100."),
     " \\*\\*\\* DIMENSION ERROR IN OSWELL FILE .*na.dat \\*\\*\\* "},
    {"second file missing", nested_case, missing("b.dat"), "Cannot open file .*b.dat"},
    {"first file a frame short", nested_case, keep("a.dat", 20), "End-of-file \\(waves\\)"},
    {"breaking file cut off", nested_case, keep("abreak.dat", 5), "End-of-file \\(breaking\\)"},
    {"nested file cut off", nested_case, keep("na.dat", 12), "End-of-file \\(nested waves\\)"},
    {"nested breaking file cut off", nested_case, keep("nabreak.dat", 5),
     "End-of-file \\(nested breaking\\)"},
    {"no nested simulation file named", nested_case,
     card(":wave_sim_file_2 FOLDER/nest.sim", "# none"),
     "Require RVS-Wave simulation file name \\(nested\\)"},
    {"no nested depth file named", nested_case, keep("nest.sim", 1),
     "Depth file name not found in simulation file \\(nested\\)"},
    {"nested variable grid without data", nested_case, line("nest.dep", 0, "6 6 100. 999."),
     "Variable nested wave grid detected, but data not in depth file"},
    {"nested names missing", nested_case, card("FOLDER/nbbreak.dat", "# none"),
     "Expected 8 file names behind :wave_files, found 7"},
    // "swan", commands.
    {"no command file named", swan_case, card(":wave_swan_file FOLDER/waves.swn", "# none"),
     "Need SWAN input filename"},
    {"command file missing", swan_case, missing("waves.swn"), "Cannot open file .*waves.swn"},
    {"command file empty", swan_case, keep("waves.swn", 0), "Premature EndOfFile encountered"},
    {"command file a folder", swan_case, folder("waves.swn"), "waves.swn.*not a regular file"},
    {"no STOP", swan_case, keep("waves.swn", 10), "waves.swn:10: expected the command STOP"},
    {"no STOP behind a continuation", swan_case, line("waves.swn", 10, "COMPUTE &"),
     "waves.swn:11: expected the command STOP"},
    {"curvilinear grid", swan_case, line("waves.swn", 3, "CGRID CURVILINEAR 5 5 CIRCLE 36"),
     "SWAN curvilinear grid - not supported"},
    {"no CGRID", swan_case, line("waves.swn", 3, "$"), "waves.swn: no CGRID command found"},
    {"CGRID without numbers", swan_case, line("waves.swn", 3, "CGRID REG"),
     "waves.swn:4: expected the x origin of the grid, found \"\""},
    {"letters in CGRID", swan_case, line("waves.swn", 3, "CGRID REG -50. x 0. 500. 500. 5 5"),
     "waves.swn:4: expected the y origin of the grid, found \"x\""},
    {"CGRID cut off", swan_case, line("waves.swn", 3, "CGRID REG -50. -50. 0. 500. 500. 5"),
     "waves.swn:4: expected a number of meshes, found \"\""},
    {"half a mesh", swan_case, line("waves.swn", 3, "CGRID REG -50. -50. 0. 500. 500. 5.5 5"),
     "waves.swn:4: expected a number of meshes, found \"5.5\""},
    {"negative meshes", swan_case, line("waves.swn", 3, "CGRID REG -50. -50. 0. 500. 500. -5 5"),
     "waves.swn:4: expected a grid of 1 to 32766 meshes"},
    {"too many meshes", swan_case,
     line("waves.swn", 3, "CGRID REG -50. -50. 0. 500. 500. 5 2000000000"),
     "waves.swn:4: expected a grid of 1 to 32766 meshes"},
    {"far more meshes than the files hold", swan_case,
     line("waves.swn", 3, "CGRID REG -50. -50. 0. 500. 500. 5 32766"),
     "End-of-file SWAN \\(waves\\)"},
    {"NaN length", swan_case, line("waves.swn", 3, "CGRID REG -50. -50. 0. NaN 500. 5 5"),
     "waves.swn:4: expected the length of the grid, found \"nan\""},
    {"infinite width", swan_case, line("waves.swn", 3, "CGRID REG -50. -50. 0. 500. 1e39 5 5"),
     "waves.swn:4: expected the width of the grid, found \"1e39\""},
    {"layout without a number", swan_case, line("waves.swn", 6, "BLOCK 'C' NOHEAD 'd' LAYOUT"),
     "waves.swn:7: expected a layout, found \"\""},
    {"layout in letters", swan_case, line("waves.swn", 6, "BLOCK 'C' NOHEAD 'd' LAYOUT DIR"),
     "waves.swn:7: expected a layout, found \"dir\""},
    {"other layout", swan_case, line("waves.swn", 6, "BLOCK 'C' NOHEAD 'd' LAYOUT 4 DIR"),
     "IDLA value not supported in SWAN input file"},
    {"bad output interval", swan_case,
     line("waves.swn", 6, "BLOCK 'C' NOHEAD 'd' LAYOUT 3 DIR OUTPUT 20000101.000000 x HR"),
     "waves.swn:7: expected an output interval, found \"x\""},
    {"bad output unit", swan_case,
     line("waves.swn", 6, "BLOCK 'C' NOHEAD 'd' LAYOUT 3 DIR OUTPUT 20000101.000000 1 week"),
     "waves.swn:7: expected a unit of time"},
    {"no COMPUTE", swan_case,
     [](WaveCase& c) {
       Lines& lines = c.files["waves.swn"];
       lines.erase(lines.begin() + 7, lines.begin() + 10);
     },
     "waves.swn: no COMPUTE command found"},
    {"no date", swan_case, line("waves.swn", 8, "COMPUTE STAT today"),
     "waves.swn:9: expected a date yyyymmdd.hhmmss, found \"today\""},
    {"month 13", swan_case, line("waves.swn", 8, "COMPUTE STAT 20001301.000000"),
     "waves.swn:9: expected a date yyyymmdd.hhmmss"},
    {"day 0", swan_case, line("waves.swn", 8, "COMPUTE STAT 20000100.000000"),
     "waves.swn:9: expected a date yyyymmdd.hhmmss"},
    {"letters in a date", swan_case, line("waves.swn", 8, "COMPUTE STAT 2000o101.000000"),
     "waves.swn:9: expected a date yyyymmdd.hhmmss"},
    {"run without an end", swan_case, line("waves.swn", 8, "COMPUTE NONST 20000101.000000 1 HR"),
     "waves.swn:9: expected a date yyyymmdd.hhmmss, found \"\""},
    {"run without a unit", swan_case, line("waves.swn", 8, "COMPUTE NONST 20000101.000000 1"),
     "waves.swn:9: expected a unit of time"},
    {"step of 0", swan_case,
     line("waves.swn", 8, "COMPUTE NONST 20000101.000000 0 HR 20000102.000000"),
     "waves.swn:9: expected a positive time step"},
    {"end before the start", swan_case,
     line("waves.swn", 8, "COMPUTE NONST 20000102.000000 1 HR 20000101.000000"),
     "waves.swn:9: expected a positive time step and an end after the start"},
    {"far too many frames", swan_case,
     line("waves.swn", 8, "COMPUTE NONST 20000101.000000 1e-9 SEC 20000102.000000"),
     "waves.swn:9: expected 1 to 10000000 frames"},
    // "swan", values.
    {"heights missing", swan_case, missing("hs.blk"), "Cannot open file .*hs.blk"},
    {"heights empty", swan_case, keep("hs.blk", 0), "End-of-file SWAN \\(waves\\)"},
    {"heights a folder", swan_case, folder("hs.blk"), "hs.blk.*not a regular file"},
    {"heights cut off", swan_case, keep("hs.blk", 3), "End-of-file SWAN \\(waves\\)"},
    {"first heights cut off with exceed_waves", swan_case,
     [](WaveCase& c) {
       c.files["hs.blk"].resize(3);
       add_cards(c.tiny, {":exceed_waves"});
     },
     "End-of-file SWAN \\(waves\\)"},
    {"second periods cut off", swan_case, keep("per.blk", 8), "End-of-file SWAN \\(waves\\)"},
    {"breaking cut off", swan_breaking_case, keep("diss.blk", 5), "End-of-file SWAN \\(breaking\\)"},
    {"no name for the breaking", swan_breaking_case, card("FOLDER/diss.blk", "# none"),
     "Expected 4 file names behind :wave_files, found 3"},
    {"heads between the rows", swan_case, line("hs.blk", 1, "% Run: 01"),
     "hs.blk:2: expected a real number, found \"%\""},
    {"stars for a number", swan_case, line("dir.blk", 2, "1. ****** 3. 4. 5. 6."),
     "dir.blk:3: expected a real number, found"},
    {"NaN in the periods", swan_case, line("per.blk", 0, "1. NaN 3. 4. 5. 6."),
     "per.blk:1: expected a real number, found \"NaN\""},
    // "swan", mesh.
    {"wave mesh missing", swan_mesh_case, missing("swan.14"), "Cannot open file .*swan.14"},
    {"wave mesh empty", swan_mesh_case, keep("swan.14", 0), "swan.14:1: .*end of the file"},
    {"wave mesh a folder", swan_mesh_case, folder("swan.14"), "swan.14.*not a regular file"},
    {"wave mesh ends in the nodes", swan_mesh_case, keep("swan.14", 4), "swan.14:4: .*end of the file"},
    {"wave mesh ends in the elements", swan_mesh_case, keep("swan.14", 7),
     "swan.14:7: .*end of the file"},
    {"letters in a node", swan_mesh_case, line("swan.14", 3, "2 x -100. 5."),
     "swan.14:4: expected a real number, found \"x\""},
    {"NaN in a node", swan_mesh_case, line("swan.14", 3, "2 NaN -100. 5."),
     "swan.14:4: expected a real number"},
    {"absurd counts", swan_mesh_case, line("swan.14", 1, "2000000000 4"),
     "swan.14:2: expected numbers of elements and nodes that the file holds"},
    {"negative counts", swan_mesh_case, line("swan.14", 1, "2 -4"), "swan.14:2: expected numbers"},
    {"node twice", swan_mesh_case, line("swan.14", 3, "1 900. -100. 5."),
     "swan.14:4: second line of node 1"},
    {"node beyond the count", swan_mesh_case, line("swan.14", 3, "5 900. -100. 5."),
     "swan.14:4: expected node from 1 to 4, found 5"},
    {"node of an element beyond the count", swan_mesh_case, line("swan.14", 6, "1 3 1 2 9"),
     "swan.14:7: expected node from 1 to 4, found 9"},
    {"clockwise element", swan_mesh_case, line("swan.14", 6, "1 3 1 3 2"),
     "Element direction \\(SWAN\\) error"},
    {"mesh values cut off", swan_mesh_case, line("hs.blk", 0, "1. 2."),
     "End-of-file SWAN \\(waves\\)"},
    {"letters in mesh values", swan_mesh_case, line("hs.blk", 0, "1. x 2. 3."),
     "hs.blk:1: expected a real number, found \"x\""},
    // "lagoon"
    {"no period", lagoon_case, card(":lagoon_wave_period 6.", "# none"), "Need Lagoon wave period"},
    {"height missing", lagoon_case, missing("height.r2s"), "Cannot open file .*height.r2s"},
    {"height empty", lagoon_case, keep("height.r2s", 0), "Premature EndOfFile encountered"},
    {"height a folder", lagoon_case, folder("height.r2s"), "height.r2s.*not a regular file"},
    {"header without an end", lagoon_case, keep("height.r2s", 8),
     "Premature EndOfFile encountered"},
    {"header key without a value", lagoon_case, line("height.r2s", 6, ":xCount"),
     "ERROR in line: :xCount"},
    {"letters in the header", lagoon_case, line("height.r2s", 6, ":xCount six"),
     "ERROR in line: :xCount six\n.*height.r2s:7: expected a header line"},
    {"NaN in the header", lagoon_case, line("height.r2s", 3, ":xOrigin NaN"),
     "ERROR in line: :xOrigin NaN"},
    {"numbers in the header", lagoon_case, line("height.r2s", 6, "6 6"), "ERROR in line: 6 6"},
    {"header key missing", lagoon_case, line("height.r2s", 6, "# none"),
     "height.r2s:11: expected \":xcount\" before it"},
    {"negative count", lagoon_case, line("height.r2s", 6, ":xCount -6"),
     "height.r2s:11: expected a wave grid of 1 to 32767 cells a side, found -6 by 6"},
    {"absurd count", lagoon_case, line("height.r2s", 6, ":xCount 2000000000"),
     "height.r2s:11: .*2000000000"},
    {"far more cells than the file holds", lagoon_case, line("height.r2s", 7, ":yCount 32767"),
     "height.r2s:11|direction.r2v:11: expected a grid of 6 by 32767"},
    {"negative cells", lagoon_case, line("height.r2s", 8, ":xDelta -100."),
     "height.r2s:11: expected wave cells of positive size"},
    {"heights cut off", lagoon_case, keep("height.r2s", 14), "End-of-file Lagoon \\(waves\\)"},
    {"second component missing", lagoon_case, keep("direction.r2v", 17),
     "End-of-file Lagoon \\(waves\\)"},
    {"letters in the heights", lagoon_case, line("height.r2s", 12, "1. 2. x 4. 5. 6."),
     "height.r2s:13: expected a real number, found \"x\""},
    {"direction of another size", lagoon_case, line("direction.r2v", 6, ":xCount 5"),
     "direction.r2v:11: expected a grid of 6 by 6 as in .*height.r2s\", found 5 by 6"},
    {"direction file missing", lagoon_case, missing("direction.r2v"), "Cannot open .*direction.r2v"},
    {"breaking cut off", lagoon_breaking_case, keep("break.r2s", 14),
     "End-of-file Lagoon \\(breaking\\)"},
    // "hyfs"
    {"no datasets named", hyfs_default_case, card(":wave_file_hyfs FOLDER/waves.h5", "# none"),
     "Need wave filename"},
    {"dataset file missing", hyfs_default_case, [](WaveCase& c) { c.write_dataset = nullptr; },
     "HF_OPEN_FILE\\(OSWELL\\) error"},
    {"dataset file a text", hyfs_default_case,
     [](WaveCase& c) {
       c.write_dataset = nullptr;
       c.files["waves.h5"] = {"no dataset"};
     },
     "HF_OPEN_FILE\\(OSWELL\\) error"},
    {"dataset file a folder", hyfs_default_case, folder("waves.h5"),
     "HF_OPEN_FILE\\(OSWELL\\) error"},
    {"no properties", hyfs_default_case, datasets([](WaveDatasets& d) { d.no_header = true; }),
     "\\(NX\\) error"},
    {"negative NX", hyfs_default_case, datasets([](WaveDatasets& d) { d.NX = -6; }),
     "waves.h5: expected a wave grid of 1 to 32767 cells a side, found -6 by 6"},
    {"NX of another grid", hyfs_default_case, datasets([](WaveDatasets& d) { d.NX = 7; }),
     "\\*\\*\\* The number of nodes in the OSWELL HYFS file does not match the header data \\*\\*\\*"},
    {"NaN cells", hyfs_default_case,
     datasets([](WaveDatasets& d) { d.cell = std::nanf(""); }),
     "waves.h5: expected wave cells of positive size"},
    {"NaN angle", hyfs_default_case,
     datasets([](WaveDatasets& d) { d.angle = std::nanf(""); }),
     "waves.h5: expected a finite origin and angle"},
    {"no directions", hyfs_default_case,
     datasets([](WaveDatasets& d) { d.direction_path = "Datasets/Other"; }),
     "HF_OPEN_GROUP\\(OSWELL-Q\\) error"},
    {"fewer directions", hyfs_default_case,
     datasets([](WaveDatasets& d) { d.direction_frames = 2; }),
     "\\*\\*\\* The number of time steps in the H and Q parts of the OSWELL HYFS file do not "
     "match\\*\\*\\*"},
    {"no frames", hyfs_default_case,
     datasets([](WaveDatasets& d) { d.frames = d.direction_frames = 0; }),
     "HF_GET_DATASET_NUM_TIMES\\(OSWELL-H\\) error"},
    {"NaN heights", hyfs_default_case,
     datasets([](WaveDatasets& d) { d.H = constant(std::nanf("")); }),
     "Wave dataset \"Datasets/Wave Height\", frame 1: expected 36 finite numbers"},
    {"no nested datasets named", hyfs_default_case,
     [](WaveCase& c) { add_cards(c.tiny, {":nested"}); }, "Need nested "},
    {"nested datasets missing", hyfs_default_case,
     [](WaveCase& c) { add_cards(c.tiny, {":nested", ":wave_file_2_hyfs FOLDER/none.h5"}); },
     "HF_OPEN_FILE\\(OSWELL2\\) error"},
    {"nested datasets of other frames", hyfs_default_case,
     [](WaveCase& c) {
       add_cards(c.tiny, {":nested", ":wave_file_2_hyfs FOLDER/nest.h5"});
       c.write_dataset = [](const TemporaryFolder& f) {
         WaveDatasets d;
         write_wave_datasets(f.path("waves.h5"), d);
         d.frames = d.direction_frames = 2;
         write_wave_datasets(f.path("nest.h5"), d);
       };
     },
     "\\*\\*\\* Number of frames in parent and nested OSWELL HYFS files do not match"},
    {"nested datasets of another step", hyfs_default_case,
     [](WaveCase& c) {
       add_cards(c.tiny, {":nested", ":wave_file_2_hyfs FOLDER/nest.h5"});
       c.write_dataset = [](const TemporaryFolder& f) {
         WaveDatasets d;
         write_wave_datasets(f.path("waves.h5"), d);
         d.step = 3600.1;
         write_wave_datasets(f.path("nest.h5"), d);
       };
     },
     "\\*\\*\\* Time steps in the nested and parent OSWELL HYFS files do not match \\*\\*\\*"},
};

class BadWaveInput : public testing::TestWithParam<BadInput> {};

TEST_P(BadWaveInput, IsToldAndStopsTheRun) {
  WaveCase c = GetParam().good();
  GetParam().damage(c);
  EXPECT_EXIT(
      {
        WaveRun r(c, true);
        r.open();
        for (int k = 1; k <= 20; ++k) r.at(0.1 * k * hour);
        std::fprintf(stderr, "went through\n");
        std::_Exit(7);
      },
      testing::ExitedWithCode(0), GetParam().message);
}

std::string test_name(const testing::TestParamInfo<BadInput>& info) {
  std::string name = std::to_string(info.index) + "_";
  for (const char c : std::string(info.param.what)) {
    name += std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Waves, BadWaveInput, testing::ValuesIn(bad_inputs), test_name);

// What is not damaged runs: the table above fails for its damage only.
TEST(BadWaveInput, UndamagedCasesRun) {
  const std::array<WaveCase (*)(), 9> cases = {
      oswell_case,        simulation_case, variable_case,        nested_case,      swan_case,
      swan_breaking_case, swan_mesh_case,  lagoon_breaking_case, hyfs_default_case};
  for (const auto good : cases) {
    WaveRun r(good());
    r.open();
    for (int k = 1; k <= 20; ++k) r.at(0.1 * k * hour);
    EXPECT_GT(r.height(2, 2), 0.0f);
  }
}

}  // namespace
}  // namespace dfl
