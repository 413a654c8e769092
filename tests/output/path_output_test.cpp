#include "output/path_output.h"

#include <gtest/gtest.h>

#include "output/output_run.h"
#include "output/parcel_output.h"

namespace dfl {
namespace {

using test::TemporaryFolder;

// Two frames; parcel 3 is born with the second, parcel 2 died between them and keeps its place,
// parcel 4 lies where no position counts. The first zone line is wrapped.
constexpr const char* parcel_file =
    "VARIABLES=\"X\" \"Y\" \"ID\" \"STATE\"\n"
    "ZONE T=\"a I=9 @b @ 2000/01/02/23/59/30.000\"\n"
    ", I=2\n"
    "       1.500       2.250       1  1\n"
    "      10.000      20.000       2  1\n"
    "\n"
    "ZONE T=\"a I=9 @b @ 2000/01/03/00/00/00.500\", I=4\n"
    "      -1.500       2.250       1  0\n"
    "      10.000      20.000       2 -1\n"
    "12345678.12398765432.125       3  1\n"
    "   -1000.000       0.000       4  1\n";

constexpr const char* paths =
    "VARIABLES=\"X\" \"Y\" \"ID\" \"STATE\" \"Time\"\n"
    "ZONE T=\"1\", I=2\n"
    "        1.500000000        2.250000000        1.000000000        1.000000000              "
    "0.000\n"
    "       -1.500000000        2.250000000        1.000000000        0.000000000             "
    "30.500\n"
    "ZONE T=\"2\", I=2\n"
    "       10.000000000       20.000000000        2.000000000        1.000000000              "
    "0.000\n"
    "       10.000000000       20.000000000        2.000000000       -1.000000000             "
    "30.500\n"
    "ZONE T=\"3\", I=1\n"
    " 12345678.123000000 98765432.125000000        3.000000000        1.000000000             "
    "30.500\n";

void prepare(RunState& run, const TemporaryFolder& folder, bool to_stderr = false) {
  test::quiet(run, folder.path("run"), to_stderr);
  run.settings.elevation_output = false;
  run.settings.state_output = true;
}

TEST(WritePaths, TurnsFramesIntoTracks) {
  const TemporaryFolder folder;
  folder.write("run_particles.plt", parcel_file);
  RunState run;
  prepare(run, folder);
  run.messages.echo_file = std::fopen(folder.path("run.input").c_str(), "w");
  WRITE_PATHS(run);
  EXPECT_EQ(test::read_text(folder.path("run_paths.plt")), paths);
  std::fclose(run.messages.echo_file);
  EXPECT_EQ(test::read_text(folder.path("run.input")),
            "WARNING: 1 rows with X or Y at or below -998.9 are not in the path file\n");
}

TEST(WritePaths, BlocksOfOneParcelGiveTheSameFile) {
  const TemporaryFolder folder;
  folder.write("run_particles.plt", parcel_file);
  RunState run;
  prepare(run, folder);
  write_paths(run, 1);
  EXPECT_EQ(test::read_text(folder.path("run_paths.plt")), paths);
}

// Ids out of order, as when another column is taken for the id, and a gap between them.
TEST(WritePaths, UnorderedIdsGiveTheSameFileInAnyBlock) {
  const TemporaryFolder folder;
  folder.write("run_particles.plt",
               "VARIABLES=\"X\" \"Y\" \"ID\"\n"
               "ZONE T=\"a @ 2000/01/02/00/00/00.000\", I=4\n1 1 2000000\n2 2 -5\n3 3 7\n5 5 0\n"
               "ZONE T=\"a @ 2000/01/02/00/01/00.000\", I=1\n4 4 7\n");
  std::vector<std::string> results;
  for (const std::size_t block : {std::size_t{1}, std::size_t{1000}}) {
    RunState run;
    prepare(run, folder);
    write_paths(run, block);
    results.push_back(test::read_text(folder.path("run_paths.plt")));
  }
  EXPECT_EQ(results[0], results[1]);
  const std::vector<std::string> lines = test::lines_of(results[0]);
  ASSERT_EQ(lines.size(), 10u);
  EXPECT_EQ(lines[1], "ZONE T=\"-5\", I=1");
  EXPECT_EQ(lines[3], "ZONE T=\"0\", I=1");
  EXPECT_EQ(lines[5], "ZONE T=\"7\", I=2");
  EXPECT_EQ(lines[8], "ZONE T=\"2000000\", I=1");
}

TEST(WritePaths, ConsoleShowsProgressUnlessHosted) {
  for (const bool hosted : {false, true}) {
    const TemporaryFolder folder;
    folder.write("run_particles.plt", parcel_file);
    RunState run;
    prepare(run, folder);
    run.messages.HOSTEDmode = hosted;
    run.messages.console_out = std::fopen(folder.path("console").c_str(), "w");
    WRITE_PATHS(run);
    std::fclose(run.messages.console_out);
    const std::string shown = test::read_text(folder.path("console"));
    EXPECT_EQ(shown.rfind("Writing path file... \n", 0), 0u);
    for (const char* text : {"\rScanning frame:", "\rReading frame: ", "\rWriting parcel:"}) {
      EXPECT_EQ(shown.find(text) == std::string::npos, hosted) << text;
    }
  }
}

TEST(WritePaths, FileWithoutRowsLeavesTheHead) {
  const TemporaryFolder folder;
  folder.write("run_particles.plt",
               "VARIABLES=\"X\" \"Y\" \"ID\"\n"
               "ZONE T=\"a @ 2000/01/02/00/00/00.000\", I=0\n");
  RunState run;
  prepare(run, folder);
  WRITE_PATHS(run);
  EXPECT_EQ(test::read_text(folder.path("run_paths.plt")),
            "VARIABLES=\"X\" \"Y\" \"ID\" \"Time\"\n");
}

TEST(WritePathsDeath, BadParcelFilesAreNamedWithTheirLine) {
  struct Case {
    const char* text;
    const char* message;
  };
  const std::string head = "VARIABLES=\"X\" \"Y\" \"ID\"\n";
  const Case cases[] = {
      {"ZONE T=\"a @ 2000/01/02/00/00/00.000\", I=2\n1 2 1\n",
       "plt:3: expected a row of 3 columns, found the end of the file"},
      {"ZONE T=\"a @ 2000/01/02/00/00/00.000\", I=1\n1 x2 1\n",
       "plt:3: expected a real number, found \"x2\""},
      {"ZONE T=\"a @ 2000/01/02/00/00/00.000\", I=2000000000\n1 2\n",
       "plt:3: expected a row of 3 columns, found \"1 2\""},
      {"ZONE T=\"a @ 2000/13/02/00/00/00.000\", I=1\n1 2 1\n",
       "plt:2: expected a date behind \"@\""},
      {"1 2 3\n4 5 6\n", "plt:3: expected a zone line with I="},
      {"ZONE T=\"a @ 2000/01/02/00/00/00.000\", I=-4\n",
       "plt:2: expected a number of rows behind I=, found \"-4\""},
  };
  for (const Case& bad : cases) {
    const TemporaryFolder folder;
    folder.write("run_particles.plt", head + bad.text);
    RunState run;
    prepare(run, folder, true);
    EXPECT_EXIT(WRITE_PATHS(run), testing::ExitedWithCode(0), bad.message);
  }
  const TemporaryFolder folder;
  RunState run;
  prepare(run, folder, true);
  EXPECT_EXIT(WRITE_PATHS(run), testing::ExitedWithCode(0), "run_particles.plt");
}

}  // namespace
}  // namespace dfl
