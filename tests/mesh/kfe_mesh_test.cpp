#include "mesh/kfe_mesh.h"

#include <gtest/gtest.h>

#include "mesh/find_element.h"
#include "mesh/model_files.h"

namespace dfl {
namespace {

// A square of two triangles with a fifth node below its first.
const char* const square =
    "mesh of the model\n"
    "E4T 2 1 3 4 5 9\n"
    "  E4T\t1\t1 2,3\t0 9 rest\r\n"
    "ND 5 0 0 1.0D+01\n"
    "ND 3 1 1 -3.5\n"
    "ND 1 0.123456789012 0 1\n"
    "ND 2 1 0 2\n"
    "ND\t4 0 1 4\n"
    "ENDDS and more\n";
const char* const faces = "codes\n2 0 32767 -32768 3 rest\n1 1 0\n 0 0\n";

void kfe_run(RunState& run, const test::TemporaryFolder& folder, const std::string& mesh,
             const std::string& codes, bool to_stderr = false) {
  test::quiet(run, folder.path("run"), to_stderr);
  run.settings.mesh_file = folder.write("mesh.kfe", mesh);
  run.settings.bc_file = folder.write("mesh.bc", codes);
  run.settings.neighbor_file = folder.path("mesh.nei");
}

TEST(KfeMesh, NumbersOfTheLinesDecideTheEntries) {
  const test::TemporaryFolder folder;
  RunState run;
  run.settings.morphology = true;
  kfe_run(run, folder, square, faces);
  run.messages.echo_file = std::fopen(folder.path("echo").c_str(), "w");
  READ_KFE_MESH(run);
  std::fclose(run.messages.echo_file);
  EXPECT_EQ(test::read_text(folder.path("echo"))
                .rfind("Input Mesh\n  Elements:        2\n  Nodes:           5\n", 0),
            0U);
  const MeshState& mesh = run.mesh;
  EXPECT_EQ(mesh.Xnode(1), 0.123456789012);
  EXPECT_EQ(mesh.DEPTHnode(3), -3.5f);
  EXPECT_EQ(run.sediment.DEPTHstart(5), 10.0f);
  EXPECT_EQ(run.sediment.BEDlevel(4), 4.0f);
  EXPECT_EQ(mesh.ELnode2(1), 2);
  EXPECT_EQ(mesh.ELnode3(2), 4);
  EXPECT_EQ(run.grid.ELnode4(1), 0);
  EXPECT_EQ(run.grid.ELnode4(2), 5);
  const int codes[2][4] = {{1, 0, 0, 0}, {0, 32767, -32768, 3}};
  for (int e = 1; e <= 2; ++e) {
    for (int k = 1; k <= 4; ++k) EXPECT_EQ(run.grid.FACEbc(e, k), codes[e - 1][k - 1]);
  }
  // Triangles of the first three nodes, ready for searches, without boundaries.
  EXPECT_FLOAT_EQ(mesh.AREAelem(1), 0.5f * (1.0f - 0.123456789f));
  EXPECT_EQ(FIND_ELEMENT(mesh, 0.2, 0.8), 2);
  EXPECT_EQ(mesh.NEIGHcount(1), 1);
  EXPECT_EQ(mesh.NUMopen + mesh.NUMland, 0);
  EXPECT_FALSE(is_true(mesh.OPENelem(1)) || is_true(mesh.LANDelem(1)));
}

TEST(KfeMesh, ForeignWordsInsideTheLinesAreTakenByTheirPlaceAndTold) {
  const test::TemporaryFolder folder;
  RunState run;
  // Of three element lines the second is not counted, yet read; the third counts, yet its place is
  // that of a node. Its number is that of the node line that is never reached.
  kfe_run(run, folder,
          "head\nE4T 1 1 2 3 0 0\ne4t 2 1 3 4 0 0\nE4T 4 0 1 8 7 6\n"
          "ND 1 0 0 5\nND 2 1 0 5\nND 3 1 1 5\nND 4 0 0.5 5\n",
          "codes\n1 0 0 0 0\n2 0 0 0 0\n");
  run.messages.echo_file = std::fopen(folder.path("echo").c_str(), "w");
  READ_KFE_MESH(run);
  std::fclose(run.messages.echo_file);
  EXPECT_EQ(run.mesh.NUMelem, 2);
  EXPECT_EQ(run.mesh.Ynode(4), 1.0);
  EXPECT_EQ(run.mesh.DEPTHnode(4), 8.0f);
  EXPECT_NE(test::read_text(folder.path("echo"))
                .find("mesh.kfe:3: the line of \"e4t\" stands where one of E4T has to stand"),
            std::string::npos);
}

TEST(KfeMeshDeathTest, BadFilesStopWithPlaceAndFault) {
  const std::string head = "head\n", element = "E4T 1 1 2 3 0 0\n",
                    nodes = "ND 1 0 0 5\nND 2 1 0 5\nND 3 1 1 5\n";
  const std::string good = head + element + nodes, codes = "codes\n1 0 0 0 0\n";
  struct Case {
    std::string mesh, codes;
    const char* message;
  };
  const Case cases[] = {
      {"", codes, "mesh.kfe"},
      {head, codes, "expected lines that begin with E4T, found none"},
      {head + nodes, codes, "expected lines that begin with E4T, found none"},
      {head + element, codes, "expected lines that begin with ND, found none"},
      {head + "E4T one 1 2 3 0 0\n" + nodes, codes,
       "mesh.kfe:2: expected an integer, found \"one\""},
      {head + "E4T 1 1 2 3\n" + nodes, codes, "mesh.kfe:2: expected an integer, found the end"},
      {head + "E4T\n" + nodes, codes, "mesh.kfe:2: expected an integer, found the end"},
      {head + "E4T 1 1 2 3 0\n" + nodes, codes, "mesh.kfe:2: expected .*found the end"},
      {head + "E4T 1 1 2 4 0 0\n" + nodes, codes, "mesh.kfe:2: expected node from 1 to 3, found 4"},
      {head + "E4T 1 0 2 3 0 0\n" + nodes, codes, "mesh.kfe:2: expected node from 1 to 3, found 0"},
      {head + "E4T 1 , 2 3 0 0\n" + nodes, codes, "mesh.kfe:2: expected node from 1 to 3, found"},
      {head + "E4T 1 1 2 3 4 0\n" + nodes, codes,
       "mesh.kfe:2: expected fourth node from 0 to 3, found 4"},
      {head + "E4T 2 1 2 3 0 0\n" + nodes, codes,
       "mesh.kfe:2: expected element from 1 to 1, found 2"},
      {head + element + element + nodes, codes, "mesh.kfe:3: second line of element 1"},
      {head + element + "ND 1 0 0 5\nND 2 1 0 5\nND 2 1 1 5\n", codes,
       "mesh.kfe:5: second line of node 2"},
      {head + element + "ND 1 0 0 5\nND 2 1 zero 5\nND 3 1 1 5\n", codes,
       "mesh.kfe:4: expected a real number, found \"zero\""},
      {head + element + "ND 1 0 0 5\nND 2 1 0 5\nND 3 1\n 1 5\n", codes,
       "mesh.kfe:5: expected a real number, found the end"},
      {head + element + "ND 1 0 0 5\n\nND 2 1 0 5\nND 3 1 1 5\n", codes,
       "mesh.kfe:4: expected an integer"},
      {head + "E4T 1 1 3 2 0 0\n" + nodes, codes, "ELEMENT not counter-clockwise     1"},
      {good, "", "mesh.bc"},
      {good, "codes\n", "mesh.bc:.*expected an integer, found the end"},
      {good, "codes\n1 0 0 0\n", "mesh.bc:.*expected an integer, found the end"},
      {good, "codes\n2 0 0 0 0\n", "mesh.bc:2: expected element from 1 to 1, found 2"},
      {good, "codes\n1 0 0 bed 0\n", "mesh.bc:2: expected an integer, found \"bed\""},
      {good, "codes\n1 0 0 40000 0\n", "mesh.bc:2: expected .*40000"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.mesh + "-----\n" + c.codes);
    const test::TemporaryFolder folder;
    RunState run;
    kfe_run(run, folder, c.mesh, c.codes, true);
    EXPECT_EXIT(READ_KFE_MESH(run), testing::ExitedWithCode(0), c.message);
  }
  const test::TemporaryFolder folder;
  RunState run;
  kfe_run(run, folder, good, codes, true);
  for (std::string* file : {&run.settings.bc_file, &run.settings.mesh_file}) {
    for (const char* name : {"missing", "."}) {
      *file = folder.path(name);
      EXPECT_EXIT(READ_KFE_MESH(run), testing::ExitedWithCode(0), "ERROR: .*") << name;
    }
  }
}

}  // namespace
}  // namespace dfl
