#include "output/map_setup.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>
#include <vector>

#include "control/run_clock.h"
#include "control/text_tools.h"
#include "dataset/hyfs.h"
#include "output/fixed_columns.h"
#include "output/map_fields.h"
#include "output/mesh_text.h"
#include "output/output_file.h"

namespace dfl {

namespace {

constexpr float dry_fill = -99999.0f;  // hides dry nodes in viewers

HyfsMesh hyfs_mesh(const MeshState& mesh) {
  HyfsMesh result;
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    result.x.push_back(mesh.Xnode(n));
    result.y.push_back(mesh.Ynode(n));
    result.bed.push_back(-mesh.DEPTHnode(n));
  }
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    result.faces.insert(result.faces.end(), {mesh.ELnode1(e), mesh.ELnode2(e), mesh.ELnode3(e)});
  }
  return result;
}

// The number behind "EPSG:", in any case; 0 if there is none.
int epsg_number(const std::string& crs) {
  constexpr std::string_view authority = "epsg:";
  const std::string text = lower_case(trim(crs));
  if (text.rfind(authority, 0) != 0) return 0;
  int number = 0;
  const char* end = text.data() + text.size();
  const std::from_chars_result result =
      std::from_chars(text.data() + authority.size(), end, number);
  return result.ec == std::errc() && result.ptr == end && number > 0 ? number : 0;
}

void write_hyfs_mesh(const RunState& run, HyfsHandle file, const std::string& path) {
  check_hyfs(run.messages, hfwritemesh_f(file, hyfs_mesh(run.mesh)), "HF_WRITE_MESH error", path);
  if (trim(run.settings.crs).empty()) return;
  const int epsg = epsg_number(run.settings.crs);
  if (epsg == 0) {
    echo_warning(run.messages, "crs \"" + run.settings.crs +
                                   "\" is not of the form EPSG:32633; map files go without it");
    return;
  }
  check_hyfs(run.messages, hfwritecrs_f(file, epsg), "HF_WRITE_CRS error", path);
}

void create_map_dataset(const RunState& run, HyfsHandle file, const MapField& field,
                        double julian_day, const std::string& path) {
  HyfsDatasetInfo info;
  info.units = map_units(run, field);
  info.compression = run.settings.hyfs_compression;
  info.values = run.mesh.NUMnode;
  if (field.id == MapFieldId::surface) info.fill = dry_fill;
  const std::string name = std::string("(") + field.dataset + ") error";
  HyfsHandle group = 0;
  if (field.vector) {
    check_hyfs(run.messages, hfcreatevectordataset_f(file, field.dataset, info, group),
               "HF_CREATE_VECTOR_DATASET" + name, path);
  } else {
    check_hyfs(run.messages, hfcreatescalardataset_f(file, field.dataset, info, group),
               "HF_CREATE_SCALAR_DATASET" + name, path);
  }
  check_hyfs(run.messages, hfwritereftime_f(group, julian_day), "HF_WRITE_REFTIME error", path);
  check_hyfs(run.messages, hfclosegroup_f(group), "HF_CLOSE_GROUP" + name, path);
}

}  // namespace

void create_hyfs_maps(RunState& run) {
  const Settings& s = run.settings;
  const std::string path = s.output_prefix + "_maps.h5";
  HyfsFileInfo info;
  info.kind = "maps";
  info.title = "Maps of run " + base_name(s.output_prefix);
  info.start_date = hyfs_date(SECONDS_TO_DATE(REFyear, s.start_run));
  info.expected_frames = expected_frames(run, s.mapping_inc);
  info.expected_values = run.mesh.NUMnode;
  HyfsHandle file = 0;
  check_hyfs(run.messages, hfcreatefile_f(path, true, info, file), "HF_CREATE_FILE(m) error", path);
  write_hyfs_mesh(run, file, path);
  const double julian_day = start_julian_day(run, path);
  for (const MapFieldId id : hyfs_map_order) {
    const MapField& field = map_field(id);
    if (hyfs_map_selected(run, field)) create_map_dataset(run, file, field, julian_day, path);
  }
  check_hyfs(run.messages, hfclosefile_f(file), "HF_CLOSE_FILE(maps) error", path);
  run.output.map_sidecar = HyfsSidecar();
}

