#include "control/control_file.h"

#include <gtest/gtest.h>

#include "common/test_run.h"
#include "control/run_clock.h"

namespace dfl {
namespace {

// A control file that passes all checks; further cards stand in front of its end.
class ControlFile : public testing::Test {
 protected:
  ControlFile() { test::quiet(run, folder.path("unused")); }
  ~ControlFile() override {
    if (run.messages.echo_file != nullptr) std::fclose(run.messages.echo_file);
    if (run.messages.error_file != nullptr) std::fclose(run.messages.error_file);
  }
  std::string text_with(const std::string& cards) const {
    return ":mesh_file mesh.14\n:neighbor_file mesh.nei\n:output_prefix " + folder.path("run") +
           "\n:time_step 30\n:start_run 2000 1 2 1 0 0\n:stop_run 2000 1 2 2 0 0\n" + cards +
           ":end_data\n";
  }
  void read_text(const std::string& text) {
    run.clock.CONTROLfile = folder.write("case.pcf", text);
    READ_CONTROL_FILE(run);
  }
  const Settings& read_with(const std::string& cards) {
    read_text(text_with(cards));
    return run.settings;
  }
  // In a death test: the console on standard error.
  void read_aloud(const std::string& text) {
    run.messages.console_out = stderr;
    read_text(text);
  }
  std::string errors(const std::string& prefix = "run") const {
    return test::read_text(folder.path(prefix + ".err"));
  }

