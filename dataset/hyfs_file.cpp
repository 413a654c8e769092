// Files, groups and the calendar.

#include <algorithm>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <utility>

#include "control/settings.h"
#include "control/text_tools.h"
#include "dataset/hyfs_internal.h"

namespace dfl {

using namespace hyfs;

namespace {

constexpr hsize_t map_chunk = 65536;
constexpr hsize_t particle_chunk = 16384;
constexpr hsize_t least_chunk = 64;
constexpr hsize_t widest_chunk = 1 << 20;
// A chunk index node holds 2 k chunks, with k at most 32767.
constexpr hsize_t least_k = 32;
constexpr hsize_t most_k = 32767;

// No file locks (someone who looks at the result must not stop the run), and no format whose files
// carry a mark while they are open for writing: a run that is killed would leave the mark set.
Id access_list(bool read_only) {
  Id list(H5Pcreate(H5P_FILE_ACCESS));
  if (!list.good() || H5Pset_libver_bounds(list.get(), H5F_LIBVER_EARLIEST, H5F_LIBVER_V110) < 0 ||
      H5Pset_file_locking(list.get(), false, true) < 0 ||
      H5Pset_fclose_degree(list.get(), H5F_CLOSE_STRONG) < 0 ||
      (!read_only && use_ordered_driver(list.get()) < 0)) {
    return Id();
  }
  return list;
}

// Two drivers on one file would each write what the other does not know of.
bool open_for_writing(const std::string& path) {
  const ssize_t count = H5Fget_obj_count(H5F_OBJ_ALL, H5F_OBJ_FILE);
  if (count <= 0) return false;
  std::vector<hid_t> files(static_cast<std::size_t>(count));
  const ssize_t listed = H5Fget_obj_ids(H5F_OBJ_ALL, H5F_OBJ_FILE, files.size(), files.data());
  files.resize(static_cast<std::size_t>(std::max<ssize_t>(listed, 0)));
  return std::any_of(files.begin(), files.end(), [&path](hid_t file) {
    unsigned intent = H5F_ACC_RDONLY;
    const ssize_t length = H5Fget_name(file, nullptr, 0);
    if (length <= 0 || H5Fget_intent(file, &intent) < 0 || intent == H5F_ACC_RDONLY) return false;
    std::string name(static_cast<std::size_t>(length) + 1, '\0');
    H5Fget_name(file, name.data(), name.size());
    std::error_code error;
    return std::filesystem::equivalent(name.c_str(), path, error);
  });
}

hsize_t frames_times(std::int64_t frames, hsize_t chunks) {
  return static_cast<hsize_t>(std::clamp<std::int64_t>(frames, 1, 1000000000)) * chunks;
}

hsize_t chunks_of(std::int64_t values, hsize_t width) {
  return (static_cast<hsize_t>(std::max<std::int64_t>(values, 1)) + width - 1) / width;
}

// A chunk that is only partly filled takes its whole room, so that few parcels get a narrow one.
// With many frames of many values wider ones keep the index in one node.
hsize_t chunk_for(const HyfsFileInfo& info) {
  hsize_t width = info.kind == "particles" ? particle_chunk : map_chunk;
  if (info.expected_values > 1) {
    width = std::clamp(static_cast<hsize_t>(info.expected_values), least_chunk, width);
  }
  while (width < widest_chunk &&
         frames_times(info.expected_frames, chunks_of(info.expected_values, width)) > 2 * most_k) {
    width *= 2;
  }
  return width;
}

// The chunk index is made wide enough never to be split: a split touches nodes that hold earlier
// frames, and a run killed meanwhile would lose them.
unsigned index_k(const HyfsFileInfo& info, hsize_t width) {
  constexpr hsize_t spare = 8;
  const hsize_t chunks =
      frames_times(info.expected_frames, chunks_of(info.expected_values, width)) + spare;
  return static_cast<unsigned>(std::clamp((chunks + 1) / 2, least_k, most_k));
}

Id creation_list(const HyfsFileInfo& info, hsize_t width) {
  Id list(H5Pcreate(H5P_FILE_CREATE));
  if (!list.good() || H5Pset_istore_k(list.get(), index_k(info, width)) < 0 ||
      set_group_form(list.get()) < 0) {
    return Id();
  }
  return list;
}

std::string default_title(const std::string& kind) {
  if (kind == "maps") return std::string(program_name) + " maps";
  if (kind == "particles") return std::string(program_name) + " parcels";
  return std::string(program_name) + " data";
}

std::string history() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  std::array<char, 40> date;
  std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return std::string(date.data()) + " created by " + program_name + " " + program_version;
}

int write_head(hid_t file, const HyfsFileInfo& info, hsize_t width) {
  const std::string title = info.title.empty() ? default_title(info.kind) : info.title;
  const std::string source = std::string(program_name) + " " + program_version;
  const std::pair<const char*, std::string> texts[] = {
      {"Conventions", "CF-1.8 UGRID-1.0"},
      {"title", title},
      {"source", source},
      {"history", history()},
      {"hyfs_version", "1.0"},
      {"hyfs_kind", info.kind},
      {"featureType", info.kind == "particles" ? "trajectory" : ""},
  };
  for (const auto& [name, text] : texts) {
    if (const int status = write_text(file, name, text); status < 0) return status;
  }
  const int status = write_number(file, "hyfs_chunk", static_cast<int>(width));
  if (status < 0 || (info.kind == "data" && info.start_date.empty())) return status;
  const std::string since = info.start_date.empty() ? "1950-01-01 00:00:00" : info.start_date;
  Id times = create_time_scale(file, "time", "seconds since " + since);
  return times.good() ? times.close() : hyfs_io_error;
}

herr_t seek_scale(hid_t root, const char* name, const H5O_info_t* facts, void* found) {
  if (facts->type != H5O_TYPE_DATASET) return 0;
  const Id object(H5Oopen(root, name, H5P_DEFAULT));
  if (!object.good() || !is_scale(object.get())) return 0;
  *static_cast<bool*>(found) = true;
  return 1;
}

// Ours, or any NetCDF-4 file.
bool is_hyfs(hid_t file) {
  const Id root(H5Gopen2(file, "/", H5P_DEFAULT));
  if (!root.good()) return false;
  for (const char* name : {"hyfs_version", "_NCProperties", "Conventions"}) {
    if (has_attribute(root.get(), name)) return true;
  }
  bool found = false;
  H5Ovisit2(root.get(), H5_INDEX_NAME, H5_ITER_NATIVE, seek_scale, &found, H5O_INFO_BASIC);
  return found;
}

std::string without_blanks(std::string text) {
  text.erase(0, std::min(text.find_first_not_of(' '), text.size()));
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

// "u-vel,v-vel": two or three datasets as one vector. Names behind the first stand beside it
// unless their own path leads somewhere.
int open_list(hid_t parent, const std::string& path, HyfsHandle& handle) {
  std::vector<Id> components;
  std::string folder;
  for (std::size_t start = 0; start <= path.size();) {
    const std::size_t end = std::min(path.find(',', start), path.size());
    const std::string name = without_blanks(path.substr(start, end - start));
    Id component = open_below(parent, name);
    if (!component.good()) component = open_below(parent, folder + name);
    if (!component.good()) return hyfs_does_not_exist;
    if (components.empty()) folder = name.substr(0, name.rfind('/') + 1);
    components.push_back(std::move(component));
    start = end + 1;
  }
  return make_vector_handle(std::move(components), Id(), handle);
}

// The components stand beside their marker under its name with an ending; a marker made elsewhere
// may name others.
int open_marker(Id marker, HyfsHandle& handle) {
  const std::string name = own_name(marker.get());
  const Id group = group_above(marker.get());
  std::vector<Id> components;
  for (const char* ending : {"_x", "_y", "_z"}) {
    Id component = open_below(group.get(), name + ending);
    if (component.good()) components.push_back(std::move(component));
  }
  if (components.size() >= 2) {
    return make_vector_handle(std::move(components), std::move(marker), handle);
  }
  std::string names;
  if (read_text(marker.get(), "hyfs_components", names) < 0) return hyfs_does_not_exist;
  std::replace(names.begin(), names.end(), ' ', ',');
  return open_list(group.get(), names, handle);
}

}  // namespace

int hfpinitialize_f() {
  // Before all else: the library's own leaving would retry a write that failed.
  H5dont_atexit();
  if (H5open() < 0) return hyfs_io_error;
  return status_of(H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr));
}

