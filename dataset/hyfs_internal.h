#pragma once

// What the files of this room share: HDF5 identifiers, attributes, paths and dimension scales.

#include <hdf5.h>

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "dataset/hyfs.h"

namespace dfl::hyfs {

// An HDF5 identifier, given back at the end of its scope.
class Id {
 public:
  Id() = default;
  explicit Id(hid_t identifier) : id(identifier) {}
  Id(const Id&) = delete;
  Id& operator=(const Id&) = delete;
  Id(Id&& other) noexcept : id(other.release()) {}
  Id& operator=(Id&& other) noexcept;
  ~Id() { close(); }
  bool good() const { return id >= 0; }
  hid_t get() const { return id; }
  hid_t release();
  int close();  // for what was written: the status tells whether all of it reached the file

 private:
  hid_t id = H5I_INVALID_HID;
};

// 0, or hyfs_io_error for a failed HDF5 call.
inline int status_of(std::int64_t result) {
  return result < 0 ? hyfs_io_error : 0;
}

// Writing through a driver of our own, which puts nothing that is reachable out of order; see
// hyfs_driver.cpp.
int use_ordered_driver(hid_t access_list);

// ---- attributes: fixed-length text, 4-byte integers, 8-byte and 4-byte reals ----
bool has_attribute(hid_t object, const char* name);
int write_text(hid_t object, const char* name, const std::string& text);  // nothing when empty
int write_number(hid_t object, const char* name, int value);
int write_number(hid_t object, const char* name, double value);
int write_numbers(hid_t object, const char* name, const std::vector<int>& values);
int write_numbers(hid_t object, const char* name, const std::vector<double>& values);
int write_fill(hid_t object, double fill, hid_t type);  // "_FillValue", one element of that type
// Absent: hyfs_does_not_exist; of another kind: hyfs_attribute_not_supported.
int read_text(hid_t object, const char* name, std::string& text);
int read_numbers(hid_t object, const char* name, std::vector<double>& values);
std::string type_of(hid_t object);  // "hyfs_type", empty if absent

// ---- paths ----
std::vector<std::string> parts_of(const std::string& path);
std::string own_name(hid_t object);  // last part of the path that it was opened by
Id file_of(hid_t object);
Id group_above(hid_t object);  // the group that it was opened in
bool exists_below(hid_t parent, const std::string& path);
Id open_below(hid_t parent, const std::string& path);
// The group in which the last part of a path stands, made where it is missing.
struct Place {
  Id group;
  std::string name;
};
int place_below(hid_t parent, const std::string& path, Place& place);
// Properties of new groups. Their links stand in the header of the group, in room kept free for
// them: what is added when frames are there already then changes one block in its place.
int set_group_form(hid_t list);
Id create_group(hid_t parent, const std::string& name);
int link_object(hid_t object, hid_t group, const std::string& name);

// ---- datasets ----
struct Shape {
  int rank = 0;
  std::array<hsize_t, H5S_MAX_RANK> size{}, max{};
};
int read_shape(hid_t dataset, Shape& shape);
bool is_number(hid_t dataset);
// Whether a file of its size can hold so many values; a damaged count must not be believed.
bool plausible_count(hid_t dataset, hsize_t count);

// Creation properties of a dataset in chunks; compression -1: none.
struct Storage {
  std::vector<hsize_t> chunk;  // empty: in one piece
  int compression = -1;
  double fill = 0.0;
  bool filled = false;
};
// Without a name the dataset stands nowhere until it is linked.
Id create_dataset(hid_t group, const std::string& name, hid_t type,
                  const std::vector<hsize_t>& size, const std::vector<hsize_t>& max,
                  const Storage& storage);
// Writes `count` values in memory of `type` behind `start` in a dataset of one axis, grown to hold
// them, and flushes.
int write_line(hid_t dataset, hid_t type, hsize_t start, hsize_t count, const void* values);
int read_doubles(hid_t dataset, hsize_t start, hsize_t count, double* values);  // of one axis
hsize_t length_of(hid_t dataset);  // of the first axis; 0 if it has none

// ---- dimension scales ----
constexpr const char* pure_dimension = "This is a netCDF dimension but not a netCDF variable.";
int make_scale(hid_t dataset, const std::string& name);
bool is_scale(hid_t dataset);
bool is_pure_dimension(hid_t scale);
// With `noted` each scale lists the dataset among those that use it. Without, the scale stays as it
// is, and tools see the attachment on the side of the dataset alone.
int attach_scales(hid_t dataset, const std::vector<hid_t>& scales, bool noted = true);
Id scale_of(hid_t dataset, int axis);  // not good() if there is none
Id create_dimension(hid_t file, const std::string& name, hsize_t length, bool growing);

// ---- time ----
Id create_time_scale(hid_t group, const std::string& name, const std::string& units);
// "Seconds" of "seconds since 2000-01-01"; empty if there is no word.
std::string unit_word(const std::string& units);
// The Julian day of the date behind "since"; false if there is none.
bool day_since(const std::string& units, double& julian_day);

// ---- vector handles ----
// A vector is opened as a property list that holds the identifiers of its components, and of its
// marker group where it has one: a list of HDF5 needs no table of ours.
int make_vector_handle(std::vector<Id> components, Id marker, HyfsHandle& handle);
bool is_vector_handle(HyfsHandle handle);
// The datasets behind a handle: one, or the components of a vector. Another kind of object gives
// hyfs_group_type. `marker` is negative without one.
int components_of(HyfsHandle handle, std::vector<hid_t>& datasets, hid_t& marker);
int close_vector_handle(HyfsHandle handle);

// ---- the system's own datasets ----
constexpr const char* scalar_type = "scalar dataset";
constexpr const char* vector_type = "vector dataset";
constexpr const char* particle_type = "particle set";
constexpr const char* grid_type = "grid";
hsize_t chunk_width(hid_t file);  // values of a chunk along the axis of nodes or parcels
// The entry for step `k` of a time axis: appended if it is the next one, else compared.
// `same` tells whether it fits.
int note_time(hid_t times, hsize_t k, double time, bool& same);

// Writes texts, one behind the other, beside a file and renames it, so that a reader sees the old
// one or the new one.
int replace_file(const std::string& path, std::initializer_list<std::string_view> texts);

}  // namespace dfl::hyfs
