// Particle sets: positions of parcels by time step.

#include <numeric>
#include <utility>

#include "dataset/hyfs_internal.h"

namespace dfl {

using namespace hyfs;

namespace {

constexpr double no_position = -9999.9;
constexpr hsize_t id_chunk = 65536;
constexpr hsize_t count_chunk = 1024;

struct Position {
  const char* name;
  const char* long_name;
  const char* standard_name;
};
constexpr Position positions_of_parcel[] = {
    {"x", "x of parcel", "projection_x_coordinate"},
    {"y", "y of parcel", "projection_y_coordinate"},
    {"z", "elevation of parcel", "altitude"},
};

// Ids from 1; the scale of the parcels' axis.
Id create_trajectory(hid_t root) {
  Storage storage;
  storage.chunk = {id_chunk};
  Id ids = create_dataset(root, "trajectory", H5T_STD_I32LE, {0}, {H5S_UNLIMITED}, storage);
  if (!ids.good() || make_scale(ids.get(), "trajectory") < 0 ||
      write_text(ids.get(), "cf_role", "trajectory_id") < 0 ||
      write_text(ids.get(), "long_name", "parcel id") < 0) {
    return Id();
  }
  return ids;
}

// How many parcels were born up to each frame: those behind it do not exist yet, those before it
// without a position have died.
int create_parcel_counts(hid_t root, hid_t times) {
  Storage storage;
  storage.chunk = {count_chunk};
  Id counts = create_dataset(root, "parcels", H5T_STD_I32LE, {0}, {H5S_UNLIMITED}, storage);
  if (!counts.good()) return hyfs_io_error;
  if (const int s = write_text(counts.get(), "long_name", "parcels born"); s < 0) return s;
  if (const int s = attach_scales(counts.get(), {times}); s < 0) return s;
  return counts.close();
}

int create_position(hid_t root, const Position& position, int compression,
                    const std::vector<hid_t>& scales) {
  Storage storage;
  storage.chunk = {1, chunk_width(file_of(root).get())};
  storage.compression = compression;
  storage.fill = no_position;
  storage.filled = true;
  Id values = create_dataset(root, position.name, H5T_IEEE_F64LE, {0, 0},
                             {H5S_UNLIMITED, H5S_UNLIMITED}, storage);
  if (!values.good()) return hyfs_io_error;
  const bool upward = std::string("z") == position.name;
  const std::pair<const char*, std::string> texts[] = {{"units", "m"},
                                                       {"long_name", position.long_name},
                                                       {"standard_name", position.standard_name},
                                                       {"positive", upward ? "up" : ""}};
  for (const auto& [name, text] : texts) {
    if (const int status = write_text(values.get(), name, text); status < 0) return status;
  }
  if (const int s = write_fill(values.get(), no_position, H5T_IEEE_F64LE); s < 0) return s;
  if (const int s = attach_scales(values.get(), scales); s < 0) return s;
  return values.close();
}

// The variables of a particle set that a frame needs.
struct ParticleSet {
  Id times, ids, counts;
  std::array<Id, 3> positions;
  hsize_t frames = 0, parcels = 0;
};

int open_particle_set(HyfsHandle group, ParticleSet& set) {
  if (H5Iget_type(group) != H5I_GROUP || type_of(group) != particle_type) return hyfs_group_type;
  const Id file = file_of(group);
  set.ids = open_below(file.get(), "/trajectory");
  set.counts = open_below(file.get(), "/parcels");
  for (std::size_t c = 0; c < 3; ++c) {
    set.positions[c] = open_below(group, positions_of_parcel[c].name);
    if (!set.positions[c].good()) return hyfs_does_not_exist;
    if (H5Iget_type(set.positions[c].get()) != H5I_DATASET) return hyfs_dataset_invalid;
  }
  set.times = scale_of(set.positions[0].get(), 0);
  if (!set.ids.good() || !set.counts.good() || !set.times.good()) return hyfs_does_not_exist;
  Shape shape;
  if (const int status = read_shape(set.positions[0].get(), shape); status < 0) return status;
  if (shape.rank != 2) return hyfs_dataset_invalid;
  set.frames = shape.size[0];
  set.parcels = shape.size[1];
  return 0;
}

int add_ids(hid_t ids, hsize_t count) {
  const hsize_t known = length_of(ids);
  if (known >= count) return 0;
  std::vector<int> added(static_cast<std::size_t>(count - known));
  std::iota(added.begin(), added.end(), static_cast<int>(known) + 1);
  return write_line(ids, H5T_NATIVE_INT, known, count - known, added.data());
}

int write_position(hid_t dataset, hsize_t frame, hsize_t count, const double* values) {
  const hsize_t size[2] = {frame + 1, count};
  if (H5Dset_extent(dataset, size) < 0) return hyfs_io_error;
  if (count > 0) {
    const hsize_t start[2] = {frame, 0};
    const hsize_t block[2] = {1, count};
    const Id space(H5Dget_space(dataset));
    const Id memory(H5Screate_simple(2, block, nullptr));
    if (H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, start, nullptr, block, nullptr) < 0 ||
        H5Dwrite(dataset, H5T_NATIVE_DOUBLE, memory.get(), space.get(), H5P_DEFAULT, values) < 0) {
      return hyfs_io_error;
    }
  }
  return status_of(H5Dflush(dataset));
}

}  // namespace

