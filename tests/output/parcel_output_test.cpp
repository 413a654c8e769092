#include "output/parcel_output.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "control/text_tools.h"
#include "output/output_run.h"
#include "output/output_setup.h"

namespace dfl {
namespace {

using test::TemporaryFolder;

class TecplotParcels : public test::OutputTest {
 protected:
  TecplotParcels() {
    run.settings.hyfs_parcels = false;
    run.settings.tecplot_parcels = true;
    test::set_clock(run, 1);
    test::square_mesh(run);
  }
};
class EnsimParcels : public test::OutputTest {};
class Population : public test::OutputTest {};

// Takes binary records apart.
class Records {
 public:
  explicit Records(std::string text) : bytes(std::move(text)) {}
  // The data of the next record; its two length marks must agree.
  std::string next() {
    const std::int32_t length = number<std::int32_t>(bytes, at);
    const std::size_t size = static_cast<std::size_t>(length);
    EXPECT_LE(at + size + 8, bytes.size());
    EXPECT_EQ(number<std::int32_t>(bytes, at + 4 + size), length);
    std::string data = bytes.substr(at + 4, size);
    at += size + 8;
    return data;
  }
  bool at_end() const { return at == bytes.size(); }
  template <class Number>
  static Number number(const std::string& data, std::size_t offset) {
    Number value{};
    std::memcpy(&value, data.data() + offset, sizeof value);
    return value;
  }
  template <class Number>
  std::vector<Number> numbers() {
    const std::string data = next();
    std::vector<Number> values(data.size() / sizeof(Number));
    std::memcpy(values.data(), data.data(), data.size());
    return values;
  }

