// Every wave input in every broken form: each gives a message that tells what is wrong and where,
// and none crashes (the sanitizer build runs the same table).

#include <gtest/gtest.h>

#include "control/text_tools.h"
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

using MakeCase = WaveCase (*)();
using Damage = std::function<void(WaveCase&)>;

const std::map<std::string, MakeCase> good_cases = {
    {"oswell", oswell_case},
    {"simulation", simulation_case},
    {"variable", variable_case},
    {"nested", nested_case},
    {"swan", swan_case},
    {"swan_breaking", swan_breaking_case},
    {"swan_mesh", swan_mesh_case},
    {"lagoon", lagoon_case},
    {"lagoon_breaking", lagoon_breaking_case},
    {"hyfs", hyfs_default_case},
};

// Damages of a file of a case, and the regular expression of the message that each gives:
//   5 | text | message    this text in line 5
//   cut 1 30 | message    only so many lines are left; "exceeding": with the card exceed_waves
//   lost                  the file is missing, or a folder
//   card | text | message in the control file: this text for the card
// In a message "@" is the name of the file, "#" at its beginning file and line.
const char* const damages = R"(
oswell waves.dat
  lost
  cut 0 | @:1: .*end of the file
  cut 1 2 12 30 | End-of-file \(waves\)
  cut 12 exceeding | End-of-file \(waves\)
  1 | 6 6 | @:2: expected a real number, found "frame"
  1 | 6 x 100. | #expected an integer, found "x"
  1 | -6 6 100. | #expected a wave grid of 1 to 32767 cells a side, found -6 by 6
  1 | 6 0 100. | #.*6 by 0
  1 | 6 40000 100. | #.*40000
  1 | 6 9000000000 100. | #expected an integer within its range
  1 | 32767 32767 100. | @:.*expected a real number|End-of-file \(waves\)
  1 | 6 6 0. | #expected wave cells of positive size
  5 | 1. 2. x. 4. 5. 6. | #expected a real number, found "x."
  5 | 1. 2. 3. word 4. 5. 6. | #expected a real number, found "word"
  38 | 1. 2. 3. 4. 5. abc | #expected a real number, found "abc"
  5 | 1. NaN 3. 4. 5. 6. | #expected a real number, found "NaN"
  5 | 1. 1e39 3. 4. 5. 6. | #expected a real number within its range
simulation waves.sim
  lost
  cut 0 | @:1: .*end of the file
  cut 2 | Depth file name not found in simulation file
  1 | grid -50. here 0. | #expected a real number, found "here"
  1 | grid -50. -50. NaN | #expected a real number, found "NaN"
  3 | DEP   | Depth file name not found in simulation file
simulation waves.dep
  lost
  cut 0 | @:1: .*end of the file
  1 | 6 6 100. | #.*end of the file
  1 | -1 6 100. 0. | #.*-1 by 6
  1 | 6 6 -100. 0. | #expected wave cells of positive size
variable waves.dep
  cut 3 | Variable parent wave grid detected, but data not in depth file
  cut 7 | Variable parent wave grid detected, but data not in depth file .*end of the file
  1 | 32767 32767 100. 999. | Variable parent wave grid detected, but data not in depth file
  9 | 100. abc 4*100. | Variable parent wave grid detected, .*@:9: .*"abc"
  9 | 100. -1. 4*100. | #expected wave cells of positive size
nested a.dat
  cut 20 | End-of-file \(waves\)
  1 | 6 5 100. |  \*\*\* DIMENSION ERROR IN OSWELL FILE .*@ \*\*\* 
nested b.dat
  lost
  1 | 7 6 100. |  \*\*\* DIMENSION ERROR IN OSWELL FILE .*@ \*\*\* 
nested abreak.dat
  cut 5 | End-of-file \(breaking\)
  1 | 5 6 100. |  \*\*\* DIMENSION ERROR IN OSWELL FILE .*@ \*\*\* 
nested na.dat
  cut 12 | End-of-file \(nested waves\)
  1 | 5 6 100. |  \*\*\* DIMENSION ERROR IN OSWELL FILE .*@ \*\*\* 
nested nest.dep
  1 | 6 6 100. 999. | Variable nested wave grid detected, but data not in depth file
nested nabreak.dat
  cut 5 | End-of-file \(nested breaking\)
nested nest.sim
  cut 1 | Depth file name not found in simulation file \(nested\)
