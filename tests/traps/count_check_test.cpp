// Whole runs whose trap reports are counted again from the parcel output, by a script that shares
// nothing with the program.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

#include "runs/tiny_run.h"

namespace dfl {
namespace {

using test::Lines;
using test::TinyCase;

// Positions are printed with three decimals: limits that end in a 5 behind them leave no doubt.
const char* const line_traps =
    "3\n"
    "1 upright, all parcels cross it\n1 -10. 50. 1 0\n220.0005 -10.\n220.0005 410.\n"
    "2 slanted, part of the width, once\n1 -10. 50. 1 1\n300. 150.\n260. 390.\n"
    "3 no side\n0 -10. 50. 1 0\n250. 0.\n250. 400.\n";

const char* const polygon_traps =
    "4\n"
    "4 with a notch\n5 -10. 50. 1 0\n"
    "1 140.5 150.5\n2 260.5 150.5\n3 200.5 195.5\n4 260.5 260.5\n5 140.5 260.5\n"
    "5 a layer, clockwise\n4 1.0005 2.5005 1 0\n4 180. -10.\n3 350. -10.\n2 350. 410.\n"
    "1 180. 410.\n"
    "6 once\n4 -10. 50. 1 1\n1 290.0005 0.\n2 310.0005 0.\n3 310.0005 400.\n4 290.0005 400.\n"
    "7 takes out\n4 -10. 50. 0 0\n1 330.0005 205.0005\n2 350.0005 205.0005\n3 350.0005 400.\n"
    "4 330.0005 400.\n";

struct CheckedRun {
  const char* what;
  const char* lines;
  Lines cards;
  const char* flags;
  const char* report;
  std::size_t least_lines;  // a report of so few would show nothing
};

void PrintTo(const CheckedRun& run, std::ostream* out) {
  *out << run.what;
}

const CheckedRun checked_runs[] = {
    {"counts", line_traps, {}, "", "tiny_count.out", 800},
    {"counts in the path file", line_traps, {":paths"}, "--paths", "tiny_count.out", 800},
    {"counts within a period",
     line_traps,
     {":start_trap 2000 1 1 0 6 0", ":stop_trap 2000 1 1 0 14 0"},
     "",
     "tiny_count.out",
     300},
    {"last step", line_traps, {":last_step_trap"}, "", "tiny_bin.out", 150},
    {"stays", "0\n", {":residence_calc"}, "", "tiny_residency.out", 300},
    {"stays at the last step",
     "0\n",
     {":residence_calc", ":last_step_trap"},
     "",
     "tiny_bin.out",
     80},
};

TinyCase case_of(const CheckedRun& checked) {
  TinyCase c = test::tiny_case();
  // A tracer that is released all the time and stays in the water.
  const std::string tracer = " 120. 210. 2. 1. 0. 0. 0.2 0.0001 0. 1000. 0. -1. -1.";
  c.sources[5] = "2000 1 1 0 0 0" + tracer;
  c.sources[6] = "2000 1 1 1 0 0" + tracer;
  c.velocity = test::frames(2, 600.0, 5, 25, 0.3f, 0.02f);
  test::add_cards(c, {":output_inc 1", ":height_output", ":state_output", ":parcel_mass_output",
                      ":trap_file FOLDER/tiny.trp"});
  test::add_cards(c, checked.cards);
  return c;
}

int status_of(const std::string& command) {
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string quietly(const test::TemporaryFolder& folder) {
  return " > " + folder.path("log.txt") + " 2>&1 < /dev/null";
}

int run_program(const test::TemporaryFolder& folder, const std::string& control) {
  return status_of(DFL_BINARY_DIR "/dfl --exit-code " + control + quietly(folder));
}

// 0: the report agrees with the parcel output; 1: it does not.
int run_script(const test::TemporaryFolder& folder, const std::string& control,
               const std::string& flags) {
  return status_of(DFL_PYTHON " " DFL_SOURCE_DIR "/tests/traps/count_check.py " + flags + " " +
                   control + quietly(folder));
}

class CountedAgain : public ::testing::TestWithParam<CheckedRun> {
 protected:
  void SetUp() override {
    if (std::string(DFL_PYTHON).empty()) GTEST_SKIP() << "needs python3";
  }
};

TEST_P(CountedAgain, FromTheParcelOutput) {
  const CheckedRun& checked = GetParam();
  const test::TemporaryFolder folder;
  folder.write("tiny.trp", std::string(checked.lines) + polygon_traps);
  const std::string control = test::write_case(case_of(checked), folder);
  ASSERT_EQ(run_program(folder, control), 0) << test::read_text(folder.path("log.txt"));
  EXPECT_EQ(run_script(folder, control, checked.flags), 0)
      << test::read_text(folder.path("log.txt"));
  const std::string report = test::read_text(folder.path(checked.report));
  EXPECT_GE(test::lines_of(report).size(), checked.least_lines);

  // The script does find a line that is missing.
  const std::size_t second = report.find('\n') + 1;
  const std::size_t third = report.find('\n', second) + 1;
  folder.write(checked.report, report.substr(0, second) + report.substr(third));
  EXPECT_EQ(run_script(folder, control, checked.flags), 1)
      << test::read_text(folder.path("log.txt"));
}

std::string run_name(const ::testing::TestParamInfo<CheckedRun>& run) {
  std::string name = run.param.what;
  for (char& c : name) {
    if (c == ' ') c = '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Runs, CountedAgain, ::testing::ValuesIn(checked_runs), run_name);

// All parcels start before this line and can only come behind it by crossing it.
TEST(CountedAgainByCrossings, OfALineAcrossTheBasin) {
  if (std::string(DFL_PYTHON).empty()) GTEST_SKIP() << "needs python3";
  const test::TemporaryFolder folder;
  folder.write("tiny.trp", "1\n1 across\n1 -10. 50. 1 0\n220.0005 -10.\n220.0005 410.\n0\n");
  const std::string control = test::write_case(case_of({}), folder);
  ASSERT_EQ(run_program(folder, control), 0);
  EXPECT_EQ(run_script(folder, control, "--crossings"), 0)
      << test::read_text(folder.path("log.txt"));
  EXPECT_GT(test::lines_of(test::read_text(folder.path("tiny_count.out"))).size(), 50u);
}

}  // namespace
}  // namespace dfl
