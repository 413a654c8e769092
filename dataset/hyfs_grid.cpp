// Grids and properties.

#include <cmath>
#include <limits>
#include <utility>

#include "dataset/hyfs_internal.h"

namespace dfl {

using namespace hyfs;

namespace {

constexpr int grid_type_invalid = -4601;
constexpr int grid_num_dims = -4602;
constexpr int grid_extrude_type_invalid = -4603;
constexpr int grid_numvals_incorrect = -4604;

constexpr const char* property_folder = "PROPERTIES";

bool holds_properties(hid_t object) {
  const H5I_type_t kind = H5Iget_type(object);
  return kind == H5I_FILE || kind == H5I_GROUP || kind == H5I_DATASET;
}

// ---- reading properties ----

// Where a property stands: a dataset of the group, one of its folder of properties, or an
// attribute.
struct Property {
  Id dataset, attribute;
  hsize_t count = 0;
};

int open_property_dataset(Property& property) {
  const hid_t dataset = property.dataset.get();
  Shape shape;
  if (const int status = read_shape(dataset, shape); status < 0) return status;
  if (!is_number(dataset)) return hyfs_incorrect_datatype;
  property.count = 1;
  for (int axis = 0; axis < shape.rank; ++axis) {
    const hsize_t size = shape.size[static_cast<std::size_t>(axis)];
    const hsize_t room = std::numeric_limits<int>::max() / std::max<hsize_t>(property.count, 1);
    if (size > room) return hyfs_size_incorrect;
    property.count *= size;
  }
  return plausible_count(dataset, property.count) ? 0 : hyfs_size_incorrect;
}

int open_property_attribute(hid_t group, const std::string& name, Property& property) {
  property.attribute = Id(H5Aopen(group, name.c_str(), H5P_DEFAULT));
  if (!property.attribute.good()) return hyfs_io_error;
  const Id type(H5Aget_type(property.attribute.get()));
  const Id space(H5Aget_space(property.attribute.get()));
  const H5T_class_t kind = H5Tget_class(type.get());
  if (kind != H5T_INTEGER && kind != H5T_FLOAT) return hyfs_attribute_not_supported;
  const hssize_t count = H5Sget_simple_extent_npoints(space.get());
  constexpr hssize_t most = 1 << 20;
  if (count < 1 || count > most) return hyfs_attribute_not_supported;
  property.count = static_cast<hsize_t>(count);
  return 0;
}

int open_property(hid_t group, const std::string& name, Property& property) {
  if (!holds_properties(group)) return hyfs_group_type;
  if (name.empty()) return hyfs_does_not_exist;
  if (H5Iget_type(group) != H5I_DATASET) {
    for (const std::string& path : {name, property_folder + ("/" + name)}) {
      property.dataset = open_below(group, path);
      if (property.dataset.good() && H5Iget_type(property.dataset.get()) == H5I_DATASET) {
        return open_property_dataset(property);
      }
    }
  }
  property.dataset = Id();
  if (!has_attribute(group, name.c_str())) return hyfs_does_not_exist;
  return open_property_attribute(group, name, property);
}

int read_property(const Property& property, hid_t type, void* values) {
  if (property.count == 0) return 0;
  if (property.attribute.good()) {
    return status_of(H5Aread(property.attribute.get(), type, values));
  }
  return status_of(H5Dread(property.dataset.get(), type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values));
}

int read_property_as_double(hid_t group, const std::string& name, std::vector<double>& values) {
  values.clear();
  Property property;
  if (const int status = open_property(group, name, property); status < 0) return status;
  values.resize(static_cast<std::size_t>(property.count));
  return read_property(property, H5T_NATIVE_DOUBLE, values.data());
}

// ---- grids ----

int read_grid_numbers(hid_t grid, const char* name, std::size_t count,
                      std::vector<double>& values) {
  if (H5Iget_type(grid) != H5I_GROUP) return hyfs_group_type;
  const std::string type = type_of(grid);
  if (!type.empty() && type != grid_type) return hyfs_group_type;
  const int status = read_numbers(grid, name, values);
  if (status < 0) return status;
  return values.size() == count ? 0 : grid_type_invalid;
}

int read_cells(hid_t grid, std::size_t axis, int& cells) {
  cells = 0;
  std::vector<double> sizes;
  const int status = read_grid_numbers(grid, "dimensions", 3, sizes);
  if (status == hyfs_does_not_exist || status == grid_type_invalid) {
    return type_of(grid) == grid_type ? grid_num_dims : grid_type_invalid;
  }
  if (status < 0) return status;
  const bool good = sizes[axis] >= 1.0 && sizes[axis] <= std::numeric_limits<int>::max() &&
                    sizes[axis] == std::floor(sizes[axis]);
  if (!good) return axis == 2 ? grid_extrude_type_invalid : grid_num_dims;
  cells = static_cast<int>(sizes[axis]);
  return 0;
}

int read_coordinates(hid_t grid, std::size_t axis, std::vector<double>& coordinates) {
  constexpr std::array<const char*, 3> names = {"coords_i", "coords_j", "coords_k"};
  coordinates.clear();
  int cells = 0;
  if (const int status = read_cells(grid, axis, cells); status < 0) return status;
  const int status = read_property_as_double(grid, names[axis], coordinates);
  if (status < 0) return status;
  return coordinates.size() == static_cast<std::size_t>(cells) ? 0 : grid_numvals_incorrect;
}

// ---- writing ----

// A property of a grid goes into its folder of properties, any other beside the datasets of its
// group. One that is there already is replaced.
int write_property(HyfsHandle group, const std::string& name, hid_t file_type, hid_t memory_type,
                   std::size_t count, const void* values) {
  const H5I_type_t kind = H5Iget_type(group);
  if (kind != H5I_FILE && kind != H5I_GROUP) return hyfs_group_type;
  if (count == 0) return hyfs_size_incorrect;
  const bool grid = type_of(group) == grid_type;
  const std::string path = grid ? property_folder + ("/" + name) : name;
  const Id there = open_below(group, path);
  if (there.good()) {
    if (H5Iget_type(there.get()) != H5I_DATASET) return hyfs_dataset_invalid;
    const Id above = group_above(there.get());
    const std::string own = own_name(there.get());
    if (H5Ldelete(above.get(), own.c_str(), H5P_DEFAULT) < 0) return hyfs_io_error;
  }
  Place place;
  if (const int status = place_below(group, path, place); status < 0) return status;
  const hsize_t size = count;
  Id dataset = create_dataset(place.group.get(), place.name, file_type, {size}, {size}, Storage());
  if (!dataset.good()) return hyfs_io_error;
  if (H5Dwrite(dataset.get(), memory_type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values) < 0 ||
      H5Dflush(dataset.get()) < 0) {
    return hyfs_io_error;
  }
  return dataset.close();
}

int write_coordinates(hid_t grid, const char* name, const std::vector<double>& values) {
  if (values.empty()) return 0;
  const hsize_t size = values.size();
  Id dataset = create_dataset(grid, name, H5T_IEEE_F64LE, {size}, {size}, Storage());
  if (!dataset.good()) return hyfs_io_error;
  if (H5Dwrite(dataset.get(), H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data()) <
      0) {
    return hyfs_io_error;
  }
  return dataset.close();
}

}  // namespace

// ---- properties ----

int hfgetpropertynumber_f(HyfsHandle group, const std::string& name, int& number) {
  number = 0;
  Property property;
  if (const int status = open_property(group, name, property); status < 0) return status;
  number = static_cast<int>(property.count);
  return 0;
}

int hfreadpropertyint_f(HyfsHandle group, const std::string& name, std::vector<int>& values) {
  values.clear();
  std::vector<double> numbers;
  const int status = read_property_as_double(group, name, numbers);
  if (status < 0) return status;
  // All 4-byte integers are exact in 8-byte reals; what is not one of them would be changed.
  for (const double number : numbers) {
    const bool exact = number >= std::numeric_limits<int>::min() &&
                       number <= std::numeric_limits<int>::max() && number == std::floor(number);
    if (!exact) return hyfs_incorrect_datatype;
  }
  values.reserve(numbers.size());
  for (const double number : numbers) values.push_back(static_cast<int>(number));
  return 0;
}

int hfreadpropertyfloat_f(HyfsHandle group, const std::string& name, std::vector<float>& values) {
  values.clear();
  std::vector<double> numbers;
  const int status = read_property_as_double(group, name, numbers);
  if (status < 0) return status;
  // Rounding to 4 bytes is what the caller asks for; a number beyond their range is none of them.
  constexpr double most = static_cast<double>(std::numeric_limits<float>::max());
  for (const double number : numbers) {
    if (std::isfinite(number) && std::abs(number) > most) return hyfs_incorrect_datatype;
  }
  values.reserve(numbers.size());
  for (const double number : numbers) values.push_back(static_cast<float>(number));
  return 0;
}

int hfreadpropertydouble_f(HyfsHandle group, const std::string& name, std::vector<double>& values) {
  return read_property_as_double(group, name, values);
}

int hfwritepropertyint_f(HyfsHandle group, const std::string& name,
                         const std::vector<int>& values) {
  return write_property(group, name, H5T_STD_I32LE, H5T_NATIVE_INT, values.size(), values.data());
}

int hfwritepropertyfloat_f(HyfsHandle group, const std::string& name,
                           const std::vector<float>& values) {
  return write_property(group, name, H5T_IEEE_F32LE, H5T_NATIVE_FLOAT, values.size(),
                        values.data());
}

int hfwritepropertydouble_f(HyfsHandle group, const std::string& name,
                            const std::vector<double>& values) {
  return write_property(group, name, H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, values.size(),
                        values.data());
}

// ---- grids ----

int hfgetorigin_f(HyfsHandle grid, double& x, double& y, double& z) {
  x = y = z = 0.0;
  std::vector<double> origin;
  const int status = read_grid_numbers(grid, "origin", 3, origin);
  if (status < 0) return status;
  x = origin[0];
  y = origin[1];
  z = origin[2];
  return 0;
}

int hfgetbearing_f(HyfsHandle grid, double& degrees) {
  degrees = 0.0;
  std::vector<double> bearing;
  const int status = read_grid_numbers(grid, "bearing", 1, bearing);
  if (status >= 0) degrees = bearing[0];
  return status;
}

int hfgetnumbercellsini_f(HyfsHandle grid, int& cells) {
  return read_cells(grid, 0, cells);
}
int hfgetnumbercellsinj_f(HyfsHandle grid, int& cells) {
  return read_cells(grid, 1, cells);
}
int hfgetnumbercellsink_f(HyfsHandle grid, int& cells) {
  return read_cells(grid, 2, cells);
}

int hfgetgridcoordsi_f(HyfsHandle grid, std::vector<double>& coordinates) {
  return read_coordinates(grid, 0, coordinates);
}
int hfgetgridcoordsj_f(HyfsHandle grid, std::vector<double>& coordinates) {
  return read_coordinates(grid, 1, coordinates);
}
int hfgetgridcoordsk_f(HyfsHandle grid, std::vector<double>& coordinates) {
  return read_coordinates(grid, 2, coordinates);
}

int hfcreategrid_f(HyfsHandle parent, const std::string& path, const HyfsGrid& grid) {
  const H5I_type_t kind = H5Iget_type(parent);
  if (kind != H5I_FILE && kind != H5I_GROUP) return hyfs_group_type;
  if (grid.i.empty() || grid.j.empty()) return grid_num_dims;
  Place place;
  if (const int status = place_below(parent, path, place); status < 0) return status;
  Id group = create_group(place.group.get(), place.name);
  if (!group.good()) return hyfs_io_error;
  const std::vector<double> origin(grid.origin.begin(), grid.origin.end());
  const std::vector<int> sizes = {static_cast<int>(grid.i.size()), static_cast<int>(grid.j.size()),
                                  static_cast<int>(grid.k.size())};
  int status = write_text(group.get(), "hyfs_type", grid_type);
  if (status >= 0) status = write_numbers(group.get(), "origin", origin);
  if (status >= 0) status = write_number(group.get(), "bearing", grid.bearing);
  if (status >= 0) status = write_numbers(group.get(), "dimensions", sizes);
  if (status >= 0) status = write_coordinates(group.get(), "coords_i", grid.i);
  if (status >= 0) status = write_coordinates(group.get(), "coords_j", grid.j);
  if (status >= 0) status = write_coordinates(group.get(), "coords_k", grid.k);
  return status < 0 ? status : group.close();
}

}  // namespace dfl