swan waves.swn
  lost
  cut 0 | Premature EndOfFile encountered
  cut 10 | @:10: expected the command STOP
  11 | COMPUTE & | #expected the command STOP
  4 | CGRID CURVILINEAR 5 5 CIRCLE 36 | SWAN curvilinear grid - not supported
  4 | $ | @: no CGRID command found
  4 | CGRID REG | #expected the x origin of the grid, found ""
  4 | CGRID REG -50. x 0. 500. 500. 5 5 | #expected the y origin of the grid, found "x"
  4 | CGRID REG -50. -50. 0. 500. 500. 5 | #expected a number of meshes, found ""
  4 | CGRID REG -50. -50. 0. 500. 500. 5.5 5 | #expected a number of meshes, found "5.5"
  4 | CGRID REG -50. -50. 0. 500. 500. -5 5 | #expected a grid of 1 to 32766 meshes
  4 | CGRID REG -50. -50. 0. 500. 500. 5 2000000000 | #expected a grid of 1 to 32766 meshes
  4 | CGRID REG -50. -50. 0. 500. 500. 5 32766 | End-of-file SWAN \(waves\)
  4 | CGRID REG -50. -50. 0. NaN 500. 5 5 | #expected the length of the grid, found "nan"
  4 | CGRID REG -50. -50. 0. 500. 1e39 5 5 | #expected the width of the grid, found "1e39"
  7 | BLOCK 'C' NOHEAD 'd' LAYOUT | #expected a layout, found ""
  7 | BLOCK 'C' NOHEAD 'd' LAYOUT DIR | #expected a layout, found "dir"
  7 | BLOCK 'C' NOHEAD 'd' LAYOUT 4 DIR | IDLA value not supported in SWAN input file
  7 | BLOCK 'C' NOHEAD 'd' LAYOUT 3 DIR OUTPUT 20000101.000000 x HR | #expected an output interval
  7 | BLOCK 'C' NOHEAD 'd' LAYOUT 3 DIR OUTPUT 20000101.000000 1 week | #expected a unit of time
  9 | COMPUTE STAT today | #expected a date yyyymmdd.hhmmss, found "today"
  9 | COMPUTE STAT 20001301.000000 | #expected a date yyyymmdd.hhmmss
  9 | COMPUTE STAT 20000100.000000 | #expected a date yyyymmdd.hhmmss
  9 | COMPUTE STAT 2000o101.000000 | #expected a date yyyymmdd.hhmmss
  9 | COMPUTE NONST 20000101.000000 1 HR | #expected a date yyyymmdd.hhmmss, found ""
  9 | COMPUTE NONST 20000101.000000 1 | #expected a unit of time
  9 | COMPUTE NONST 20000101.000000 0 HR 20000102.000000 | #expected a positive time step
  9 | COMPUTE NONST 20000102.000000 1 HR 20000101.000000 | #.* an end after the start
  9 | COMPUTE NONST 20000101.000000 1e-9 SEC 20000102.000000 | #expected 1 to 10000000 frames
swan hs.blk
  lost
  cut 0 3 | End-of-file SWAN \(waves\)
  cut 3 exceeding | End-of-file SWAN \(waves\)
  2 | % Run: 01 | #expected a real number, found "%"
swan dir.blk
  3 | 1. ****** 3. 4. 5. 6. | #expected a real number, found
swan per.blk
  cut 8 | End-of-file SWAN \(waves\)
  1 | 1. NaN 3. 4. 5. 6. | #expected a real number, found "NaN"
swan_breaking diss.blk
  cut 5 | End-of-file SWAN \(breaking\)
swan_mesh swan.14
  lost
  cut 0 | @:1: .*end of the file
  cut 4 | @:4: .*end of the file
  cut 7 | @:7: .*end of the file
  4 | 2 x -100. 5. | #expected a real number, found "x"
  4 | 2 NaN -100. 5. | #expected a real number
  2 | 2000000000 4 | #expected numbers of elements and nodes that the file holds
  2 | 2 -4 | #expected numbers
  4 | 1 900. -100. 5. | #second line of node 1
  4 | 5 900. -100. 5. | #expected node from 1 to 4, found 5
  7 | 1 3 1 2 9 | #expected node from 1 to 4, found 9
  7 | 1 3 1 3 2 | Element direction \(SWAN\) error
swan_mesh hs.blk
  1 | 1. 2. | End-of-file SWAN \(waves\)
  1 | 1. x 2. 3. | #expected a real number, found "x"
