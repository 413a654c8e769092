#include "output/output_setup.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "control/text_tools.h"
#include "output/map_fields.h"
#include "output/output_run.h"

namespace dfl {
namespace {

using test::TemporaryFolder;

void prepare(RunState& run, const TemporaryFolder& folder, bool to_stderr = false) {
  test::quiet(run, folder.path("run"), to_stderr);
  run.settings.hyfs_parcels = false;
  run.settings.hyfs_maps = false;
  test::set_clock(run, 1);
  test::square_mesh(run);
}

std::vector<std::string> files_in(const TemporaryFolder& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path(""))) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

TEST(SetupOutput, EveryFileHasItsCards) {
  using Names = std::vector<std::string>;
  struct Case {
    const char* what;
    std::vector<bool Settings::*> cards;
    Names files;
  };
  const Case cases[] = {
      {"nothing", {}, {}},
      {"parcels in three formats",
       {&Settings::hyfs_parcels, &Settings::tecplot_parcels, &Settings::ensim_parcels},
       {"run_mesh.plt", "run_particles.h5", "run_particles.pcl", "run_particles.plt",
        "run_particles.xmf"}},
      {"no_parcels beside parcel cards",
       {&Settings::hyfs_parcels, &Settings::tecplot_parcels, &Settings::ensim_parcels,
        &Settings::no_parcels},
       {"run_mesh.plt"}},
      {"map formats without a field",
       {&Settings::hyfs_maps, &Settings::tecplot_maps, &Settings::ensim_maps},
       {"run_mesh.plt"}},
      {"a map field without a format", {&Settings::flow_mapping}, {}},
      {"maps in three formats",
       {&Settings::hyfs_maps, &Settings::tecplot_maps, &Settings::ensim_maps,
        &Settings::flow_mapping, &Settings::wave_mapping},
       {"run_Dir.t3s", "run_H.t3s", "run_T.t3s", "run_flow.t3v", "run_fse.t3s", "run_maps.h5",
        "run_maps.plt", "run_mesh.plt"}},
      {"population", {&Settings::population_record}, {"run_population.plt"}},
  };
  for (const Case& c : cases) {
    const TemporaryFolder folder;
    RunState run;
    prepare(run, folder);
    for (bool Settings::*card : c.cards) run.settings.*card = true;
    run.clock.OUTcount = run.clock.MAPcount = 5;
    SETUP_OUTPUT(run);
    EXPECT_EQ(files_in(folder), c.files) << c.what;
    EXPECT_EQ(run.clock.OUTcount, 0);
    EXPECT_EQ(run.clock.MAPcount, 0);
  }
}

TEST(SetupOutput, MeshFileShowsHardBottomByNegativeD90) {
  const TemporaryFolder folder;
  RunState run;
  prepare(run, folder);
  run.settings.tecplot_maps = true;  // alone
  run.sediment.D35.allocate(4, 0.00015f);
  run.sediment.D50.allocate(4, 0.00025f);
  run.sediment.D90.allocate(4, 0.0005f);
  run.sediment.BEDmobile.allocate(4, logical_true);
  run.sediment.BEDmobile(2) = logical_false;
  SETUP_OUTPUT(run);
  EXPECT_EQ(test::read_text(folder.path("run_mesh.plt")),
            "VARIABLES=\"X\" \"Y\" \"H\" \"D_3_5\" \"D_5_0\" \"D_9_0\"\n"
            "ZONE F=FEPOINT, T=\"" +
                folder.path("run") +
                "\", ET=TRIANGLE, N=4, E=2\n"
                "           0.000           0.000           1.000  0.15E-03  0.25E-03  0.50E-03\n"
                "         100.000           0.000           2.000  0.15E-03  0.25E-03 -0.15E-02\n"
                "         100.000         100.000           3.000  0.15E-03  0.25E-03  0.50E-03\n"
                "           0.000         100.000           4.000  0.15E-03  0.25E-03  0.50E-03\n"
                "1 2 3\n1 3 4\n");
}

TEST(SetupOutputDeath, FolderThatCannotBeWrittenIsNamed) {
  const TemporaryFolder folder;
  RunState run;
  prepare(run, folder, true);
  run.settings.output_prefix = folder.path("missing/run");
  struct Case {
    bool Settings::*card;
    const char* message;
  };
  for (const Case& c :
       {Case{&Settings::population_record, "create file \".*run_population.plt\": No"},
        Case{&Settings::tecplot_parcels, "create file \".*run_mesh.plt\": No such"},
        Case{&Settings::ensim_parcels, "create file \".*run_particles.pcl\": No"}}) {
    run.settings.*c.card = true;
    EXPECT_EXIT(SETUP_OUTPUT(run), testing::ExitedWithCode(0), c.message);
    run.settings.*c.card = false;
  }
}

// Two nodes of moving water, waves and a bed; nodes 3 and 4 keep zeros.
void set_fields(RunState& run) {
  for (bool Settings::*card :
       {&Settings::flow_mapping, &Settings::bedform_mapping, &Settings::shear_stress_mapping,
        &Settings::mobility_mapping, &Settings::wave_mapping, &Settings::bed_level_change_mapping,
        &Settings::bed_level_mapping, &Settings::transport_mapping,
        &Settings::concentration_mapping}) {
    run.settings.*card = true;
  }
  run.flow.ETAnode.allocate(4);
  run.flow.Unode.allocate(4, 0, 0);
  run.flow.Vnode.allocate(4, 0, 0);
  run.sediment.BEDFORMnode.allocate(4);
  run.sediment.TAUbed.allocate(4);
  run.sediment.MOBILITYnode.allocate(4);
  run.sediment.DZDT.allocate(4);
  run.sediment.BEDlevel.allocate(4);
  run.sediment.QSED.allocate(4);
  run.waves.WAVEheight.allocate(4);
  run.waves.WAVEperiod.allocate(4, 1.0f);
  run.waves.WAVEdirx.allocate(4);
  run.waves.WAVEdiry.allocate(4);
  run.flow.ETAnode(1) = 0.5f;
  run.flow.Unode(1, 0) = 0.3f;
  run.flow.Vnode(1, 0) = 0.4f;
  run.sediment.BEDFORMnode(1) = 0.0125f;
  run.sediment.TAUbed(1) = 1.5f;
  run.sediment.MOBILITYnode(1) = 5.0f;
  run.sediment.MOBILITYnode(2) = 7.0f;  // water stands: no direction
  run.sediment.DZDT(1) = -0.25f;
  run.sediment.BEDlevel(1) = 9.5f;
  run.sediment.QSED(1) = 2.0f;
  run.waves.WAVEheight(1) = 0.75f;
  run.waves.WAVEperiod(1) = 6.0f;
  run.waves.WAVEdirx(1) = -1.0f;  // toward -x: a quarter turn back from +y
}

TEST(MapSetup, TecplotHeadHoldsTheStateBeforeTheFlow) {
  const TemporaryFolder folder;
  RunState run;
  prepare(run, folder);
  set_fields(run);
  run.settings.tecplot_maps = true;
  SETUP_OUTPUT(run);
  std::fflush(nullptr);
  const std::vector<std::string> lines =
      test::lines_of(test::read_text(folder.path("run_maps.plt")));
  ASSERT_EQ(lines.size(), 9u);
  EXPECT_EQ(lines[0],
            "VARIABLES=\"X\" \"Y\" \"Z\" \"U\" \"V\" \"Bedform Height\" \"Shear Stress\" \"Mx\" "
            "\"My\" \"d(BED)dt\" \"BED\" \"Qs\" \"Wave Height\" \"Wave Period\" "
            "\"Wave Direction\" \"Concentration\" ");
  EXPECT_EQ(lines[1], "ZONE F=FEPOINT, T=\"" + folder.path("run") + " @ 2000/01/02/01/00/00.000\"");
  EXPECT_EQ(lines[2], "ET=TRIANGLE, N=4, E=2");
  const auto row = [](const std::vector<std::string>& values) {
    std::string text;
    for (const std::string& value : values) text += std::string(16 - value.size(), ' ') + value;
    return text;
  };
  EXPECT_EQ(lines[3],
            row({"0.000", "0.000", "0.500", "0.300", "0.400", "0.012500", "1.500", "3.000", "4.000",
                 "-0.250", "9.500", "2.000", "0.750", "6.000", "-90.000", "0.000"}));
  EXPECT_EQ(lines[4],
            row({"100.000", "0.000", "0.000", "0.000", "0.000", "0.000000", "0.000", "0.000",
                 "0.000", "0.000", "0.000", "0.000", "0.000", "1.000", "0.000", "0.000"}));
  EXPECT_EQ(lines[7], "1 2 3");
  EXPECT_EQ(lines[8], "1 3 4");
}

TEST(MapSetup, ColumnsKeepTheDigitsOfConcentrations) {
  RunState run;
  run.settings.concentration_mapping = true;
  run.output.CONCnode.allocate(1, 123456789.125);  // mg/m3; 4 bytes would give 123456792
  const MapField& field = map_field(MapFieldId::concentration);
  EXPECT_EQ(map_column_values(run, field, 1)[0], 123456789.125);
  EXPECT_EQ(map_scalar(run, field.id, 1), 123456792.0f);
}

TEST(MapSetup, FieldsWithoutArraysCountAsZero) {
  const TemporaryFolder folder;
  RunState run;
  prepare(run, folder);
  run.settings.tecplot_maps = true;
  run.settings.flow_mapping = true;
  run.settings.mobility_mapping = true;
  SETUP_OUTPUT(run);
  std::fflush(nullptr);
  EXPECT_EQ(test::lines_of(test::read_text(folder.path("run_maps.plt")))[3],
            "           0.000           0.000           0.000           0.000           0.000"
            "           0.000           0.000");
}

TEST(MapSetup, EnsimFilesHoldHeadAndMesh) {
  const TemporaryFolder folder;
  RunState run;
  prepare(run, folder);
  set_fields(run);
  run.settings.ensim_maps = true;
  run.clock.RUNuser = "river";
  SETUP_OUTPUT(run);
  std::fflush(nullptr);
  const char* suffixes[] = {"flow.t3v", "bedforms.t3s", "mobility.t3v", "dzdt.t3s",
                            "qs.t3v",   "H.t3s",        "T.t3s",        "Dir.t3s",
                            "fse.t3s",  "bed.t3s",      "taubed.t3s",   "concentration.t3s"};
  for (std::size_t k = 0; k < std::size(suffixes); ++k) {
    EXPECT_EQ(ensim_map_path(run, map_field(ensim_map_order[k])),
              folder.path(std::string("run_") + suffixes[k]));
    EXPECT_NE(run.output.ensim_map_files[k], nullptr);
  }
  const std::string head =
      std::string(59, '#') +
      "\n:FileType t3v BINARY EnSim 1.0\n#\n:Application   DFL\n:Version       2.3.005\n"
      ":WrittenBy     river\n#\n#" +
      std::string(58, '-') + "\n#\n:Name       " + folder.path("run") +
      "_flow\n:Projection Cartesian \n:Ellipsoid Unknown \n:NodeCount 4\n"
      ":ElementCount 2\n:ElementType  T3\n#\n:EndHeader\n";
  const std::string text = test::read_text(folder.path("run_flow.t3v"));
  ASSERT_EQ(text.substr(0, head.size()), head);
  const std::string record = text.substr(head.size());
  constexpr std::int32_t length = 2 * 4 * 4 + 3 * 2 * 4;
  ASSERT_EQ(record.size(), static_cast<std::size_t>(length) + 8);
  const float coordinates[] = {0, 100, 100, 0, 0, 0, 100, 100};
  const std::int32_t nodes[] = {1, 1, 2, 3, 3, 4};
  EXPECT_EQ(std::memcmp(record.data(), &length, 4), 0);
  EXPECT_EQ(std::memcmp(record.data() + 4, coordinates, sizeof coordinates), 0);
  EXPECT_EQ(std::memcmp(record.data() + 4 + sizeof coordinates, nodes, sizeof nodes), 0);
  EXPECT_EQ(std::memcmp(record.data() + 4 + length, &length, 4), 0);
}

}  // namespace
}  // namespace dfl
