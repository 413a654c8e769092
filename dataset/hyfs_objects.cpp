// Identifiers, paths and plain datasets.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <utility>

#include "dataset/hyfs_internal.h"

namespace dfl::hyfs {

namespace {

int close_identifier(hid_t id) {
  switch (H5Iget_type(id)) {
    case H5I_FILE:
      return status_of(H5Fclose(id));
    case H5I_GROUP:
      return status_of(H5Gclose(id));
    case H5I_DATASET:
      return status_of(H5Dclose(id));
    case H5I_BADID:
      return hyfs_io_error;
    default:
      return status_of(H5Idec_ref(id));
  }
}

std::string name_of(hid_t object) {
  const ssize_t length = H5Iget_name(object, nullptr, 0);
  if (length <= 0) return "";
  std::string name(static_cast<std::size_t>(length) + 1, '\0');
  H5Iget_name(object, name.data(), name.size());
  name.resize(static_cast<std::size_t>(length));
  return name;
}

bool is_group(hid_t parent, const std::string& name) {
  const Id object(H5Oopen(parent, name.c_str(), H5P_DEFAULT));
  return object.good() && H5Iget_type(object.get()) == H5I_GROUP;
}

bool has_link(hid_t parent, const std::string& name) {
  return H5Lexists(parent, name.c_str(), H5P_DEFAULT) > 0;
}

// Where a dataset stands in the way of a folder of that name (a file prefix "time/run1" makes the
// group "time"), the folder carries an underscore behind its name.
std::string folder_name(hid_t parent, const std::string& part) {
  return has_link(parent, part) && !is_group(parent, part) ? part + "_" : part;
}

Id link_list() {
  Id list(H5Pcreate(H5P_LINK_CREATE));
  return H5Pset_char_encoding(list.get(), H5T_CSET_UTF8) < 0 ? Id() : std::move(list);
}

Id start_of(hid_t parent, const std::string& path) {
  const bool absolute = !path.empty() && path.front() == '/';
  if (!absolute && H5Iget_type(parent) == H5I_GROUP) {
    return Id(H5Gopen2(parent, ".", H5P_DEFAULT));
  }
  return Id(H5Gopen2(parent, "/", H5P_DEFAULT));
}

}  // namespace

Id& Id::operator=(Id&& other) noexcept {
  std::swap(id, other.id);
  return *this;
}

hid_t Id::release() {
  return std::exchange(id, H5I_INVALID_HID);
}

int Id::close() {
  return id < 0 ? 0 : close_identifier(release());
}

// ---- paths ----

std::vector<std::string> parts_of(const std::string& path) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  while (start <= path.size()) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    const std::string part = path.substr(start, end - start);
    if (!part.empty() && part != ".") parts.push_back(part);
    start = end + 1;
  }
  return parts;
}

std::string own_name(hid_t object) {
  const std::vector<std::string> parts = parts_of(name_of(object));
  return parts.empty() ? "" : parts.back();
}

Id file_of(hid_t object) {
  return Id(H5Iget_file_id(object));
}

Id group_above(hid_t object) {
  const std::string name = name_of(object);
  const std::size_t slash = name.rfind('/');
  const std::string above = slash == std::string::npos || slash == 0 ? "/" : name.substr(0, slash);
  return Id(H5Gopen2(file_of(object).get(), above.c_str(), H5P_DEFAULT));
}

Id open_below(hid_t parent, const std::string& path) {
  std::vector<std::string> parts = parts_of(path);
  Id at = start_of(parent, path);
  for (std::size_t i = 0; i < parts.size() && at.good(); ++i) {
    if (H5Iget_type(at.get()) != H5I_GROUP) return Id();
    const bool last = i + 1 == parts.size();
    const std::string part = last ? parts[i] : folder_name(at.get(), parts[i]);
    at = has_link(at.get(), part) ? Id(H5Oopen(at.get(), part.c_str(), H5P_DEFAULT)) : Id();
  }
  return at;
}

bool exists_below(hid_t parent, const std::string& path) {
  return open_below(parent, path).good();
}

int set_group_form(hid_t list) {
  constexpr unsigned tracked = H5P_CRT_ORDER_TRACKED | H5P_CRT_ORDER_INDEXED;
  constexpr unsigned most_links = 200, fewest_links = 100;  // in the header; more go elsewhere
  constexpr unsigned usual_links = 48, usual_name = 24;
  const bool good = H5Pset_link_creation_order(list, tracked) >= 0 &&
                    H5Pset_attr_creation_order(list, tracked) >= 0 &&
                    H5Pset_link_phase_change(list, most_links, fewest_links) >= 0 &&
                    H5Pset_est_link_info(list, usual_links, usual_name) >= 0 &&
                    H5Pset_obj_track_times(list, false) >= 0;
  return good ? 0 : hyfs_io_error;
}

Id create_group(hid_t parent, const std::string& name) {
  const Id links = link_list();
  const Id group(H5Pcreate(H5P_GROUP_CREATE));
  if (!links.good() || !group.good() || set_group_form(group.get()) < 0) return Id();
  return Id(H5Gcreate2(parent, name.c_str(), links.get(), group.get(), H5P_DEFAULT));
}

int link_object(hid_t object, hid_t group, const std::string& name) {
  const Id links = link_list();
  return status_of(H5Olink(object, group, name.c_str(), links.get(), H5P_DEFAULT));
}

