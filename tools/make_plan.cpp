#include "tools/make_plan.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <set>

#include "control/text_tools.h"
#include "tools/hyfs_words.h"

namespace dfl {

namespace {

struct OptionWords {
  const char* name;
  std::size_t words;
  bool often = false;  // may stand more than once
};
constexpr OptionWords known_options[] = {
    {"--overwrite", 0},
    {"--title", 1},
    {"--start", 1},
    {"--time-units", 1},
    {"--grid", 1},
    {"--origin", 2},
    {"--bearing", 1},
    {"--i", 1},
    {"--j", 1},
    {"--k", 1},
    {"--celltypes", 1},
    {"--times", 1, true},
    {"--planes", 1, true},
    {"--dataset", 4, true},
    {"--vector", 5, true},
    {"--property", 2, true},
};
// Names at the root that the file uses itself.
constexpr const char* own_names[] = {"time", "cells", "mesh_node", "values", "growing_values"};
constexpr const char* locations[] = {"centre", "i-face", "j-face", "faces", "node"};

// What is read so far, and where faults are told.
struct Making {
  MakePlan& plan;
  MessageState messages;
  std::FILE* out = nullptr;
  std::FILE* err = nullptr;
  std::set<std::string> paths = {};  // that are taken
  std::vector<double> times = {0.0};
  std::int64_t planes = 1;
  bool failed = false;

