#include "tools/hyfs_make.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>

#include "control/text_tools.h"
#include "tools/hyfs_words.h"
#include "tools/make_plan.h"

namespace dfl {

namespace {

struct Writing {
  const MakePlan& plan;
  HyfsHandle file = 0;
  std::FILE* out = nullptr;
  std::FILE* err = nullptr;
  std::size_t done = 0, parts = 0;
};

void tell(Writing& writing, const std::string& what) {
  ++writing.done;
  std::fprintf(writing.out, "Writing %zu of %zu: %s\n", writing.done, writing.parts, what.c_str());
  std::fflush(writing.out);
}

bool good(const Writing& writing, int status, const std::string& what) {
  if (status >= 0) return true;
  std::fprintf(writing.err, "%s: %s cannot be written: %s\n", writing.plan.file.c_str(),
               what.c_str(), hyfs_write_reason(writing.plan.file, status).c_str());
  return false;
}

bool write_grid(Writing& writing) {
  const MakePlan& plan = writing.plan;
  if (plan.grid_path.empty()) return true;
  tell(writing, plan.grid_path + ", " + std::to_string(plan.grid.i.size()) + " x " +
                    std::to_string(plan.grid.j.size()) + " cells");
  HyfsHandle group = 0;
  return good(writing, hfcreategrid_f(writing.file, plan.grid_path, plan.grid), plan.grid_path) &&
         good(writing, hfopengroup_f(writing.file, plan.grid_path, group), plan.grid_path) &&
         good(writing, hfwritepropertyint_f(group, "CellTypes", plan.cell_types), "CellTypes") &&
         good(writing, hfclosegroup_f(group), plan.grid_path);
}

bool write_property(Writing& writing, const MakeProperty& property) {
  tell(writing, property.path + ", " + std::to_string(property.values.size()) +
                    (property.values.size() == 1 ? " number" : " numbers"));
  std::vector<int> whole;
  constexpr double most = 2147483647.0;
  for (const double value : property.values) {
    if (value == std::floor(value) && std::abs(value) <= most) {
      whole.push_back(static_cast<int>(value));
    }
  }
  const int status = whole.size() == property.values.size()
                         ? hfwritepropertyint_f(writing.file, property.path, whole)
                         : hfwritepropertydouble_f(writing.file, property.path, property.values);
  return good(writing, status, property.path);
}

int write_step(HyfsHandle set, const MakeDataset& data, std::size_t k) {
  const std::size_t values = static_cast<std::size_t>(data.values);
  const float* const first = data.components[0].data() + k * values;
  if (data.components.size() == 1) {
    return hfwritescalartimestep_f(set, data.times[k], first, data.values);
  }
  const float* const second = data.components[1].data() + k * values;
  std::vector<float> pairs(2 * values);
  for (std::size_t i = 0; i < values; ++i) {
    pairs[2 * i] = first[i];
    pairs[2 * i + 1] = second[i];
  }
  return hfwritevectortimestep_f(set, data.times[k], pairs.data(), data.values);
}

bool write_dataset(Writing& writing, const MakeDataset& data) {
  const MakePlan& plan = writing.plan;
  tell(writing, data.path + ", " + std::to_string(data.times.size()) + " x " +
                    std::to_string(data.values) + " values");
  HyfsDatasetInfo info;
  info.units = data.units;
  info.time_units = plan.time_units;
  info.location = data.location;
  info.values = data.values;
  HyfsHandle set = 0;
  const int status = data.components.size() == 1
                         ? hfcreatescalardataset_f(writing.file, data.path, info, set)
                         : hfcreatevectordataset_f(writing.file, data.path, info, set);
  if (!good(writing, status, data.path)) return false;
  for (std::size_t k = 0; k < data.times.size(); ++k) {
    if (!good(writing, write_step(set, data, k), data.path)) return false;
  }
  if (!plan.start.empty() && !good(writing, hfwritereftime_f(set, plan.start_day), data.path)) {
    return false;
  }
  return good(writing, hfclosegroup_f(set), data.path);
}

bool write_all(Writing& writing) {
  const MakePlan& plan = writing.plan;
  writing.parts = plan.properties.size() + plan.datasets.size() + (plan.grid_path.empty() ? 0 : 1);
  if (!write_grid(writing)) return false;
  for (const MakeProperty& property : plan.properties) {
    if (!write_property(writing, property)) return false;
  }
  for (const MakeDataset& data : plan.datasets) {
    if (!write_dataset(writing, data)) return false;
  }
  return true;
}

HyfsFileInfo file_info(const MakePlan& plan) {
  HyfsFileInfo info;
  info.title = plan.title;
  info.start_date = plan.start;
  info.expected_frames = 1;
  for (const MakeDataset& data : plan.datasets) {
    info.expected_frames =
        std::max(info.expected_frames, static_cast<std::int64_t>(data.times.size()));
    info.expected_values = std::max(info.expected_values, data.values);
  }
  return info;
}

// Before anything is read: whether there is room for the file.
bool may_be_made(const std::vector<std::string>& words, std::FILE* err) {
  if (words.empty() || words[0].empty() || !file_exists(words[0])) return true;
  std::error_code error;
  const char* fault = nullptr;
  if (is_directory(words[0])) {
    fault = "a folder";
  } else if (!std::filesystem::is_regular_file(words[0], error)) {
    fault = "not a plain file";
  } else if (std::find(words.begin(), words.end(), "--overwrite") == words.end()) {
    fault = "is there already; --overwrite replaces it";
  }
  if (fault != nullptr) std::fprintf(err, "%s: %s\n", words[0].c_str(), fault);
  return fault == nullptr;
}

}  // namespace

int HYFS_MAKE(const std::vector<std::string>& words, std::FILE* out, std::FILE* err) {
  MakePlan plan;
  if (!may_be_made(words, err) || !read_make_plan(words, out, err, plan)) return 1;
  // Beside its place until it is whole, so that a fault leaves what was there.
  const std::string aside = plan.file + ".part";
  Writing writing{plan};
  writing.out = out;
  writing.err = err;
  if (!good(writing, hfcreatefile_f(aside, true, file_info(plan), writing.file), "the file")) {
    return 1;
  }
  bool whole = write_all(writing);
  whole = good(writing, hfclosefile_f(writing.file), "the file") && whole;
  std::error_code error;
  if (whole) std::filesystem::rename(aside, plan.file, error);
  if (!whole || error) {
    if (error) std::fprintf(err, "%s: %s\n", plan.file.c_str(), error.message().c_str());
    std::filesystem::remove(aside, error);
    return 1;
  }
  std::fprintf(out, "%s: made\n", plan.file.c_str());
  return 0;
}

}  // namespace dfl
