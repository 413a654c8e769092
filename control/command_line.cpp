#include "control/command_line.h"

#include "control/settings.h"

namespace dfl {

CommandLine read_command_line(int count, const char* const* arguments) {
  CommandLine line;
  for (int i = 1; i < count; ++i) {
    const std::string word = arguments[i];
    if (word.rfind("--", 0) != 0) {
      line.words.push_back(word);
    } else if (word == "--help") {
      line.help = true;
    } else if (word == "--version") {
      line.version = true;
    } else if (word == "--exit-code") {
      line.exit_code = true;
    } else if (line.unknown.empty()) {
      line.unknown = word;
    }
  }
  return line;
}

std::string version_text() {
  const std::string version = program_version;
  return std::string(program_name) + " Version " + version.substr(0, 3) + " Build " +
         version.substr(version.size() - 3) + " (" + program_build_date + ")";
}

std::string usage_text() {
  return "usage: dfl [options] [control-file [hst]]\n"
         "\n"
         "  control-file  the program control file; \".pcf\" is added to a name that holds "
         "neither\n"
         "                \".pcf\" nor \".dfl\"; without it the program asks\n"
         "  hst           hosted: no key is waited for, a block of lines every 100 steps\n"
         "\n"
         "  --exit-code   end with status 1 if the run was stopped by a fault (otherwise 0)\n"
         "  --help        show this text\n"
         "  --version     show the version\n";
}

}  // namespace dfl