 private:
  std::string bytes;
  std::size_t at = 0;
};

void select_all(Settings& s) {
  for (bool Settings::*flag :
       {&Settings::id_output, &Settings::source_output, &Settings::grain_size_output,
        &Settings::density_output, &Settings::parcel_mass_output, &Settings::mobility_output,
        &Settings::elevation_output, &Settings::height_output, &Settings::state_output,
        &Settings::flow_output, &Settings::tau_cr_output, &Settings::fall_velocity_output,
        &Settings::age_output}) {
    s.*flag = true;
  }
}

// One parcel in motion, one on the bed, one dead that lay on the bed, one slot not released.
void three_parcels(RunState& run) {
  test::make_parcels(run, 4, 3);
  Parcel& moving = run.parcels.PARCELS(1);
  moving.X = 1234567.8906;
  moving.Y = -12.0625;
  moving.MOBILITY = 1.5f;
  moving.Z = -3.25f;
  moving.h = 0.75f;
  moving.MASS = 2.5f;
  moving.RHOs = 2650.0f;
  moving.D = 0.00025f;
  moving.Ws = 0.03125f;
  moving.TAUcr = 0.1875f;
  moving.TAUcd = 0.0625f;
  moving.Age = 90.0f;
  moving.SOURCE = 12;
  moving.ALIVE = logical_true;
  if (moving.VEC != nullptr) {
    moving.VEC[0] = 0.3f;
    moving.VEC[1] = -0.4f;
    moving.VEC[2] = -0.0001f;
  }
  Parcel& lying = run.parcels.PARCELS(2);
  lying.X = 1.0;
  lying.ALIVE = lying.DORMANT = logical_true;
  Parcel& dead = run.parcels.PARCELS(3);
  dead.X = 5.0;
  dead.DORMANT = logical_true;
}

TEST_F(TecplotParcels, RowsHoldTheSelectedColumnsInTheirOrder) {
  select_all(run.settings);
  run.clock.DATEnow = {2000, 1, 2, 1, 0, 30, 5};
  three_parcels(run);
  SETUP_OUTPUT(run);
  WRITE_TECPLOT_PARCELS(run);
  const std::string zeros =
      "       0.000       0.000       0.000 0.000000000 0.000000000       0.000\n";
  EXPECT_EQ(output("run_particles.plt"),
            "VARIABLES=\"X\" \"Y\" \"ID\" \"D\" \"RHOs\" \"MASS\" \"MOBILITY\" \"Z\" \"h\" "
            "\"SOURCE\" \"STATE\" \"U\" \"V\" \"W\" \"Ws\" \"TAUcr\" \"Age\"\n"
            "ZONE T=\"" +
                folder.path("run") +
                " @ 2000/01/02/01/00/30.005\", I=3\n"
                " 1234567.891     -12.062       1 0.250000000    2650.000       2.500"
                "       1.500      -3.250       0.750      12  1"
                "       0.300      -0.400      -0.000 0.031250000 0.187500000      90.000\n"
                "       1.000       0.000       2 0.000000000       0.000       0.000"
                "       1.000       0.000       0.000       0  0" +
                zeros +
                "       5.000       0.000       3 0.000000000       0.000       0.000"
                "       1.000       0.000       0.000       0 -1" +
                zeros);
}

TEST_F(TecplotParcels, DefaultColumnsAndEmptyZone) {
  run.settings.flow_output = true;  // but no parcel has velocities
  run.parcels.NUMborn = 0;
  SETUP_OUTPUT(run);
  WRITE_TECPLOT_PARCELS(run);
  EXPECT_EQ(output("run_particles.plt"),
            "VARIABLES=\"X\" \"Y\" \"ID\" \"Z\"\n"
            "ZONE T=\"" +
                folder.path("run") + " @ 2000/01/02/01/00/30.000\", I=0\n");
}

// More rows than one write takes.
TEST_F(TecplotParcels, EveryParcelOfALargeFrameHasItsRow) {
  constexpr int count = 10000;
  test::make_parcels(run, count, count);
  for (int id = 1; id <= count; ++id) run.parcels.PARCELS(id).X = id;
  SETUP_OUTPUT(run);
  WRITE_TECPLOT_PARCELS(run);
  const std::vector<std::string> lines = test::lines_of(output("run_particles.plt"));
  ASSERT_EQ(lines.size(), 2u + count);
  for (int id = 1; id <= count; ++id) {
    ASSERT_EQ(lines[static_cast<std::size_t>(id) + 1],
              columns(id, 8) + ".000       0.000" + columns(id, 8) + "       0.000");
  }
}

TEST_F(EnsimParcels, FrameHoldsEverySlot) {
  select_all(run.settings);
  run.settings.hyfs_parcels = false;
  run.settings.ensim_parcels = true;
  run.clock.RUNuser = "river";
  test::set_clock(run, 7);
  test::square_mesh(run);
  three_parcels(run);
  SETUP_OUTPUT(run);
  WRITE_ENSIM_PARCELS(run);
  run.clock.NStep = 17;
  WRITE_ENSIM_PARCELS(run);

  const std::string text = output("run_particles.pcl");
  const std::string head =
      std::string(59, '#') +
      "\n:FileType pcl BINARY EnSim 1.0\n#\n:Application   DFL\n:Version       2.3.005\n"
      ":WrittenBy     river\n#\n#" +
      std::string(58, '-') + "\n#\n:Name       " + folder.path("run") +
      "\n#\n"
      ":AttributeName Z\n:AttributeUnits m\n:AttributeName ID\n:AttributeUnits \n"
      ":AttributeName D\n:AttributeUnits mm\n:AttributeName RHOs\n:AttributeUnits kg/m^3 \n"
      ":AttributeName mass\n:AttributeUnits kg\n:AttributeName MOBILITY\n:AttributeUnits \n"
      ":AttributeName h\n:AttributeUnits m\n:AttributeName SOURCE\n:AttributeUnits \n"
      ":AttributeName STATE\n:AttributeUnits \n:AttributeName U\n:AttributeUnits \n"
      ":AttributeName V\n:AttributeUnits \n:AttributeName W\n:AttributeUnits \n"
      ":AttributeName SFV\n:AttributeUnits \n:AttributeName TAUcr\n:AttributeUnits \n"
      ":AttributeName AGE\n:AttributeUnits \n#\n:EndHeader\n";
  ASSERT_EQ(text.substr(0, head.size()), head);

  Records records(text.substr(head.size()));
  EXPECT_EQ(records.numbers<std::int32_t>(),
            (std::vector<std::int32_t>{1, 7, 2000, 1, 2, 1, 3, 30, 0}));
  EXPECT_EQ(records.numbers<std::int32_t>(), std::vector<std::int32_t>{4});
  using Floats = std::vector<float>;
  const Floats none = {0.0f, 0.0f, 0.0f, 0.0f};
  const Floats expected[] = {
      {1234567.8906f, 1.0f, 5.0f, 0.0f}, {-12.0625f, 0.0f, 0.0f, 0.0f},  // X, Y
      {-3.25f, 0.0f, 0.0f, 0.0f},        {1.0f, 2.0f, 3.0f, 4.0f},       // Z, ID
      {0.25f, 0.0f, 0.0f, 0.0f},         {2650.0f, 0.0f, 0.0f, 0.0f},    // D, RHOs
      {2.5f, 0.0f, 0.0f, 0.0f},          {1.5f, 1.0f, 1.0f, 1.0f},       // mass, MOBILITY
      {0.75f, 0.0f, 0.0f, 0.0f},         {12.0f, 0.0f, 0.0f, 0.0f},      // h, SOURCE
      {1.0f, 0.0f, -1.0f, -1.0f},                                        // STATE
      {0.3f, 0.0f, 0.0f, 0.0f},          {-0.4f, 0.0f, 0.0f, 0.0f},      // U, V
      {-0.0001f, 0.0f, 0.0f, 0.0f},      {0.03125f, 0.0f, 0.0f, 0.0f},   // W, SFV
      {0.1875f, 0.0f, 0.0f, 0.0f},       {90.0f, 0.0f, 0.0f, 0.0f}};     // TAUcr, AGE
  for (const Floats& values : expected) EXPECT_EQ(records.numbers<float>(), values);
  EXPECT_EQ(records.numbers<std::int32_t>()[0], 2);  // the second frame
  for (std::size_t i = 0; i < 1 + std::size(expected); ++i) records.next();
  EXPECT_TRUE(records.at_end());
}

TEST_F(Population, RowsCountParcelsAtEveryStep) {
  run.settings.hyfs_parcels = false;
  run.settings.population_record = true;
  test::set_clock(run, 1);
  test::square_mesh(run);
  SETUP_OUTPUT(run);
  WRITE_POPULATION_ROW(run);
  run.clock.Tnow = 1577934000.0;
  run.parcels.NUMborn = 1000000;
  run.parcels.NUMalive = 2;
  run.parcels.NUMdead = 3;
  run.parcels.NUMactive = 4;
  run.parcels.NUMdormant = 5;
  run.parcels.NUMtrapped = 123456789;
  WRITE_POPULATION_ROW(run);
  EXPECT_EQ(output("run_population.plt"),
            "VARIABLES=\"TIME\" \"BORN\" \"ALIVE\" \"DEAD\" \"ACTIVE\" \"DEPOSITED\" \"TRAPPED\"\n"
            "ZONE T=\"" +
                folder.path("run") +
                "\"\n"
                "     1577926800.       0       0       0       0       0       0\n"
                "     1577934000. 1000000       2       3       4       5********\n");
}

TEST(OutputDeath, FullDiskIsNamed) {
  const TemporaryFolder folder;
  std::filesystem::create_symlink("/dev/full", folder.path("run_particles.plt"));
  std::filesystem::create_symlink("/dev/full", folder.path("run_balance.txt"));
  RunState run;
  test::quiet(run, folder.path("run"), true);
  run.settings.hyfs_parcels = false;
  run.settings.tecplot_parcels = true;
  test::square_mesh(run);
  EXPECT_EXIT(SETUP_OUTPUT(run), testing::ExitedWithCode(0),
              "Cannot write file \".*run_particles.plt\": No space left on device");
  EXPECT_EXIT(WRITE_BALANCE(run), testing::ExitedWithCode(0),
              "Cannot write file \".*run_balance.txt\": No space left on device");
}

}  // namespace
}  // namespace dfl
