// Writing datasets by time step.

#include <algorithm>
#include <utility>

#include "control/text_tools.h"
#include "dataset/hyfs_internal.h"

namespace dfl {

using namespace hyfs;

namespace {

constexpr float usual_fill = -9999.9f;
constexpr float dry_fill = -99999.0f;  // the mark of a dry node, which viewers then hide

// Where the values of a dataset lie, and what that is called in a file.
struct Location {
  const char* word;          // of HyfsDatasetInfo
  const char* dimension;     // that its values run along
  const char* ugrid;         // attribute "location", none if empty
  int code, code_x, code_y;  // attribute "hyfs_location", none if negative; of components
};
constexpr Location locations[] = {
    {"node", "mesh_node", "node", -1, -1, -1},
    {"face", "mesh_face", "face", 0, 0, 0},
    {"centre", "cells", "", 0, 0, 0},
    {"i-face", "cells", "", 3, 3, 3},
    {"j-face", "cells", "", 4, 4, 4},
    {"faces", "cells", "", 3, 3, 4},
    {"trajectory", "trajectory", "", -1, -1, -1},
};

const Location* find_location(const std::string& word) {
  for (const Location& row : locations) {
    if (word == row.word) return &row;
  }
  return nullptr;
}

bool is_trajectory(const Location& location) {
  return std::string("trajectory") == location.word;
}

// What is to be created, once its place and dimensions are known.
struct Plan {
  Id file;
  Place place;
  const Location* location = nullptr;
  bool particles = false;  // below a particle set: in the root, and linked into the group
  bool growing = false;    // the number of values may change
  bool constant = false;   // no time axis
  hsize_t values = 0;
};

hsize_t dimension_length(hid_t file, const std::string& name) {
  const Id dimension = open_below(file, name);
  return dimension.good() && is_scale(dimension.get()) ? length_of(dimension.get()) : 0;
}

int make_plan(hid_t parent, const std::string& path, const HyfsDatasetInfo& info, bool growing,
              Plan& plan) {
  const H5I_type_t kind = H5Iget_type(parent);
  if (kind != H5I_FILE && kind != H5I_GROUP) return hyfs_group_type;
  plan.file = file_of(parent);
  if (const int status = place_below(parent, path, plan.place); status < 0) return status;
  plan.particles = type_of(plan.place.group.get()) == particle_type;
  plan.location = find_location(plan.particles ? "trajectory" : info.location);
  if (plan.location == nullptr || info.values < 0 || info.compression < -1 ||
      info.compression > 9) {
    return hyfs_dataset_invalid;
  }
  plan.values = static_cast<hsize_t>(info.values);
  if (plan.values == 0 && !growing) {
    plan.values = dimension_length(plan.file.get(), plan.location->dimension);
  }
  plan.constant = !growing && is_trajectory(*plan.location);
  plan.growing = growing || plan.constant || plan.values == 0;
  return 0;
}

// The dimension of the values. Values that do not fit the one of their location have one of their
// own length.
Id value_dimension(const Plan& plan) {
  const hid_t file = plan.file.get();
  const bool trajectory = is_trajectory(*plan.location);
  std::string name = plan.location->dimension;
  if (plan.growing && !trajectory) name = "values";
  Id there = open_below(file, name);
  const bool fits = there.good() && is_scale(there.get()) &&
                    (plan.growing || length_of(there.get()) == plan.values);
  if (fits) return there;
  if (!there.good()) return create_dimension(file, name, plan.values, plan.growing);
  name = plan.growing ? "growing_values" : "values_" + std::to_string(plan.values);
  there = open_below(file, name);
  return there.good() ? std::move(there) : create_dimension(file, name, plan.values, plan.growing);
}

// The file's time axis, or one of the dataset's own where it counts in another unit.
Id time_axis(const Plan& plan, const HyfsDatasetInfo& info) {
  const hid_t file = plan.file.get();
  Id times = open_below(file, "/time");
  std::string units;
  if (times.good() && read_text(times.get(), "units", units) >= 0 &&
      unit_word(units) == unit_word(info.time_units)) {
    return times;
  }
  const std::string word = lower_case(unit_word(info.time_units));
  if (!times.good())
    return create_time_scale(Id(H5Gopen2(file, "/", H5P_DEFAULT)).get(), "time", word);
  const std::size_t since = units.find(" since ");
  const std::string own = since == std::string::npos ? word : word + units.substr(since);
  return create_time_scale(plan.place.group.get(), plan.place.name + "_time", own);
}

bool names_direction(const std::string& name) {
  return lower_case(name).find("direction") != std::string::npos;
}

int write_series_attributes(hid_t dataset, const Plan& plan, const HyfsDatasetInfo& info,
                            const std::string& long_name, double fill, int code) {
  const bool mesh = plan.location->ugrid[0] != '\0' && exists_below(plan.file.get(), "/mesh");
  const std::string units = trim(info.units);
  const std::pair<const char*, std::string> texts[] = {
      {"units", units},
      // A mesh layer whose variable speaks of a direction is taken for an angle field by QGIS 3,
      // which then refuses the whole file.
      {"long_name", names_direction(long_name) ? "" : long_name},
      {"mesh", mesh ? "mesh" : ""},
      {"location", plan.location->ugrid},
      {"coordinates", plan.particles && !plan.constant ? "time x y z" : ""},
      {"hyfs_type", scalar_type},
      {"hyfs_time_units", info.time_units},
  };
  for (const auto& [name, text] : texts) {
    if (const int status = write_text(dataset, name, text); status < 0) return status;
  }
  if (code >= 0) {
    if (const int s = write_number(dataset, "hyfs_location", code); s < 0) return s;
  }
  if (const int s = write_number(dataset, "hyfs_compression", info.compression); s < 0) return s;
  return write_fill(dataset, fill, H5T_IEEE_F32LE);
}

// Variables of parcels stand in the root, where viewers and scripts look, and in their group.
int link_series(const Plan& plan, hid_t dataset) {
  const Id root(H5Gopen2(plan.file.get(), "/", H5P_DEFAULT));
  if (plan.particles && !exists_below(root.get(), plan.place.name)) {
    const int status = link_object(dataset, root.get(), plan.place.name);
    if (status < 0) return status;
  }
  return link_object(dataset, plan.place.group.get(), plan.place.name);
}

int create_series(const Plan& plan, const HyfsDatasetInfo& info, const std::string& long_name,
                  int code, Id& dataset) {
  const Id dimension = value_dimension(plan);
  Id times = plan.constant ? Id() : time_axis(plan, info);
  if (!dimension.good() || (!plan.constant && !times.good())) return hyfs_io_error;

  const bool dry = plan.place.name == "wse" && info.fill == usual_fill;
  Storage storage;
  storage.compression = info.compression;
  storage.fill = static_cast<double>(dry ? dry_fill : info.fill);
  storage.filled = true;
  const hsize_t width = chunk_width(plan.file.get());
  std::vector<hsize_t> size{plan.values}, max{plan.growing ? H5S_UNLIMITED : plan.values};
  storage.chunk = {plan.growing ? width : std::clamp<hsize_t>(plan.values, 1, width)};
  std::vector<hid_t> scales{dimension.get()};
  if (!plan.constant) {
    size.insert(size.begin(), 0);
    max.insert(max.begin(), H5S_UNLIMITED);
    storage.chunk.insert(storage.chunk.begin(), 1);
    scales.insert(scales.begin(), times.get());
  }
  dataset = create_dataset(plan.file.get(), "", H5T_IEEE_F32LE, size, max, storage);
  if (!dataset.good()) return hyfs_io_error;
  int status = write_series_attributes(dataset.get(), plan, info, long_name, storage.fill, code);
  // A constant comes when the frames are there. A growing list of its scale would free a piece of
  // its header, the new dataset would take that, and it would then be written out of order.
  if (status >= 0) status = attach_scales(dataset.get(), scales, !plan.constant);
  return status < 0 ? status : link_series(plan, dataset.get());
}

int create_scalar(HyfsHandle parent, const std::string& path, const HyfsDatasetInfo& info,
                  bool growing, HyfsHandle& dataset) {
  dataset = 0;
  Plan plan;
  if (const int status = make_plan(parent, path, info, growing, plan); status < 0) return status;
  Id created;
  const int status = create_series(plan, info, plan.place.name, plan.location->code, created);
  if (status < 0) return status;
  dataset = created.release();
  return 0;
}

// ---- writing steps ----

// A dataset whose times are not those of the file gets its own axis, with the times it had so far.
int own_times(hid_t dataset, hsize_t k, double time) {
  const Id shared = scale_of(dataset, 0);
  const Id along = scale_of(dataset, 1);
  std::vector<double> times(static_cast<std::size_t>(k));
  if (const int s = read_doubles(shared.get(), 0, k, times.data()); s < 0) return s;
  times.push_back(time);
  std::string units;
  read_text(shared.get(), "units", units);
  const Id group = group_above(dataset);
  Id own = create_time_scale(group.get(), own_name(dataset) + "_time", units);
  if (!own.good()) return hyfs_io_error;
  const int status = write_line(own.get(), H5T_NATIVE_DOUBLE, 0, k + 1, times.data());
  if (status < 0) return status;
  if (const int s = attach_scales(dataset, {own.get(), along.get()}); s < 0) return s;
  return own.close();
}

// The time goes to the file before the values: a run that dies between the two leaves a time
// without values, which every reader takes for missing ones.
int enter_time(hid_t dataset, hsize_t k, double time) {
  Id times = scale_of(dataset, 0);
  if (!times.good()) return hyfs_dataset_invalid;
  bool same = true;
  if (const int status = note_time(times.get(), k, time, same); status < 0) return status;
  if (const int status = times.close(); status < 0) return status;
  return same ? 0 : own_times(dataset, k, time);
}

// The dimension of the values follows the longest of its datasets.
int stretch_dimension(hid_t dataset, int axis, hsize_t values) {
  Id dimension = scale_of(dataset, axis);
  if (!dimension.good() || !is_pure_dimension(dimension.get())) return 0;
  if (length_of(dimension.get()) < values && H5Dset_extent(dimension.get(), &values) < 0) {
    return hyfs_io_error;
  }
  return dimension.close();
}

int write_constant(hid_t dataset, const Shape& shape, double time, const float* values,
                   hsize_t count) {
  if (time != 0.0) return hyfs_dataset_invalid;
  if (count < shape.size[0] || (count > shape.size[0] && shape.max[0] != H5S_UNLIMITED)) {
    return hyfs_size_incorrect;
  }
  return write_line(dataset, H5T_NATIVE_FLOAT, 0, count, values);
}

int write_step(hid_t dataset, double time, const float* values, hsize_t count) {
  Shape shape;
  if (const int status = read_shape(dataset, shape); status < 0) return status;
  if (shape.rank == 1) return write_constant(dataset, shape, time, values, count);
  if (shape.rank != 2) return hyfs_dataset_invalid;
  const hsize_t k = shape.size[0];
  const bool free = k == 0 && shape.max[1] == H5S_UNLIMITED;
  if (count != shape.size[1] && !free) return hyfs_size_incorrect;
  if (const int status = enter_time(dataset, k, time); status < 0) return status;
  if (free) {
    if (const int status = stretch_dimension(dataset, 1, count); status < 0) return status;
  }
  const hsize_t size[2] = {k + 1, count};
  if (H5Dset_extent(dataset, size) < 0) return hyfs_io_error;
  if (count > 0) {
    const hsize_t start[2] = {k, 0};
    const hsize_t block[2] = {1, count};
    const Id space(H5Dget_space(dataset));
    const Id memory(H5Screate_simple(2, block, nullptr));
    if (H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, start, nullptr, block, nullptr) < 0 ||
        H5Dwrite(dataset, H5T_NATIVE_FLOAT, memory.get(), space.get(), H5P_DEFAULT, values) < 0) {
      return hyfs_io_error;
    }
  }
  return status_of(H5Dflush(dataset));
}

}  // namespace

