#pragma once

// The program dfl-hyfs: looks into dataset files, checks them against a control file, makes them.

#include <cstdio>
#include <string>
#include <vector>

namespace dfl {

// words: the command line without the name of the program. The status of the program.
int HYFS_TOOL(const std::vector<std::string>& words, std::FILE* out, std::FILE* err);

}  // namespace dfl
