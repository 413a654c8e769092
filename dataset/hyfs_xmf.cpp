// Sidecars that show a HYFS file to ParaView's XDMF reader. They hold a piece for every frame, with
// the size that the datasets had when it was written: the reader takes its part of a dataset that
// has grown since, and a piece once made stays as it is.

#include <array>
#include <charconv>
#include <utility>

#include "control/text_tools.h"
#include "dataset/hyfs_internal.h"

namespace dfl {

using namespace hyfs;

namespace {

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string shortest(double value) {
  std::array<char, 40> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  return std::string(digits.data(), end);
}

std::string with_ending(const std::string& path, const std::string& ending) {
  const std::string old = ".h5";
  const bool ends = path.size() >= old.size() && path.ends_with(old);
  return (ends ? path.substr(0, path.size() - old.size()) : path) + ending;
}

// A dataset as it is shown.
struct Field {
  std::string name, path;
  Shape shape;
};

struct Visit {
  std::vector<std::string> paths;
};

herr_t note_path(hid_t, const char* path, const H5L_info_t*, void* data) {
  static_cast<Visit*>(data)->paths.emplace_back(path);
  return 0;
}

std::vector<std::string> paths_below(hid_t group) {
  Visit visit;
  if (H5Lvisit(group, H5_INDEX_NAME, H5_ITER_INC, note_path, &visit) < 0) return {};
  return visit.paths;
}

// What both kinds of sidecar are made from.
struct Sidecar {
  Id file, root;
  std::string data_file;  // as named inside the sidecar, which stands beside it
  hsize_t frames = 0;
  std::vector<double> times;  // of the frames that are not kept
};

// `kept` is emptied if it is of another file.
int open_sidecar(const std::string& hyfs_path, HyfsSidecar& kept, Sidecar& sidecar) {
  HyfsHandle file = 0;
  if (const int status = hfopenfile_f(hyfs_path, true, file); status < 0) return status;
  sidecar.file = Id(file);
  sidecar.root = Id(H5Gopen2(file, "/", H5P_DEFAULT));
  sidecar.data_file = escaped(base_name(hyfs_path));
  const Id times = open_below(file, "time");
  if (!times.good() || H5Iget_type(times.get()) != H5I_DATASET) return hyfs_does_not_exist;
  sidecar.frames = length_of(times.get());
  if (!plausible_count(times.get(), sidecar.frames)) return hyfs_size_incorrect;
  if (kept.frames > sidecar.frames) kept = HyfsSidecar();
  const hsize_t first = kept.frames, count = sidecar.frames - first;
  sidecar.times.resize(static_cast<std::size_t>(count));
  return read_doubles(times.get(), first, count, sidecar.times.data());
}

int finish_sidecar(const std::string& hyfs_path, const HyfsSidecar& kept) {
  constexpr std::string_view head =
      "<?xml version=\"1.0\" ?>\n<!DOCTYPE Xdmf SYSTEM \"Xdmf.dtd\" []>\n"
      "<Xdmf Version=\"2.0\" xmlns:xi=\"http://www.w3.org/2001/XInclude\">\n<Domain>\n"
      "<Grid Name=\"frames\" GridType=\"Collection\" CollectionType=\"Temporal\">\n";
  constexpr std::string_view end = "</Grid>\n</Domain>\n</Xdmf>\n";
  return replace_file(with_ending(found_path(hyfs_path), ".xmf"), {head, kept.text, end});
}

std::string heavy(const Sidecar& sidecar, const std::string& path, const std::string& dimensions,
                  const char* type, int precision) {
  return std::string("<DataItem Format=\"HDF\" NumberType=\"") + type + "\" Precision=\"" +
         std::to_string(precision) + "\" Dimensions=\"" + dimensions + "\">" + sidecar.data_file +
         ":" + escaped(path) + "</DataItem>";
}

// Values 0 to n - 1 of frame k, the last one of n values a frame.
std::string slab(const Sidecar& sidecar, const Field& field, std::size_t k, hsize_t n,
                 int precision) {
  const std::string count = std::to_string(n);
  const std::string full = std::to_string(k + 1) + " " + count;
  return "<DataItem ItemType=\"HyperSlab\" Dimensions=\"" + count +
         "\" Type=\"HyperSlab\"><DataItem Dimensions=\"3 2\" Format=\"XML\">" + std::to_string(k) +
         " 0 1 1 1 " + count + "</DataItem>" +
         heavy(sidecar, field.path, full, "Float", precision) + "</DataItem>";
}

std::string attribute(const std::string& name, const char* type, const std::string& items) {
  return "<Attribute Name=\"" + escaped(name) + "\" AttributeType=\"" + type +
         "\" Center=\"Node\">" + items + "</Attribute>\n";
}

bool has_frame(const Field& field, std::size_t k) {
  return static_cast<hsize_t>(k) < field.shape.size[0];
}

bool on_file_time(hid_t file, hid_t dataset) {
  const Id scale = scale_of(dataset, 0);
  const Id times = open_below(file, "/time");
  if (!scale.good() || !times.good()) return false;
  H5O_info_t a, b;
  return H5Oget_info2(scale.get(), &a, H5O_INFO_BASIC) >= 0 &&
         H5Oget_info2(times.get(), &b, H5O_INFO_BASIC) >= 0 && a.addr == b.addr;
}

// A scalar dataset over time with `values` values a frame (any number if 0).
bool read_field(const Sidecar& sidecar, hid_t object, hsize_t values, Shape& shape) {
  return object >= 0 && H5Iget_type(object) == H5I_DATASET && type_of(object) == scalar_type &&
         read_shape(object, shape) >= 0 && shape.rank == 2 &&
         (values == 0 || shape.size[1] == values) && on_file_time(sidecar.file.get(), object);
}

// ---- maps ----

struct MapFields {
  std::vector<Field> scalars;
  std::vector<std::pair<std::string, std::array<Field, 2>>> vectors;
};

MapFields find_map_fields(const Sidecar& sidecar, hsize_t nodes) {
  MapFields fields;
  const hid_t root = sidecar.root.get();
  const std::vector<std::string> paths = paths_below(root);
  std::vector<std::string> components;
  for (const std::string& path : paths) {
    const Id marker = open_below(root, path);
    if (H5Iget_type(marker.get()) != H5I_GROUP || type_of(marker.get()) != vector_type) continue;
    std::array<Field, 2> pair;
    bool good = true;
    for (std::size_t c = 0; c < 2; ++c) {
      pair[c].path = "/" + path + (c == 0 ? "_x" : "_y");
      const Id component = open_below(root, pair[c].path);
      good = good && read_field(sidecar, component.get(), nodes, pair[c].shape);
      components.push_back(pair[c].path);
    }
    if (good) fields.vectors.emplace_back(path, pair);
  }
  for (const std::string& path : paths) {
    Field field{path, "/" + path, {}};
    const Id object = open_below(root, path);
    bool component = false;
    for (const std::string& name : components) component = component || name == field.path;
    if (!component && read_field(sidecar, object.get(), nodes, field.shape)) {
      fields.scalars.push_back(field);
    }
  }
  return fields;
}

// The mesh is drawn at the level of its bed: drawn at 0 it would hide parcels under water.
std::string map_geometry(const Sidecar& sidecar, hsize_t nodes, hsize_t faces) {
  const std::string n = std::to_string(nodes);
  const std::string e = std::to_string(faces);
  return "<Topology TopologyType=\"Triangle\" NumberOfElements=\"" + e + "\">" +
         heavy(sidecar, "/mesh_face_nodes", e + " 3", "Int", 4) + "</Topology>\n" +
         "<Geometry GeometryType=\"X_Y_Z\">" + heavy(sidecar, "/mesh_node_x", n, "Float", 8) +
         heavy(sidecar, "/mesh_node_y", n, "Float", 8) +
         heavy(sidecar, "/mesh_node_z", n, "Float", 4) + "</Geometry>\n";
}

// ParaView has no vectors of two components.
std::string map_vector(const Sidecar& sidecar, const std::array<Field, 2>& pair, std::size_t k,
                       hsize_t nodes) {
  const std::string n = std::to_string(nodes);
  const std::string x = slab(sidecar, pair[0], k, nodes, 4);
  return "<DataItem ItemType=\"Function\" Function=\"JOIN($0,$1,0*$0)\" Dimensions=\"" + n +
         " 3\">" + x + slab(sidecar, pair[1], k, nodes, 4) + "</DataItem>";
}

// ---- particles ----

struct ParticleFields {
  std::vector<int> born;  // parcels of each frame
  std::array<Field, 3> positions;
  std::vector<Field> scalars, constants;
};

// A variable of the root goes by its short name; the path of the group may hold signs that an XDMF
// reader takes for its own.
std::string shown_path(hid_t root, const std::string& group, const std::string& name) {
  return exists_below(root, name) ? "/" + name : "/" + group + "/" + name;
}

std::string find_particle_group(hid_t root) {
  for (const std::string& path : paths_below(root)) {
    const Id object = open_below(root, path);
    if (H5Iget_type(object.get()) == H5I_GROUP && type_of(object.get()) == particle_type) {
      return path;
    }
  }
  return "";
}

int read_born(const Sidecar& sidecar, std::vector<int>& born) {
  const Id counts = open_below(sidecar.root.get(), "parcels");
  if (!counts.good() || H5Iget_type(counts.get()) != H5I_DATASET) return hyfs_does_not_exist;
  const hsize_t length = length_of(counts.get());
  if (!plausible_count(counts.get(), length)) return hyfs_size_incorrect;
  born.resize(static_cast<std::size_t>(length));
  if (born.empty()) return 0;
  return status_of(
      H5Dread(counts.get(), H5T_NATIVE_INT, H5S_ALL, H5S_ALL, H5P_DEFAULT, born.data()));
}

int find_particle_fields(const Sidecar& sidecar, ParticleFields& fields) {
  const hid_t root = sidecar.root.get();
  const std::string path = find_particle_group(root);
  if (path.empty()) return hyfs_does_not_exist;
  if (const int status = read_born(sidecar, fields.born); status < 0) return status;
  const Id group = open_below(root, path);
  constexpr std::array<const char*, 3> axes = {"x", "y", "z"};
  for (std::size_t c = 0; c < axes.size(); ++c) {
    const Id position = open_below(group.get(), axes[c]);
    Field& field = fields.positions[c];
    field = {axes[c], shown_path(root, path, axes[c]), {}};
    if (H5Iget_type(position.get()) != H5I_DATASET || read_shape(position.get(), field.shape) < 0 ||
        field.shape.rank != 2) {
      return hyfs_dataset_invalid;
    }
  }
  for (const std::string& name : paths_below(group.get())) {
    const Id object = open_below(group.get(), name);
    Field field{name, shown_path(root, path, name), {}};
    if (read_field(sidecar, object.get(), 0, field.shape)) {
      fields.scalars.push_back(field);
    } else if (H5Iget_type(object.get()) == H5I_DATASET && type_of(object.get()) == scalar_type &&
               field.shape.rank == 1) {
      fields.constants.push_back(field);
    }
  }
  return 0;
}

std::string constant_slab(const Sidecar& sidecar, const Field& field, hsize_t n) {
  const std::string count = std::to_string(n);
  return "<DataItem ItemType=\"HyperSlab\" Dimensions=\"" + count +
         "\" Type=\"HyperSlab\"><DataItem Dimensions=\"3 1\" Format=\"XML\">0 1 " + count +
         "</DataItem>" +
         heavy(sidecar, field.path, std::to_string(field.shape.size[0]), "Float", 4) +
         "</DataItem>";
}

std::string particle_frame(const Sidecar& sidecar, const ParticleFields& fields, std::size_t k,
                           double time, hsize_t n) {
  const std::string count = std::to_string(n);
  std::string text = "<Grid Name=\"parcels\" GridType=\"Uniform\"><Time Value=\"" + shortest(time) +
                     "\"/>\n<Topology TopologyType=\"Polyvertex\" " + "NumberOfElements=\"" +
                     count + "\" NodesPerElement=\"1\"/>\n<Geometry GeometryType=\"X_Y_Z\">";
  for (const Field& position : fields.positions) text += slab(sidecar, position, k, n, 8);
  text += "</Geometry>\n";
  for (const Field& field : fields.scalars) {
    if (!has_frame(field, k) || field.shape.size[1] < n) continue;
    text += attribute(field.name, "Scalar", slab(sidecar, field, k, n, 4));
  }
  for (const Field& field : fields.constants) {
    if (field.shape.size[0] < n) continue;
    text += attribute(field.name, "Scalar", constant_slab(sidecar, field, n));
  }
  return text + "</Grid>\n";
}

}  // namespace

int hfwritemapsxmf_f(const std::string& hyfs_path, HyfsSidecar& kept) {
  Sidecar sidecar;
  if (const int status = open_sidecar(hyfs_path, kept, sidecar); status < 0) return status;
  const Id node = open_below(sidecar.root.get(), "mesh_node_x");
  const Id face = open_below(sidecar.root.get(), "mesh_face_nodes");
  if (!node.good() || !face.good()) return hyfs_does_not_exist;
  const hsize_t nodes = length_of(node.get());
  const std::string geometry = map_geometry(sidecar, nodes, length_of(face.get()));
  const MapFields fields = find_map_fields(sidecar, nodes);
  for (const double time : sidecar.times) {
    const std::size_t k = kept.frames++;
    kept.text += "<Grid Name=\"mesh\" GridType=\"Uniform\"><Time Value=\"" + shortest(time) +
                 "\"/>\n" + geometry;
    for (const Field& field : fields.scalars) {
      if (!has_frame(field, k)) continue;
      kept.text += attribute(field.name, "Scalar", slab(sidecar, field, k, nodes, 4));
    }
    for (const auto& [name, pair] : fields.vectors) {
      if (!has_frame(pair[0], k) || !has_frame(pair[1], k)) continue;
      kept.text += attribute(name, "Vector", map_vector(sidecar, pair, k, nodes));
    }
    kept.text += "</Grid>\n";
  }
  return finish_sidecar(hyfs_path, kept);
}

int hfwriteparticlesxmf_f(const std::string& hyfs_path, HyfsSidecar& kept) {
  Sidecar sidecar;
  if (const int status = open_sidecar(hyfs_path, kept, sidecar); status < 0) return status;
  ParticleFields fields;
  if (const int status = find_particle_fields(sidecar, fields); status < 0) return status;
  for (const double time : sidecar.times) {
    const std::size_t k = kept.frames;
    if (k >= fields.born.size()) break;
    ++kept.frames;
    const hsize_t n = fields.born[k] < 0 ? 0 : static_cast<hsize_t>(fields.born[k]);
    bool whole = n > 0;
    for (const Field& position : fields.positions) {
      whole = whole && has_frame(position, k) && position.shape.size[1] >= n;
    }
    if (whole) kept.text += particle_frame(sidecar, fields, k, time, n);
  }
  return finish_sidecar(hyfs_path, kept);
}

int hfwritemapsxmf_f(const std::string& hyfs_path) {
  HyfsSidecar nothing;
  return hfwritemapsxmf_f(hyfs_path, nothing);
}

int hfwriteparticlesxmf_f(const std::string& hyfs_path) {
  HyfsSidecar nothing;
  return hfwriteparticlesxmf_f(hyfs_path, nothing);
}

}  // namespace dfl