int place_below(hid_t parent, const std::string& path, Place& place) {
  std::vector<std::string> parts = parts_of(path);
  if (parts.empty()) return hyfs_dataset_invalid;
  place.name = parts.back();
  place.group = start_of(parent, path);
  parts.pop_back();
  for (const std::string& part : parts) {
    if (!place.group.good()) return hyfs_io_error;
    const std::string name = folder_name(place.group.get(), part);
    place.group = has_link(place.group.get(), name)
                      ? Id(H5Gopen2(place.group.get(), name.c_str(), H5P_DEFAULT))
                      : create_group(place.group.get(), name);
  }
  if (!place.group.good()) return hyfs_io_error;
  return has_link(place.group.get(), place.name) ? hyfs_dataset_invalid : 0;
}

// ---- datasets ----

int read_shape(hid_t dataset, Shape& shape) {
  const Id space(H5Dget_space(dataset));
  if (!space.good()) return hyfs_io_error;
  if (H5Sget_simple_extent_type(space.get()) == H5S_NULL) return hyfs_dataset_invalid;
  shape.rank = H5Sget_simple_extent_dims(space.get(), shape.size.data(), shape.max.data());
  return shape.rank < 0 ? hyfs_dataset_invalid : 0;
}

bool is_number(hid_t dataset) {
  const Id type(H5Dget_type(dataset));
  const H5T_class_t kind = type.good() ? H5Tget_class(type.get()) : H5T_NO_CLASS;
  return kind == H5T_INTEGER || kind == H5T_FLOAT;
}

bool plausible_count(hid_t dataset, hsize_t count) {
  if (count > static_cast<hsize_t>(std::numeric_limits<int>::max())) return false;
  // Deflate packs at best about 1000 to 1; a dataset never written takes no place at all, so that
  // moderate counts pass.
  constexpr hsize_t moderate = 1 << 23;
  constexpr hsize_t most_per_byte = 1024;
  if (count <= moderate) return true;
  hsize_t bytes = 0;
  return H5Fget_filesize(file_of(dataset).get(), &bytes) >= 0 && count / most_per_byte <= bytes;
}

Id create_dataset(hid_t group, const std::string& name, hid_t type,
                  const std::vector<hsize_t>& size, const std::vector<hsize_t>& max,
                  const Storage& storage) {
  const int rank = static_cast<int>(size.size());
  const Id space(rank == 0 ? H5Screate(H5S_SCALAR)
                           : H5Screate_simple(rank, size.data(), max.data()));
  const Id links = link_list();
  const Id list(H5Pcreate(H5P_DATASET_CREATE));
  const hid_t p = list.get();
  constexpr unsigned tracked = H5P_CRT_ORDER_TRACKED | H5P_CRT_ORDER_INDEXED;
  bool good = space.good() && links.good() && H5Pset_attr_creation_order(p, tracked) >= 0 &&
              H5Pset_obj_track_times(p, false) >= 0;
  if (good && !storage.chunk.empty()) {
    good = H5Pset_chunk(p, rank, storage.chunk.data()) >= 0 &&
           H5Pset_alloc_time(p, H5D_ALLOC_TIME_INCR) >= 0 &&
           H5Pset_fill_time(p, H5D_FILL_TIME_IFSET) >= 0;
    if (good && storage.compression >= 0) {
      good = H5Pset_shuffle(p) >= 0 &&
             H5Pset_deflate(p, static_cast<unsigned>(storage.compression)) >= 0;
    }
  }
  if (good && storage.filled) {
    good = H5Pset_fill_value(p, H5T_NATIVE_DOUBLE, &storage.fill) >= 0;
  }
  if (!good) return Id();
  if (name.empty()) return Id(H5Dcreate_anon(group, type, space.get(), p, H5P_DEFAULT));
  return Id(H5Dcreate2(group, name.c_str(), type, space.get(), links.get(), p, H5P_DEFAULT));
}

hsize_t length_of(hid_t dataset) {
  Shape shape;
  return read_shape(dataset, shape) < 0 || shape.rank < 1 ? 0 : shape.size[0];
}

int write_line(hid_t dataset, hid_t type, hsize_t start, hsize_t count, const void* values) {
  const hsize_t end = start + count;
  if (length_of(dataset) < end && H5Dset_extent(dataset, &end) < 0) return hyfs_io_error;
  if (count > 0) {
    const Id space(H5Dget_space(dataset));
    const Id memory(H5Screate_simple(1, &count, nullptr));
    if (H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, &start, nullptr, &count, nullptr) < 0 ||
        H5Dwrite(dataset, type, memory.get(), space.get(), H5P_DEFAULT, values) < 0) {
      return hyfs_io_error;
    }
  }
  return status_of(H5Dflush(dataset));
}

int read_doubles(hid_t dataset, hsize_t start, hsize_t count, double* values) {
  if (count == 0) return 0;
  const Id space(H5Dget_space(dataset));
  const Id memory(H5Screate_simple(1, &count, nullptr));
  if (H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, &start, nullptr, &count, nullptr) < 0) {
    return hyfs_io_error;
  }
  return status_of(
      H5Dread(dataset, H5T_NATIVE_DOUBLE, memory.get(), space.get(), H5P_DEFAULT, values));
}

int replace_file(const std::string& path, std::initializer_list<std::string_view> texts) {
  const std::string aside = path + ".part";
  std::FILE* file = std::fopen(aside.c_str(), "wb");
  if (file == nullptr) return hyfs_io_error;
  bool written = true;
  for (const std::string_view text : texts) {
    written = written && std::fwrite(text.data(), 1, text.size(), file) == text.size();
  }
  if (std::fclose(file) != 0 || !written || std::rename(aside.c_str(), path.c_str()) != 0) {
    std::remove(aside.c_str());
    return hyfs_io_error;
  }
  return 0;
}

}  // namespace dfl::hyfs
