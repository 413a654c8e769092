#include <cstdio>

#include "control/command_line.h"
#include "control/run_driver.h"

int main(int count, char** arguments) {
  const dfl::CommandLine line = dfl::read_command_line(count, arguments);
  if (!line.unknown.empty()) {
    std::fprintf(stderr, "Unknown option: %s\n\n%s", line.unknown.c_str(),
                 dfl::usage_text().c_str());
    return line.exit_code ? 1 : 0;
  }
  if (line.help) {
    std::fputs(dfl::usage_text().c_str(), stdout);
    return 0;
  }
  if (line.version) {
    std::printf("%s\n", dfl::version_text().c_str());
    return 0;
  }
  dfl::RunState run;
  run.messages.exit_code = line.exit_code;
  dfl::RUN_DRIVER(run, line.words);
  return 0;
}
