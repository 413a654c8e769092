#include "flow/flow_text.h"

#include <gtest/gtest.h>

#include "flow/flow_files.h"

namespace dfl {
namespace {

using test::FlowRun;

constexpr const char* good_63 = "title\n1 2 60 30 1\n60 30\n1 0.5\n2 0.25\n";
constexpr const char* good_64 = "title\n1 2 60 30 2\n60 30\n1 1 2\n2 3 4\n";

TEST(FlowText, ReadsNodesInAnyOrderWithFurtherWordsAndKeepsDryMarks) {
  FlowRun f(3);
  f.write_2d(
      "title\r\n 1 3 0.6E+002 30 1 FileFmtVersion: 1050624\r\n 6.0E+001 30 wet 1\r\n"
      "3 3.5\r\n1 -99999\r\n2 2.5E+000\r\n",
      "title\n1 3 60. 30 2 more words\n60.0 30\n2, 0.5, -0.5\n3 1\n1.5\n1 2*-99999 x");
  f.open_2d();
  f.read_2d();
  const FlowState& flow = f.run.flow;
  EXPECT_EQ(flow.NUMframes, 1);
  EXPECT_EQ(flow.dTime, 60.0f);
  EXPECT_EQ(flow.TIMESflow(1), 60.0);
  EXPECT_EQ(flow.frame_time, 60.0);
  EXPECT_EQ(flow.frame_step, 30);
  EXPECT_EQ(flow.ETAnew(1), -99999.0f);
  EXPECT_EQ(flow.ETAnew(2), 2.5f);
  EXPECT_EQ(flow.ETAnew(3), 3.5f);
  EXPECT_EQ(flow.Unew(1, 0), -99999.0f);
  EXPECT_EQ(flow.Vnew(1, 0), -99999.0f);
  EXPECT_EQ(flow.Vnew(2, 0), -0.5f);
  EXPECT_EQ(flow.Unew(3, 0), 1.0f);  // an item on the line behind
  EXPECT_EQ(flow.Vnew(3, 0), 1.5f);
}

TEST(FlowText, SparseFramesGiveAllOtherNodesTheDefault) {
  FlowRun f(3);
  f.write_2d("t\n2 3 60 30 1\n60 30 2 -99999\n3 0.3\n1 0.1\n120 60\n1 1\n2 2\n3 3\n",
             "t\n2 3 60 30 2\n60 30 0 -99999.0\n120 60 1 0.5\n2 7 8\n");
  f.open_2d();
  f.read_2d();
  const FlowState& flow = f.run.flow;
  EXPECT_EQ(flow.ETAnew(1), 0.1f);
  EXPECT_EQ(flow.ETAnew(2), -99999.0f);
  EXPECT_EQ(flow.ETAnew(3), 0.3f);
  EXPECT_EQ(flow.Unew(2, 0), -99999.0f);
  EXPECT_EQ(flow.Vnew(3, 0), -99999.0f);
  f.read_2d();  // the two forms may alternate
  EXPECT_EQ(flow.ETAnew(2), 2.0f);
  EXPECT_EQ(flow.Unew(1, 0), 0.5f);
  EXPECT_EQ(flow.Vnew(2, 0), 8.0f);
}

TEST(FlowText, LogBlockAndConsoleLines) {
  FlowRun f(2);
  f.write_2d(good_63, good_64);
  f.console_to_file();
  f.run.messages.echo_file = std::fopen(f.folder.path("run.input").c_str(), "w");
  f.open_2d();
  std::fclose(f.run.messages.echo_file);
  const std::string block =
      " File\n  Frames:          1\n  Nodes:           2\n  dTime:           60.0 sec\n"
      "  dStep:          30\n\n";
  EXPECT_EQ(test::read_text(f.folder.path("run.input")), "Levels" + block + "Flows" + block);
  EXPECT_EQ(f.console_text(),
            "Opening water surface elevation data file...\nOpening velocity data file...\n");
}

TEST(FlowText, FileNameWithAPointAnywhereGetsNoExtension) {
  FlowRun f(2);
  f.write_2d(good_63, good_64);
  f.run.settings.flow_file_z = f.folder.path("flow");
  f.run.settings.flow_file_uv = f.folder.path("flow");
  ASSERT_EQ(f.run.settings.flow_file_z.find('.'), std::string::npos);
  f.open_2d();
  std::filesystem::create_directory(f.folder.path("a.b"));
  f.folder.write("a.b/flow.63", good_63);
  f.run.settings.flow_file_z = f.folder.path("a.b/flow");
  EXPECT_EXIT(f.open_2d(), testing::ExitedWithCode(0), "Cannot open file \".*a.b/flow\"");
}

TEST(FlowText, HeadsThatDoNotFitStopTheRun) {
  const struct {
    const char* head_63;
    const char* head_64;
    const char* message;
  } cases[] = {
      {"1 3 60 30 1", "1 2 60 30 2", "ERROR: NUMnode error in ETA file"},
      {"1 2 60 30 2", "1 2 60 30 2", "ERROR: NVAR error in ETA file"},
      {"1 2 60 30 1", "9 9 61 31 9", "ERROR: Time0 error in VEL file"},
      {"2 2 60 30 1", "0 9 0 31 9", "ERROR: Time0 error in VEL file"},
      {"2 2 60 30 1", "0 2 60 30 2", "ERROR: NUMframes error in VEL file"},
      {"1 2 60 30 1", "9 9 60 31 9", "ERROR: NStep0 error in VEL file"},
      {"1 2 60 30 1", "9 9 60 30 9", "ERROR: NUMframes error in VEL file"},
      {"1 2 60 30 1", "1 9 60 30 9", "ERROR: NUMnode error in VEL file"},
      {"1 2 60 30 1", "1 2 60 30 1", "ERROR: NVAR error in VEL file"},
      {"0 2 60 30 1", "", "flow.63:2: expected a count of frames from 1 to 10000000, found 0"},
      {"2000000000 2 60 30 1", "", "flow.63:2: expected a count of frames from 1 to 10000000"},
      {"5 2 0 30 1", "", "flow.63:2: expected an interval between frames above 0"},
      {"1 2 60 x 1", "", "flow.63:2: expected an integer, found \"x\""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    FlowRun f(2);
    f.write_2d(std::string("t\n") + c.head_63 + "\n60 30\n1 0\n2 0\n",
               std::string("t\n") + c.head_64 + "\n60 30\n1 0 0\n2 0 0\n");
    EXPECT_EXIT(f.open_2d(), testing::ExitedWithCode(0), c.message);
  }
}

TEST(FlowText, BadFramesAreToldWithFileAndLine) {
  struct Case {
    const char* body_63;  // behind the head of two lines
    const char* body_64;
    const char* message;
  };
  const char* good = "60 30\n1 0 0\n2 0 0\n";
  const Case cases[] = {
      {"60 30\n1 0\n3 0\n", good, "flow.63:5: expected a node number from 1 to 2, found 3"},
      {"60 30\n0 0\n2 0\n", good, "flow.63:4: expected a node number from 1 to 2, found 0"},
      {"60 30\n1 0\n1 0\n", good, "flow.63:5: node 1 stands twice, another is missing"},
      {"60 30\n2 0\n2 0\n", good, "flow.63:5: node 2 stands twice, another is missing"},
      {"60 30\n1 0\n", good, "flow.63:4: expected an integer, found the end of the file"},
      {"60 30\n1 0\n2", good, "flow.63:5: expected a real number, found the end of the file"},
      {"60 30\n1 nan\n2 0\n", good, "flow.63:4: expected a real number, found \"nan\""},
      {"60 30\n1 0\n2 0\n", "60 30\n1 0 0\n90 60\n", "flow.64:5: expected a node number"},
      {"60 30\n1 0\n2 0\n", "60 30\n1 0 0\n9.0E1 60\n", "flow.64:5: expected an integer, found"},
      {"60 30 3 0.0\n", good, "flow.63:3: expected a count of nodes from 0 to 2, found 3"},
      {"60 30 -1 0.0\n", good, "flow.63:3: expected a count of nodes from 0 to 2, found -1"},
      {"60 30 2 0.0\n2 0\n2 0\n", good, "flow.63:5: node 2 stands twice"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    FlowRun f(2);
    f.write_2d(std::string("t\n1 2 60 30 1\n") + c.body_63,
               std::string("t\n1 2 60 30 2\n") + c.body_64);
    f.open_2d();
    EXPECT_EXIT(f.read_2d(), testing::ExitedWithCode(0), c.message);
  }
}

TEST(FlowText, TimesOfTheFilesAgreeIfTheyAreEqualInFourBytes) {
  // The steps of 4 bytes are 1/32 s wide at this time.
  const struct {
    const char* header_64;
    bool agree;
  } cases[] = {{"348264.064 30", true},
               {"3.482640640E+05 30", true},
               {"348264.07 30", true},
               {"348264.09 30", false},
               {"348264.064 31", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.header_64);
    FlowRun f(1);
    f.write_2d("t\n1 1 60 30 1\n348264.064 30\n1 0\n",
               std::string("t\n1 1 60 30 2\n") + c.header_64 + "\n1 0 0\n");
    f.open_2d();
    if (c.agree) {
      f.read_2d();
      EXPECT_EQ(f.run.flow.frame_time, 348264.064);
    } else {
      EXPECT_EXIT(f.read_2d(), testing::ExitedWithCode(0),
                  "\n\n\\*\\*\\* Time error in ADCIRC files \\*\\*\\* <ENTER>\n\n");
    }
  }
}

TEST(FlowText, TimeErrorIsWrittenToTheErrorFile) {
  FlowRun f(1);
  f.write_2d("t\n1 1 60 30 1\n60 30\n1 0\n", "t\n1 1 60 30 2\n61.5 30\n1 0 0\n");
  f.open_2d();
  EXPECT_EXIT(f.read_2d(), testing::ExitedWithCode(0), "");
  EXPECT_EQ(test::read_text(f.folder.path("run.err")),
            "\n\n*** Time error in ADCIRC files ***\n\n        60.0    30        61.5    30\n");
}

// ---------------------------------------------------------------- three dimensions

struct LayeredRun : FlowRun {
  explicit LayeredRun(int nodes) : FlowRun(nodes, false) {}
  void write(const std::string& velocity_head, const std::string& velocity_frame) {
    folder.write("flow.63", "t\n1 1 60 30 1\n60 30\n1 0.5\n");
    folder.write("flow.45", "t\n" + velocity_head + "\n" + velocity_frame);
  }
  void write_scalars(int IDEN, const std::string& text) {
    run.settings.flow_file_dst = folder.write("flow.44", text);
    run.settings.IDEN = run.flow.IDEN = IDEN;
  }
  void open() {
    OPEN_FLOW_3D(run);
    allocate_flow_arrays(run);
  }
};

// Three levels: of the positions the third of each three, and the second of the last two, stay.
constexpr const char* three_levels =
    "60 30 9 9 -1 9 9 -0.5 9 1\n1 1 0.1 0.01 3 0.3 0.02 5 0.5 0.03\n";

TEST(FlowText, LayeredFrameGivesLevelsAndDepthAverage) {
  LayeredRun f(1);
  f.write("1 1 60 30 3 3", three_levels);
  f.open();
  READ_FRAME_3D(f.run);
  const FlowState& flow = f.run.flow;
  EXPECT_EQ(flow.NUMlayers, 3);
  EXPECT_EQ(flow.ETAnew(1), 0.5f);
  EXPECT_EQ(flow.SIGMA(1), 0.0f);
  EXPECT_EQ(flow.SIGMA(2), 0.25f);
  EXPECT_EQ(flow.SIGMA(3), 1.0f);
  EXPECT_EQ(flow.Unew(1, 2), 3.0f);
  EXPECT_EQ(flow.Wnew(1, 3), 0.03f);
  EXPECT_FLOAT_EQ(flow.Unew(1, 0), 2.0f * 0.25f + 4.0f * 0.75f);
  EXPECT_FLOAT_EQ(flow.Vnew(1, 0), 0.2f * 0.25f + 0.4f * 0.75f);
}

TEST(FlowText, LayeredHeads) {
  const struct {
    const char* head;
    const char* message;  // null: accepted
  } cases[] = {
      {"1 1 60 30 3 1", nullptr},
      {"1 1 60 30 3 2", nullptr},
      {"1 1 60 30 3 0", "NVAR error in 3D-VEL file"},
      {"1 1 60 30 3 4", "NVAR error in 3D-VEL file"},
      {"1 1 61 30 3 3", "Time0 error in 3D-VEL file"},
      {"1 1 60 31 3 3", "NStep0 error in 3D-VEL file"},
      {"2 1 60 30 3 3", "NUMframes error in 3D-VEL file"},
      {"1 2 60 30 3 3", "NUMnode error in 3D-VEL file"},
      {"1 1 60 30 0 3", "flow.45:2: expected a count of levels that fits the file, found 0"},
      {"1 1 60 30 2000000000 3", "flow.45:2: expected a count of levels that fits the file"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.head);
    LayeredRun f(1);
    f.write(c.head, three_levels);
    if (c.message == nullptr) {
      f.open();
      EXPECT_EQ(f.run.flow.NUMlayers, 3);
    } else {
      EXPECT_EXIT(f.open(), testing::ExitedWithCode(0), c.message);
    }
  }
}

TEST(FlowText, LayeredTimesAndLevelsThatDoNotFit) {
  LayeredRun f(1);
  f.write("1 1 60 30 2 3", "61 30 9 9 -1 9 1\n1 1 1 1 2 2 2\n");
  f.open();
  EXPECT_EXIT(READ_FRAME_3D(f.run), testing::ExitedWithCode(0),
              "\\*\\*\\* Time error in 3Dv ADCIRC files \\*\\*\\* <ENTER>");
  LayeredRun g(1);
  g.write("1 1 60 30 2 3", "60 30 9 9 1 9 -1\n1 1 1 1 2 2 2\n");
  g.open();
  EXPECT_EXIT(READ_FRAME_3D(g.run), testing::ExitedWithCode(0),
              "flow.45:3: expected level positions that rise");
}

// Fields of a scalar file for each code, with both heads, and a position too many on the header.
TEST(FlowText, ScalarFields) {
  const struct {
    int IDEN;
    const char* text;
    float density, salinity, temperature;  // at level 2; -1: no such field
  } cases[] = {
      {1, "t\n1 1 60 30 3\n60 30 0 0\n1 1001 1002 1003\n", 1002, -1, -1},
      {2, "t\n1 1 60 30 3\n60 30 0 0 0 0 0\n1 1001 31 1002 32 1003 33\n", 1002, 32, -1},
      {3, "t\n1 1 60 30 3\n60 30 0 0 0 0 0\n1 1001 11 1002 12 1003 13\n", 1002, -1, 12},
      {4, "t\n1 1 60 30 3\n60 30 0 0 0 0 0 0 0\n1 1001 11 31 1002 12 32 1003 13 33\n", 1002, 32,
       12},
      {4, "t\n1 1 60 30 3 4\n60 30 0 0 0 0 0 0 0 9\n1 21 11 31 22 12 32 23 13 33\n", 1022, 32, 12},
      {1, "t\n1 1 60 30 3 1\n60 30 0 0\n1 21 22 199.5\n", 1022, -1, -1},
      {1, "t\n1 1 60 30 3 words\n60 30 0 0\n1 21 22 200\n", 22, -1, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    LayeredRun f(1);
    f.write("1 1 60 30 3 3", three_levels);
    f.write_scalars(c.IDEN, c.text);
    f.open();
    READ_FRAME_3D(f.run);
    READ_SCALARS(f.run);
    EXPECT_EQ(f.run.flow.DENnew(1, 2), c.density);
    EXPECT_EQ(f.run.flow.SALnew.allocated(), c.salinity > 0.0f);
    EXPECT_EQ(f.run.flow.TEMnew.allocated(), c.temperature > 0.0f);
    if (c.salinity > 0.0f) {
      EXPECT_EQ(f.run.flow.SALnew(1, 2), c.salinity);
    }
    if (c.temperature > 0.0f) {
      EXPECT_EQ(f.run.flow.TEMnew(1, 2), c.temperature);
    }
  }
}

// The first frame decides for all.
TEST(FlowText, SigmaTIsDecidedByTheFirstFrame) {
  LayeredRun f(1);
  f.folder.write("flow.63", "t\n2 1 60 30 1\n60 30\n1 0\n120 60\n1 0\n");
  f.folder.write("flow.45",
                 "t\n2 1 60 30 2 1\n60 30 9 9 -1 9 1\n1 6*0\n120 60 9 9 -1 9 1\n1 6*0\n");
  f.write_scalars(1, "t\n2 1 60 30 2 1\n60 30 0 0\n1 20 21\n120 60 0 0\n1 22 250\n");
  f.run.messages.echo_file = std::fopen(f.folder.path("run.input").c_str(), "w");
  f.open();
  for (int frame = 1; frame <= 2; ++frame) {
    READ_FRAME_3D(f.run);
    READ_SCALARS(f.run);
  }
  std::fclose(f.run.messages.echo_file);
  EXPECT_EQ(f.run.flow.DENnew(1, 1), 1022.0f);
  EXPECT_EQ(f.run.flow.DENnew(1, 2), 1250.0f);
  EXPECT_NE(test::read_text(f.folder.path("run.input")).find("sigma-t"), std::string::npos);
}

TEST(FlowText, ScalarHeadsThatDoNotFit) {
  const struct {
    int IDEN;
    const char* head;
    const char* message;
  } cases[] = {
      {1, "1 1 61 30 3", "Time0 error in 3D-DST file"},
      {1, "1 1 60 31 3", "NStep0 error in 3D-DST file"},
      {1, "2 1 60 30 3", "NUMframes error in 3D-DST file"},
      {1, "1 2 60 30 3", "NUMnode error in 3D-DST file"},
      {1, "1 1 60 30 2", "NVAR error in 3D-DST file"},
      {5, "1 1 60 30 3", "IDEN does not match 3D-DST file"},
      {2, "1 1 60 30 3 4", "IDEN does not match 3D-DST file"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.head);
    LayeredRun f(1);
    f.write("1 1 60 30 3 3", three_levels);
    f.write_scalars(c.IDEN, std::string("t\n") + c.head + "\n60 30 0 0\n");
    EXPECT_EXIT(f.open(), testing::ExitedWithCode(0), c.message);
  }
}

// ---------------------------------------------------------------- the "kfe" form

struct KfeRun : FlowRun {
  KfeRun() : FlowRun(2, false) {
    run.mesh.NUMelem = 1;
    run.settings.method.flow = FlowFormat::kfe;
    run.settings.flow_file_z = folder.path("dsp");
    run.settings.flow_file_uv = folder.path("vel");
  }
  static std::string header(const char* nodes, const char* elements) {
    return std::string("one\ntwo\nthree\n") + nodes + "\n" + elements + "\nsix\n";
  }
  void write(const std::string& displacement, const std::string& velocity) {
    folder.write("dsp.dat", displacement);
    folder.write("vel.dat", velocity);
  }
};

TEST(FlowText, KfeFramesAreMeasuredAndRead) {
  KfeRun f;
  f.write(KfeRun::header("ND\t2", "  NE   1") + "TS 0 100.0\n0.1\n0.2\nTS 1 160.0\n0.3\n0.4\n\n",
          KfeRun::header("ND 2", "NE 1") +
              "TS 0 100.0\n1 2 3\n4 5 6\nTS 1 160.0\n7 8 9\n10 11 12\nENDDS\nrest\n");
  OPEN_FLOW_KFE(f.run);
  const FlowState& flow = f.run.flow;
  EXPECT_EQ(flow.NUMframes, 2);
  EXPECT_EQ(flow.dTime, 60.0f);
  EXPECT_EQ(flow.NUMlayers, 1);
  allocate_flow_arrays(f.run);
  READ_FRAME_KFE(f.run);
  READ_FRAME_KFE(f.run);
  EXPECT_EQ(flow.frame_time, 160.0);
  EXPECT_EQ(flow.frame_step, 2);
  EXPECT_EQ(flow.ETAnew(2), 0.4f);
  EXPECT_EQ(flow.Unew(1, 1), 7.0f);
  EXPECT_EQ(flow.Unew(1, 0), 7.0f);
  EXPECT_EQ(flow.Vnew(2, 0), 11.0f);
  EXPECT_EQ(flow.Wnew(2, 1), 12.0f);
  EXPECT_EXIT(READ_FRAME_KFE(f.run), testing::ExitedWithCode(0), "expected a frame, found the end");
}

TEST(FlowText, KfeFilesThatDoNotFit) {
  const std::string head = KfeRun::header("ND 2", "NE 1");
  const std::string dsp = "TS 0 0\n0\n0\nTS 1 60\n0\n0\n", vel = "TS 0 0\n0 0 0\n0 0 0\n";
  const struct {
    std::string displacement, velocity;
    const char* message;
  } cases[] = {
      {KfeRun::header("ND 3", "NE 1") + dsp, head, "NUMnode error in KFE prs file"},
      {KfeRun::header("ND 2", "NE 2") + dsp, head, "NUMnode error in KFE prs file"},
      {head + dsp, KfeRun::header("ND 1", "NE 1"), "NUMnode error in KFE vel file"},
      {head + dsp, head + vel, "Number of steps do not match in dsp and vel files"},
      {head + dsp, head + vel + "TS 1 61\n0 0 0\n0 0 0\n", "Times do not match in dsp and vel"},
      {head + dsp, head + "TS x 0\n", "vel.dat:7: expected an integer, found \"x\""},
      {head + "TS 0 0\n0\n", head, "dsp.dat:8: expected a line, found the end of the file"},
      {head + "ENDDS\n", head, "dsp.dat:7: expected a frame, found the end of the data"},
      {KfeRun::header("ND", "NE 1") + dsp, head, "dsp.dat:4: expected an integer"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    KfeRun f;
    f.write(c.displacement, c.velocity);
    EXPECT_EXIT(OPEN_FLOW_KFE(f.run), testing::ExitedWithCode(0), c.message);
  }
  KfeRun f;
  f.write(head + dsp, head + "TS 0 1\n0 0 0\n0 0 0\nTS 1 61\n0 0 0\n0 0 0\n");
  OPEN_FLOW_KFE(f.run);
  allocate_flow_arrays(f.run);
  EXPECT_EXIT(READ_FRAME_KFE(f.run), testing::ExitedWithCode(0),
              "\\*\\*\\* Time error in KFE files \\*\\*\\* <ENTER>");
}

// ---------------------------------------------------------------- bottom flow

TEST(FlowText, BottomFrameAndMask) {
  FlowRun f(2);
  f.run.settings.bottom_flow_file = f.folder.write("bottom.64", good_64);
  f.run.settings.bottom_mask_file = f.folder.write("mask", "title\n2\n2 1\n1 2\n");
  OPEN_BOTTOM_FLOW(f.run);
  EXPECT_FALSE(is_true(f.run.flow.BOTTOMmask(1)));
  EXPECT_TRUE(is_true(f.run.flow.BOTTOMmask(2)));
  EXPECT_EQ(READ_FRAME_BOTTOM(f.run, f.run.flow.UBnew, f.run.flow.VBnew), 60.0);
  EXPECT_EQ(f.run.flow.UBnew(2), 3.0f);
  EXPECT_EQ(f.run.flow.VBnew(1), 2.0f);

  f.folder.write("mask", "title\n3\n");
  EXPECT_EXIT(OPEN_BOTTOM_FLOW(f.run), testing::ExitedWithCode(0),
              "ERROR: \\*\\*\\* MASK file error \\(NUMnode\\)");
  f.run.settings.method.bottom_flow = FlowFormat::n2d;
  EXPECT_EXIT(OPEN_BOTTOM_FLOW(f.run), testing::ExitedWithCode(0),
              "ERROR: \\*\\*\\* FLOW_FILE type not supported \\*\\*\\*");
}

}  // namespace
}  // namespace dfl