void create_tecplot_maps(RunState& run) {
  const MeshState& mesh = run.mesh;
  const OutputFile output =
      open_output(run.messages, run.settings.output_prefix + "_maps.plt", "w");
  run.output.tecplot_map_file = output.file;

  const std::vector<const MapField*> selected = selected_map_fields(run);
  std::string text = "VARIABLES=\"X\" \"Y\" ";
  for (const MapField* field : selected) {
    for (const char* column : field->columns) {
      if (column != nullptr) text += std::string("\"") + column + "\" ";
    }
  }
  text += "\nZONE F=FEPOINT, T=\"" + run.settings.output_prefix + " @ " +
          zone_date(SECONDS_TO_DATE(REFyear, run.settings.start_run)) + "\"\n";
  text += "ET=TRIANGLE, N=" + std::to_string(mesh.NUMnode) + ", E=" + std::to_string(mesh.NUMelem) +
          "\n";
  write_output(run.messages, output, text);

  constexpr std::size_t widest_row = (2 + 2 * map_field_count) * map_column_width + 1;
  std::vector<char> row(widest_row);
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    char* at = put_columns(row.data(), mesh.Xnode(n), map_column_width, 3);
    at = put_columns(at, mesh.Ynode(n), map_column_width, 3);
    const char* const end = put_map_row(at, run, selected, n);
    write_output(run.messages, output,
                 std::string_view(row.data(), static_cast<std::size_t>(end - row.data())));
  }
  write_element_table(run, output);
  flush_output(run.messages, output);
}

std::string ensim_map_head(const RunState& run, std::string_view suffix, std::string_view author,
                           std::string_view name) {
  std::string head = ensim_head(suffix, author);
  head += ":Name       " + run.settings.output_prefix + "_" + std::string(name) + "\n";
  head += ":Projection Cartesian \n";
  head += ":Ellipsoid Unknown \n";
  head += ":NodeCount " + std::to_string(run.mesh.NUMnode) + "\n";
  head += ":ElementCount " + std::to_string(run.mesh.NUMelem) + "\n";
  head += ":ElementType  T3\n";
  head += "#\n";
  head += ":EndHeader\n";
  return head;
}

std::vector<char> ensim_geometry(const MeshState& mesh) {
  std::vector<char> record;
  const auto append = [&record](const auto& value) {
    static_assert(sizeof value == 4);
    const char* bytes = reinterpret_cast<const char*>(&value);
    record.insert(record.end(), bytes, bytes + sizeof value);
  };
  for (const Array<double>* coordinate : {&mesh.Xnode, &mesh.Ynode}) {
    for (int n = 1; n <= mesh.NUMnode; ++n) append(static_cast<float>((*coordinate)(n)));
  }
  for (const Array<int>* nodes : {&mesh.ELnode1, &mesh.ELnode2, &mesh.ELnode3}) {
    for (int e = 1; e <= mesh.NUMelem; ++e) append(static_cast<std::int32_t>((*nodes)(e)));
  }
  return record;
}

void create_ensim_maps(RunState& run) {
  for (std::size_t k = 0; k < ensim_map_order.size(); ++k) {
    const MapField& field = map_field(ensim_map_order[k]);
    if (!map_field_selected(run, field)) continue;
    OutputFile head = open_output(run.messages, ensim_map_path(run, field), "w");
    write_output(run.messages, head,
                 ensim_map_head(run, field.vector ? "t3v" : "t3s", run.clock.RUNuser, field.ensim));
    close_output(run.messages, head);
    const OutputFile output = open_output(run.messages, ensim_map_path(run, field), "ab");
    run.output.ensim_map_files[k] = output.file;
    const std::vector<char> geometry = ensim_geometry(run.mesh);
    write_record(run.messages, output, geometry.data(), geometry.size());
    flush_output(run.messages, output);
  }
}

}  // namespace dfl
