#include "tools/hyfs_info.h"

#include <vector>

#include "dataset/hyfs.h"
#include "tools/hyfs_words.h"

namespace dfl {

namespace {

struct Listing {
  HyfsHandle file = 0;
  std::FILE* out = nullptr;
  bool damaged = false;
};

// Names and texts of a damaged file may hold anything; a terminal obeys some of it.
void line(const Listing& list, std::string text) {
  for (char& c : text) {
    const bool control = static_cast<unsigned char>(c) < ' ' || c == '\x7f';
    if (control) c = '?';
  }
  std::fprintf(list.out, "%s\n", text.c_str());
}

bool failed(Listing& list, int status) {
  if (status >= 0) return false;
  list.damaged = true;
  line(list, "    FAULT: " + hyfs_reason(status));
  return true;
}

std::string attribute(HyfsHandle object, const char* name) {
  std::string text;
  return hfreadtext_f(object, name, text) < 0 ? "" : text;
}

// ---- the parts of the listing ----

void show_grid(Listing& list, HyfsHandle grid) {
  int I = 0, J = 0, K = 0;
  double x = 0.0, y = 0.0, z = 0.0, bearing = 0.0;
  if (failed(list, hfgetnumbercellsini_f(grid, I)) ||
      failed(list, hfgetnumbercellsinj_f(grid, J))) {
    return;
  }
  std::string cells = std::to_string(I) + " x " + std::to_string(J);
  if (hfgetnumbercellsink_f(grid, K) >= 0) cells += " x " + std::to_string(K);
  line(list, "    cells: " + cells);
  if (failed(list, hfgetorigin_f(grid, x, y, z))) return;
  line(list, "    origin: " + number_words(x) + " " + number_words(y) + " " + number_words(z));
  if (failed(list, hfgetbearing_f(grid, bearing))) return;
  line(list, "    bearing: " + number_words(bearing) + " degrees");
  struct Axis {
    const char* name;
    int (*read)(HyfsHandle, std::vector<double>&);
  };
  const Axis axes[] = {{"I", hfgetgridcoordsi_f}, {"J", hfgetgridcoordsj_f}};
  for (const Axis& axis : axes) {
    std::vector<double> far_sides;
    if (failed(list, axis.read(grid, far_sides))) return;
    line(list, std::string("    along ") + axis.name + ": " + number_words(far_sides.front()) +
                   " to " + number_words(far_sides.back()));
  }
}

void show_times(Listing& list, HyfsHandle set, bool timed) {
  if (!timed) {
    line(list, "    times: none (one step at time 0)");
    return;
  }
  std::vector<double> times;
  const int status = hfgetdatasettimes_f(set, times);
  if (status == hyfs_no_data) {
    line(list, "    times: none yet");
    return;
  }
  if (failed(list, status)) return;
  std::string text = "    times: " + times_words(times);
  std::string units;
  if (hfgetdatasettimeunits_f(set, units) >= 0) text += " " + units;
  double day = 0.0;
  if (hfreadreftime_f(set, day) >= 0) text += ", from " + date_words(day);
  line(list, text);
}

void show_location(Listing& list, HyfsHandle set, bool vector, const HyfsForm& form) {
  if (!form.along.empty() && form.along.front() == "trajectory") {
    line(list, "    at: parcels");
    return;
  }
  int x = 0, y = 0;
  const int status =
      vector ? hfgetvector2ddatalocations_f(set, x, y) : hfgetscalardatalocation_f(set, x);
  if (failed(list, status)) return;
  std::string text = "    at: " + location_words(x);
  if (vector && y != x) text += " (x), " + location_words(y) + " (y)";
  line(list, text);
}

// The first and the last step, so that values that cannot be read are found.
void read_ends(Listing& list, HyfsHandle set, const HyfsForm& form) {
  int times = 0;
  if (hfgetdatasetnumtimes_f(set, times) < 0) return;
  for (const int step : {1, times}) {
    std::vector<float> values;
    const int status = form.components > 1 ? hfreadvectorvaluestimestep_f(set, step, values)
                                           : hfreadscalarvaluestimestep_f(set, step, values);
    if (failed(list, status)) return;
  }
}

void show_dataset(Listing& list, HyfsHandle set, bool marked) {
  HyfsForm form;
  int values = 0;
  if (failed(list, hfgetdatasetform_f(set, form)) ||
      failed(list, hfgetdatasetnumvals_f(set, values))) {
    return;
  }
  const bool vector = form.components > 1;
  std::string text = vector ? "vector of " + std::to_string(form.components) + " components"
                            : std::string("scalar");
  text += ", " + std::to_string(values) + (values == 1 ? " value" : " values");
  for (std::size_t axis = 0; axis < form.along.size(); ++axis) {
    text += (axis == 0 ? " along " : ", ") + form.along[axis];
  }
  line(list, "    " + text);
  show_times(list, set, form.timed);
  const std::string units = attribute(set, "units");
  if (!units.empty()) line(list, "    units: " + units);
  // A marker has two locations; a vector in one dataset, one.
  show_location(list, set, marked, form);
  read_ends(list, set, form);
}

void show_property(Listing& list, const std::string& path) {
  int count = 0;
  constexpr int most_shown = 4;
  const std::size_t slash = path.rfind('/');
  HyfsHandle group = 0;
  HyfsHandle parent = list.file;
  if (slash != std::string::npos && hfopengroup_f(list.file, path.substr(0, slash), group) >= 0) {
    parent = group;
  }
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  int status = hfgetpropertynumber_f(parent, name, count);
  std::string text =
      "  " + path + ": " + std::to_string(count) + (count == 1 ? " number" : " numbers");
  if (status >= 0 && count > 0 && count <= most_shown) {
    std::vector<double> values;
    status = hfreadpropertydouble_f(parent, name, values);
    text += " =";
    for (const double value : values) text += " " + number_words(value);
  }
  line(list, text);
  failed(list, status);
  if (group > 0) hfclosegroup_f(group);
}

void show_object(Listing& list, const HyfsObject& object) {
  line(list, "  " + object.path);
  HyfsHandle handle = 0;
  if (failed(list, hfopengroup_f(list.file, object.path, handle))) return;
  if (object.kind == HyfsKind::grid) show_grid(list, handle);
  if (object.kind == HyfsKind::vector) show_dataset(list, handle, true);
  if (object.kind == HyfsKind::series) show_dataset(list, handle, false);
  hfclosegroup_f(handle);
}

struct Section {
  const char* title;
  std::vector<HyfsKind> kinds;
};

void show_sections(Listing& list, const std::vector<HyfsObject>& objects) {
  const Section sections[] = {
      {"Groups", {HyfsKind::group, HyfsKind::particle_set}},
      {"Grids", {HyfsKind::grid}},
      {"Datasets", {HyfsKind::series, HyfsKind::vector}},
      {"Times and dimensions", {HyfsKind::axis}},
      {"Properties", {HyfsKind::property}},
      {"Not read", {HyfsKind::other}},
  };
  for (const Section& section : sections) {
    bool titled = false;
    for (const HyfsObject& object : objects) {
      bool mine = false;
      for (const HyfsKind kind : section.kinds) mine = mine || kind == object.kind;
      if (!mine) continue;
      if (!titled) line(list, section.title);
      titled = true;
      if (object.kind == HyfsKind::property) {
        show_property(list, object.path);
      } else if (object.kind == HyfsKind::group || object.kind == HyfsKind::axis ||
                 object.kind == HyfsKind::other) {
        line(list, "  " + object.path);
      } else if (object.kind == HyfsKind::particle_set) {
        line(list, "  " + object.path + " (particle set)");
      } else {
        show_object(list, object);
      }
    }
  }
}

void show_head(const Listing& list, const std::string& path) {
  const std::string version = attribute(list.file, "hyfs_version");
  const std::string kind = attribute(list.file, "hyfs_kind");
  const std::string title = attribute(list.file, "title");
  std::string text = path + ": ";
  text += version.empty() ? "NetCDF-4" : "HYFS " + version + (kind.empty() ? "" : ", " + kind);
  line(list, text);
  if (!title.empty()) line(list, "  title: " + title);
  const std::string source = attribute(list.file, "source");
  if (!source.empty()) line(list, "  source: " + source);
}

}  // namespace

int HYFS_INFO(const std::string& path, std::FILE* out, std::FILE* err) {
  Listing list;
  list.out = out;
  if (const int status = hfopenfile_f(path, true, list.file); status < 0) {
    std::fprintf(err, "%s: %s\n", path.c_str(), hyfs_open_reason(path, status).c_str());
    return 1;
  }
  show_head(list, path);
  std::fflush(out);  // seen whatever becomes of the rest
  std::vector<HyfsObject> objects;
  const int status = hflistobjects_f(list.file, objects);
  show_sections(list, objects);
  if (status < 0) {
    list.damaged = true;
    line(list, "FAULT: not all of the file can be listed");
  }
  hfclosefile_f(list.file);
  if (!list.damaged) return 0;
  std::fprintf(err, "%s: damaged, or of a form that DFL does not read; see FAULT above\n",
               path.c_str());
  return 1;
}

}  // namespace dfl
