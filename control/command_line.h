#pragma once

// The words of the command line.

#include <string>
#include <vector>

namespace dfl {

struct CommandLine {
  bool help = false;
  bool version = false;
  bool exit_code = false;          // a failed run ends with status 1
  std::string unknown;             // first option that is not known; blank if none
  std::vector<std::string> words;  // what is no option: control file, "hst"
};

// Options begin with "--" and may stand anywhere; all else is a word.
CommandLine read_command_line(int count, const char* const* arguments);

std::string version_text();  // "DFL Version 2.3 Build 005 (13/Nov/2020)"
std::string usage_text();

}  // namespace dfl
