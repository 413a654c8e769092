// Wave frames in time: blending, several files, the first and last times, and what exceed_waves
// keeps.

#include <gtest/gtest.h>

#include "waves/wave_case.h"

namespace dfl {
namespace {

using namespace test;

struct TimedForm {
  const char* name;
  WaveCase c;
  double step;  // s
};

// Three frames each.
std::vector<TimedForm> timed_forms() {
  return {{"oswell", oswell_case(), hour},
          {"swan", swan_case(), 6.0 * hour},
          {"hyfs", hyfs_case(), hour}};
}

// The nodes hold frame a and the given weight of frame b; times in steps of the waves.
struct Blend {
  double time;
  float a, weight, b;
};

void expect_blends(const std::vector<Blend>& blends, const Lines& cards = {}) {
  for (TimedForm& form : timed_forms()) {
    SCOPED_TRACE(form.name);
    add_cards(form.c.tiny, cards);
    WaveRun r(form.c);
    r.open();
    for (const Blend& blend : blends) {
      r.at(blend.time * form.step);
      expect_waves(r, blend.a, blend.weight, blend.b, wave_bearing);
    }
  }
}

void expect_stop(WaveRun& r, double seconds, const std::string& message) {
  EXPECT_EXIT(
      {
        r.run.messages.console_out = stderr;
        r.at(seconds);
      },
      testing::ExitedWithCode(0), message);
}

TEST(WaveFrames, FramesAreBlendedLinearlyFromTheFirstIntervalOn) {
  expect_blends({{0.0, 1.0f, 0.0f, 2.0f},
                 {0.25, 1.0f, 0.25f, 2.0f},
                 {1.0, 2.0f, 0.0f, 2.0f},
                 {1.75, 2.0f, 0.75f, 3.0f},
                 {2.0, 3.0f, 0.0f, 3.0f}});
}

TEST(WaveFrames, FramesBetweenTwoStepsArePassed) {
  expect_blends({{1.5, 2.0f, 0.5f, 3.0f}});
}

// The last frame in full, not the blend of the last step before it.
TEST(WaveFrames, LastFrameStaysWithExceedWaves) {
  expect_blends({{1.9, 2.0f, 0.9f, 3.0f}, {2.1, 3.0f, 0.0f, 3.0f}, {100.0, 3.0f, 0.0f, 3.0f}},
                {":exceed_waves"});
}

TEST(WaveFrames, RunMayStartAStepBeforeTheFirstFrameAndEndsWithTheLast) {
  expect_blends({{-1.0, 1.0f, 0.0f, 1.0f}});
  for (const TimedForm& form : timed_forms()) {
    SCOPED_TRACE(form.name);
    WaveRun r(form.c);
    r.open();
    expect_stop(r, -form.step - 1.0, "Run starts before waves start");
    expect_stop(r, 2.0 * form.step + 1.0,
                std::string(form.name) == "hyfs" ? "HYFS-OSWELL file exceeded"
                                                 : "Run finishes after waves finish");
  }
}

// A frame that is cut off is not there: neither a part of it nor a field of it is taken.
TEST(WaveFrames, FrameThatIsCutOffLeavesTheOneBefore) {
  struct Cut {
    const char* what;
    WaveCase c;
    const char* file;
    std::size_t lines_less;
    const char* message;
  };
  const Cut cuts[] = {
      {"oswell, in the direction", oswell_case(), "waves.dat", 2, "End-of-file \\(waves\\)"},
      {"oswell, in the height", oswell_case(), "waves.dat", 14, "End-of-file \\(waves\\)"},
      {"oswell, behind the marker", oswell_case(), "waves.dat", 18, "End-of-file \\(waves\\)"},
      {"oswell, before the marker", oswell_case(), "waves.dat", 19, "End-of-file \\(waves\\)"},
      {"swan, height", swan_case(), "hs.blk", 1, "End-of-file SWAN \\(waves\\)"},
      {"swan, direction", swan_case(), "dir.blk", 6, "End-of-file SWAN \\(waves\\)"}};
  for (const Cut& cut : cuts) {
    SCOPED_TRACE(cut.what);
    WaveCase c = cut.c;
    Lines& lines = c.files[cut.file];
    lines.resize(lines.size() - cut.lines_less);
    {
      WaveRun r(c);
      r.open();
      expect_stop(r, static_cast<double>(r.run.waves.wave_step) + 1.0, cut.message);
    }
    add_cards(c.tiny, {":exceed_waves"});
    WaveRun r(c);
    r.open();
    for (const double steps : {1.5, 10.0}) {
      r.at(steps * static_cast<double>(r.run.waves.wave_step));
      expect_waves(r, 2.0f, 0.0f, 2.0f, wave_bearing);
    }
  }
}

TEST(WaveFrames, ExceedingByAVeryShortStepComesToAnEnd) {
  WaveCase c = oswell_case();
  for (std::string& card : c.tiny.control) {
    if (card == ":wave_step 3600.") card = ":wave_step 1e-20";
  }
  add_cards(c.tiny, {":exceed_waves"});
  WaveRun r(c, hour);
  expect_waves(r, 3.0f, 0.0f, 3.0f, wave_bearing);
}

TEST(WaveFrames, SeveralFilesFollowOneAnotherAfterTheirFrames) {
  // Four frames, two a file; what stands behind them in the first is not a frame of the second.
  WaveCase c = calm_case({":wave_format oswell", ":wave_x_origin -50.", ":wave_y_origin -50.",
                          ":wave_grid_angle 0.", ":start_waves 2000 1 1 0 0 0", ":wave_step 3600.",
                          ":wave_frames 2", ":wave_files 2", "FOLDER/a.dat", "FOLDER/b.dat"});
  const CellValue Q = constant(90.0f - wave_bearing);
  c.files["a.dat"] = oswell_file(6, 6, 1, 2, height_in, period_in, Q);
  c.files["a.dat"].push_back("written by a wave model");
  c.files["b.dat"] = oswell_file(6, 6, 3, 2, height_in, period_in, Q);
  WaveRun r(c);
  r.open();
  EXPECT_EQ(r.run.waves.NUMwaveframes, 4);
  for (int f = 1; f <= 3; ++f) {
    r.at((f - 0.5) * hour);
    const float frame = static_cast<float>(f);
    expect_waves(r, frame, 0.5f, frame + 1.0f, wave_bearing);
  }
}

TEST(WaveFrames, OneStateHoldsForTheWholeRun) {
  WaveCase one_swan = swan_case();
  one_swan.files["waves.swn"].erase(one_swan.files["waves.swn"].begin() + 8,
                                    one_swan.files["waves.swn"].begin() + 10);
  WaveDatasets d;
  d.frames = d.direction_frames = 1;
  WaveCase no_step = oswell_case();
  for (std::string& card : no_step.tiny.control) {
    if (card == ":wave_step 3600.") card = ":wave_step 0.";
  }
  for (const WaveCase& c : {one_swan, hyfs_case(d), no_step}) {
    WaveRun r(c);
    r.open();
    for (double t : {-1.0e6, 0.0, 1.0e6}) {
      r.at(t);
      expect_waves(r, 1.0f, 0.0f, 1.0f, wave_bearing);
    }
  }
}

// Degrees are blended as they are: between travel to 170 and to 190 degrees lies north.
TEST(WaveFrames, DirectionsAcrossNorthTurnTheLongWay) {
  WaveCase c = swan_case();
  set_swan_fields(c, false, height_in, period_in,
                  [](int frame, int, int) { return frame == 1 ? 350.0f : 10.0f; });
  WaveRun r(c, 3.0 * hour);
  EXPECT_NEAR(r.run.waves.WAVEdiry(1), 1.0f, 2e-5f);
}

TEST(WaveFrames, WithoutHeightThePeriodIsOneSecond) {
  WaveCase c = oswell_case();
  c.files["waves.dat"] = oswell_file(6, 6, 1, 3, constant(0.0f), period_in, constant(0.0f));
  WaveRun r(c, 0.0);
  EXPECT_EQ(r.period(2, 2), 1.0f);
}

}  // namespace
}  // namespace dfl
