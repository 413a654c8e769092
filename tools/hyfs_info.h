#pragma once

// dfl-hyfs info FILE: what a dataset file holds.

#include <cstdio>
#include <string>

namespace dfl {

// Status of the program: 1 if the file, or anything in it, cannot be read.
int HYFS_INFO(const std::string& path, std::FILE* out, std::FILE* err);

}  // namespace dfl