  std::int64_t cells() const {
    return static_cast<std::int64_t>(plan.grid.i.size()) *
           static_cast<std::int64_t>(plan.grid.j.size());
  }
};

void fail(Making& making, const std::string& text) {
  making.failed = true;
  std::fprintf(making.err, "%s\n", text.c_str());
}

bool split_options(const std::vector<std::string>& words, Making& making,
                   std::vector<MakeOption>& options) {
  for (std::size_t k = 1; k < words.size();) {
    const OptionWords* found = nullptr;
    for (const OptionWords& row : known_options) {
      if (words[k] == row.name) found = &row;
    }
    if (found == nullptr) {
      fail(making, "make: unknown option \"" + words[k] + "\"; see dfl-hyfs --help");
      return false;
    }
    if (words.size() - k - 1 < found->words) {
      fail(making, words[k] + ": expected " + std::to_string(found->words) +
                       (found->words == 1 ? " word" : " words") + " behind it");
      return false;
    }
    const bool again = std::any_of(options.begin(), options.end(), [&](const MakeOption& option) {
      return option.name == words[k];
    });
    if (again && !found->often) {
      fail(making, words[k] + ": given twice");
      return false;
    }
    MakeOption option{words[k], {}};
    for (std::size_t w = 1; w <= found->words; ++w) option.words.push_back(words[k + w]);
    options.push_back(option);
    k += found->words + 1;
  }
  return true;
}

double number_of(Making& making, const MakeOption& option, const std::string& word) {
  double value = 0.0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size() || !std::isfinite(value)) {
    fail(making, option.name + ": expected a number, found \"" + word + "\"");
  }
  return value;
}

std::vector<double> numbers_of(Making& making, const NumberSource& source) {
  std::string fault;
  if (source.word[0] != '=' && file_exists(found_path(source.word))) {
    std::fprintf(making.out, "Reading %s\n", source.word.c_str());
    std::fflush(making.out);
  }
  std::vector<double> numbers = read_numbers(making.messages, source, fault);
  if (!fault.empty()) fail(making, fault);
  return numbers;
}

// A path without needless slashes; empty if it cannot be one, which is told.
std::string path_of(Making& making, const MakeOption& option, const std::string& given) {
  std::string path;
  std::size_t parts = 0;
  for (std::size_t start = 0; start < given.size();) {
    const std::size_t end = std::min(given.find('/', start), given.size());
    const std::string part = given.substr(start, end - start);
    start = end + 1;
    if (part.empty() || part == ".") continue;
    path += (parts++ > 0 ? "/" : "") + part;
  }
  const bool own = parts == 1 && (path.rfind("values_", 0) == 0 ||
                                  std::find(std::begin(own_names), std::end(own_names), path) !=
                                      std::end(own_names));
  if (own) fail(making, option.name + ": the file itself uses the name \"" + path + "\"");
  if (parts == 0) fail(making, option.name + ": expected a path, found \"" + given + "\"");
  return own ? "" : path;
}

void take_path(Making& making, const MakeOption& option, const std::string& path) {
  if (making.failed || making.paths.insert(path).second) return;
  fail(making, option.name + ": the path \"" + path + "\" is taken already");
}

void require_growing(Making& making, const MakeOption& option, const std::vector<double>& numbers) {
  for (std::size_t k = 1; k < numbers.size(); ++k) {
    if (numbers[k] > numbers[k - 1]) continue;
    fail(making, option.name + ": expected numbers that grow, found " + number_words(numbers[k]) +
                     " behind " + number_words(numbers[k - 1]));
    return;
  }
}

// ---- what holds for the whole file, and the grid ----

void take_start(Making& making, const MakeOption& option) {
  std::array<int, 6> d{};
  char rest = 0;
  const std::string& word = option.words[0];
  const int items = std::sscanf(word.c_str(), "%5d-%2d-%2d %2d:%2d:%2d%c", &d[0], &d[1], &d[2],
                                &d[3], &d[4], &d[5], &rest);
  if (items != 6 || d[0] < 1 || d[0] > 9999 || d[5] > 59 ||
      hfcalendartojulian_f(1, d[0], d[1], d[2], d[3], d[4], d[5], making.plan.start_day) < 0) {
    fail(making, "--start: expected a date \"YYYY-MM-DD hh:mm:ss\", found \"" + word + "\"");
    return;
  }
  making.plan.start = zero_filled(d[0], 4) + "-" + zero_filled(d[1], 2) + "-" +
                      zero_filled(d[2], 2) + " " + zero_filled(d[3], 2) + ":" +
                      zero_filled(d[4], 2) + ":" + zero_filled(d[5], 2);
}

void take_axis(Making& making, const MakeOption& option, std::vector<double>& axis) {
  if (!is_steps(option.words[0], 1, axis)) {
    axis = numbers_of(making, {option.words[0], option.name, 0, "", true});
  }
  require_growing(making, option, axis);
}

// All but what needs the grid.
void take_head(Making& making, const MakeOption& option) {
  MakePlan& plan = making.plan;
  const std::string& name = option.name;
  if (name == "--overwrite") {
    plan.overwrite = true;
  } else if (name == "--title") {
    plan.title = option.words[0];
  } else if (name == "--start") {
    take_start(making, option);
  } else if (name == "--time-units") {
    plan.time_units = option.words[0];
    if (plan.time_units != "Seconds" && plan.time_units != "Hours") {
      fail(making, "--time-units: expected Seconds or Hours, found \"" + plan.time_units + "\"");
    }
  } else if (name == "--grid") {
    plan.grid_path = path_of(making, option, option.words[0]);
    for (const char* part : {"", "/coords_i", "/coords_j", "/coords_k", "/PROPERTIES/CellTypes"}) {
      take_path(making, option, plan.grid_path + part);
    }
  } else if (name == "--origin") {
    plan.grid.origin = {number_of(making, option, option.words[0]),
                        number_of(making, option, option.words[1]), 0.0};
  } else if (name == "--bearing") {
    plan.grid.bearing = number_of(making, option, option.words[0]);
  } else if (name == "--i") {
    take_axis(making, option, plan.grid.i);
  } else if (name == "--j") {
    take_axis(making, option, plan.grid.j);
  } else if (name == "--k") {
    take_axis(making, option, plan.grid.k);
  }
}

void check_head(Making& making, const std::vector<MakeOption>& options) {
  MakePlan& plan = making.plan;
  const bool axes = !plan.grid.i.empty() && !plan.grid.j.empty();
  if (!plan.grid_path.empty() && !axes) fail(making, "--grid: expected --i and --j with it");
  if (axes && static_cast<std::int64_t>(plan.grid.i.size()) >
                  most_numbers / static_cast<std::int64_t>(plan.grid.j.size())) {
    fail(making, "--i, --j: a grid of more than " + std::to_string(most_numbers) + " cells");
  }
  if (plan.grid.k.empty()) plan.grid.k = {1.0};
  for (const MakeOption& option : options) {
    for (const char* name : {"--origin", "--bearing", "--i", "--j", "--k", "--celltypes"}) {
      if (plan.grid_path.empty() && option.name == name) {
        fail(making, option.name + ": expected --grid with it");
      }
    }
  }
}

// ---- what stands in it ----

void take_cell_types(Making& making, const MakeOption& option) {
  const NumberSource source{option.words[0], option.name, making.cells(), "cells of the grid",
                            false};
  making.plan.cell_types.clear();
  for (const double number : numbers_of(making, source)) {
    if (number != std::floor(number) || std::abs(number) > 1.0e9) {
      fail(making, "--celltypes: expected whole numbers, found " + number_words(number));
      return;
    }
    making.plan.cell_types.push_back(static_cast<int>(number));
  }
}

// How many numbers all steps have; on nodes only a grid in planes tells it.
NumberSource source_of(const Making& making, const MakeOption& option, const std::string& location,
                       const std::string& word) {
  NumberSource source{word, option.name + " " + option.words[0], 0, "", false};
  const bool grid = !making.plan.grid_path.empty();
  if (!grid || (location == "node" && making.planes == 1 && word[0] != '=')) return source;
  const std::int64_t steps = static_cast<std::int64_t>(making.times.size());
  const std::int64_t one = making.cells() * making.planes;
  if (one > std::numeric_limits<std::int64_t>::max() / steps) return source;
  source.expected = steps * one;
  source.expected_words = std::to_string(steps) + (steps == 1 ? " step" : " steps") + " of " +
                          std::to_string(one) + " values";
  return source;
}

void take_component(Making& making, const MakeOption& option, const std::string& word,
                    MakeDataset& dataset) {
  if (word.empty()) {
    fail(making, option.name + ": expected the name of a text file");
    return;
  }
  const NumberSource source = source_of(making, option, dataset.location, word);
  const std::int64_t steps = static_cast<std::int64_t>(making.times.size());
  if (word[0] == '=' && source.expected == 0) {
    fail(making, source.option + ": =V needs a grid that says how many values there are");
    return;
  }
  if (source.expected > most_numbers) {
    fail(making, source.option + ": " + source.expected_words + " are more than " +
                     std::to_string(most_numbers) + " numbers");
    return;
  }
  const std::vector<double> numbers = numbers_of(making, source);
  const std::int64_t count = static_cast<std::int64_t>(numbers.size());
  if (making.failed) return;
  if (count % steps != 0) {
    fail(making, word + ": " + std::to_string(count) + " numbers are not the same for each of " +
                     std::to_string(steps) + " times");
    return;
  }
  if (dataset.values != 0 && count / steps != dataset.values) {
    fail(making, word + ": expected " + std::to_string(dataset.values * steps) +
                     " numbers, as the first component has, found " + std::to_string(count));
    return;
  }
  dataset.values = count / steps;
  std::vector<float> values;
  values.reserve(numbers.size());
  constexpr double most = static_cast<double>(std::numeric_limits<float>::max());
  for (const double number : numbers) {
    if (std::abs(number) > most) {
      fail(making, word + ": too large: " + number_words(number));
      return;
    }
    values.push_back(static_cast<float>(number));
  }
  dataset.components.push_back(std::move(values));
}

void take_dataset(Making& making, const MakeOption& option) {
  MakeDataset dataset{path_of(making, option, option.words[0]),
                      option.words[1],
                      option.words[2],
                      making.times,
                      {},
                      0};
  const bool vector = option.name == "--vector";
  take_path(making, option, dataset.path);
  if (vector) {
    for (const char* ending : {"_x", "_y"}) take_path(making, option, dataset.path + ending);
  }
  if (making.failed) return;
  const bool known = std::find(std::begin(locations), std::end(locations), dataset.location) !=
                     std::end(locations);
  if (!known || (!vector && dataset.location == "faces")) {
    fail(making, option.name + " " + dataset.path + ": expected a location of centre, i-face, " +
                     "j-face, " + (vector ? "faces, " : "") + "node, found \"" + dataset.location +
                     "\"");
    return;
  }
  for (std::size_t c = 3; c < option.words.size() && !making.failed; ++c) {
    take_component(making, option, option.words[c], dataset);
  }
  if (!making.failed) making.plan.datasets.push_back(std::move(dataset));
}

void take_contents(Making& making, const MakeOption& option) {
  const std::string& name = option.name;
  if (name == "--celltypes") {
    take_cell_types(making, option);
  } else if (name == "--times") {
    if (!is_steps(option.words[0], 0, making.times)) {
      making.times = numbers_of(making, {option.words[0], name, 0, "", true});
    }
    require_growing(making, option, making.times);
  } else if (name == "--planes") {
    const double planes = number_of(making, option, option.words[0]);
    if (making.failed) return;
    constexpr double most_planes = 10000.0;
    if (planes != std::floor(planes) || planes < 1.0 || planes > most_planes) {
      fail(making, "--planes: expected 1 to 10000, found \"" + option.words[0] + "\"");
      return;
    }
    making.planes = static_cast<std::int64_t>(planes);
  } else if (name == "--property") {
    const std::string path = path_of(making, option, option.words[0]);
    take_path(making, option, path);
    if (making.failed) return;
    making.plan.properties.push_back(
        {path, numbers_of(making, {option.words[1], name + " " + path, 0, "", false})});
  } else if (name == "--dataset" || name == "--vector") {
    take_dataset(making, option);
  }
}

}  // namespace

bool read_make_plan(const std::vector<std::string>& words, std::FILE* out, std::FILE* err,
                    MakePlan& plan) {
  Making making{plan, tool_messages(err), out, err};
  if (words.empty() || words[0].empty() || words[0].rfind("--", 0) == 0) {
    fail(making, "make: expected the name of the file to make");
    return false;
  }
  plan.file = words[0];
  std::vector<MakeOption> options;
  if (!split_options(words, making, options)) return false;
  for (const MakeOption& option : options) {
    if (!making.failed) take_head(making, option);
  }
  if (!making.failed) check_head(making, options);
  if (!plan.grid_path.empty() && !making.failed) {
    plan.cell_types.assign(static_cast<std::size_t>(making.cells()), 1);
  }
  for (const MakeOption& option : options) {
    if (!making.failed) take_contents(making, option);
  }
  if (!making.failed && plan.grid_path.empty() && plan.datasets.empty() &&
      plan.properties.empty()) {
    fail(making, "make: nothing to write; expected --grid, --dataset, --vector or --property");
  }
  return !making.failed;
}

}  // namespace dfl