int hfcreatescalardataset_f(HyfsHandle parent, const std::string& path, const HyfsDatasetInfo& info,
                            HyfsHandle& dataset) {
  return create_scalar(parent, path, info, false, dataset);
}

int hfcreatescalardsetextndbl_f(HyfsHandle parent, const std::string& path,
                                const HyfsDatasetInfo& info, HyfsHandle& dataset) {
  return create_scalar(parent, path, info, true, dataset);
}

int hfcreatevectordataset_f(HyfsHandle parent, const std::string& path, const HyfsDatasetInfo& info,
                            HyfsHandle& dataset) {
  dataset = 0;
  Plan plan;
  if (const int status = make_plan(parent, path, info, false, plan); status < 0) return status;
  const std::string name = plan.place.name;
  const hid_t group = plan.place.group.get();
  const int codes[] = {plan.location->code_x, plan.location->code_y};
  const char* axes[] = {"x", "y"};
  std::vector<Id> components(2);
  for (std::size_t c = 0; c < components.size(); ++c) {
    plan.place.name = name + "_" + axes[c];
    if (exists_below(group, plan.place.name)) return hyfs_dataset_invalid;
    // The form by which viewers join two scalars into a vector.
    const std::string long_name = name + ", " + axes[c] + "-component";
    const int status = create_series(plan, info, long_name, codes[c], components[c]);
    if (status < 0) return status;
  }
  Id marker = create_group(group, name);
  if (!marker.good()) return hyfs_io_error;
  int status = write_text(marker.get(), "hyfs_type", vector_type);
  if (status >= 0) {
    status = write_text(marker.get(), "hyfs_components", name + "_x " + name + "_y");
  }
  if (status >= 0) {
    status = write_numbers(marker.get(), "hyfs_locations", std::vector<int>{codes[0], codes[1]});
  }
  if (status < 0) return status;
  return make_vector_handle(std::move(components), std::move(marker), dataset);
}