lagoon height.r2s
  lost
  cut 0 8 | Premature EndOfFile encountered
  cut 14 | End-of-file Lagoon \(waves\)
  7 | :xCount | ERROR in line: :xCount
  7 | :xCount six | ERROR in line: :xCount six[[:space:]].*@:7: expected a header line
  4 | :xOrigin NaN | ERROR in line: :xOrigin NaN
  7 | 6 6 | ERROR in line: 6 6
  7 | # none | @:11: expected ":xcount" before it
  7 | :xCount -6 | @:11: expected a wave grid of 1 to 32767 cells a side, found -6 by 6
  7 | :xCount 2000000000 | @:11: .*2000000000
  8 | :yCount 32767 | @:11|direction.r2v:11: expected a grid of 6 by 32767
  9 | :xDelta -100. | @:11: expected wave cells of positive size
  13 | 1. 2. x 4. 5. 6. | #expected a real number, found "x"
lagoon direction.r2v
  lost
  cut 17 | End-of-file Lagoon \(waves\)
  7 | :xCount 5 | @:11: expected a grid of 6 by 6 as in .*height.r2s", found 5 by 6
lagoon_breaking break.r2s
  cut 14 | End-of-file Lagoon \(breaking\)
oswell control
  :wave_frames 3 | # none | Expected the card :wave_frames
  :wave_frames 3 | :wave_frames -3 | Expected the card :wave_frames
  :wave_frames 3 | :wave_frames 2000000000 | More than 10000000 wave frames
  :wave_files 1 | :wave_files 0 | Require at least one wave file
  :wave_files 1 | :wave_files 2 | Expected 2 file names behind :wave_files, found 1
  :wave_files 1 | :wave_files 3000000 | Expected 3000000 file names .*, found 1
  :wave_x_origin -50. | # none | Need wave grid origin
  :wave_grid_angle 0. | # none | Need wave grid angle
  :wave_format oswell | :wave_format waves | WAVE_FILE type not supported
simulation control
  :wave_sim_file FOLDER/waves.sim | # none | Require RVS-Wave simulation file name
nested control
  :wave_sim_file_2 FOLDER/nest.sim | # none | Require .* file name \(nested\)
  FOLDER/nbbreak.dat | # none | Expected 8 file names behind :wave_files, found 7
swan control
  :wave_swan_file FOLDER/waves.swn | # none | Need SWAN input filename
swan_breaking control
  FOLDER/diss.blk | # none | Expected 4 file names behind :wave_files, found 3
lagoon control
  :lagoon_wave_period 6. | # none | Need Lagoon wave period
hyfs control
  :wave_file_hyfs FOLDER/waves.h5 | # none | Need wave filename
)";

struct BadInput {
  std::string what;
  MakeCase good;
  Damage damage;
  std::string message;
};
void PrintTo(const BadInput& input, std::ostream* out) {
  *out << input.what;
}

Damage other_line(const std::string& file, std::size_t number, const std::string& text) {
  return [=](WaveCase& c) { c.files.at(file).at(number - 1) = text; };
}
Damage cut(const std::string& file, std::size_t lines, bool exceeding) {
  return [=](WaveCase& c) {
    ASSERT_GT(c.files.at(file).size(), lines);
    c.files.at(file).resize(lines);
    if (exceeding) add_cards(c.tiny, {":exceed_waves"});
  };
}
Damage missing(const std::string& file) {
  return [=](WaveCase& c) { ASSERT_EQ(c.files.erase(file), 1u); };
}
Damage folder(const std::string& file) {
  return [=](WaveCase& c) {
    c.files.erase(file);
    c.write_dataset = [=](const TemporaryFolder& f) {
      std::filesystem::create_directory(f.path(file));
    };
  };
}
Damage other_card(const std::string& card, const std::string& text) {
  return [=](WaveCase& c) {
    Lines& control = c.tiny.control;
    const auto place = std::find(control.begin(), control.end(), card);
    ASSERT_NE(place, control.end());
    *place = text;
  };
}
Damage datasets(const std::function<void(WaveDatasets&)>& change) {
  WaveDatasets d;
  change(d);
  return [d](WaveCase& c) { c = hyfs_case(d); };
}
Damage nested_datasets(void (*change)(WaveDatasets&)) {
  return [=](WaveCase& c) {
    add_cards(c.tiny, {":nested", ":wave_file_2_hyfs FOLDER/nest.h5"});
    c.write_dataset = [=](const TemporaryFolder& f) {
      WaveDatasets d;
      write_wave_datasets(f.path("waves.h5"), d);
      change(d);
      write_wave_datasets(f.path("nest.h5"), d);
    };
  };
}

