#include <algorithm>
#include <cctype>

#include "dataset/hyfs_internal.h"

namespace dfl::hyfs {

namespace {

// No attribute of ours comes near these; a damaged file may claim anything.
constexpr hssize_t most_elements = 65536;
constexpr std::size_t longest_text = 1 << 20;

Id text_type(const std::string& text) {
  Id type(H5Tcopy(H5T_C_S1));
  H5Tset_size(type.get(), text.size());
  H5Tset_strpad(type.get(), H5T_STR_NULLPAD);
  const bool ascii = std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 128; });
  H5Tset_cset(type.get(), ascii ? H5T_CSET_ASCII : H5T_CSET_UTF8);
  return type;
}

int write_attribute(hid_t object, const char* name, hid_t file_type, hid_t memory_type, hid_t space,
                    const void* values) {
  if (has_attribute(object, name) && H5Adelete(object, name) < 0) return hyfs_io_error;
  Id attribute(H5Acreate2(object, name, file_type, space, H5P_DEFAULT, H5P_DEFAULT));
  if (!attribute.good()) return hyfs_io_error;
  if (H5Awrite(attribute.get(), memory_type, values) < 0) return hyfs_io_error;
  return attribute.close();
}

int write_array(hid_t object, const char* name, hid_t file_type, hid_t memory_type,
                std::size_t count, const void* values) {
  const hsize_t size = count;
  const Id space(H5Screate_simple(1, &size, nullptr));
  return write_attribute(object, name, file_type, memory_type, space.get(), values);
}

int write_scalar(hid_t object, const char* name, hid_t file_type, hid_t memory_type,
                 const void* value) {
  const Id space(H5Screate(H5S_SCALAR));
  return write_attribute(object, name, file_type, memory_type, space.get(), value);
}

void cut_padding(std::string& text) {
  text.resize(std::min(text.size(), text.find('\0')));
  while (!text.empty() && text.back() == ' ') text.pop_back();
}

int read_variable_text(hid_t attribute, hid_t type, hid_t space, std::size_t count,
                       std::string& text) {
  std::vector<char*> pointers(count, nullptr);
  const Id memory(H5Tcopy(H5T_C_S1));
  H5Tset_size(memory.get(), H5T_VARIABLE);
  H5Tset_cset(memory.get(), H5Tget_cset(type));
  if (H5Aread(attribute, memory.get(), pointers.data()) < 0) return hyfs_io_error;
  if (pointers[0] != nullptr) text = pointers[0];
  H5Dvlen_reclaim(memory.get(), space, H5P_DEFAULT, pointers.data());
  return 0;
}

int read_fixed_text(hid_t attribute, hid_t type, std::size_t count, std::string& text) {
  const std::size_t size = H5Tget_size(type);
  if (size == 0 || size > longest_text / count) return hyfs_attribute_not_supported;
  std::string all(size * count, '\0');
  if (H5Aread(attribute, type, all.data()) < 0) return hyfs_io_error;
  text = all.substr(0, size);
  return 0;
}

// An attribute with its type and the number of its elements, none of which may be absurd.
struct Attribute {
  Id id, type, space;
  std::size_t count = 0;
};

int open_attribute(hid_t object, const char* name, Attribute& attribute) {
  if (!has_attribute(object, name)) return hyfs_does_not_exist;
  attribute.id = Id(H5Aopen(object, name, H5P_DEFAULT));
  if (!attribute.id.good()) return hyfs_io_error;
  attribute.type = Id(H5Aget_type(attribute.id.get()));
  attribute.space = Id(H5Aget_space(attribute.id.get()));
  if (!attribute.type.good() || !attribute.space.good()) return hyfs_io_error;
  const hssize_t count = H5Sget_simple_extent_npoints(attribute.space.get());
  if (count < 1 || count > most_elements) return hyfs_attribute_not_supported;
  attribute.count = static_cast<std::size_t>(count);
  return 0;
}

}  // namespace

bool has_attribute(hid_t object, const char* name) {
  return H5Aexists(object, name) > 0;
}

int write_text(hid_t object, const char* name, const std::string& text) {
  if (text.empty()) return 0;
  const Id type = text_type(text);
  return write_scalar(object, name, type.get(), type.get(), text.data());
}

int write_number(hid_t object, const char* name, int value) {
  return write_scalar(object, name, H5T_STD_I32LE, H5T_NATIVE_INT, &value);
}

int write_number(hid_t object, const char* name, double value) {
  return write_scalar(object, name, H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, &value);
}

int write_numbers(hid_t object, const char* name, const std::vector<int>& values) {
  return write_array(object, name, H5T_STD_I32LE, H5T_NATIVE_INT, values.size(), values.data());
}

int write_numbers(hid_t object, const char* name, const std::vector<double>& values) {
  return write_array(object, name, H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, values.size(), values.data());
}

int write_fill(hid_t object, double fill, hid_t type) {
  return write_array(object, "_FillValue", type, H5T_NATIVE_DOUBLE, 1, &fill);
}

int read_text(hid_t object, const char* name, std::string& text) {
  text.clear();
  Attribute attribute;
  if (const int status = open_attribute(object, name, attribute); status < 0) return status;
  const hid_t type = attribute.type.get();
  if (H5Tget_class(type) != H5T_STRING) return hyfs_attribute_not_supported;
  const int status = H5Tis_variable_str(type) > 0
                         ? read_variable_text(attribute.id.get(), type, attribute.space.get(),
                                              attribute.count, text)
                         : read_fixed_text(attribute.id.get(), type, attribute.count, text);
  cut_padding(text);
  return status;
}

int read_numbers(hid_t object, const char* name, std::vector<double>& values) {
  values.clear();
  Attribute attribute;
  if (const int status = open_attribute(object, name, attribute); status < 0) return status;
  const H5T_class_t kind = H5Tget_class(attribute.type.get());
  if (kind != H5T_INTEGER && kind != H5T_FLOAT) return hyfs_attribute_not_supported;
  values.resize(attribute.count);
  return status_of(H5Aread(attribute.id.get(), H5T_NATIVE_DOUBLE, values.data()));
}

std::string type_of(hid_t object) {
  std::string text;
  if (read_text(object, "hyfs_type", text) < 0) text.clear();
  return text;
}

}  // namespace dfl::hyfs
