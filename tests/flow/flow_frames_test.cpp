#include "flow/flow_frames.h"

#include <gtest/gtest.h>

#include "control/text_tools.h"
#include "flow/flow_files.h"
#include "flow/vertical_profile.h"

namespace dfl {
namespace {

using test::FlowRun;

void start_one_node(FlowRun& f, const std::vector<double>& times, double interval, int frames = 0) {
  f.write_2d(test::one_node_file(1, times, interval, frames),
             test::one_node_file(2, times, interval, frames));
  f.open_2d();
  FLOW_START(f.run);
}

void open_bottom(FlowRun& f, const std::vector<double>& times) {
  f.run.settings.method.velocity = VelocityMethod::two_point;
  f.run.settings.bottom_flow_file = f.folder.write("bottom.64", test::one_node_file(2, times, 60));
  OPEN_BOTTOM_FLOW(f.run);
}

void advance(FlowRun& f, double t) {
  f.run.clock.Tnow = t;
  FLOW_ADVANCE(f.run);
}

TEST(FlowFrames, WeightOfTheNewerFrameAtAndBetweenFrames) {
  FlowRun f(1);
  f.console_to_file();
  f.run.settings.start_flow = 1000.0;
  start_one_node(f, {60, 120, 180, 240}, 60);
  const FlowState& flow = f.run.flow;
  EXPECT_EQ(flow.TIMEfirst, 1060.0);
  EXPECT_EQ(flow.TIMEearliest, 1000.0);
  EXPECT_EQ(flow.TIMElast, 1240.0);
  const struct {
    double t;
    float weight;
    double newer, older;  // frame times
  } cases[] = {
      {1000.0, 0.0f, 1060.0, 1060.0},  // held for one interval before the first frame
      {1060.0, 0.0f, 1060.0, 1060.0},  // both are the first frame
      {1075.0, 0.25f, 1120.0, 1060.0}, {1120.0, 1.0f, 1120.0, 1060.0},
      {1195.0, 0.25f, 1240.0, 1180.0},  // the frame passed over has been read
      {1240.0, 1.0f, 1240.0, 1180.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.t);
    advance(f, c.t);
    EXPECT_EQ(flow.FLOWfrac, c.weight);
    EXPECT_EQ(flow.TIMEflow, c.newer);
    double time_new = 0.0, time_old = 0.0;
    continuity_times(f.run, time_new, time_old);
    EXPECT_EQ(time_new, c.newer);
    EXPECT_EQ(time_old, c.older);
    EXPECT_FLOAT_EQ(flow.ETAnew(1), static_cast<float>((c.newer - 1000.0) / 1000.0));
    EXPECT_FLOAT_EQ(flow.Uold(1, 0), static_cast<float>((c.older - 1000.0) / 100.0));
    FLOW_BLEND(f.run);
    const double held = std::max(c.t, 1060.0) - 1000.0;
    EXPECT_FLOAT_EQ(flow.ETAnode(1), static_cast<float>(held / 1000.0));
    EXPECT_FLOAT_EQ(flow.Unode(1, 0), static_cast<float>(held / 100.0));
    EXPECT_FLOAT_EQ(flow.Vnode(1, 0), static_cast<float>(-held / 100.0));
    EXPECT_FLOAT_EQ(flow.Hnode(1), 10.0f + flow.ETAnode(1));
  }
  EXPECT_NE(f.console_text().find("\rAdvancing flow file... 1950/01/01  00:18:40.000     "
                                  "\rAdvancing flow file... 1950/01/01  00:19:40.000     "),
            std::string::npos);
}

// An empty item keeps the value of the frame before it, not of the one before that.
TEST(FlowFrames, ItemLeftOutKeepsTheValueOfTheFrameBefore) {
  FlowRun f(1);
  f.console_to_file();
  f.run.messages.HOSTEDmode = true;  // no progress lines
  f.write_2d("t\n3 1 60 30 1\n60 30\n1 0.1\n120 60\n1 0.2\n180 90\n1,,\n",
             "t\n3 1 60 30 2\n60 30\n1 1 -1\n120 60\n1 2 -2\n180 90\n1,,-3\n");
  f.open_2d();
  FLOW_START(f.run);
  advance(f, 180.0);
  EXPECT_EQ(f.run.flow.ETAnew(1), 0.2f);
  EXPECT_EQ(f.run.flow.Unew(1, 0), 2.0f);
  EXPECT_EQ(f.run.flow.Vnew(1, 0), -3.0f);
  EXPECT_EQ(f.run.flow.Uold(1, 0), 2.0f);
  EXPECT_EQ(f.console_text().find("Advancing"), std::string::npos);
}

TEST(FlowFrames, TimesOutsideTheDataStopTheRun) {
  FlowRun f(1);
  f.run.settings.start_flow = 86400.0;
  start_one_node(f, {60.5, 120.5}, 60);
  EXPECT_EXIT(advance(f, 86400.4), testing::ExitedWithCode(0),
              "\n\n\\*\\*\\* HYDRO. DATA DOES NOT START UNTIL:          86400.5  "
              "1950 01 02 00 00 00.500 <ENTER>$");
  EXPECT_EQ(test::read_text(f.folder.path("run.err")),
            "*** HYDRO. DATA DOES NOT START UNTIL:          86400.5  1950 01 02 00 00 00.500\n");
  advance(f, 86400.5);
  EXPECT_EQ(f.run.flow.FLOWfrac, 0.0f);
  EXPECT_EXIT(advance(f, 86520.6), testing::ExitedWithCode(0),
              "\n\n\\*\\*\\* HYDRO. DATA FINISHES AT:          86520.5  "
              "1950 01 02 00 02 00.500 <ENTER>$");
}

TEST(FlowFrames, StopTimeBehindTheDataIsFoundAtTheStart) {
  FlowRun f(1);
  f.run.settings.stop_run = 180.1;
  EXPECT_EXIT(start_one_node(f, {60, 120, 180}, 60), testing::ExitedWithCode(0),
              "ERROR:  \\*\\*\\* FLOW FILE DOES NOT RUN BEYOND STOP TIME \\*\\*\\* ");
  f.run.settings.stop_run = 180.0;
  start_one_node(f, {60, 120, 180}, 60);
  EXPECT_EQ(f.run.flow.FLOWfrac, 0.0f);
}

TEST(FlowFrames, StartNotGivenIsWarnedOfAndCountsAsZero) {
  FlowRun f(1);
  f.console_to_file();
  f.run.settings.start_flow = -999.0;
  f.run.messages.echo_file = std::fopen(f.folder.path("run.input").c_str(), "w");
  start_one_node(f, {60, 120}, 60);
  std::fclose(f.run.messages.echo_file);
  EXPECT_EQ(f.run.flow.TIMEfirst, 60.0);
  const std::string warning =
      "WARNING: start_flow is not given: the times of flow frames count from 1 January 1950\n";
  EXPECT_NE(f.console_text().find(warning), std::string::npos);
  EXPECT_NE(test::read_text(f.folder.path("run.input")).find(warning), std::string::npos);
  EXPECT_FALSE(file_exists(f.folder.path("run.err")));
}

// Interval and span are held in 4 bytes, so the last frame may stand a little before TIMElast: no
// further frame may be looked for between the two.
TEST(FlowFrames, LastFrameServesUpToTheRoundedEndOfTheData) {
  std::vector<double> times;
  for (int i = 1; i <= 1000; ++i) times.push_back(2619.81 * i);
  FlowRun f(1);
  f.run.messages.HOSTEDmode = true;
  start_one_node(f, times, 2619.81);
  const FlowState& flow = f.run.flow;
  ASSERT_GT(flow.TIMElast, times.back());
  advance(f, flow.TIMElast);
  EXPECT_EQ(flow.TIMEflow, times.back());
  EXPECT_NEAR(flow.FLOWfrac, 1.0f, 1.0e-3f);
}

TEST(FlowFrames, FewerFramesThanTheHeadTellsAreMissedOnlyWhenNeeded) {
  FlowRun f(1);
  start_one_node(f, {60, 120}, 60, 5);
  advance(f, 120.0);
  EXPECT_EQ(f.run.flow.FLOWfrac, 1.0f);
  EXPECT_EXIT(advance(f, 121.0), testing::ExitedWithCode(0),
              "flow.63:6: expected a real number, found the end of the file");
}

TEST(FlowFrames, FormatsWithoutTheirReader) {
  const struct {
    FlowFormat format;
    const char* word;
    bool two_dimensional;
    const char* message;
  } cases[] = {
      {FlowFormat::hyfs, "hyfs", false, "ERROR:  \\*\\*\\* FlowFormat=HYFS IS NOT AVAILABLE YET"},
      // Not known in two dimensions: nothing is read, and the span is empty.
      {FlowFormat::gr3d, "gr3d", true, "ERROR:  \\*\\*\\* FLOW FILE DOES NOT RUN BEYOND STOP TIME"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.word);
    FlowRun f(1, c.two_dimensional);
    f.run.settings.method.flow = c.format;
    f.run.settings.flow_format = c.word;
    f.run.settings.stop_run = 100.0;
    allocate_flow_arrays(f.run);
    EXPECT_EXIT(FLOW_START(f.run), testing::ExitedWithCode(0), c.message);
  }
}

TEST(FlowFrames, LayersAndScalarsMoveOnTogether) {
  FlowRun f(1, false);
  f.folder.write("flow.63", "t\n2 1 60 30 1\n60 30\n1 0\n120 60\n1 1\n");
  f.folder.write("flow.45",
                 "t\n2 1 60 30 2 1\n60 30 9 9 -1 9 1\n1 0 0 0 0 0 2\n"
                 "120 60 9 9 -1 9 1\n1 4 -998 2 4 8 4\n");
  f.run.settings.flow_file_dst =
      f.folder.write("flow.44",
                     "t\n2 1 60 30 2 4\n60 30 0 0 0 0\n1 1000 10 30 1000 10 30\n"
                     "120 60 0 0 0 0\n1 1010 12 34 1010 12 34\n");
  f.run.settings.IDEN = f.run.flow.IDEN = 4;
  OPEN_FLOW_3D(f.run);
  allocate_flow_arrays(f.run);
  FLOW_START(f.run);
  advance(f, 60.0);
  FLOW_BLEND(f.run);
  EXPECT_EQ(f.run.flow.Wnode(1, 2), 2.0f);
  EXPECT_EQ(f.run.flow.DENnode(1, 1), 1000.0f);
  advance(f, 90.0);
  FLOW_BLEND(f.run);
  const FlowState& flow = f.run.flow;
  EXPECT_EQ(flow.ETAnode(1), 0.5f);
  EXPECT_EQ(flow.Unode(1, 0), 2.0f);
  EXPECT_EQ(flow.Unode(1, 1), 2.0f);
  EXPECT_EQ(flow.Vnode(1, 1), 0.0f);  // a mark of dry, apart from U
  EXPECT_EQ(flow.Vnode(1, 2), 4.0f);
  EXPECT_EQ(flow.Wnode(1, 1), 1.0f);
  EXPECT_EQ(flow.Wnode(1, 2), 3.0f);
  EXPECT_EQ(flow.DENnode(1, 2), 1005.0f);
  EXPECT_EQ(flow.TEMnode(1, 1), 11.0f);
  EXPECT_EQ(flow.SALnode(1, 2), 32.0f);
}

// The first bottom frame is read at the start, the second at the first advance, whatever the time;
// both are blended with the weight of the main flow.
TEST(FlowFrames, BottomFramesFollowTheMainFlow) {
  FlowRun f(1);
  f.console_to_file();
  f.run.settings.bottom_start_flow = 5.0;
  open_bottom(f, {60, 120, 180});
  start_one_node(f, {60, 120, 180}, 60);
  EXPECT_EQ(f.run.flow.TIMEbottom, 0.0);
  advance(f, 60.0);
  FLOW_BLEND(f.run);
  EXPECT_EQ(f.run.flow.TIMEbottom, 125.0);
  EXPECT_FLOAT_EQ(f.run.flow.UBnode(1), 0.6f);
  advance(f, 90.0);
  FLOW_BLEND(f.run);
  EXPECT_EQ(f.run.flow.TIMEbottom, 125.0);
  EXPECT_FLOAT_EQ(f.run.flow.UBnode(1), 0.9f);
  EXPECT_FLOAT_EQ(f.run.flow.VBnode(1), -0.9f);
  f.run.flow.UBold(1) = -99999.0f;  // dry in this frame
  FLOW_BLEND(f.run);
  EXPECT_EQ(f.run.flow.UBnode(1), 0.0f);
  EXPECT_NE(f.console_text().find("\rAdvancing Ub file... 1950/01/01  00:02:05.000     "),
            std::string::npos);
}

// 4 bytes hold 348324.064 as 348324.0625, before the end of the flow.
TEST(FlowFrames, LastBottomFrameServesUpToTheEndOfTheFlow) {
  FlowRun f(1);
  f.run.messages.HOSTEDmode = true;
  open_bottom(f, {348264.064, 348324.064});
  start_one_node(f, {348264.064, 348324.064}, 60);
  advance(f, 348324.064);
  EXPECT_EQ(f.run.flow.TIMEbottom, 348324.0625);
  EXPECT_EQ(f.run.flow.FRAMEbottom, 2);
  EXPECT_EQ(f.run.flow.FLOWfrac, 1.0f);
}

// Further behind its last frame a bottom file is too short.
TEST(FlowFrames, BottomFileThatEndsBeforeTheFlowStopsTheRun) {
  FlowRun f(1);
  f.run.messages.HOSTEDmode = true;
  open_bottom(f, {60, 120});
  start_one_node(f, {60, 120, 180}, 60);
  advance(f, 120.0);
  EXPECT_EXIT(advance(f, 121.0), testing::ExitedWithCode(0),
              "bottom.64:6: expected a real number, found the end of the file");
  // Behind the flow itself no bottom frame is looked for.
  EXPECT_EXIT(advance(f, 181.0), testing::ExitedWithCode(0), "HYDRO. DATA FINISHES AT: ");
}

// ---------------------------------------------------------------- blend

TEST(FlowFrames, SurfaceFallsDryAndWetHalfway) {
  constexpr float dry = -99999.0f;
  const struct {
    float newer, older, f, surface;
  } cases[] = {
      {2.0f, 1.0f, 0.25f, 1.25f},        {2.0f, dry, 0.49f, dry}, {2.0f, dry, 0.5f, 0.0f},
      {2.0f, dry, 0.75f, 1.0f},          {2.0f, dry, 1.0f, 2.0f}, {dry, 2.0f, 0.25f, 1.0f},
      {dry, 2.0f, 0.5f, 0.0f},           {dry, 2.0f, 0.51f, dry}, {dry, dry, 0.5f, dry},
      {-998.0f, 2.0f, 0.6f, dry},  // a value of -998 is a mark
      {-997.0f, -997.0f, 0.5f, -997.0f},
  };
  for (const auto& c : cases) {
    FlowRun f(1);
    allocate_flow_arrays(f.run);
    f.run.flow.ETAnew(1) = c.newer;
    f.run.flow.ETAold(1) = c.older;
    f.run.flow.FLOWfrac = c.f;
    FLOW_BLEND(f.run);
    EXPECT_EQ(f.run.flow.ETAnode(1), c.surface) << c.newer << ' ' << c.older << ' ' << c.f;
    EXPECT_EQ(f.run.flow.Hnode(1), c.surface + 10.0f);
    f.run.settings.ensim = true;
    FLOW_BLEND(f.run);
    EXPECT_EQ(f.run.flow.Hnode(1), c.surface - 10.0f);
  }
}

// Real velocity files carry the mark of dry too; each component counts for itself.
TEST(FlowFrames, VelocityOfANodeDryInEitherFrameIsZero) {
  FlowRun f(3);
  allocate_flow_arrays(f.run);
  FlowState& flow = f.run.flow;
  flow.FLOWfrac = 0.5f;
  for (int n = 1; n <= 3; ++n) flow.Uold(n, 0) = flow.Unew(n, 0) = flow.Vnew(n, 0) = 1.0f;
  flow.Unew(1, 0) = -99999.0f;
  flow.Uold(2, 0) = -998.0f;
  flow.Uold(3, 0) = -997.0f;
  FLOW_BLEND(f.run);
  EXPECT_EQ(flow.Unode(1, 0), 0.0f);
  EXPECT_EQ(flow.Vnode(1, 0), 0.5f);
  EXPECT_EQ(flow.Unode(2, 0), 0.0f);
  EXPECT_EQ(flow.Unode(3, 0), -498.0f);
}

TEST(FlowFrames, AdjustedVelocityKeepsTheDischargeAndStandsNoDepthOfZero) {
  FlowRun f(2);
  f.run.settings.adjust_currents = true;
  f.run.sediment.DEPTHstart.allocate(2, 5.0f);
  f.run.mesh.DEPTHnode(2) = 0.0f;
  allocate_flow_arrays(f.run);
  FlowState& flow = f.run.flow;
  for (int n = 1; n <= 2; ++n) {
    flow.Uold(n, 0) = 1.0f;
    flow.Vold(n, 0) = -2.0f;
  }
  FLOW_BLEND(f.run);
  EXPECT_EQ(flow.Unode(1, 0), 0.5f);
  EXPECT_EQ(flow.Vnode(1, 0), -1.0f);
  EXPECT_EQ(flow.Unode(2, 0), 1.0f);
  EXPECT_EQ(flow.Vnode(2, 0), -2.0f);
}

TEST(FlowFrames, WithoutCurrentsTheNodeFieldsStayAtZero) {
  FlowRun f(1);
  f.run.settings.currents = false;
  allocate_flow_arrays(f.run);
  FLOW_BLEND(f.run);
  EXPECT_EQ(f.run.flow.Hnode(1), 0.0f);
  EXPECT_EQ(f.run.flow.Unode(1, 0), 0.0f);
  EXPECT_FALSE(f.run.flow.Unew.allocated());
}

}  // namespace
}  // namespace dfl
