#include "control/messages.h"

#include <gtest/gtest.h>

#include "common/test_run.h"

namespace dfl {
namespace {

class Messages : public testing::Test {
 protected:
  Messages() {
    messages.console_out = std::fopen(folder.path("console").c_str(), "w+");
    messages.console_in = nullptr;
    messages.output_prefix = folder.path("run");
  }
  ~Messages() override {
    std::fclose(messages.console_out);
    if (messages.error_file != nullptr) std::fclose(messages.error_file);
  }
  std::string shown() const { return test::read_text(folder.path("console")); }
  std::string errors() const { return test::read_text(folder.path("run.err")); }

  test::TemporaryFolder folder;
  MessageState messages;
};

TEST_F(Messages, WarningStandsOnBothFilesAndASecondIsAdded) {
  EXPECT_FALSE(std::filesystem::exists(folder.path("run.err")));
  REPORT(messages, false, "shallow");
  REPORT_INT2(messages, false, "at", 12, 7);
  EXPECT_EQ(errors(), "\nWARNING: shallow\n\nWARNING: at    12     7\n");
  EXPECT_EQ(shown(), "\nWARNING: shallow <RETURN>\nWARNING: at    12     7 <RETURN>");
}

TEST_F(Messages, IntegerTooWideForItsFieldShowsStars) {
  REPORT_INT(messages, false, "node", 1234567);
  EXPECT_EQ(errors(), "\nWARNING: node******\n");
}

TEST_F(Messages, HostedWarningTakesNoLineFromTheConsole) {
  folder.write("keys", "\nnext\n");
  messages.console_in = std::fopen(folder.path("keys").c_str(), "r");
  messages.HOSTEDmode = true;
  REPORT(messages, false, "a");
  EXPECT_EQ(shown(), "\nWARNING: a\n");
  messages.HOSTEDmode = false;
  REPORT(messages, false, "b");
  EXPECT_EQ(read_console_line(messages), "next");
  EXPECT_EQ(read_console_line(messages), "");  // the end of input is an empty line
  std::fclose(messages.console_in);
}

TEST_F(Messages, StatusNamesFillAFieldOf32Columns) {
  messages.HOSTEDmode = true;
  struct Case {
    int status;
    std::string name;
  };
  for (const Case& c : {Case{-4001, "ERROR_FILE_NOT_HDF5             "},
                        Case{-4002, "-4002\tERROR_FILE_NOT_HYFS       "},
                        Case{-4101, "-4101\tERROR_ATTRIBUTE_NOT_SUPPOR"},
                        Case{-4604, "ERROR_GRID_NUMVALS_INCORRECT    "},
                        Case{-7, "                                "}}) {
    REPORT_CODE(messages, false, "HF_OPEN_FILE error", c.status);
    const std::string text = errors();
    EXPECT_EQ(text.substr(text.rfind("\n       ") + 8), c.name + "\n");
  }
}

TEST_F(Messages, FatalMessageEndsWithStatusZeroUnlessAskedOtherwise) {
  messages.console_out = stderr;
  EXPECT_EXIT(REPORT(messages, true, "HF_INITIALIZE error"), testing::ExitedWithCode(0),
              "ERROR: HF_INITIALIZE error <RETURN>");
  messages.exit_code = true;
  EXPECT_EXIT(REPORT_INT(messages, true, "node", 3), testing::ExitedWithCode(1),
              "ERROR: node     3 <RETURN>");
  messages.console_out = std::fopen("/dev/null", "w");
  EXPECT_EQ(errors(), "\nERROR: node     3\n");
}

TEST_F(Messages, MissingFolderOfTheErrorFileLeavesTheConsole) {
  messages.output_prefix = folder.path("missing/run");
  messages.HOSTEDmode = true;
  REPORT(messages, false, "told");
  EXPECT_EQ(shown(), "\nWARNING: told\n");
}

}  // namespace
}  // namespace dfl
