#pragma once

// dfl-hyfs check FILE CONTROL: what a run would miss in a dataset file.

#include <cstdio>
#include <string>

namespace dfl {

// A line for each finding. Status of the program: 0 if nothing is missing.
int HYFS_CHECK(const std::string& path, const std::string& control, std::FILE* out, std::FILE* err);

}  // namespace dfl