  test::TemporaryFolder folder;
  RunState run;
};

TEST_F(ControlFile, KeywordsAndWordsInAnyCasePathsAsGiven) {
  const Settings& s = read_with(
      "\n# comment\n\t :MESH_FORMAT ADCIRC\n:Source_File Sources.TXT\n:Trap_File Traps.TRP\n"
      ":currents at once\n:bed_porosity\t0.45\n");
  EXPECT_EQ(s.mesh_format, "adcirc");
  EXPECT_EQ(s.source_file, "Sources.TXT");
  EXPECT_EQ(s.trap_file, "traps.trp");
  EXPECT_EQ(s.trap_file_as_given, "Traps.TRP");
  EXPECT_TRUE(s.currents);
  EXPECT_EQ(s.bed_porosity, 0.45f);
}

TEST_F(ControlFile, DefaultsHoldWhereNoCardStands) {
  const Settings& s = read_with("");
  EXPECT_EQ(s.output_inc, 10);
  EXPECT_EQ(s.mapping_inc, 1000);
  EXPECT_EQ(s.start_flow, -999.0);
  EXPECT_TRUE(s.hyfs_parcels && s.hyfs_maps && s.id_output && s.elevation_output);
  EXPECT_TRUE(s.hiding_exposure && s.turbulent_shear && s.bed_interaction);
  EXPECT_FALSE(s.wave_mass_transport || s.source_output || s.age_output);
  EXPECT_EQ(s.boundary_source, "internal");
  EXPECT_FALSE(std::filesystem::exists(folder.path("run.err")));
}

TEST_F(ControlFile, WordCardsMapTheirWords) {
  struct Case {
    const char* cards;
    std::string Settings::*setting;
    const char* stored;
  };
  const Case cases[] = {
      {":velocity_method 3D\n", &Settings::velocity_method, "3d (sigma)"},
      {":velocity_method 3dz\n", &Settings::velocity_method, "3d (z)"},
      {":velocity_method\n", &Settings::velocity_method, "2d (log)"},
      {":velocity_method 2d (uniform)\n", &Settings::velocity_method, "2d (uniform)"},
      {":advection_method 1d\n", &Settings::advection_method, "2d"},
      {":advection_method 2d\n", &Settings::advection_method, "q3d"},
      {":advection_method 3d\n", &Settings::advection_method, "3d"},
      {":centroid_method VAN_RIJN\n", &Settings::centroid_method, "van_rijn"},
      {":eulerian_method dfl\n", &Settings::eulerian_method, "pie"},
      {":eulerian_sed_trans van-rijn_2017\n", &Settings::eulerian_sed_trans, "van_rijn_2017"},
      {":eulerian_sed_trans A_D\n", &Settings::eulerian_sed_trans, "a-d"},
      {":eulerian_sed_trans foo\n", &Settings::eulerian_sed_trans, "soulsby-van_rijn"},
      {":flow_format rvs-n3d\n:hyfs_n3d_path Datasets\n", &Settings::flow_format, "n3d"},
      {":flow_format Foo\n", &Settings::flow_format, "foo"},
      {":wave_format pelag\n", &Settings::wave_format, "oswell"},
      {":wave_format hyfs\n", &Settings::wave_format, "oswell_hyfs"},
      {":drawdown_method function-return-square\n", &Settings::drawdown_method,
       "function-return-square"},
      {":drawdown_method deep\n", &Settings::drawdown_method, "function"},
      {":sediments_format hyfs property\n", &Settings::sediment_hyfs_layout, "property"},
      {":sediment_format my_hyfs\n", &Settings::sediment_hyfs_layout, "dataset"},
      {":mesh_format rvs-2d\n:bc_file b\n:sediment_format rvs-2d\n", &Settings::sediments_format,
       "hyfs_n2d"},
      {":concentration_units 1000.9\n", &Settings::concentration_units_text, "g/m3"},
      {":concentration_units 2\n", &Settings::concentration_units_text, ""},
      {":crs epsg:32633\n", &Settings::crs, "EPSG:32633"},
      {":flow_prefix_hyfs tide\n", &Settings::flow_file_uv, "tide_vel.h5"},
      {":flow_files a.63  b c.64\n", &Settings::flow_file_uv, "b c.64"},
      {":hvlb_particle_set_guid {1}\n", &Settings::particle_set_guid, "{1}"},
  };
  for (const Case& c : cases) EXPECT_EQ(read_with(c.cards).*c.setting, c.stored) << c.cards;
}

TEST_F(ControlFile, GriddedMeshWordsTakeTheirBoundaryFromTheMappingGrid) {
  const std::string base = ":bc_file b\n:rvs_control_file c\n";
  EXPECT_EQ(read_with(base + ":mesh_format n2d\n").mesh_format, "n2g");
  EXPECT_EQ(run.settings.boundary_source, "mapping_grid");
  EXPECT_EQ(run.settings.method.mesh, MeshFormat::n2g);
  EXPECT_EQ(read_with(base + ":mesh_format adcirc\n:rvs_quadtree q\n").mesh_format, "n2d");
  EXPECT_EQ(read_with(base + ":rvs_quadtree q\n:mesh_format adcirc\n").mesh_format, "adcirc");
  EXPECT_TRUE(run.settings.rvs_mesh);
}

TEST_F(ControlFile, CardsWithSeveralEffectsSetThemAll) {
  const Settings& s = read_with(
      ":bed_level_mapping\n:gaussian-concentration 0.5\n:flow_file_dst -5 salt.44\n"
      ":sediment_format uniform 0.15 0.25 0.5\n:drawdown_data_file hull\n");
  EXPECT_TRUE(s.morphology && s.bed_level_mapping && !s.active_morphology);
  EXPECT_TRUE(s.gaussian_concentration && s.concentration_mapping && !s.particle_concentration);
  EXPECT_TRUE(s.parcel_mass_output && s.age_output);
  EXPECT_EQ(s.gaussian_value, 0.5f);
  EXPECT_EQ(s.IDEN, 5);
  EXPECT_EQ(s.flow_file_dst, "salt.44");
  EXPECT_EQ(s.bed_d35, 0.15f);
  EXPECT_EQ(s.bed_d90, 0.5f);
  EXPECT_TRUE(s.drawdown_on);
  EXPECT_FALSE(s.propwash_on);
}

TEST_F(ControlFile, BoundaryPathsAreGatheredInOrder) {
  const Settings& s = read_with(
      ":hyfs_open_boundary_path a b\n:hyfs_closed_boundary_path c\n"
      ":hyfs_open_boundary_path d\n");
  EXPECT_EQ(s.NUMopenpaths, 2);
  EXPECT_EQ(s.OPENpaths, (std::vector<std::string>{"a b", "d"}));
  EXPECT_EQ(s.CLOSEDpaths, std::vector<std::string>{"c"});
  EXPECT_EQ(s.boundary_source, "hyfs");
}

TEST_F(ControlFile, LinesBehindWaveFilesAreNames) {
  const Settings& s =
      read_with(":wave_files 2\n  Hsig.blk \n\n# no name\n\tdir.blk\n:wave_frames 7\n");
  EXPECT_EQ(s.wave_files, 2);
  EXPECT_EQ(s.wave_file_names, (std::vector<std::string>{"Hsig.blk", "dir.blk"}));
  EXPECT_EQ(s.wave_frames, 7);
}

TEST_F(ControlFile, DerivedTimesAndWaterOfTheEnd) {
  const Settings& s = read_with(":duration 60\n:paths\n:salinity 0.03\n:temperature 10\n");
  EXPECT_EQ(s.stop_run, s.start_run + 3600.0);  // stop_run wins, duration stays as given
  EXPECT_EQ(s.duration, 60.0f);
  EXPECT_EQ(s.start_trap, s.start_run);
  EXPECT_EQ(s.stop_trap, s.stop_run);
  EXPECT_TRUE(s.tecplot_parcels);
  const float density = s.water_density;
  // c = 29.97 / 1.805 = 16.6039, a = 6 + 6.64155 = 12.64155: 1000 - 1.03877 + 24.15861
  EXPECT_NEAR(density, 1023.1198f, 2e-4f);  // a few last places of a 4-byte 1023
  EXPECT_EQ(s.water_viscosity, 4.0e-5f / 30.0f);
  EXPECT_EQ(read_with(":salinity 30\n:temperature 10\n").water_density, density);
  EXPECT_EQ(run.settings.salinity, 0.03f);
}

TEST_F(ControlFile, DurationGivesTheStopTime) {
  read_text(":mesh_file m\n:neighbor_file n\n:output_prefix " + folder.path("run") +
            "\n:time_step 1\n:start_run 2000 1 1 0 0 0\n:duration 86400\n:no_parcels\n"
            ":population_record\n:END_DATA\nno card, not read\n");
  EXPECT_EQ(run.settings.stop_run, DATE_TO_SECONDS(REFyear, {2000, 1, 2, 0, 0, 0, 0}));
  EXPECT_FALSE(run.settings.population_record);
}

TEST_F(ControlFile, HostedModeClearsWhatItCannotShow) {
  run.messages.HOSTEDmode = true;
  const Settings& s = read_with(
      ":propwash_data_file p\n:drawdown_method function\n:active_morphology\n:slope_effects\n"
      ":adjust_current\n:special\n");
  EXPECT_FALSE(s.propwash_on || s.drawdown_on || s.active_morphology || s.slope_effects ||
               s.adjust_currents || s.special);
  EXPECT_TRUE(s.morphology);
}

TEST_F(ControlFile, UnknownKeywordIsToldAndTheRunGoesOn) {
  EXPECT_EQ(read_with(":hvlb_anything x\n:Outputinc 3\n").output_inc, 10);
  EXPECT_EQ(errors(), "");  // still buffered
  std::fflush(run.messages.error_file);
  EXPECT_EQ(errors(), ">>>>> Misspelled or obsolete keyword >>>>> :outputinc\n");
}

TEST_F(ControlFile, StepsOffTheMillisecondsDrawAWarning) {
  const std::pair<const char*, bool> cases[] = {
      {"0.1", false}, {"86399.999", false}, {"0.9996", true}, {"0.0015", true}};
  for (const auto& [step, warned] : cases) {
    read_with(std::string(":time_step ") + step + "\n");
    std::fflush(run.messages.echo_file);
    const std::string log = test::read_text(folder.path("run.input"));
    EXPECT_EQ(log.find("whole number of milliseconds") != std::string::npos, warned) << step;
  }
}

TEST_F(ControlFile, TextBehindColumn256IsDroppedWithAWarning) {
  const Settings& s =
      read_with(":source_file " + std::string(243, 'a') + "bc\n# " + std::string(300, '-') + "\n");
  EXPECT_EQ(s.source_file, std::string(243, 'a'));
  std::fflush(run.messages.echo_file);
  const std::string log = test::read_text(folder.path("run.input"));
  EXPECT_NE(log.find("case.pcf:7: text behind column 256 is not read\n"), std::string::npos);
  EXPECT_EQ(log.find("case.pcf:8:"), std::string::npos);
}

TEST_F(ControlFile, FaultsInLinesStopTheRun) {
  struct Case {
    std::string cards;
    const char* console;
  };
  const Case cases[] = {
      {":time_step\n", "ERROR in line: :time_step\n.*ERROR: PCF file error <RETURN>"},
      {"  :mesh_file  \n", "ERROR in line: :mesh_file\n.*PCF file error"},
      {":flow_files one.63\n", "ERROR in line: :flow_files one.63\n.*PCF file error"},
      {":drawdown_method\n", "ERROR in line: :drawdown_method\n.*PCF file error"},
      {":crs 32633\n", "ERROR in line: :crs 32633\n.*PCF file error"},
      {":hyfs_open_boundary_path\n", "ERROR in line: :hyfs_open_boundary_path\n.*PCF file error"},
      {":gaussian_concentration\n", "Require value for: :gaussian_concentration\n.*PCF file error"},
      {"mesh_file mesh.14\n", "ERROR: PCF file error"},
      {":ket x1\n", "case.pcf:7: card :ket: expected a real number, found \"x1\""},
      {":output_inc 2.5\n", "case.pcf:7: card :output_inc: expected an integer, found \"2.5\""},
      {":numerical_scheme 70000\n", "card :numerical_scheme: expected an integer within its range"},
      {":start_trap 2000 1 1\n",
       "case.pcf:7: card :start_trap: expected an integer, found the end "
       "of the line"},
      {":start_trap 2000 13 1 0 0 0\n", "card :start_trap: expected a date"},
      {":random_seed 5 -1\n", "card :random_seed: expected two integers of 0 or more"},
      {":output_inc 0\n", "card :output_inc: expected 1 or more steps, found 0"},
      {":flow_update -3\n", "card :flow_update: expected 1 or more steps, found -3"},
      {":bed_porosity 1\n", "card :bed_porosity: expected less than 1"},
      // 0.0005 s behind a date of this century is 0.00049996 s, which rounds to no millisecond.
      {":time_step 0.0005\n", "card :time_step: expected at least 0.0006 s"},
      {":time_step 1e306\n", "card :time_step: expected at most 1e11 s"},
      {":temperature -20\n", "card :temperature: expected more than -20 degrees C"},
  };
  run.messages.exit_code = true;
  for (const Case& c : cases) {
    EXPECT_EXIT(read_aloud(text_with(c.cards)), testing::ExitedWithCode(1), c.console) << c.cards;
  }
}

TEST_F(ControlFile, MissingEndAndMissingFileAreTold) {
  EXPECT_EXIT(read_aloud(":time_step 1\n"), testing::ExitedWithCode(0),
              "ERROR: Premature end of file encountered\n"
              "ERROR: Premature EndOfFile encountered\n"
              ".*ERROR: PCF file error <RETURN>");
  run.messages.console_out = stderr;
  run.clock.CONTROLfile = folder.path("nothing");
  EXPECT_EXIT(
      {
        std::filesystem::current_path(folder.path(""));  // the error file has its default name
        READ_CONTROL_FILE(run);
      },
      testing::ExitedWithCode(0), "Cannot open file \".*nothing.pcf\"");
  EXPECT_EQ(control_file_path("a/CASE.DFL"), "a/CASE.DFL");
}

TEST_F(ControlFile, OutputFolderThatIsMissingIsNamed) {
  EXPECT_EXIT(read_aloud(text_with(":output_prefix " + folder.path("none/run") + "\n")),
              testing::ExitedWithCode(0), "Cannot create file \".*none/run.input\": No such file");
}

// What is left out of or added to the good file, and the texts of the check that fails.
struct CheckCase {
  const char* without;
  const char* cards;
  const char* error_text;
  const char* console_text;
};
void PrintTo(const CheckCase& c, std::ostream* out) {
  *out << c.error_text;
}

class FailedCheck : public ControlFile, public testing::WithParamInterface<CheckCase> {};

TEST_P(FailedCheck, WritesBothTextsAndWaitsInHostedModeToo) {
  const CheckCase& c = GetParam();
  std::string text;
  for (const std::string& line : test::lines_of(text_with(c.cards))) {
    if (*c.without == '\0' || line.rfind(c.without, 0) != 0) text += line + "\n";
  }
  run.messages.HOSTEDmode = true;
  run.messages.console_in = std::fopen(folder.write("keys", "\nleft\n").c_str(), "r");
  std::setvbuf(run.messages.console_in, nullptr, _IONBF, 0);
  const std::string shown = folder.path("shown");
  EXPECT_EXIT(
      {
        // Without an output prefix the error file lies in the working folder.
        std::filesystem::current_path(folder.path(""));
        run.messages.console_out = std::fopen(shown.c_str(), "w");
        read_text(text);
      },
      testing::ExitedWithCode(0), "");
  // The place in the file is shared with the process that ended: one line was taken.
  EXPECT_EQ(lseek(fileno(run.messages.console_in), 0, SEEK_CUR), 1);
  std::fclose(run.messages.console_in);
  const std::string prefix = std::string(c.without) == ":output_prefix" ? "DFL" : "run";
  EXPECT_EQ(errors(prefix), std::string(c.error_text) + "\n");
  EXPECT_EQ(test::read_text(shown),
            "Reading program control file...\n\n\n" + std::string(c.console_text) + "\n\n\n");
}

INSTANTIATE_TEST_SUITE_P(
    ControlFile, FailedCheck,
    testing::Values(
        CheckCase{":output_prefix", "", " *** Require an output file prefix *** ",
                  " *** Require an output file prefix *** <ENTER>"},
        CheckCase{":mesh_file", "", " *** Require an input mesh file *** ",
                  " *** Require an input mesh file  *** <ENTER>"},
        CheckCase{"", ":mesh_format kfe\n",
                  " *** Require a boundary condition file for KFE mesh *** ",
                  " *** Require a boundary condition file for KFE mesh *** <ENTER>"},
        CheckCase{"", ":mesh_format rvs-3d\n",
                  " *** Require a boundary condition file for N3D grid *** ",
                  " *** Require a boundary condition file for N3D grid *** <ENTER>"},
        CheckCase{"", ":rvs_quadtree q\n",
                  " *** Require a boundary condition file for RVS grid *** ",
                  " *** Require a boundary condition file for RVS grid *** <ENTER>"},
        CheckCase{"", ":mesh_format n2d\n:bc_file b\n",
                  " *** Require a control file for N2D v3.02 grid *** ",
                  " *** Require a control file for N2D v3.02 grid *** <ENTER>"},
        CheckCase{":neighbor_file", "", " *** Require a neighbor file *** ",
                  " *** Require a neighbor file  *** <ENTER>"},
        CheckCase{":time_step", "", " *** Require DT *** ", " *** Require DT *** <ENTER>"},
        CheckCase{":start_run", ":start_run 1949 12 31 0 0 0\n", " *** Require START_TIME *** ",
                  " *** Require START_TIME *** <ENTER>"},
        CheckCase{":stop_run", "", " *** Require DURATION or STOP_TIME *** ",
                  " *** Require DURATION or STOP_TIME *** <ENTER>"},
        CheckCase{"", ":velocity_method two_point\n", " *** Require bottom flow file *** ",
                  " *** Require bottom flow file *** <ENTER>"},
        CheckCase{"", ":bottom_flow_file b.64\n",
                  " *** Bottom flow file given, but VELOCITY_METHOD not TWO-POINT *** ",
                  " *** Bottom flow file given, but VELOCITY_METHOD not TWO-POINT *** <ENTER>"},
        CheckCase{"", ":residence_calc\n", " *** Need TRAP to perform  residence calculations *** ",
                  " *** Need TRAP to perform residence calculations *** <ENTER>"},
        CheckCase{"", ":velocity_method two-point\n:bottom_flow_file b\n:advection_method 1d\n",
                  " *** 1d advection method not supported for 2-point *** ",
                  "... *** 1d advection method not supported for 2-point *** <ENTER>"},
        CheckCase{"", ":velocity_method 3ds\n:advection_method 1d\n",
                  " *** 1d advection method not supported for 3D hydro. input *** ",
                  "... *** 1d advection method not supported for 3D hydro. input *** <ENTER>"},
        CheckCase{"", ":sediment_format hyfs\n:hyfs_d50_path none\n",
                  " *** Need HYFS sediment data path *** ",
                  " *** Need HYFS sediment data path *** <ENTER>"},
        CheckCase{"", ":flow_format n3d\n", " *** Need path for HYFS input hydro data *** ",
                  " *** Need path for HYFS input hydro data *** <ENTER>"},
        CheckCase{"", ":particle_concentration\n:gaussian_concentration 1\n",
                  " *** Please select one concentration method *** ",
                  " *** Please select one concentration method *** <ENTER>"},
        CheckCase{"", ":waves\n", " *** Require at least one wave file *** ",
                  " *** Require at least one wave file *** <ENTER>"},
        CheckCase{"", ":waves\n:wave_files 1\n", " *** Require RVS-Wave simulation file name *** ",
                  " *** Require RVS-Wave simulation file name *** <ENTER>"},
        CheckCase{"", ":waves\n:wave_files 1\n:wave_x_origin 0\n",
                  " *** Need wave grid origin *** ", "... *** Need wave grid origin *** <ENTER>"},
        CheckCase{"", ":waves\n:wave_files 1\n:wave_x_origin 0\n:wave_y_origin 0\n",
                  " *** Need wave grid angle *** ", "... *** Need wave grid angle *** <ENTER>"},
        CheckCase{"", ":waves\n:wave_files 1\n:wave_sim_file s\n:nested\n",
                  " *** Require RVS-Wave simulation file name (nested)*** ",
                  " *** Require RVS-Wave simulation file name (nested) *** <ENTER>"},
        CheckCase{"",
                  ":waves\n:wave_files 1\n:wave_x_origin 0\n:wave_y_origin 0\n:wave_grid_angle 0\n"
                  ":nested\n:wave_x_origin_2 0\n",
                  " *** Need nested grid origin *** ",
                  "... *** Need nested grid origin *** <ENTER>"},
        CheckCase{"", ":waves\n:wave_format hyfs\n", " *** Need wave filename *** ",
                  "... *** Need wave filename  *** <ENTER>"},
        CheckCase{"", ":waves\n:wave_format hyfs\n:wave_file_hyfs w\n:nested\n",
                  " *** Need nested wave filename ***", "... *** Need nested filename *** <ENTER>"},
        CheckCase{"", ":waves\n:wave_format swan\n", " *** Need SWAN input filename ***",
                  "... *** Need SWAN input filename  *** <ENTER>"},
        CheckCase{"", ":waves\n:wave_format lagoon\n", " *** Need Lagoon wave period ***",
                  "... *** Need Lagoon wave period *** <ENTER>"}));

TEST_F(ControlFile, NestedGridTakesTheAngleOfItsParent) {
  const Settings& s = read_with(
      ":waves\n:wave_files 1\n:wave_x_origin 0\n:wave_y_origin 0\n:wave_grid_angle 12\n:nested\n"
      ":wave_x_origin_2 0\n:wave_y_origin_2 0\n");
  EXPECT_EQ(s.wave_grid_angle_2, 12.0f);
  EXPECT_FALSE(s.wave_sim_required);
}

}  // namespace
}  // namespace dfl
