// Every text input of a run in every broken form: each gives a message that tells what is wrong and
// where, and none crashes (the sanitizer build runs the same table).

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>

#include "runs/tiny_run.h"

namespace dfl {
namespace {

using test::Lines;
using test::TinyCase;

struct BadInput {
  const char* what;
  void (*damage)(TinyCase&);
  const char* message;  // regular expression
};

// Names the case in the list of tests.
void PrintTo(const BadInput& input, std::ostream* out) { *out << input.what; }

void cut(Lines& lines, std::size_t keep) { lines.resize(keep); }

const BadInput bad_inputs[] = {
    // Mesh. Lines: 0 title, 1 counts, 2-26 nodes, 27-58 elements, 59 NOPE, 60 NETA, 61 NVDLL,
    // 62-66 nodes, 67 NBOU, 68 NVEL, 69 NVELL, 70-82 nodes.
    {"mesh empty", [](TinyCase& c) { c.mesh.clear(); }, "mesh.14:1: .*end of the file"},
    {"mesh ends in the counts", [](TinyCase& c) { cut(c.mesh, 1); }, "mesh.14:.*end of the file"},
    {"mesh ends in the nodes", [](TinyCase& c) { cut(c.mesh, 20); }, "mesh.14:.*"},
    {"mesh ends in a node line",
     [](TinyCase& c) {
       cut(c.mesh, 20);
       c.mesh[19] = "18 100.";
     },
     "mesh.14:.*"},
    {"mesh ends in the elements", [](TinyCase& c) { cut(c.mesh, 40); }, "mesh.14:.*"},
    {"mesh ends before its boundaries", [](TinyCase& c) { cut(c.mesh, 59); },
     "mesh.14:.*end of the file"},
    {"mesh ends in an open boundary", [](TinyCase& c) { cut(c.mesh, 64); },
     "mesh.14:.*end of the file"},
    {"mesh ends in a land boundary", [](TinyCase& c) { cut(c.mesh, 75); },
     "mesh.14:.*end of the file"},
    {"letters in the counts", [](TinyCase& c) { c.mesh[1] = "32 abc"; },
     "mesh.14:2: expected an integer, found \"abc\""},
    {"letters in a node", [](TinyCase& c) { c.mesh[4] = "3 x1 0. 5."; },
     "mesh.14:5: expected a real number, found \"x1\""},
    {"NaN in a node", [](TinyCase& c) { c.mesh[4] = "3 NaN 0. 5."; },
     "mesh.14:5: expected a real number"},
    {"1e400 in a node", [](TinyCase& c) { c.mesh[4] = "3 1e400 0. 5."; },
     "mesh.14:5: expected a real number"},
    {"negative node count", [](TinyCase& c) { c.mesh[1] = "32 -25"; }, "mesh.14:2: .*"},
    {"zero elements", [](TinyCase& c) { c.mesh[1] = "0 25"; }, "mesh.14:2: .*"},
    {"absurd element count", [](TinyCase& c) { c.mesh[1] = "2000000000 25"; }, "mesh.14:.*"},
    {"absurd node count", [](TinyCase& c) { c.mesh[1] = "32 2000000000"; }, "mesh.14:.*"},
    {"node number too large", [](TinyCase& c) { c.mesh[4] = "26 0. 0. 5."; }, "mesh.14:5: .*26"},
    {"node number zero", [](TinyCase& c) { c.mesh[4] = "0 0. 0. 5."; }, "mesh.14:5: .*"},
    {"node line twice", [](TinyCase& c) { c.mesh[4] = c.mesh[3]; }, "mesh.14:5: .*"},
    {"element number too large", [](TinyCase& c) { c.mesh[30] = "33 3 1 2 7"; }, "mesh.14:31: .*33"},
    {"element line twice", [](TinyCase& c) { c.mesh[30] = c.mesh[29]; }, "mesh.14:31: .*"},
    {"element with a node that is not there", [](TinyCase& c) { c.mesh[30] = "4 3 1 2 99"; },
     "mesh.14:31: .*99"},
    {"clockwise element", [](TinyCase& c) { c.mesh[27] = "1 3 1 7 2"; },
     "ELEMENT not counter-clockwise     1"},
    {"boundary node that is not there", [](TinyCase& c) { c.mesh[63] = "99"; }, "mesh.14:64: .*99"},
    {"negative boundary length", [](TinyCase& c) { c.mesh[61] = "-5 0"; }, "mesh.14:62: .*"},
    {"absurd boundary length", [](TinyCase& c) { c.mesh[61] = "2000000000 0"; }, "mesh.14:.*"},
    {"absurd boundary count", [](TinyCase& c) { c.mesh[59] = "2000000000"; }, "mesh.14:.*"},

    // Flow. Lines: 0 title, 1 head, 2 frame head, 3-27 values.
    {"elevation empty", [](TinyCase& c) { c.elevation.clear(); }, "flow.63:1: .*end of the file"},
    {"elevation ends in its head", [](TinyCase& c) { cut(c.elevation, 1); },
     "flow.63:.*end of the file"},
    {"elevation ends in a frame", [](TinyCase& c) { cut(c.elevation, 40); },
     "flow.63:.*end of the file"},
    {"velocity ends in a frame", [](TinyCase& c) { cut(c.velocity, 40); },
     "flow.64:.*end of the file"},
    {"velocity ends in a line",
     [](TinyCase& c) {
       cut(c.velocity, 11);
       c.velocity[10] = "8 0.1";
     },
     "flow.64:.*end of the file"},
    {"letters in an elevation", [](TinyCase& c) { c.elevation[5] = "3 abc"; },
     "flow.63:6: expected a real number, found \"abc\""},
    {"NaN in a velocity", [](TinyCase& c) { c.velocity[5] = "3 NaN 0."; },
     "flow.64:6: expected a real number"},
    {"1e400 in a velocity", [](TinyCase& c) { c.velocity[5] = "3 0. 1e400"; },
     "flow.64:6: expected a real number"},
    {"flow node too large", [](TinyCase& c) { c.velocity[5] = "26 0. 0."; }, "flow.64:6: .*26"},
    {"flow node twice", [](TinyCase& c) { c.velocity[5] = "2 0. 0."; }, "flow.64:.*"},
    {"flow for another mesh",
     [](TinyCase& c) { c.elevation = test::frames(1, 600.0, 5, 24, 0.0f, 0.0f); },
     "NUMnode error in ETA file"},
    {"velocity for another mesh",
     [](TinyCase& c) { c.velocity = test::frames(2, 600.0, 5, 24, 0.0f, 0.0f); },
     "NUMnode error in VEL file"},
    {"elevation with two values a node", [](TinyCase& c) { c.elevation[1] = "5 25 600. 10 2"; },
     "NVAR error in ETA file"},
    {"velocity with one value a node", [](TinyCase& c) { c.velocity[1] = "5 25 600. 10 1"; },
     "NVAR error in VEL file"},
    {"other interval", [](TinyCase& c) { c.velocity[1] = "5 25 300. 10 2"; },
     "Time0 error in VEL file"},
    {"other step", [](TinyCase& c) { c.velocity[1] = "5 25 600. 20 2"; }, "NStep0 error in VEL file"},
    {"other frame count", [](TinyCase& c) { c.velocity[1] = "4 25 600. 10 2"; },
     "NUMframes error in VEL file"},
    {"frame times differ", [](TinyCase& c) { c.velocity[2] = "1. 0"; },
     "Time error in ADCIRC files"},
    {"frame steps differ", [](TinyCase& c) { c.velocity[2] = "0. 1"; },
     "Time error in ADCIRC files"},
    {"flow too short", [](TinyCase& c) { c.elevation[1] = "2 25 600. 10 1";
                                         c.velocity[1] = "2 25 600. 10 2"; },
     "FLOW FILE DOES NOT RUN BEYOND STOP TIME"},
    {"negative frame count", [](TinyCase& c) { c.elevation[1] = "-5 25 600. 10 1";
                                               c.velocity[1] = "-5 25 600. 10 2"; }, "flow.63:2: .*"},
    {"absurd frame count", [](TinyCase& c) { c.elevation[1] = "2000000000 25 600. 10 1"; },
     "flow.63:.*|NUMframes error in VEL file"},

    // Sources. Lines: 0 count, 1 head, 2 row, 3 count, 4 head, 5-6 rows, 7 line, 8 area.
    {"sources empty", [](TinyCase& c) { c.sources.clear(); }, "tiny.src:1: .*end of the file"},
    {"sources end in a row", [](TinyCase& c) { cut(c.sources, 6); }, "tiny.src:.*end of the file"},
    {"sources end before the areas", [](TinyCase& c) { cut(c.sources, 8); },
     "tiny.src:.*end of the file"},
    {"letters in a source row",
     [](TinyCase& c) { c.sources[2] = "2000 1 1 0 0 10 abc 210. 2. 1. 0. 0. 5. .1 0. 1. 0. 1 1"; },
     "tiny.src:3: expected a real number, found \"abc\""},
    {"negative source count", [](TinyCase& c) { c.sources[0] = "-1"; }, "tiny.src:1: .*"},
    {"absurd source count", [](TinyCase& c) { c.sources[0] = "2000000000"; }, "tiny.src:.*"},
    {"absurd row count", [](TinyCase& c) { c.sources[4] = "2 2000000000 'sand'"; }, "tiny.src:.*"},
    {"negative row count", [](TinyCase& c) { c.sources[4] = "2 -2 'sand'"; }, "tiny.src:5: .*"},
    {"parcels without mass",
     [](TinyCase& c) {
       c.sources[2] = "2000 1 1 0 0 10 120. 210. 2. 0. 0. 0. 5. 0.0001 0. 1000. 0. -1. -1.";
     },
     "(tiny.src:3: .*)|source.*row|mass"},
    {"source off the mesh",
     [](TinyCase& c) {
       c.sources[2] = "2000 1 1 0 0 10 920. 210. 2. 1. 0. 0. 5. 0.0001 0. 1000. 0. -1. -1.";
     },
     "Instantaneous source not in domain     1     1"},
    {"point source off the mesh",
     [](TinyCase& c) {
       c.sources[6] = "2000 1 1 1 0 0 930. 180. 2. 1. 0. 0. 0.1 0.0002 0. 2650. -1. -1. -1.";
     },
     "Point source not in domain     1     2"},
    {"line source datum",
     [](TinyCase& c) {
       c.sources[7] = "1";
       c.sources.insert(c.sources.begin() + 8, "1 2 'line' seadatum");
     },
     "Line source datum unknown"},

    // Bed. Lines: 0 title, 1 counts, 2-26 nodes.
    {"bed empty", [](TinyCase& c) { c.sediments.clear(); }, "bed.txt:1: .*end of the file"},
    {"bed ends in the nodes", [](TinyCase& c) { cut(c.sediments, 10); },
     "bed.txt:.*end of the file"},
    {"bed for another mesh", [](TinyCase& c) { c.sediments[1] = "0 24"; },
     "Native sediments file error \\(NUMnode\\)"},
    {"bed with other elements", [](TinyCase& c) { c.sediments[1] = "31 25"; },
     "Native sediments file error \\(NUMelem\\)"},
    {"bed without size", [](TinyCase& c) { c.sediments[4] = "3 0. 0. 0.1 0. 0.5"; },
     "Zero grain size for D50 @ N=     3"},
    {"letters in the bed", [](TinyCase& c) { c.sediments[4] = "3 0. 0. 0.1 abc 0.5"; },
     "bed.txt:5: expected a real number, found \"abc\""},
    {"bed node too large", [](TinyCase& c) { c.sediments[4] = "26 0. 0. 0.1 0.2 0.5"; },
     "bed.txt:5: .*26"},
    {"bed node twice", [](TinyCase& c) { c.sediments[4] = c.sediments[3]; }, "bed.txt:5: .*"},

    // Control file.
    {"letters in a number", [](TinyCase& c) { test::add_cards(c, {":min_depth abc"}); },
     "tiny.pcf:18: .*abc"},
    {"card without its value", [](TinyCase& c) { test::add_cards(c, {":min_depth"}); },
     "ERROR in line: :min_depth"},
    {"line that is no card", [](TinyCase& c) { test::add_cards(c, {"min_depth 5"}); },
     "PCF file error"},
    {"no end", [](TinyCase& c) { c.control.pop_back(); }, "ERROR: Premature EndOfFile encountered"},
    {"output counter below 1", [](TinyCase& c) { test::add_cards(c, {":output_inc 0"}); },
     "output_inc"},
    {"output folder that is not there",
     [](TinyCase& c) { test::add_cards(c, {":output_prefix FOLDER/nowhere/tiny"}); },
     "nowhere/tiny"},
    {"mesh missing", [](TinyCase& c) { test::add_cards(c, {":mesh_file FOLDER/absent.14"}); },
     "absent.14"},
    {"mesh is a directory", [](TinyCase& c) { test::add_cards(c, {":mesh_file FOLDER/."}); },
     "not a regular file"},
    {"flow missing",
     [](TinyCase& c) { test::add_cards(c, {":flow_files FOLDER/a.63 FOLDER/a.64"}); }, "a.63"},
    {"sources missing", [](TinyCase& c) { test::add_cards(c, {":source_file FOLDER/a.src"}); },
     "a.src"},
    {"traps missing", [](TinyCase& c) { test::add_cards(c, {":trap_file FOLDER/Absent.trp"}); },
     "Cannot open file \".*/Absent.trp\""},
    {"traps are a directory", [](TinyCase& c) { test::add_cards(c, {":trap_file FOLDER/."}); },
     "not a regular file"},
    {"traps are another file", [](TinyCase& c) { test::add_cards(c, {":trap_file FOLDER/bed.txt"}); },
     "bed.txt:1: expected an integer, found \"sizes\""},
    {"neighbour file is a directory",
     [](TinyCase& c) { test::add_cards(c, {":neighbor_file FOLDER/."}); }, "Neighbor file .*folder"},
};

class BadInputs : public ::testing::TestWithParam<BadInput> {};

TEST_P(BadInputs, AreToldAndEndTheRun) {
  const test::TemporaryFolder folder;
  TinyCase c = test::tiny_case();
  GetParam().damage(c);
  const std::string control = test::write_case(c, folder);
  EXPECT_EXIT(
      {
        RunState run;
        test::quiet(run, folder.path("early"), true);
        run.messages.exit_code = true;
        RUN_DRIVER(run, {control});
      },
      ::testing::ExitedWithCode(1), GetParam().message);
}

std::string test_name(const ::testing::TestParamInfo<BadInput>& input) {
  std::string name = input.param.what;
  for (char& c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Table, BadInputs, ::testing::ValuesIn(bad_inputs), test_name);

}  // namespace
}  // namespace dfl
