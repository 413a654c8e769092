// The UGRID mesh of a maps file and its coordinate reference system.

#include <utility>

#include "dataset/hyfs_internal.h"

namespace dfl {

using namespace hyfs;

namespace {

constexpr int element_num_incorrect = -4501;
constexpr int node_num_incorrect = -4502;
constexpr int mesh_incomplete = -4504;
constexpr int mesh_invalid = -4505;

constexpr const char* crs_name = "projected_coordinate_system";
constexpr const char* coordinate_names[] = {"mesh_node_x", "mesh_node_y"};

int check_mesh(const HyfsMesh& mesh) {
  const std::size_t nodes = mesh.x.size();
  if (nodes == 0 || mesh.faces.empty()) return mesh_incomplete;
  if (mesh.y.size() != nodes || mesh.bed.size() != nodes) return node_num_incorrect;
  if (mesh.faces.size() % 3 != 0) return element_num_incorrect;
  for (const int node : mesh.faces) {
    if (node < 1 || static_cast<std::size_t>(node) > nodes) return mesh_invalid;
  }
  return 0;
}

using Texts = std::vector<std::pair<const char*, std::string>>;

int write_texts(hid_t object, const Texts& texts) {
  for (const auto& [name, text] : texts) {
    if (const int status = write_text(object, name, text); status < 0) return status;
  }
  return 0;
}

int write_variable(hid_t root, const char* name, hid_t file_type, hid_t memory_type,
                   const std::vector<hid_t>& scales, const void* values, const Texts& texts) {
  std::vector<hsize_t> size;
  for (const hid_t scale : scales) size.push_back(length_of(scale));
  Id variable = create_dataset(root, name, file_type, size, size, Storage());
  if (!variable.good()) return hyfs_io_error;
  if (H5Dwrite(variable.get(), memory_type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values) < 0) {
    return hyfs_io_error;
  }
  if (const int status = write_texts(variable.get(), texts); status < 0) return status;
  if (const int status = attach_scales(variable.get(), scales); status < 0) return status;
  return variable.close();
}

Id dimension_of_length(hid_t root, const char* name, hsize_t length) {
  Id there = open_below(root, name);
  if (!there.good()) return create_dimension(root, name, length, false);
  return is_scale(there.get()) && length_of(there.get()) == length ? std::move(there) : Id();
}

int write_topology(hid_t root) {
  Id mesh = create_dataset(root, "mesh", H5T_STD_I32LE, {}, {}, Storage());
  if (!mesh.good()) return hyfs_io_error;
  const int value = 0;
  if (H5Dwrite(mesh.get(), H5T_NATIVE_INT, H5S_ALL, H5S_ALL, H5P_DEFAULT, &value) < 0) {
    return hyfs_io_error;
  }
  int status = write_texts(mesh.get(), {{"cf_role", "mesh_topology"},
                                        {"long_name", "triangular solution mesh"},
                                        {"node_coordinates", "mesh_node_x mesh_node_y"},
                                        {"face_node_connectivity", "mesh_face_nodes"},
                                        {"face_dimension", "mesh_face"}});
  if (status >= 0) status = write_number(mesh.get(), "topology_dimension", 2);
  return status < 0 ? status : mesh.close();
}

int write_nodes(hid_t root, const HyfsMesh& mesh, hid_t node) {
  const std::vector<hid_t> scales = {node};
  const bool crs = exists_below(root, crs_name);
  const double* coordinates[] = {mesh.x.data(), mesh.y.data()};
  for (std::size_t c = 0; c < 2; ++c) {
    const std::string axis = c == 0 ? "x" : "y";
    const Texts texts = {{"standard_name", "projection_" + axis + "_coordinate"},
                         {"long_name", axis + " of node"},
                         {"units", "m"},
                         {"mesh", "mesh"},
                         {"location", "node"},
                         {"grid_mapping", crs ? crs_name : ""}};
    const int status = write_variable(root, coordinate_names[c], H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE,
                                      scales, coordinates[c], texts);
    if (status < 0) return status;
  }
  const Texts texts = {{"standard_name", "altitude"},
                       {"long_name", "bed level"},
                       {"units", "m"},
                       {"positive", "up"},
                       {"mesh", "mesh"},
                       {"location", "node"}};
  return write_variable(root, "mesh_node_z", H5T_IEEE_F32LE, H5T_NATIVE_FLOAT, scales,
                        mesh.bed.data(), texts);
}

int write_faces(hid_t root, const HyfsMesh& mesh, hid_t face, hid_t corner) {
  std::vector<int> from_zero(mesh.faces);
  for (int& node : from_zero) --node;
  const int status =
      write_variable(root, "mesh_face_nodes", H5T_STD_I32LE, H5T_NATIVE_INT, {face, corner},
                     from_zero.data(), {{"cf_role", "face_node_connectivity"}});
  if (status < 0) return status;
  Id faces = open_below(root, "mesh_face_nodes");
  const int noted = write_number(faces.get(), "start_index", 0);
  return noted < 0 ? noted : faces.close();
}

// Zones of the universal transverse Mercator grid on the usual datums, and the plain geographic
// systems; of any other system only the number is known here.
std::string grid_mapping_name(int epsg) {
  struct Range {
    int first, last;
    const char* name;
  };
  constexpr Range ranges[] = {
      {32601, 32660, "transverse_mercator"}, {32701, 32760, "transverse_mercator"},
      {25828, 25838, "transverse_mercator"}, {23028, 23038, "transverse_mercator"},
      {26901, 26923, "transverse_mercator"}, {4326, 4326, "latitude_longitude"},
      {4258, 4258, "latitude_longitude"},    {4269, 4269, "latitude_longitude"},
  };
  for (const Range& range : ranges) {
    if (epsg >= range.first && epsg <= range.last) return range.name;
  }
  return "unknown";
}

}  // namespace

int hfwritemesh_f(HyfsHandle file, const HyfsMesh& mesh) {
  if (H5Iget_type(file) != H5I_FILE) return hyfs_group_type;
  if (const int status = check_mesh(mesh); status < 0) return status;
  const Id root(H5Gopen2(file, "/", H5P_DEFAULT));
  if (exists_below(root.get(), "mesh")) return hyfs_dataset_invalid;
  const Id node = dimension_of_length(root.get(), "mesh_node", mesh.x.size());
  const Id face = dimension_of_length(root.get(), "mesh_face", mesh.faces.size() / 3);
  const Id corner = dimension_of_length(root.get(), "mesh_max_face_nodes", 3);
  if (!node.good() || !face.good() || !corner.good()) return hyfs_size_incorrect;
  if (const int status = write_topology(root.get()); status < 0) return status;
  if (const int status = write_nodes(root.get(), mesh, node.get()); status < 0) return status;
  return write_faces(root.get(), mesh, face.get(), corner.get());
}

int hfwritecrs_f(HyfsHandle file, int epsg) {
  if (H5Iget_type(file) != H5I_FILE) return hyfs_group_type;
  if (epsg < 1) return hyfs_dataset_invalid;
  const Id root(H5Gopen2(file, "/", H5P_DEFAULT));
  if (exists_below(root.get(), crs_name)) return hyfs_dataset_invalid;
  Id crs = create_dataset(root.get(), crs_name, H5T_STD_I32LE, {}, {}, Storage());
  if (!crs.good()) return hyfs_io_error;
  if (H5Dwrite(crs.get(), H5T_NATIVE_INT, H5S_ALL, H5S_ALL, H5P_DEFAULT, &epsg) < 0) {
    return hyfs_io_error;
  }
  int status = write_number(crs.get(), "epsg", epsg);
  if (status >= 0) {
    status = write_texts(crs.get(), {{"EPSG_code", "EPSG:" + std::to_string(epsg)},
                                     {"grid_mapping_name", grid_mapping_name(epsg)}});
  }
  for (const char* name : coordinate_names) {
    Id coordinate = open_below(root.get(), name);
    if (!coordinate.good() || status < 0) continue;
    status = write_text(coordinate.get(), "grid_mapping", crs_name);
    if (status >= 0) status = coordinate.close();
  }
  return status < 0 ? status : crs.close();
}

}  // namespace dfl