int hfopenfile_f(const std::string& path, bool read_only, HyfsHandle& file) {
  file = 0;
  if (const int status = hfpinitialize_f(); status < 0) return status;
  const std::string name = found_path(path);
  // A pipe would be waited for without end.
  if (std::error_code error; !std::filesystem::is_regular_file(name, error)) return hyfs_io_error;
  if (H5Fis_hdf5(name.c_str()) == 0) return hyfs_not_hdf5;
  if (!read_only && open_for_writing(name)) return hyfs_io_error;
  const Id list = access_list(read_only);
  Id opened(H5Fopen(name.c_str(), read_only ? H5F_ACC_RDONLY : H5F_ACC_RDWR, list.get()));
  if (!opened.good()) return hyfs_io_error;
  if (!is_hyfs(opened.get())) return hyfs_not_hyfs;
  file = opened.release();
  return 0;
}

int hfcreatefile_f(const std::string& path, bool overwrite, const HyfsFileInfo& info,
                   HyfsHandle& file) {
  file = 0;
  if (const int status = hfpinitialize_f(); status < 0) return status;
  const hsize_t width = chunk_for(info);
  const Id access = access_list(false);
  const Id creation = creation_list(info, width);
  if (!access.good() || !creation.good() || open_for_writing(path)) return hyfs_io_error;
  const unsigned flags = overwrite ? H5F_ACC_TRUNC : H5F_ACC_EXCL;
  Id created(H5Fcreate(path.c_str(), flags, creation.get(), access.get()));
  if (!created.good() && path.find('\\') != std::string::npos) {
    std::string turned = path;
    std::replace(turned.begin(), turned.end(), '\\', '/');
    created = Id(H5Fcreate(turned.c_str(), flags, creation.get(), access.get()));
  }
  if (!created.good()) return hyfs_io_error;
  if (const int status = write_head(created.get(), info, width); status < 0) return status;
  file = created.release();
  return 0;
}

