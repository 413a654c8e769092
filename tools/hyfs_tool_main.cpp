#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tools/hyfs_tool.h"

namespace {

// The HDF5 library may crash on a damaged file. Who looks into one wants an answer all the same, so
// that the looking is done by a process of its own.
int look(const std::vector<std::string>& words) {
  const pid_t child = fork();
  if (child < 0) return dfl::HYFS_TOOL(words, stdout, stderr);
  if (child == 0) std::exit(dfl::HYFS_TOOL(words, stdout, stderr));
  int status = 0;
  if (waitpid(child, &status, 0) < 0) return 1;
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  const int signal = WTERMSIG(status);
  const bool crashed =
      signal == SIGSEGV || signal == SIGBUS || signal == SIGABRT || signal == SIGFPE;
  std::fprintf(stderr, "%s: %s\n", words[1].c_str(),
               crashed ? "damaged in a way that the HDF5 library cannot read" : "interrupted");
  return 1;
}

}  // namespace

int main(int count, char** arguments) {
  const std::vector<std::string> words(arguments + 1, arguments + (count > 0 ? count : 1));
  const bool looks = words.size() > 1 && (words[0] == "info" || words[0] == "check");
  return looks ? look(words) : dfl::HYFS_TOOL(words, stdout, stderr);
}