int hfextendscalardataset_f(HyfsHandle dataset, std::int64_t values) {
  if (is_vector_handle(dataset) || H5Iget_type(dataset) != H5I_DATASET) return hyfs_group_type;
  Shape shape;
  if (const int status = read_shape(dataset, shape); status < 0) return status;
  if (shape.rank != 2 || values < 0) return hyfs_dataset_invalid;
  const hsize_t size[2] = {shape.size[0], static_cast<hsize_t>(values)};
  if (size[1] < shape.size[1]) return hyfs_size_incorrect;
  if (size[1] > shape.size[1] && shape.max[1] != H5S_UNLIMITED) return hyfs_size_incorrect;
  if (const int status = stretch_dimension(dataset, 1, size[1]); status < 0) return status;
  return status_of(H5Dset_extent(dataset, size));
}

int hfwritescalartimestep_f(HyfsHandle dataset, double time, const float* values,
                            std::int64_t count) {
  if (is_vector_handle(dataset) || H5Iget_type(dataset) != H5I_DATASET) return hyfs_group_type;
  if (count < 0) return hyfs_size_incorrect;
  return write_step(dataset, time, values, static_cast<hsize_t>(count));
}

int hfwritevectortimestep_f(HyfsHandle dataset, double time, const float* pairs,
                            std::int64_t count) {
  if (!is_vector_handle(dataset)) return hyfs_group_type;
  if (count < 0) return hyfs_size_incorrect;
  std::vector<hid_t> components;
  hid_t marker = H5I_INVALID_HID;
  if (const int status = components_of(dataset, components, marker); status < 0) return status;
  if (components.size() != 2) return hyfs_dataset_invalid;
  std::vector<float> one(static_cast<std::size_t>(count));
  for (std::size_t c = 0; c < components.size(); ++c) {
    for (std::size_t i = 0; i < one.size(); ++i) one[i] = pairs[2 * i + c];
    const int status = write_step(components[c], time, one.data(), one.size());
    if (status < 0) return status;
  }
  return 0;
}

int hfwritereftime_f(HyfsHandle dataset, double julian_day) {
  std::vector<hid_t> objects;
  hid_t marker = H5I_INVALID_HID;
  if (components_of(dataset, objects, marker) < 0 && H5Iget_type(dataset) != H5I_GROUP) {
    return hyfs_group_type;
  }
  if (marker >= 0) objects.push_back(marker);
  if (objects.empty()) objects.push_back(dataset);
  for (const hid_t object : objects) {
    const int status = write_number(object, "hyfs_reference_time", julian_day);
    if (status < 0) return status;
  }
  return 0;
}

}  // namespace dfl
