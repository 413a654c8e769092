#include "control/run_driver.h"

#include <gtest/gtest.h>

#include "runs/tiny_run.h"

namespace dfl {
namespace {

// The tiny case with its console in a file. 120 steps of 10 s lie between start and stop.
class Driver : public testing::Test {
 protected:
  ~Driver() override {
    if (run.messages.console_in != nullptr) std::fclose(run.messages.console_in);
  }
  // What the console shows of a run with the given words, FILE standing for the control file.
  std::string shown_with(std::vector<std::string> words, const std::string& keys = "") {
    const std::string control = test::write_case(c, folder);
    for (std::string& word : words) {
      if (word == "FILE") word = control;
    }
    if (!keys.empty()) {
      const std::string path = folder.write("keys", keys == "FILE" ? control + "\n" : keys);
      run.messages.console_in = std::fopen(path.c_str(), "r");
    } else {
      run.messages.console_in = nullptr;
    }
    run.messages.console_out = std::fopen(folder.path("console").c_str(), "w");
    RUN_DRIVER(run, words);
    std::fclose(run.messages.console_out);
    return test::read_text(folder.path("console"));
  }
  std::string logged() const { return test::read_text(folder.path("tiny.input")); }
  static bool in_order(const std::string& text, const std::vector<std::string>& parts) {
    std::size_t place = 0;
    for (const std::string& part : parts) {
      place = text.find(part, place);
      if (place == std::string::npos) {
        ADD_FAILURE() << "not in its place: " << part;
        return false;
      }
      place += part.size();
    }
    return true;
  }

  test::TemporaryFolder folder;
  test::TinyCase c = test::tiny_case();
  RunState run;
};

TEST_F(Driver, ConsoleOfARunAlone) {
  const std::string text = shown_with({"FILE"});
  EXPECT_EQ(text.rfind("\n\nDFL Version 2.3 Build 005 (13/Nov/2020)\n\nRun start: 20", 0), 0u);
  EXPECT_TRUE(in_order(
      text, {"\nReading program control file...\n", "\nReading sediment data file...\n",
             "Estimated number of time steps:     121\n", "Initializing output files...\n",
             "Starting simulation...\n\n"
             "    STEP     DATE        TIME       BORN   ALIVE    DEAD  ACTIVE DORMANT\n"
             "Advancing to start time...",
             "\r       1  2000/01/01  00:00:00.0       0       0       0       0       0 => M  ",
             "\r      31  2000/01/01  00:05:00.0", " => P  \r      32  ",
             "\r     121  2000/01/01  00:20:00.0", " => P  \n\nRun stop:  20"}));
  EXPECT_TRUE(in_order(
      logged(),
      {"\n" + std::string(60, '-') + "\n\n", "\nNumber of steps:              120\n",
       "Map output @        1 [2000/01/01  00:00:00.000]\n", "\nRun stop:      20", " @ "}));
}

// At the head of step 100 the steps before have released 99 parcels and the instant 5.
TEST_F(Driver, SecondWordInAnyCaseMakesARunHosted) {
  const std::string text = shown_with({"FILE", "HST "});
  EXPECT_TRUE(in_order(text, {"\nStarting simulation...\nAdvancing to start time...\n",
                              "\n\n\nSTEP:      100\nDATE: 2000/01/01\nTIME: 00:16:30.0\n\n"
                              "BORN=     104    ALIVE=",
                              "\n\nRun stop:  20"}));
  EXPECT_EQ(text.find('\r'), std::string::npos);
  EXPECT_EQ(text.find("BORN "), std::string::npos);
}

TEST_F(Driver, AnotherSecondWordIsIgnored) {
  shown_with({"FILE", "hosted"});
  EXPECT_FALSE(run.messages.HOSTEDmode);
  EXPECT_EQ(run.clock.NStep, 121);
}

TEST_F(Driver, WithoutAWordTheProgramAsksForTheFile) {
  const std::string text = shown_with({}, "FILE");
  EXPECT_TRUE(
      in_order(text, {"(13/Nov/2020)\n\n\nEnter program control file name .....> \nRun start"}));
  EXPECT_EQ(run.clock.NStep, 121);
}

TEST_F(Driver, StopBeforeStartTakesNoStep) {
  // Parcels off: sources and flow are not the matter here.
  test::add_cards(c, {":stop_run 1999 12 31 23 59 50", ":no_parcels"});
  const std::string text = shown_with({"FILE"});
  EXPECT_EQ(run.clock.NStep, 0);
  EXPECT_TRUE(in_order(
      text, {"Estimated number of time steps:       0\n",
             "\n\n    STEP     DATE        TIME\nAdvancing to start time...", "\nRun stop:  20"}));
}

}  // namespace
}  // namespace dfl
