// Reading datasets by time step.

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "dataset/hyfs_internal.h"

namespace dfl {

using namespace hyfs;

namespace {

// What a dataset holds: the steps along its time axis, and the values of one step.
struct Series {
  Shape shape;
  bool timed = false;  // the first axis is time
  hsize_t steps = 1;
  hsize_t values = 1;  // product of the axes behind time
  int components = 1;  // 2 or 3: a vector stored in one dataset, its last axis
  Id times;            // the dataset of the step times; not good() if there is none
};

// An object reached through a reference has no path; a coordinate variable bears its name as a
// mark.
std::string name_of_scale(hid_t scale) {
  std::string name = own_name(scale);
  if (name.empty()) read_text(scale, "NAME", name);
  return name;
}

bool is_time_scale(hid_t scale) {
  std::string text;
  if (read_text(scale, "units", text) >= 0 && text.find(" since ") != std::string::npos) {
    return true;
  }
  if (read_text(scale, "standard_name", text) >= 0 && text == "time") return true;
  if (read_text(scale, "axis", text) >= 0 && text == "T") return true;
  const std::string name = name_of_scale(scale);
  return name == "time" || (name.size() > 5 && name.ends_with("_time"));
}

// With a scale that says nothing of time, a growing first axis is one only before another axis:
// the values of one growing line are those of one step.
bool has_time_axis(hid_t dataset, const Shape& shape) {
  if (shape.rank < 1) return false;
  const Id scale = scale_of(dataset, 0);
  if (scale.good() && is_time_scale(scale.get())) return true;
  return shape.max[0] == H5S_UNLIMITED && (shape.rank > 1 || !scale.good());
}

bool usable_times(hid_t times) {
  Shape shape;
  return times >= 0 && H5Iget_type(times) == H5I_DATASET && read_shape(times, shape) >= 0 &&
         shape.rank == 1 && is_number(times) && !is_pure_dimension(times);
}

Id times_of(hid_t dataset) {
  Id scale = scale_of(dataset, 0);
  if (scale.good()) return usable_times(scale.get()) ? std::move(scale) : Id();
  const Id group = group_above(dataset);
  if (!group.good()) return Id();
  for (const std::string& name :
       {own_name(dataset) + "_time", std::string("time"), std::string("/time")}) {
    Id times = open_below(group.get(), name);
    if (times.good() && usable_times(times.get())) return times;
  }
  return Id();
}

// One dataset for a vector: time, values, components. A last axis with coordinates of its own is
// one of space, however short it is.
int stored_components(hid_t dataset, const Series& series) {
  const Shape& shape = series.shape;
  if (shape.rank != 3 || !series.timed || (shape.size[2] != 2 && shape.size[2] != 3)) return 1;
  if (type_of(dataset) == scalar_type) return 1;
  const Id scale = scale_of(dataset, 2);
  if (scale.good() && !is_pure_dimension(scale.get())) return 1;
  return static_cast<int>(shape.size[2]);
}

int describe(hid_t dataset, Series& series) {
  if (const int status = read_shape(dataset, series.shape); status < 0) return status;
  const Shape& shape = series.shape;
  if (shape.rank < 1) return hyfs_dataset_invalid;
  if (!is_number(dataset)) return hyfs_incorrect_datatype;
  series.timed = has_time_axis(dataset, shape);
  for (int axis = series.timed ? 1 : 0; axis < shape.rank; ++axis) {
    const hsize_t size = shape.size[static_cast<std::size_t>(axis)];
    const hsize_t room = std::numeric_limits<int>::max() / std::max<hsize_t>(series.values, 1);
    if (size > room) return hyfs_size_incorrect;
    series.values *= size;
  }
  if (!plausible_count(dataset, series.values)) return hyfs_size_incorrect;
  series.components = stored_components(dataset, series);
  if (!series.timed) return 0;
  // A frame that was cut short may have its time and not yet its values, or the reverse.
  series.steps = shape.size[0];
  series.times = times_of(dataset);
  if (series.times.good()) series.steps = std::min(series.steps, length_of(series.times.get()));
  return plausible_count(dataset, series.steps) ? 0 : hyfs_size_incorrect;
}

// The first component speaks for a vector, once all are found alike.
int describe_handle(HyfsHandle handle, Series& series) {
  std::vector<hid_t> datasets;
  hid_t marker = H5I_INVALID_HID;
  if (const int status = components_of(handle, datasets, marker); status < 0) return status;
  if (const int status = describe(datasets[0], series); status < 0) return status;
  for (std::size_t i = 1; i < datasets.size(); ++i) {
    Series other;
    if (const int status = describe(datasets[i], other); status < 0) return status;
    if (other.values != series.values || other.timed != series.timed) return hyfs_size_incorrect;
    series.steps = std::min(series.steps, other.steps);
  }
  return 0;
}

// ---- values ----

// How stored numbers become values: packed integers have a scale and an offset, and other models
// mark missing values by numbers of their own.
struct Packing {
  double factor = 1.0, offset = 0.0;
  bool packed = false;
  std::vector<double> missing;
};

constexpr float still_missing = -998.0f;  // this and below counts as missing everywhere
constexpr float missing_value = -99999.0f;
constexpr double netcdf_fill = 9.9692099683868690e+36;  // of 4-byte and 8-byte reals

Packing packing_of(hid_t dataset) {
  Packing packing;
  if (type_of(dataset) == scalar_type) return packing;  // ours
  std::vector<double> numbers;
  if (read_numbers(dataset, "scale_factor", numbers) >= 0) {
    packing.factor = numbers[0];
    packing.packed = true;
  }
  if (read_numbers(dataset, "add_offset", numbers) >= 0) {
    packing.offset = numbers[0];
    packing.packed = true;
  }
  packing.missing.push_back(netcdf_fill);
  for (const char* name : {"_FillValue", "missing_value"}) {
    if (read_numbers(dataset, name, numbers) < 0) continue;
    packing.missing.insert(packing.missing.end(), numbers.begin(), numbers.end());
  }
  return packing;
}

template <class T>
bool is_missing(T value, const std::vector<T>& marks) {
  return std::any_of(marks.begin(), marks.end(), [value](T mark) {
    return std::isnan(mark) ? std::isnan(value) : value == mark;
  });
}

float rounded(double value) {
  constexpr double most = static_cast<double>(std::numeric_limits<float>::max());
  constexpr float infinite = std::numeric_limits<float>::infinity();
  if (std::abs(value) > most) return value > 0.0 ? infinite : -infinite;
  return static_cast<float>(value);
}

int read_block(hid_t dataset, const Series& series, int index, hid_t type, void* values) {
  const Shape& shape = series.shape;
  std::array<hsize_t, H5S_MAX_RANK> start{}, count{};
  for (int axis = 0; axis < shape.rank; ++axis) {
    const std::size_t a = static_cast<std::size_t>(axis);
    count[a] = shape.size[a];
  }
  if (series.timed) {
    start[0] = static_cast<hsize_t>(index - 1);
    count[0] = 1;
  }
  const Id space(H5Dget_space(dataset));
  const Id memory(H5Screate_simple(1, &series.values, nullptr));
  if (!space.good() || !memory.good() ||
      H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, start.data(), nullptr, count.data(),
                          nullptr) < 0) {
    return hyfs_io_error;
  }
  return status_of(H5Dread(dataset, type, memory.get(), space.get(), H5P_DEFAULT, values));
}

int read_packed(hid_t dataset, const Series& series, int index, const Packing& packing,
                std::vector<float>& values) {
  std::vector<double> stored(values.size());
  const int status = read_block(dataset, series, index, H5T_NATIVE_DOUBLE, stored.data());
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] = is_missing(stored[i], packing.missing)
                    ? missing_value
                    : rounded(stored[i] * packing.factor + packing.offset);
  }
  return status;
}

