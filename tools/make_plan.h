#pragma once

// What `make` is to write: the command line taken apart, and the numbers read.

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "control/messages.h"
#include "dataset/hyfs.h"

namespace dfl {

// A part of the command line: an option and the words behind it.
struct MakeOption {
  std::string name;
  std::vector<std::string> words;
};

struct MakeDataset {
  std::string path, units, location;
  std::vector<double> times;
  std::vector<std::vector<float>> components;  // numbers of all steps, 1 or 2 of them
  std::int64_t values = 0;                     // of a step
};

struct MakeProperty {
  std::string path;
  std::vector<double> values;
};

struct MakePlan {
  std::string file;
  bool overwrite = false;
  std::string title, start, time_units = "Seconds";
  double start_day = 0.0;  // Julian day of `start`
  std::string grid_path;
  HyfsGrid grid;
  std::vector<int> cell_types;
  std::vector<MakeDataset> datasets;
  std::vector<MakeProperty> properties;
};

// False for a fault in the command line, which `err` tells. A fault in a text file ends the
// program. `out` tells which text is being read.
bool read_make_plan(const std::vector<std::string>& words, std::FILE* out, std::FILE* err,
                    MakePlan& plan);

// Numbers of a text file, or one of the forms of numbers on the command line.
struct NumberSource {
  std::string word, option;    // as given, and for messages
  std::int64_t expected = 0;   // how many; 0: any
  std::string expected_words;  // "2 times of 8 cells"
  bool or_steps = false;       // the option also takes N:STEP
};
constexpr std::int64_t most_numbers = 1 << 28;  // of one text or option
// Empty for a fault in the word, which `fault` then tells.
std::vector<double> read_numbers(const MessageState& messages, const NumberSource& source,
                                 std::string& fault);
// "N:STEP": N numbers that grow by STEP, the first of them `first` steps from 0.
bool is_steps(const std::string& word, int first, std::vector<double>& numbers);

}  // namespace dfl
