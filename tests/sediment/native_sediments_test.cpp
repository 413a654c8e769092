#include "sediment/native_sediments.h"

#include <gtest/gtest.h>

#include "sediment/bed_run.h"

namespace dfl {
namespace {

using test::TemporaryFolder;

// Four nodes, two elements; `text` as sediment file.
void sediment_run(RunState& run, const TemporaryFolder& folder, SedimentsFormat format,
                  const std::string& text) {
  test::bed_run(run, 1, 1, 2.0f);
  run.sediment = SedimentState{};
  test::quiet(run, folder.path("run"), true);
  run.settings.method.sediments = format;
  run.settings.sediments_format = "kfe";
  run.settings.sediment_file = folder.write("bed.sed", text);
}

TEST(NativeSediments, NodeFileInAnyOrderWithHardBottom) {
  TemporaryFolder folder;
  RunState run;
  sediment_run(run, folder, SedimentsFormat::adcirc,
               "title\n0 4\n"
               "3 0 0 0.1 0.2 0.5\n"
               "1 1.0D+01 0 0.3, 0.4, 0.6\n"
               "4 0 0 0.1 0.2 -0.6\n"
               "2 0 0\n 0.1 0.2\n 0.7 left over\n");
  READ_NATIVE_SEDIMENTS(run);
  const SedimentState& bed = run.sediment;
  EXPECT_FLOAT_EQ(bed.D35(1), 0.0003f);
  EXPECT_FLOAT_EQ(bed.D50(3), 0.0002f);
  EXPECT_FLOAT_EQ(bed.D90(2), 0.0007f);
  for (int n : {1, 2, 3}) EXPECT_EQ(bed.BEDmobile(n), logical_true);
  // The roughness height of a hard bottom, 0.6 mm, is three times its size.
  EXPECT_EQ(bed.BEDmobile(4), logical_false);
  for (const float size : {bed.D35(4), bed.D50(4), bed.D90(4)}) EXPECT_FLOAT_EQ(size, 0.0002f);
  EXPECT_FALSE(bed.UNIFORMbed);
}

TEST(NativeSediments, ListedNodesGiveTheOthersTheirMean) {
  TemporaryFolder folder;
  RunState run;
  sediment_run(run, folder, SedimentsFormat::kfe, "title\n2\n4 0.1 0.2 0.4\n2 0.3 0.4 0.8\n");
  READ_NATIVE_SEDIMENTS(run);
  EXPECT_FLOAT_EQ(run.sediment.D50(4), 0.0002f);
  for (int n : {1, 3}) {
    EXPECT_FLOAT_EQ(run.sediment.D35(n), 0.0002f);
    EXPECT_FLOAT_EQ(run.sediment.D50(n), 0.0003f);
    EXPECT_FLOAT_EQ(run.sediment.D90(n), 0.0006f);
    EXPECT_EQ(run.sediment.BEDmobile(n), logical_true);
  }
}

TEST(NativeSediments, ListedNodeThatComesAgainTakesTheLaterSizes) {
  TemporaryFolder folder;
  RunState run;
  sediment_run(run, folder, SedimentsFormat::kfe,
               "title\n5\n1 0.1 0.2 0.4\n2 0.1 0.2 -0.6\n3 0.3 0.4 0.8\n2 0.3 0.4 0.8\n"
               "3 0.3 0.4 -0.6\n");
  READ_NATIVE_SEDIMENTS(run);
  const SedimentState& bed = run.sediment;
  EXPECT_FLOAT_EQ(bed.D90(2), 0.0008f);
  EXPECT_EQ(bed.BEDmobile(2), logical_true);
  EXPECT_FLOAT_EQ(bed.D50(3), 0.0002f);
  EXPECT_EQ(bed.BEDmobile(3), logical_false);
  EXPECT_FLOAT_EQ(bed.D90(4), 0.0014f / 3.0f);  // the mean of three nodes, not of five records
}

TEST(NativeSediments, UniformSizesAreNotChecked) {
  TemporaryFolder folder;
  RunState run;
  sediment_run(run, folder, SedimentsFormat::uniform, "");
  run.settings.bed_d90 = -0.6f;
  READ_NATIVE_SEDIMENTS(run);
  EXPECT_TRUE(run.sediment.UNIFORMbed);
  for (int n = 1; n <= 4; ++n) {
    EXPECT_FLOAT_EQ(run.sediment.D50(n), 0.0002f);
    EXPECT_FLOAT_EQ(run.sediment.D90(n), -0.0006f);
    EXPECT_EQ(run.sediment.BEDmobile(n), logical_true);
  }
}

TEST(NativeSedimentsDeathTest, BadFilesStopWithPlaceAndReason) {
  struct Case {
    SedimentsFormat format;
    const char* text;
    const char* message;
  };
  const Case cases[] = {
      {SedimentsFormat::adcirc, "t\n2 5\n", "Native sediments file error \\(NUMnode\\)"},
      {SedimentsFormat::adcirc, "t\n3 4\n", "Native sediments file error \\(NUMelem\\)"},
      {SedimentsFormat::adcirc, "t\n2 4\n1 0 0 1 1 1\n9 0 0 1 1 1\n",
       "bed.sed:4: expected a node number from 1 to 4, found 9"},
      {SedimentsFormat::adcirc, "t\n2 4\n1 0 0 1 1 1\n0 0 0 1 1 1\n",
       "bed.sed:4: expected a node number from 1 to 4, found 0"},
      {SedimentsFormat::adcirc, "t\n2 4\n1 0 0 1 1 1\n1 0 0 1 1 1\n",
       "bed.sed:4: node 1 is given twice"},
      {SedimentsFormat::adcirc, "t\n2 4\n1 0 0 1 1 1\n2 0 0 1 1 1\n",
       "bed.sed:4: expected an integer, found the end of the file"},
      {SedimentsFormat::adcirc, "t\n2 4\n1 0 0 1 fine 1\n",
       "bed.sed:3: expected a real number, found \"fine\""},
      {SedimentsFormat::adcirc, "", "expected a line, found the end of the file"},
      {SedimentsFormat::adcirc, "t\n2 4\n1 0 0 1 1 1\n2 0 0 1 1 1\n4 0 0 1 1 0\n3 0 0 1 1 1\n",
       "\\*\\*\\* Zero grain size for D90 @ N=     4"},
      {SedimentsFormat::adcirc, "t\n2 4\n1 0 0 0 0 0\n2 0 0 1 1 1\n4 0 0 1 1 1\n3 0 0 1 1 1\n",
       "\\*\\*\\* Zero grain size for D35 @ N=     1"},
      {SedimentsFormat::kfe, "t\n1\n2 1 0 1\n", "\\*\\*\\* Zero grain size for D50 @ N=     2"},
      {SedimentsFormat::kfe, "t\n2000000000\n1 1 1 1\n",
       "bed.sed:3: expected an integer, found the end of the file"},
      {SedimentsFormat::kfe, "t\n0\n", "expected a number of records of 1 or more, found 0"},
      {SedimentsFormat::n2d, "t\n", "not available in this version: it needs a gridded mesh"},
      {SedimentsFormat::hyfs, "t\n", "not available in this version"},
      {SedimentsFormat::unknown, "t\n", "Sediments file type not available"},
  };
  for (const Case& c : cases) {
    TemporaryFolder folder;
    RunState run;
    sediment_run(run, folder, c.format, c.text);
    EXPECT_EXIT(READ_NATIVE_SEDIMENTS(run), testing::ExitedWithCode(0), c.message);
  }
}

}  // namespace
}  // namespace dfl
