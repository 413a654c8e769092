// What a file holds.

#include <algorithm>
#include <set>

#include "dataset/hyfs_internal.h"

namespace dfl {

using namespace hyfs;

namespace {

struct Walk {
  std::vector<HyfsObject> objects;
  std::set<std::string> components;  // paths of datasets that a vector shows already
};

// Components stand beside their marker.
void note_components(hid_t marker, const std::string& path, std::set<std::string>& components) {
  for (const char* ending : {"_x", "_y", "_z"}) components.insert(path + ending);
  std::string names;
  if (read_text(marker, "hyfs_components", names) < 0) return;
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  for (std::size_t start = 0; start < names.size();) {
    const std::size_t end = std::min(names.find(' ', start), names.size());
    if (end > start) components.insert(folder + names.substr(start, end - start));
    start = end + 1;
  }
}

HyfsKind kind_of_group(hid_t group) {
  const std::string type = type_of(group);
  if (type == vector_type) return HyfsKind::vector;
  if (type == particle_type) return HyfsKind::particle_set;
  const bool grid = type == grid_type || (type.empty() && has_attribute(group, "dimensions") &&
                                          has_attribute(group, "origin"));
  return grid ? HyfsKind::grid : HyfsKind::group;
}

HyfsKind kind_of_dataset(hid_t dataset) {
  if (is_scale(dataset)) return HyfsKind::axis;
  if (!is_number(dataset)) return HyfsKind::other;
  if (type_of(dataset) == scalar_type) return HyfsKind::series;
  // Numbers that lie at places of a grid or mesh.
  const bool placed = has_attribute(dataset, "hyfs_location") || has_attribute(dataset, "location");
  Shape shape;
  HyfsForm form;
  if (read_shape(dataset, shape) >= 0 && shape.rank == 0) return HyfsKind::property;
  // One that cannot be described is shown with the reason.
  if (hfgetdatasetform_f(dataset, form) < 0) return HyfsKind::series;
  return form.timed || placed || shape.rank > 1 ? HyfsKind::series : HyfsKind::property;
}

// Attributes of a group that a program asks for as properties; those of the layout are none.
struct AttributeWalk {
  Walk& walk;
  std::string folder;
};

herr_t visit_attribute(hid_t group, const char* name, const H5A_info_t*, void* data) {
  const AttributeWalk& place = *static_cast<AttributeWalk*>(data);
  const std::string text = name;
  constexpr const char* own[] = {"origin", "bearing", "dimensions"};
  if (text.rfind("hyfs_", 0) == 0 || text.rfind('_', 0) == 0 ||
      std::find(std::begin(own), std::end(own), text) != std::end(own)) {
    return 0;
  }
  const Id attribute(H5Aopen(group, name, H5P_DEFAULT));
  const Id type(H5Aget_type(attribute.get()));
  const H5T_class_t kind = H5Tget_class(type.get());
  if (kind != H5T_INTEGER && kind != H5T_FLOAT) return 0;
  place.walk.objects.push_back({HyfsKind::property, place.folder + text});
  return 0;
}

void list_attributes(hid_t group, const std::string& path, Walk& walk) {
  AttributeWalk place{walk, path.empty() ? "" : path + "/"};
  H5Aiterate2(group, H5_INDEX_NAME, H5_ITER_INC, nullptr, visit_attribute, &place);
}

void take_object(hid_t object, const std::string& path, Walk& walk) {
  const H5I_type_t type = H5Iget_type(object);
  if (type != H5I_GROUP) {
    const bool dataset = type == H5I_DATASET;
    walk.objects.push_back({dataset ? kind_of_dataset(object) : HyfsKind::other, path});
    return;
  }
  const HyfsKind kind = kind_of_group(object);
  if (!path.empty()) walk.objects.push_back({kind, path});
  if (kind == HyfsKind::vector) {
    note_components(object, path, walk.components);
  } else {
    list_attributes(object, path, walk);
  }
}

// The root comes as ".".
herr_t visit_object(hid_t root, const char* name, const H5O_info_t*, void* data) {
  Walk& walk = *static_cast<Walk*>(data);
  const std::string path = name;
  const Id object(H5Oopen(root, name, H5P_DEFAULT));
  if (object.good()) {
    take_object(object.get(), path == "." ? "" : path, walk);
  } else {
    walk.objects.push_back({HyfsKind::other, path});
  }
  return 0;
}

}  // namespace

int hflistobjects_f(HyfsHandle file, std::vector<HyfsObject>& objects) {
  objects.clear();
  if (H5Iget_type(file) != H5I_FILE) return hyfs_group_type;
  Walk walk;
  const herr_t visited =
      H5Ovisit2(file, H5_INDEX_NAME, H5_ITER_INC, visit_object, &walk, H5O_INFO_BASIC);
  for (HyfsObject& object : walk.objects) {
    const bool shown = object.kind == HyfsKind::series && walk.components.contains(object.path);
    if (!shown) objects.push_back(std::move(object));
  }
  return status_of(visited);
}

}  // namespace dfl