int read_step(hid_t dataset, const Series& series, int index, std::vector<float>& values) {
  if (series.steps == 0) return hyfs_no_data;
  if (index < 1 || static_cast<hsize_t>(index) > series.steps) return hyfs_size_incorrect;
  values.resize(static_cast<std::size_t>(series.values));
  if (values.empty()) return 0;
  const Packing packing = packing_of(dataset);
  if (packing.packed) return read_packed(dataset, series, index, packing, values);
  std::vector<float> marks(packing.missing.size());
  std::transform(packing.missing.begin(), packing.missing.end(), marks.begin(), rounded);
  const int status = read_block(dataset, series, index, H5T_NATIVE_FLOAT, values.data());
  for (float& value : values) {
    // Marks of our own kind, -998 and below, stay as they are.
    if (!(value <= still_missing) && is_missing(value, marks)) value = missing_value;
  }
  return status;
}

// Components side by side for each value.
int read_components(const std::vector<hid_t>& datasets, int index, std::vector<float>& values) {
  std::vector<float> one;
  const std::size_t width = datasets.size();
  for (std::size_t c = 0; c < width; ++c) {
    Series series;
    if (const int status = describe(datasets[c], series); status < 0) return status;
    if (const int status = read_step(datasets[c], series, index, one); status < 0) return status;
    if (c == 0) values.resize(one.size() * width);
    if (one.size() * width != values.size()) return hyfs_size_incorrect;
    for (std::size_t i = 0; i < one.size(); ++i) values[i * width + c] = one[i];
  }
  return 0;
}