int hfclosefile_f(HyfsHandle file) {
  if (H5Iget_type(file) != H5I_FILE) return hyfs_group_type;
  unsigned intent = H5F_ACC_RDONLY;
  if (H5Fget_intent(file, &intent) < 0) return hyfs_io_error;
  if (intent != H5F_ACC_RDONLY && H5Fflush(file, H5F_SCOPE_LOCAL) < 0) return hyfs_io_error;
  return status_of(H5Fclose(file));
}

int hfopengroup_f(HyfsHandle parent, const std::string& path, HyfsHandle& group) {
  group = 0;
  const H5I_type_t kind = H5Iget_type(parent);
  if (kind != H5I_FILE && kind != H5I_GROUP) return hyfs_group_type;
  Id object = open_below(parent, path);
  if (!object.good()) {
    const bool list = path.find(',') != std::string::npos;
    return list ? open_list(parent, path, group) : hyfs_does_not_exist;
  }
  if (parts_of(path).empty()) return hyfs_does_not_exist;
  const H5I_type_t found = H5Iget_type(object.get());
  if (found != H5I_GROUP && found != H5I_DATASET) return hyfs_group_type;
  if (found == H5I_GROUP && type_of(object.get()) == vector_type) {
    return open_marker(std::move(object), group);
  }
  group = object.release();
  return 0;
}

int hfclosegroup_f(HyfsHandle group) {
  if (is_vector_handle(group)) return close_vector_handle(group);
  const H5I_type_t kind = H5Iget_type(group);
  if (kind != H5I_GROUP && kind != H5I_DATASET) return hyfs_group_type;
  return Id(group).close();
}

hsize_t hyfs::chunk_width(hid_t file) {
  const Id root(H5Gopen2(file, "/", H5P_DEFAULT));
  std::vector<double> width;
  if (read_numbers(root.get(), "hyfs_chunk", width) < 0 || !(width[0] >= 1.0) ||
      !(width[0] <= static_cast<double>(widest_chunk))) {
    return particle_chunk;
  }
  return static_cast<hsize_t>(width[0]);
}

}  // namespace dfl
