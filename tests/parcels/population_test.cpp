#include "parcels/population.h"

#include <gtest/gtest.h>

#include "common/test_run.h"

namespace dfl {
namespace {

using test::lines_of;
using test::read_text;

struct Population {
  test::TemporaryFolder folder;
  RunState run;
  explicit Population(int count) {
    test::quiet(run, folder.path("t"));
    run.messages.HOSTEDmode = true;
    run.parcels.NUMparcels = count;
    allocate_population(run);
    PARCEL_INIT(run);
  }
  void bear(int count) {
    for (int i = 0; i < count; ++i) {
      run.parcels.PARCELS(++run.parcels.NUMborn).ALIVE = logical_true;
    }
  }
  std::string errors() {
    if (run.messages.error_file != nullptr) std::fflush(run.messages.error_file);
    return read_text(folder.path("t.err"));
  }
};

TEST(Population, VelocityAndResidenceLieWhereTheirReadersLook) {
  const struct {
    bool flow, residence;
    int length, entry;  // entry: place of the entry time, from 0
  } cases[] = {
      {false, false, 0, -1}, {true, false, 3, -1}, {false, true, 2, 1}, {true, true, 5, 4}};
  for (const auto& c : cases) {
    RunState run;
    run.settings.flow_output = c.flow;
    run.settings.residence_calc = c.residence;
    run.settings.rhos = 2400.0f;
    run.parcels.NUMparcels = 3;
    allocate_population(run);
    PARCEL_INIT(run);
    EXPECT_EQ(run.parcels.VECLEN, c.length);
    EXPECT_EQ(run.parcels.output_buffer.size(), 9);
    for (int id = 1; id <= 3; ++id) {
      const Parcel& parcel = run.parcels.PARCELS(id);
      EXPECT_EQ(parcel.RHOs, 2400.0f);
      EXPECT_EQ(parcel.MOBILITY, 1.0f);
      EXPECT_FALSE(is_true(parcel.ALIVE));
      EXPECT_EQ(parcel.VEC,
                c.length == 0 ? nullptr : run.parcels.VECstore.data() + (id - 1) * c.length);
      for (int i = 0; i < c.length; ++i) EXPECT_EQ(parcel.VEC[i], i == c.entry ? -9999.0f : 0.0f);
    }
  }
  RunState none;
  allocate_population(none);
  PARCEL_INIT(none);
  EXPECT_EQ(none.parcels.PARCELS.size(), 0);
  EXPECT_EQ(none.parcels.ALIVElist.size(), 1);
  EXPECT_EQ(none.parcels.DEADlist.size(), 1);
  EXPECT_EQ(none.parcels.DEADflag.size(), 1);
}

TEST(AliveList, HoldsTheLivingInAscendingOrderAndZerosBehindThem) {
  Population p(5);
  p.bear(4);
  BUILD_ALIVE_LIST(p.run);
  EXPECT_EQ(p.run.parcels.NUMalive, 4);
  p.run.parcels.PARCELS(2).ALIVE = logical_false;
  p.run.parcels.NUMalive = 3;                       // as traps leave it, the id still in the list
  p.run.parcels.PARCELS(3).DORMANT = logical_true;  // lies on the bed, still tracked
  BUILD_ALIVE_LIST(p.run);
  const int expected[] = {1, 3, 4, 0, 0};
  for (int i = 1; i <= 5; ++i) EXPECT_EQ(p.run.parcels.ALIVElist(i), expected[i - 1]) << i;
  EXPECT_EQ(p.run.parcels.NUMalive, 3);
}

TEST(AliveList, EmptyListEndsTheRunOnlyAfterTheLastRelease) {
  Population p(1);
  p.run.parcels.RELlast = 100.0;
  for (double t : {50.0, 100.0}) {
    p.run.clock.Tnow = t;
    BUILD_ALIVE_LIST(p.run);
    EXPECT_FALSE(p.run.clock.STOPrun) << t;
  }
  EXPECT_EQ(p.errors(), "");
  p.run.clock.Tnow = 100.5;
  BUILD_ALIVE_LIST(p.run);
  EXPECT_TRUE(p.run.clock.STOPrun);
  EXPECT_EQ(p.errors(), "*** No active particles in domain\n");
  p.bear(1);
  BUILD_ALIVE_LIST(p.run);
  EXPECT_FALSE(p.run.clock.STOPrun);  // the flag of the call before is cleared
}

TEST(AliveList, WarnsOfAnInstantaneousRowThatWasSteppedOver) {
  Population p(1);
  p.bear(1);
  p.run.parcels.NUMinst = 2;
  p.run.parcels.SRCinst.allocate(2);
  for (int i = 1; i <= 2; ++i) p.run.parcels.SRCinst(i).SRCrow.allocate(1);
  p.run.parcels.SRCinst(1).SRCrow(1).ROWtime = -999.0;  // has fired
  p.run.parcels.SRCinst(2).SRCrow(1).ROWtime = 90.0;
  p.run.parcels.RELlast = 100.0;
  p.run.clock.Tnow = 100.0;
  BUILD_ALIVE_LIST(p.run);
  EXPECT_EQ(p.errors(), "");
  p.run.clock.Tnow = 110.0;
  BUILD_ALIVE_LIST(p.run);
  EXPECT_FALSE(p.run.clock.STOPrun);
  EXPECT_EQ(lines_of(p.errors()),
            (std::vector<std::string>{
                "", "WARNING: Time step may not be in sync with instantaneous release"}));
}

TEST(Scan, CountsTheDeadOnceAndTheDormantDeadOrAlive) {
  Population p(4);
  p.bear(4);
  BUILD_ALIVE_LIST(p.run);
  Parcel& dead = p.run.parcels.PARCELS(3);
  dead.ALIVE = logical_false;
  dead.DORMANT = logical_true;
  dead.X = 1234.5;
  dead.Y = -0.25;
  p.run.parcels.PARCELS(1).DORMANT = logical_true;
  p.run.clock.NStep = 17;
  SCAN_PARCELS(p.run);
  EXPECT_EQ(p.run.parcels.NUMdead, 1);
  EXPECT_EQ(p.run.parcels.DEADlist(1), 3);
  EXPECT_TRUE(is_true(p.run.parcels.DEADflag(3)));
  EXPECT_EQ(p.run.parcels.NUMdormant, 2);
  EXPECT_EQ(p.run.parcels.NUMalive, 4);  // leaves ALIVE one step later
  EXPECT_EQ(p.errors(), "Dead particle:       17       3        1234.500          -0.250\n");
  BUILD_ALIVE_LIST(p.run);
  SCAN_PARCELS(p.run);
  EXPECT_EQ(p.run.parcels.NUMdead, 1);
  EXPECT_FALSE(is_true(p.run.parcels.DEADflag(3)));
  EXPECT_EQ(p.run.parcels.NUMdormant, 1);
}

}  // namespace
}  // namespace dfl
