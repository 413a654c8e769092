#include <gtest/gtest.h>

#include "control/text_tools.h"
#include "output/output_run.h"
#include "output/parcel_output.h"

namespace dfl {
namespace {

class Balance : public test::OutputTest {};

void add_source(Array<SourceRecord>& sources, int id, const char* name) {
  SourceRecord record;
  record.SRCid = id;
  record.SRCname = name;
  sources.push_back(record);
}

void set_parcel(RunState& run, int id, std::int16_t source, float mass, bool alive, bool dormant,
                int loss) {
  Parcel& parcel = run.parcels.PARCELS(id);
  parcel.SOURCE = source;
  parcel.MASS = mass;
  parcel.ALIVE = alive ? logical_true : logical_false;
  parcel.DORMANT = dormant ? logical_true : logical_false;
  parcel.LOSS = static_cast<std::int16_t>(loss);
}

// Seven parcels, one for each fate; slot 8 is not released.
void every_fate(RunState& run) {
  test::set_clock(run, 11);
  test::make_parcels(run, 8, 7);
  add_source(run.parcels.SRCpoint, 3, "barge");
  add_source(run.parcels.SRCarea, 5, "dredged area");
  set_parcel(run, 1, 3, 1.0f, true, false, 0);
  set_parcel(run, 2, 3, 2.0f, true, true, 0);
  set_parcel(run, 3, 3, 4.0f, false, false, lost_open_boundary);
  set_parcel(run, 4, 5, 8.0f, false, false, lost_off_mesh);
  set_parcel(run, 5, 5, 16.0f, false, true, lost_no_wall_found);
  set_parcel(run, 6, 5, 32.0f, false, false, lost_behind_wall);
  set_parcel(run, 7, 5, 64.0f, false, false, 2);
  run.parcels.random_seed_used = {12345, 67890};
  run.settings.random_seed_given = true;
  run.balance.parcel_steps = 400;
  run.balance.dry_steps = 30;
  run.balance.largest_displacement_squared = 6.25;
  run.balance.largest_displacement_parcel = 4;
  run.balance.largest_displacement_step = 9;
}

TEST_F(Balance, TellsEveryFateBySourceAndCloses) {
  run.messages.console_out = std::fopen(folder.path("console").c_str(), "w");
  every_fate(run);
  WRITE_BALANCE(run);
  const std::vector<std::string> lines = test::lines_of(output("run_balance.txt"));
  const std::vector<std::string> expected = {
      "DFL 2.3.005, balance of run \"" + folder.path("run") + "\"",
      "Start of run:         2000-01-02 01:00:00",
      "Last step:            2000-01-02 01:05:00, step 11",
      "Random seed:          12345 67890 (given)",
      "Parcel steps:         400, of them 30 (7.500 %) on a dry place",
      "Largest displacement: 2.500 element sizes, parcel 4 in step 9",
      "Parcels foreseen:     8",
      "",
      "All sources",
      "                                   parcels                    kg % parcels      % kg",
      "  released                               7            127.000000   100.000   100.000",
      "  alive, in motion                       1              1.000000    14.286     0.787",
      "  alive, on the bed                      1              2.000000    14.286     1.575",
      "  dead, open boundary                    1              4.000000    14.286     3.150",
      "  dead, off the mesh                     1              8.000000    14.286     6.299",
      "  dead, no point behind a wall           2             48.000000    28.571    37.795",
      "  dead, taken by trap 2                  1             64.000000    14.286    50.394",
      "  check: closed",
      "",
      "Source 3, point \"barge\"",
      "                                   parcels                    kg % parcels      % kg",
      "  released                               3              7.000000   100.000   100.000",
      "  alive, in motion                       1              1.000000    33.333    14.286",
      "  alive, on the bed                      1              2.000000    33.333    28.571",
      "  dead, open boundary                    1              4.000000    33.333    57.143",
      "  dead, off the mesh                     0              0.000000     0.000     0.000",
      "  dead, no point behind a wall           0              0.000000     0.000     0.000",
      "  check: closed",
  };
  ASSERT_GT(lines.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(lines[i], expected[i]);
  EXPECT_EQ(lines[expected.size() + 1], "Source 5, area \"dredged area\"");
  EXPECT_EQ(lines.back(), "  check: closed");
  std::fclose(run.messages.console_out);
  EXPECT_EQ(output("console"),
            "WARNING: 3 parcels (42.86 %, 44.09 % of the mass) were lost other than through open "
            "boundaries or to traps; see " +
                folder.path("run") + "_balance.txt\n");
}

TEST_F(Balance, ShowsTheDifferenceOfParcelsWithoutACause) {
  every_fate(run);
  run.parcels.PARCELS(3).LOSS = 0;              // dead, and nobody said why
  run.parcels.PARCELS(8).ALIVE = logical_true;  // in the water, and never released
  run.parcels.PARCELS(8).MASS = 0.5f;
  run.settings.random_seed_given = false;
  WRITE_BALANCE(run);
  const std::string text = output("run_balance.txt");
  EXPECT_TRUE(contains(text, "12345 67890 (from the clock)"));
  // All sources: one too few and one too many.
  EXPECT_TRUE(contains(
      text, "  check: released - alive - dead =           0 parcels,              3.500000 kg\n"));
  EXPECT_TRUE(contains(
      text, "  check: released - alive - dead =           1 parcels,              4.000000 kg\n"));
  EXPECT_TRUE(contains(text, "Source 0, not in the source file\n"));
}

TEST_F(Balance, OpenBoundariesAndTrapsRaiseNoWarning) {
  run.messages.console_out = std::fopen(folder.path("console").c_str(), "w");
  test::set_clock(run, 1);
  test::make_parcels(run, 1000, 1000);
  for (int id = 1; id <= 1000; ++id)
    set_parcel(run, id, 1, 1.0f, false, false, id % 2 == 0 ? -1 : 1);
  run.parcels.PARCELS(7).LOSS = lost_off_mesh;  // 0.1 % exactly
  WRITE_BALANCE(run);
  std::fflush(run.messages.console_out);
  EXPECT_EQ(output("console"), "");
  run.parcels.PARCELS(8).LOSS = lost_behind_wall;
  WRITE_BALANCE(run);
  std::fclose(run.messages.console_out);
  EXPECT_TRUE(contains(output("console"), "WARNING: 2 parcels (0.20 %"));
}

// One heavy parcel of many: 0.05 % of the parcels, most of the mass.
TEST_F(Balance, MassLostForAnUnknownCauseRaisesTheWarning) {
  run.messages.console_out = std::fopen(folder.path("console").c_str(), "w");
  test::set_clock(run, 1);
  test::make_parcels(run, 2000, 2000);
  for (int id = 1; id <= 2000; ++id) set_parcel(run, id, 1, 1.0f, true, false, 0);
  set_parcel(run, 5, 1, 8001.0f, false, false, 0);
  WRITE_BALANCE(run);
  std::fclose(run.messages.console_out);
  EXPECT_TRUE(
      contains(output("console"), "WARNING: 1 parcels (0.05 %, 80.01 % of the mass) were lost"));
}

TEST_F(Balance, SourcesOfOneNumberShareAnAccount) {
  test::set_clock(run, 1);
  test::make_parcels(run, 1, 0);
  add_source(run.parcels.SRCinst, 1, "dump");
  add_source(run.parcels.SRCline, 1, "pipe");
  WRITE_BALANCE(run);
  const std::string text = output("run_balance.txt");
  EXPECT_TRUE(contains(text, "Source 1, instantaneous \"dump\" and line \"pipe\"\n"));
  EXPECT_TRUE(contains(text, "Largest displacement: 0.000 element sizes\n"));
}

TEST_F(Balance, RunWithoutParcelsHasNone) {
  run.settings.no_parcels = true;
  WRITE_BALANCE(run);
  EXPECT_FALSE(file_exists(folder.path("run_balance.txt")));
}

}  // namespace
}  // namespace dfl