int hfcreategeometricpathgroup_f(HyfsHandle file, const std::string& path, const std::string& guid,
                                 int compression, HyfsHandle& group) {
  group = 0;
  if (H5Iget_type(file) != H5I_FILE) return hyfs_group_type;
  if (compression < -1 || compression > 9) return hyfs_dataset_invalid;
  const Id root(H5Gopen2(file, "/", H5P_DEFAULT));
  if (exists_below(root.get(), "trajectory")) return hyfs_dataset_invalid;
  Id times = open_below(root.get(), "time");
  if (!times.good()) times = create_time_scale(root.get(), "time", "seconds");
  const Id ids = create_trajectory(root.get());
  if (!times.good() || !ids.good()) return hyfs_io_error;
  if (const int s = create_parcel_counts(root.get(), times.get()); s < 0) return s;

  for (const Position& position : positions_of_parcel) {
    const int status = create_position(root.get(), position, compression, {times.get(), ids.get()});
    if (status < 0) return status;
  }
  // Behind the variables of the root: a folder of the path must not take one of their names.
  Place place;
  if (const int status = place_below(file, path, place); status < 0) return status;
  Id created = create_group(place.group.get(), place.name);
  if (!created.good()) return hyfs_io_error;
  for (const Position& position : positions_of_parcel) {
    const Id values = open_below(root.get(), position.name);
    if (const int s = link_object(values.get(), created.get(), position.name); s < 0) return s;
  }
  int status = write_text(created.get(), "hyfs_type", particle_type);
  if (status >= 0) status = write_text(created.get(), "hyfs_guid", guid);
  if (status >= 0) status = write_number(created.get(), "hyfs_compression", compression);
  if (status < 0) return status;
  group = created.release();
  return 0;
}

int hfwriteparticletimestep_f(HyfsHandle group, double time, std::int64_t count,
                              const double* positions) {
  ParticleSet set;
  if (const int status = open_particle_set(group, set); status < 0) return status;
  if (count < 0 || static_cast<hsize_t>(count) < set.parcels || count > INT32_MAX) {
    return hyfs_size_incorrect;
  }
  const hsize_t parcels = static_cast<hsize_t>(count);
  // The time first: a frame that is cut short then has a time and no values, not the reverse.
  bool same = true;
  if (const int s = note_time(set.times.get(), set.frames, time, same); s < 0) return s;
  if (!same) return hyfs_dataset_invalid;
  if (const int s = add_ids(set.ids.get(), parcels); s < 0) return s;
  const int born = static_cast<int>(count);
  if (const int s = write_line(set.counts.get(), H5T_NATIVE_INT, set.frames, 1, &born); s < 0) {
    return s;
  }
  std::vector<double> one(static_cast<std::size_t>(count));
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t i = 0; i < one.size(); ++i) one[i] = positions[3 * i + c];
    const int status = write_position(set.positions[c].get(), set.frames, parcels, one.data());
    if (status < 0) return status;
    if (const int s = set.positions[c].close(); s < 0) return s;
  }
  if (const int s = set.counts.close(); s < 0) return s;
  if (const int s = set.ids.close(); s < 0) return s;
  return set.times.close();
}

}  // namespace dfl
