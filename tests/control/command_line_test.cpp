#include "control/command_line.h"

#include <gtest/gtest.h>

namespace dfl {
namespace {

CommandLine read(const std::vector<const char*>& arguments) {
  return read_command_line(static_cast<int>(arguments.size()), arguments.data());
}

TEST(CommandLine, OptionsDoNotCountAmongTheWords) {
  const CommandLine line = read({"dfl", "--exit-code", "case.pcf", "--version", "HST"});
  EXPECT_TRUE(line.exit_code);
  EXPECT_TRUE(line.version);
  EXPECT_FALSE(line.help);
  EXPECT_EQ(line.words, (std::vector<std::string>{"case.pcf", "HST"}));
  EXPECT_EQ(line.unknown, "");
}

TEST(CommandLine, FirstUnknownOptionIsNamed) {
  const CommandLine line = read({"dfl", "-x", "--exitcode", "--other", "--exit-code"});
  EXPECT_EQ(line.unknown, "--exitcode");
  EXPECT_TRUE(line.exit_code);
  EXPECT_EQ(line.words, std::vector<std::string>{"-x"});
}

TEST(CommandLine, VersionIsShownInThreePieces) {
  EXPECT_EQ(version_text(), "DFL Version 2.3 Build 005 (13/Nov/2020)");
}

}  // namespace
}  // namespace dfl
