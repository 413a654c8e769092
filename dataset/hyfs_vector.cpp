// Handles of vectors whose components are datasets of their own.

#include <utility>

#include "dataset/hyfs_internal.h"

namespace dfl::hyfs {

namespace {

// Names of the values in the list.
constexpr const char* count_value = "hyfs_count";
constexpr const char* marker_value = "hyfs_marker";
constexpr std::array<const char*, 3> component_values = {"hyfs_x", "hyfs_y", "hyfs_z"};

template <class T>
int put(hid_t list, const char* name, T value) {
  return status_of(H5Pinsert2(list, name, sizeof value, &value, nullptr, nullptr, nullptr, nullptr,
                              nullptr, nullptr));
}

}  // namespace

int make_vector_handle(std::vector<Id> components, Id marker, HyfsHandle& handle) {
  if (components.size() < 2 || components.size() > component_values.size()) {
    return hyfs_dataset_invalid;
  }
  for (const Id& component : components) {
    if (H5Iget_type(component.get()) != H5I_DATASET) return hyfs_group_type;
  }
  Id list(H5Pcreate(H5P_DATASET_XFER));
  int status = list.good() ? put(list.get(), count_value, components.size()) : hyfs_io_error;
  if (status >= 0) status = put(list.get(), marker_value, marker.get());
  for (std::size_t i = 0; i < components.size() && status >= 0; ++i) {
    status = put(list.get(), component_values[i], components[i].get());
  }
  if (status < 0) return status;
  for (Id& component : components) component.release();
  marker.release();
  handle = list.release();
  return 0;
}

bool is_vector_handle(HyfsHandle handle) {
  return H5Iget_type(handle) == H5I_GENPROP_LST && H5Pexist(handle, count_value) > 0;
}

int components_of(HyfsHandle handle, std::vector<hid_t>& datasets, hid_t& marker) {
  datasets.clear();
  marker = H5I_INVALID_HID;
  if (!is_vector_handle(handle)) {
    if (H5Iget_type(handle) != H5I_DATASET) return hyfs_group_type;
    datasets.push_back(handle);
    return 0;
  }
  std::size_t count = 0;
  if (H5Pget(handle, count_value, &count) < 0 || H5Pget(handle, marker_value, &marker) < 0) {
    return hyfs_io_error;
  }
  for (std::size_t i = 0; i < count; ++i) {
    hid_t component = H5I_INVALID_HID;
    if (H5Pget(handle, component_values[i], &component) < 0) return hyfs_io_error;
    if (H5Iis_valid(component) <= 0) return hyfs_io_error;  // closed with its file
    datasets.push_back(component);
  }
  return 0;
}

int close_vector_handle(HyfsHandle handle) {
  std::vector<hid_t> datasets;
  hid_t marker = H5I_INVALID_HID;
  int status = components_of(handle, datasets, marker);
  for (const hid_t dataset : datasets) {
    if (Id(dataset).close() < 0) status = hyfs_io_error;
  }
  if (marker >= 0 && Id(marker).close() < 0) status = hyfs_io_error;
  return H5Pclose(handle) < 0 ? hyfs_io_error : status;
}

}  // namespace dfl::hyfs
