#include "tools/hyfs_tool.h"

#include <new>

#include "control/command_line.h"
#include "tools/hyfs_check.h"
#include "tools/hyfs_info.h"
#include "tools/hyfs_make.h"

namespace dfl {

namespace {

constexpr const char* usage =
    "usage: dfl-hyfs info FILE            what a HYFS or NetCDF-4 file holds\n"
    "       dfl-hyfs check FILE CONTROL   what a run with this control file would miss in it\n"
    "       dfl-hyfs make FILE OPTIONS    a file from numbers in plain text\n"
    "       dfl-hyfs --help | --version\n"
    "\n"
    "Status 0 if all is well, 1 for a fault or for something missing.\n"
    "\n"
    "Options of make:\n"
    "  --overwrite            FILE may be there already\n"
    "  --title TEXT\n"
    "  --start DATE           \"YYYY-MM-DD hh:mm:ss\": what all times count from\n"
    "  --time-units WORD      Seconds (the default) or Hours\n"
    "  --grid PATH            a grid, with\n"
    "    --origin X Y         0 0 if not given\n"
    "    --bearing B          degrees, 0 if not given\n"
    "    --i AXIS --j AXIS    far sides of the columns and of the rows, from the origin\n"
    "    --k AXIS             the same of layers, 1:1 if not given\n"
    "    --celltypes NUMBERS  one a cell, odd: active; 1 for all if not given\n"
    "  --times NUMBERS        of the datasets behind it; 0 if not given\n"
    "  --planes N             planes of values of the datasets behind it; 1 if not given\n"
    "  --dataset PATH UNITS LOCATION NUMBERS\n"
    "  --vector PATH UNITS LOCATION NUMBERS NUMBERS\n"
    "  --property PATH NUMBERS\n"
    "AXIS: N:STEP, which is N cells of that width, or NUMBERS.\n"
    "NUMBERS: a text file, or =V, the number V everywhere; for --times also N:STEP, N times from "
    "0\n"
    "on. A file holds step after step, in a step plane after plane and row after row, I fastest.\n"
    "LOCATION: centre, i-face, j-face, node, and for a vector faces: x on I-faces, y on J-faces.\n";

int misuse(std::FILE* err, const std::string& text) {
  std::fprintf(err, "%s\n\n%s", text.c_str(), usage);
  return 1;
}

int run_words(const std::vector<std::string>& words, std::FILE* out, std::FILE* err) {
  if (words.empty()) return misuse(err, "expected info, check or make");
  const std::string& word = words[0];
  if (word == "--help") {
    std::fputs(usage, out);
    return 0;
  }
  if (word == "--version") {
    std::fprintf(out, "%s\n", version_text().c_str());
    return 0;
  }
  if (word == "info") {
    return words.size() == 2 ? HYFS_INFO(words[1], out, err) : misuse(err, "info: expected FILE");
  }
  if (word == "check") {
    return words.size() == 3 ? HYFS_CHECK(words[1], words[2], out, err)
                             : misuse(err, "check: expected FILE and CONTROL");
  }
  if (word == "make") return HYFS_MAKE({words.begin() + 1, words.end()}, out, err);
  return misuse(err, "expected info, check or make, found \"" + word + "\"");
}

}  // namespace

int HYFS_TOOL(const std::vector<std::string>& words, std::FILE* out, std::FILE* err) {
  try {
    return run_words(words, out, err);
  } catch (const std::bad_alloc&) {
    std::fprintf(err, "Not enough memory\n");
    return 1;
  }
}

}  // namespace dfl