const BadInput other_inputs[] = {
    {"waves end in a row", oswell_case,
     [](WaveCase& c) {
       cut("waves.dat", 13, false)(c);
       other_line("waves.dat", 13, "1. 2. 3.")(c);
     },
     "End-of-file \\(waves\\)"},
    {"letters are no end of the file with exceed_waves", oswell_case,
     [](WaveCase& c) {
       cut("waves.dat", 38, true)(c);
       other_line("waves.dat", 38, "1. 2. 3. 4. 5. abc")(c);
     },
     "waves.dat:38: expected a real number, found \"abc\""},
    {"no COMPUTE", swan_case,
     [](WaveCase& c) {
       Lines& lines = c.files["waves.swn"];
       lines.erase(lines.begin() + 7, lines.begin() + 10);
     },
     "waves.swn: no COMPUTE command found"},
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
     "\\*\\*\\* The number of nodes in the OSWELL HYFS file does not match the header data "
     "\\*\\*\\*"},
    {"NaN cells", hyfs_default_case, datasets([](WaveDatasets& d) { d.cell = std::nanf(""); }),
     "waves.h5: expected wave cells of positive size"},
    {"NaN angle", hyfs_default_case, datasets([](WaveDatasets& d) { d.angle = std::nanf(""); }),
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
     [](WaveCase& c) {
       add_cards(c.tiny, {":nested", ":wave_file_2_hyfs FOLDER/none.h5"});
     },
     "HF_OPEN_FILE\\(OSWELL2\\) error"},
    {"nested datasets of other frames", hyfs_default_case,
     nested_datasets([](WaveDatasets& d) { d.frames = d.direction_frames = 2; }),
     "\\*\\*\\* Number of frames in parent and nested OSWELL HYFS files do not match"},
    {"nested datasets of another step", hyfs_default_case,
     nested_datasets([](WaveDatasets& d) { d.step = 3600.1; }),
     "\\*\\*\\* Time steps in the nested and parent OSWELL HYFS files do not match \\*\\*\\*"},
};

std::vector<BadInput> bad_inputs() {
  std::vector<BadInput> inputs(std::begin(other_inputs), std::end(other_inputs));
  MakeCase good = nullptr;
  std::string file;
  for (const std::string& row : lines_of(damages)) {
    if (row.empty()) continue;
    if (row[0] != ' ') {
      const std::size_t blank = row.find(' ');
      good = good_cases.at(row.substr(0, blank));
      file = row.substr(blank + 1);
      continue;
    }
    const std::size_t bar = row.find(" | "), second_bar = row.find(" | ", bar + 1);
    const std::string first = trim(row.substr(0, bar));
    const auto add = [&](const std::string& what, const Damage& damage, std::string message,
                         std::size_t number = 0) {
      if (message[0] == '#') message.replace(0, 1, "@:" + std::to_string(number) + ": ");
      for (std::size_t at = 0; (at = message.find('@')) != std::string::npos;) {
        message.replace(at, 1, file);
      }
      inputs.push_back({file + " " + what, good, damage, message});
    };
    const auto add_text = [&](const Damage& damage, std::size_t number) {
      add(trim(row.substr(0, second_bar)), damage, row.substr(second_bar + 3), number);
    };
    const std::string text = bar == row.npos ? "" : row.substr(bar + 3, second_bar - bar - 3);
    std::istringstream words(first);
    std::string word;
    if (file == "control") {
      add_text(other_card(first, text), 0);
    } else if (first == "lost") {
      add("missing", missing(file), "Cannot open .*@");
      add("a folder", folder(file), "@.*not a regular file");
    } else if (first.rfind("cut", 0) == 0) {
      const bool exceeding = first.find("exceeding") != first.npos;
      words >> word;
      for (std::size_t lines = 0; words >> lines;) {
        add(first, cut(file, lines, exceeding), row.substr(bar + 3));
      }
    } else {
      const std::size_t number = std::stoul(first);
      add_text(other_line(file, number, text), number);
    }
  }
  return inputs;
}

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
  for (const char c : info.param.what) {
    name += std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Waves, BadWaveInput, testing::ValuesIn(bad_inputs()), test_name);

// What is not damaged runs: the table above fails for its damage only.
TEST(BadWaveInput, UndamagedCasesRun) {
  for (const auto& [name, good] : good_cases) {
    WaveRun r(good());
    r.open();
    for (int k = 1; k <= 20; ++k) r.at(0.1 * k * hour);
    EXPECT_GT(r.height(2, 2), 0.0f) << name;
  }
}

}  // namespace
}  // namespace dfl
