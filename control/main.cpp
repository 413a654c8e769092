#include <cstdio>
#include <new>
#include <stdexcept>

#include "control/command_line.h"
#include "control/messages.h"
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
  // Arrays of a size that no machine holds are the user's numbers, not a fault of the program.
  const char* no_memory = "Not enough memory for this run: fewer parcels, traps or a smaller mesh?";
  try {
    dfl::RUN_DRIVER(run, line.words);
  } catch (const std::bad_alloc&) {
    dfl::fatal_error(run.messages, no_memory);
  } catch (const std::length_error&) {
    dfl::fatal_error(run.messages, no_memory);
  }
  return 0;
}
