#pragma once

// The calls of a test program that change files: noted down, or failed as on a full disk.

#include <string>
#include <vector>

namespace dfl::test {

struct FileCall {
  enum class Kind { write, set_length, rename };
  Kind kind = Kind::write;
  std::string path;    // of the file
  std::string target;  // its new name
  long at = 0;         // first byte that is written, or the new length
  std::string bytes;   // that are written; of a file that is renamed, all
};

struct FileWatch {
  bool note = false;  // keep every call
  long full_at = 0;   // number of the call from which on the disk is full; 0: never
  long count = 0;     // calls so far
  std::vector<FileCall> calls;
};

// Until the next call of this; nullptr ends it.
void watch_files(FileWatch* watch);

// Does a noted call on the file at `path`. A torn write goes up to a page boundary near its middle.
bool repeat_call(const FileCall& call, const std::string& path, bool torn);

}  // namespace dfl::test