// ---- locations ----

constexpr int at_centre = 0;
constexpr int at_node = -1;

int location_of(hid_t dataset, int& location) {
  std::vector<double> code;
  const int status = read_numbers(dataset, "hyfs_location", code);
  if (status >= 0) {
    location = static_cast<int>(std::clamp(code[0], -1.0, 1000.0));
    return 0;
  }
  if (status != hyfs_does_not_exist) return status;
  std::string text;
  const bool face = read_text(dataset, "location", text) >= 0 && text == "face";
  location = face ? at_centre : at_node;
  return 0;
}

// The text of an attribute of a handle's first dataset, or of its marker.
int first_text(HyfsHandle handle, const char* name, std::string& text) {
  std::vector<hid_t> datasets;
  hid_t marker = H5I_INVALID_HID;
  if (const int status = components_of(handle, datasets, marker); status < 0) return status;
  if (marker >= 0 && read_text(marker, name, text) >= 0) return 0;
  return read_text(datasets[0], name, text);
}

}  // namespace

int hfgetdatasetnumtimes_f(HyfsHandle dataset, int& times) {
  times = 0;
  Series series;
  if (const int status = describe_handle(dataset, series); status < 0) return status;
  times = static_cast<int>(series.steps);
  return times == 0 ? hyfs_no_data : 0;
}

int hfgetdatasetnumvals_f(HyfsHandle dataset, int& values) {
  values = 0;
  Series series;
  if (const int status = describe_handle(dataset, series); status < 0) return status;
  values = static_cast<int>(series.values) / series.components;
  return 0;
}

int hfgetdatasetform_f(HyfsHandle dataset, HyfsForm& form) {
  form = HyfsForm();
  std::vector<hid_t> datasets;
  hid_t marker = H5I_INVALID_HID;
  if (const int status = components_of(dataset, datasets, marker); status < 0) return status;
  Series series;
  if (const int status = describe(datasets[0], series); status < 0) return status;
  form.timed = series.timed;
  form.components = datasets.size() > 1 ? static_cast<int>(datasets.size()) : series.components;
  for (int axis = series.timed ? 1 : 0; axis < series.shape.rank; ++axis) {
    const Id scale = scale_of(datasets[0], axis);
    const std::string name = scale.good() ? own_name(scale.get()) : "";
    if (!name.empty()) form.along.push_back(name);
  }
  return 0;
}

int hfreadtext_f(HyfsHandle object, const std::string& name, std::string& text) {
  text.clear();
  if (H5Iget_type(object) == H5I_FILE) {
    const Id root(H5Gopen2(object, "/", H5P_DEFAULT));
    return root.good() ? read_text(root.get(), name.c_str(), text) : hyfs_io_error;
  }
  if (H5Iget_type(object) == H5I_GROUP) return read_text(object, name.c_str(), text);
  return first_text(object, name.c_str(), text);
}

