#include <cstdio>
#include <string>
#include <vector>

#include "tools/hyfs_tool.h"

int main(int count, char** arguments) {
  const std::vector<std::string> words(arguments + 1, arguments + (count > 0 ? count : 1));
  return dfl::HYFS_TOOL(words, stdout, stderr);
}