int hfgetdatasettimes_f(HyfsHandle dataset, std::vector<double>& times) {
  times.clear();
  Series series;
  if (const int status = describe_handle(dataset, series); status < 0) return status;
  if (!series.timed) {
    times.assign(1, 0.0);
    return 0;
  }
  if (series.steps == 0) return hyfs_no_data;
  if (!series.times.good()) return hyfs_dataset_invalid;
  times.resize(static_cast<std::size_t>(series.steps));
  return read_doubles(series.times.get(), 0, series.steps, times.data());
}

int hfgetdatasettimeunits_f(HyfsHandle dataset, std::string& units) {
  units.clear();
  const int status = first_text(dataset, "hyfs_time_units", units);
  if (status != hyfs_does_not_exist) return status;
  Series series;
  if (const int described = describe_handle(dataset, series); described < 0) return described;
  std::string text;
  if (!series.times.good() || read_text(series.times.get(), "units", text) < 0) {
    return hyfs_does_not_exist;
  }
  units = unit_word(text);
  return units.empty() ? hyfs_does_not_exist : 0;
}

int hfreadreftime_f(HyfsHandle dataset, double& julian_day) {
  julian_day = 0.0;
  std::vector<hid_t> objects;
  hid_t marker = H5I_INVALID_HID;
  const bool series = components_of(dataset, objects, marker) >= 0;
  if (marker >= 0) objects.push_back(marker);
  if (!series && H5Iget_type(dataset) == H5I_GROUP) objects.push_back(dataset);
  if (objects.empty()) return hyfs_group_type;
  for (const hid_t object : objects) {
    std::vector<double> day;
    const int status = read_numbers(object, "hyfs_reference_time", day);
    if (status == hyfs_does_not_exist) continue;
    if (status >= 0) julian_day = day[0];
    return status;
  }
  if (!series) return hyfs_does_not_exist;
  const Id times = times_of(objects[0]);
  std::string units;
  if (!times.good() || read_text(times.get(), "units", units) < 0) return hyfs_does_not_exist;
  return day_since(units, julian_day) ? 0 : hyfs_does_not_exist;
}

int hfreadscalarvaluestimestep_f(HyfsHandle dataset, int index, std::vector<float>& values) {
  if (is_vector_handle(dataset) || H5Iget_type(dataset) != H5I_DATASET) return hyfs_group_type;
  Series series;
  if (const int status = describe(dataset, series); status < 0) return status;
  return read_step(dataset, series, index, values);
}

int hfreadvectorvaluestimestep_f(HyfsHandle dataset, int index, std::vector<float>& values) {
  std::vector<hid_t> datasets;
  hid_t marker = H5I_INVALID_HID;
  if (const int status = components_of(dataset, datasets, marker); status < 0) return status;
  if (datasets.size() > 1) return read_components(datasets, index, values);
  Series series;
  if (const int status = describe(dataset, series); status < 0) return status;
  return series.components > 1 ? read_step(dataset, series, index, values) : hyfs_dataset_invalid;
}

int hfgetscalardatalocation_f(HyfsHandle dataset, int& location) {
  location = at_node;
  if (is_vector_handle(dataset) || H5Iget_type(dataset) != H5I_DATASET) return hyfs_group_type;
  return location_of(dataset, location);
}

int hfgetvector2ddatalocations_f(HyfsHandle dataset, int& location_x, int& location_y) {
  location_x = location_y = at_node;
  std::vector<hid_t> datasets;
  hid_t marker = H5I_INVALID_HID;
  if (const int status = components_of(dataset, datasets, marker); status < 0) return status;
  std::vector<double> codes;
  const hid_t named = marker >= 0 ? marker : datasets[0];
  if (read_numbers(named, "hyfs_locations", codes) >= 0 && codes.size() >= 2) {
    location_x = static_cast<int>(std::clamp(codes[0], -1.0, 1000.0));
    location_y = static_cast<int>(std::clamp(codes[1], -1.0, 1000.0));
    return 0;
  }
  if (const int status = location_of(datasets.front(), location_x); status < 0) return status;
  return location_of(datasets.size() > 1 ? datasets[1] : datasets[0], location_y);
}

}  // namespace dfl
