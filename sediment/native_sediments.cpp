#include "sediment/native_sediments.h"

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "control/text_reader.h"
#include "dataset/hyfs.h"
#include "mesh/quadtree_map.h"

namespace dfl {

namespace {

// Metres from the millimetres of a file, with the checks on a node's sizes.
void convert_node(const MessageState& messages, SedimentState& sediment, int n) {
  struct Size {
    Array<float>& values;
    const char* message;
  };
  const Size sizes[] = {
      {sediment.D35, "*** Zero grain size for D35 @ N="},
      {sediment.D50, "*** Zero grain size for D50 @ N="},
      {sediment.D90, "*** Zero grain size for D90 @ N="},
  };
  for (const Size& size : sizes) size.values(n) = size.values(n) / 1000.0f;
  for (const Size& size : sizes) {
    if (std::abs(size.values(n)) < 1.0e-9f) REPORT_INT(messages, true, size.message, n);
  }
  const float D90 = sediment.D90(n);
  if (D90 > 0.0f) {
    sediment.BEDmobile(n) = logical_true;
    return;
  }
  // A hard bottom: three times the size is the roughness that the file gave.
  for (const Size& size : sizes) size.values(n) = D90 / -3.0f;
  sediment.BEDmobile(n) = logical_false;
}

// One node's record: its number, `ignored` reals, three sizes. Marks the node as given.
int read_node(TextReader& in, int ignored, bool once, SedimentState& sediment,
              Array<Logical>& given) {
  int n = 0;
  float d35 = 0.0f, d50 = 0.0f, d90 = 0.0f;
  in.begin_record();
  in.read_item(n);
  if (n < 1 || n > given.size()) {
    in.stop("expected a node number from 1 to " + std::to_string(given.size()) + ", found " +
            std::to_string(n));
  }
  if (once && is_true(given(n))) in.stop("node " + std::to_string(n) + " is given twice");
  for (int k = 0; k < ignored; ++k) {
    double position = 0.0;
    in.read_item(position);
  }
  in.read_item(d35);
  in.read_item(d50);
  in.read_item(d90);
  in.end_record();
  given(n) = logical_true;
  sediment.D35(n) = d35;
  sediment.D50(n) = d50;
  sediment.D90(n) = d90;
  return n;
}

void read_node_text(RunState& run) {
  TextReader in(run.messages, run.settings.sediment_file);
  in.skip_line();
  int elements = 0, nodes = 0;
  in.read(elements, nodes);
  if (nodes != run.mesh.NUMnode) {
    REPORT(run.messages, true, "Native sediments file error (NUMnode)");
  }
  if (elements >= 1 && elements != run.mesh.NUMelem) {
    REPORT(run.messages, true, "Native sediments file error (NUMelem)");
  }
  Array<Logical> given;
  given.allocate(run.mesh.NUMnode);
  for (int k = 1; k <= nodes; ++k) read_node(in, 2, true, run.sediment, given);
  for (int n = 1; n <= nodes; ++n) convert_node(run.messages, run.sediment, n);
}

// Nodes that the file leaves out take the mean size of those it gives.
void fill_missing(SedimentState& sediment, const Array<Logical>& given) {
  int nodes = 0;
  double d35 = 0.0, d50 = 0.0, d90 = 0.0;
  for (int n = 1; n <= given.size(); ++n) {
    if (!is_true(given(n))) continue;
    ++nodes;
    d35 += static_cast<double>(sediment.D35(n));
    d50 += static_cast<double>(sediment.D50(n));
    d90 += static_cast<double>(sediment.D90(n));
  }
  for (int n = 1; n <= given.size(); ++n) {
    if (is_true(given(n))) continue;
    sediment.D35(n) = static_cast<float>(d35 / nodes);
    sediment.D50(n) = static_cast<float>(d50 / nodes);
    sediment.D90(n) = static_cast<float>(d90 / nodes);
    sediment.BEDmobile(n) = logical_true;
  }
}

// Every node of an element's face on the bed needs a record.
void check_bed_faces(const RunState& run, const Array<Logical>& given) {
  const GridState& grid = run.grid;
  const MeshState& mesh = run.mesh;
  if (grid.FACEbc.rows() != mesh.NUMelem) return;  // of another kind of mesh
  // Nodes of the faces, as places in n.
  constexpr std::size_t faces[4][3] = {{0, 1, 2}, {0, 1, 3}, {1, 2, 3}, {0, 2, 3}};
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    const int n[4] = {mesh.ELnode1(e), mesh.ELnode2(e), mesh.ELnode3(e), grid.ELnode4(e)};
    for (int face = 1; face <= 4; ++face) {
      if (grid.FACEbc(e, face) == 0) continue;
      for (const std::size_t place : faces[face - 1]) {
        const int node = n[place];
        if (node == 0 || !is_true(given(node))) {
          REPORT_INT2(run.messages, true, "Need sediment for node , element", node, e);
        }
      }
    }
  }
}

void read_kfe_text(RunState& run) {
  TextReader in(run.messages, run.settings.sediment_file);
  in.skip_line();
  int records = 0;
  in.begin_record();
  in.read_item(records);
  if (records < 1) {
    in.stop("expected a number of records of 1 or more, found " + std::to_string(records));
  }
  in.end_record();
  Array<Logical> given;
  given.allocate(run.mesh.NUMnode);
  // A node that comes again takes the later sizes.
  for (int k = 1; k <= records; ++k) {
    const int n = read_node(in, 0, false, run.sediment, given);
    convert_node(run.messages, run.sediment, n);
  }
  check_bed_faces(run, given);
  fill_missing(run.sediment, given);
}

// ---- one value a cell of a gridded model ----

// Cells to nodes. A node without a wet cell around it gets -999, as everywhere.
void map_sizes(RunState& run, const Array<float>& cells, Array<float>& nodes) {
  constexpr int centre = 0;
  if (run.settings.rvs_mesh) {
    MAP_QUADTREE(run, cells, centre, nodes);
  } else {
    MAP_GRID(run, cells, centre, nodes);
  }
}

void convert_nodes(RunState& run) {
  for (int n = 1; n <= run.mesh.NUMnode; ++n) convert_node(run.messages, run.sediment, n);
}

// A line for each cell: a number, row J, column I and three sizes.
void read_grid_text(RunState& run) {
  const GridState& grid = run.grid;
  TextReader in(run.messages, run.settings.sediment_file);
  in.skip_line();
  struct {
    Array<float> D35, D50, D90;
  } cells;
  for (Array<float>* sizes : {&cells.D35, &cells.D50, &cells.D90}) sizes->allocate(grid.NUMcells);
  Array<char> seen;
  seen.allocate(grid.NUMcells);
  for (int k = 1; k <= grid.NUMcells; ++k) {
    int number = 0, J = 0, I = 0;
    float d35 = 0.0f, d50 = 0.0f, d90 = 0.0f;
    if (!in.try_read(number, J, I, d35, d50, d90)) {
      const std::string fault = in.path() + ":" + std::to_string(in.line()) + ": " + in.fault();
      console(run.messages, "\n%s", fault.c_str());
      echo_warning(run.messages, fault);
      fatal_error(run.messages, "Native sediments file error");
    }
    // A telescoping grid has no columns: I alone is the cell.
    const std::int64_t cell = (std::int64_t{J} - 1) * grid.NumI + I;
    const bool in_row = I >= 1 && (grid.NumI == 0 || I <= grid.NumI);
    if (!in_row || cell < 1 || cell > grid.NUMcells) {
      in.stop("row " + std::to_string(J) + ", column " + std::to_string(I) +
              " is no cell of the grid");
    }
    const int c = static_cast<int>(cell);
    if (seen(c)) {
      in.stop("row " + std::to_string(J) + ", column " + std::to_string(I) + " is given twice");
    }
    seen(c) = 1;
    cells.D35(c) = d35;
    cells.D50(c) = d50;
    cells.D90(c) = d90;
  }
  if (grid.NUMcells >= 1) {
    map_sizes(run, cells.D35, run.sediment.D35);
    map_sizes(run, cells.D50, run.sediment.D50);
    map_sizes(run, cells.D90, run.sediment.D90);
  }
  convert_nodes(run);
}

// ---- datasets and properties ----

// One of the three sizes: where it goes and where it stands in the file.
struct SizeSource {
  Array<float>& sizes;
  const std::string& path;
  const char* name;
};

void check_sediment_status(const RunState& run, int status, const std::string& text,
                           const std::string& path) {
  if (status >= 0) return;
  const std::string& file = run.settings.sediment_file;
  console(run.messages, "\nHYFS file \"%s\"  %s:", file.c_str(), path.c_str());
  echo(run.messages, "HYFS file \"%s\"  %s: %s\n", file.c_str(), path.c_str(), text.c_str());
  REPORT_CODE(run.messages, true, text, status);
}

// Values of a mesh node each, or with `mapped` of a grid cell each, into the sizes.
void take_values(RunState& run, const SizeSource& source, const std::vector<float>& values,
                 bool mapped) {
  Array<float> cells;
  Array<float>& to = mapped ? cells : source.sizes;
  to.allocate(static_cast<int>(values.size()));
  for (int i = 1; i <= to.size(); ++i) {
    to(i) = values[static_cast<std::size_t>(i) - 1];
    // A cell may have no value; its nodes then take those of the cells beside it.
    if (mapped ? !std::isinf(to(i)) : std::isfinite(to(i)) && to(i) > dry_mark) continue;
    fatal_error(run.messages, run.settings.sediment_file + ": \"" + source.path +
                                  "\" has no grain size at " + (mapped ? "cell " : "node ") +
                                  std::to_string(i));
  }
  if (mapped) map_sizes(run, cells, source.sizes);
}

void read_size_property(RunState& run, HyfsHandle file, const SizeSource& source, int count,
                        bool mapped) {
  std::vector<float> values;
  int status = hfreadpropertyfloat_f(file, source.path, values);
  if (status >= 0 && static_cast<int>(values.size()) != count) status = hyfs_size_incorrect;
  // The same words for all three.
  check_sediment_status(run, status, "HF_READ_PROPERTY_FLOAT(D35) error", source.path);
  take_values(run, source, values, mapped);
}

void check_property_count(RunState& run, HyfsHandle file, int count) {
  std::vector<int> nodes;
  int status = hfreadpropertyint_f(file, "Nodes", nodes);
  if (status >= 0 && nodes.empty()) status = hyfs_no_data;
  check_sediment_status(run, status, "HF_READ_PROPERTY_INT(NUMnode) error", "Nodes");
  if (nodes[0] != count) {
    REPORT(run.messages, true, "Number of nodes in sediment file does not match grid");
  }
}

void read_size_datasets(RunState& run, HyfsHandle file, const SizeSource (&sources)[3], int count,
                        bool mapped) {
  const auto text = [](const char* operation, const SizeSource& source) {
    return std::string(operation) + "(sediments-" + source.name + ") error";
  };
  HyfsHandle groups[3] = {};
  for (std::size_t k = 0; k < 3; ++k) {
    check_sediment_status(run, hfopengroup_f(file, sources[k].path, groups[k]),
                          text("HF_OPEN_GROUP", sources[k]), sources[k].path);
  }
  for (std::size_t k = 0; k < 3; ++k) {
    std::vector<float> values;
    int status = hfreadscalarvaluestimestep_f(groups[k], 1, values);
    if (status >= 0 && static_cast<int>(values.size()) != count) status = hyfs_size_incorrect;
    check_sediment_status(run, status, text("HF_READ_SCALAR_VALUES_TIMESTEP", sources[k]),
                          sources[k].path);
    take_values(run, sources[k], values, mapped);
  }
  for (std::size_t k = 0; k < 3; ++k) {
    check_sediment_status(run, hfclosegroup_f(groups[k]), text("HF_CLOSE_GROUP", sources[k]),
                          sources[k].path);
  }
}

void read_hyfs(RunState& run, bool mapped) {
  const Settings& s = run.settings;
  const SizeSource sources[3] = {{run.sediment.D35, s.hyfs_d35_path, "d35"},
                                 {run.sediment.D50, s.hyfs_d50_path, "d50"},
                                 {run.sediment.D90, s.hyfs_d90_path, "d90"}};
  const int count = mapped ? run.grid.NUMcells : run.mesh.NUMnode;
  HyfsHandle file = -1;
  check_sediment_status(run, hfopenfile_f(s.sediment_file, true, file),
                        "HF_OPEN_FILE(sediments) error", "");
  if (s.sediment_hyfs_layout == "property") {
    check_property_count(run, file, count);
    for (const SizeSource& source : sources) {
      read_size_property(run, file, source, count, mapped);
    }
  } else {
    read_size_datasets(run, file, sources, count, mapped);
  }
  check_sediment_status(run, hfclosefile_f(file), "HF_CLOSE_FILE(sediments) error", "");
  convert_nodes(run);
}

void fill_uniform(RunState& run) {
  const Settings& settings = run.settings;
  SedimentState& sediment = run.sediment;
  sediment.D35.fill(settings.bed_d35 / 1000.0f);
  sediment.D50.fill(settings.bed_d50 / 1000.0f);
  sediment.D90.fill(settings.bed_d90 / 1000.0f);
  sediment.BEDmobile.fill(logical_true);
  sediment.UNIFORMbed = true;
  if (!(settings.bed_d35 > 0.0f && settings.bed_d50 > 0.0f && settings.bed_d90 > 0.0f)) {
    echo_warning(run.messages,
                 "uniform bed sediment with a size of 0 or less: no native transport is computed");
  }
}

}  // namespace

void READ_NATIVE_SEDIMENTS(RunState& run) {
  SedimentState& sediment = run.sediment;
  for (Array<float>* sizes : {&sediment.D35, &sediment.D50, &sediment.D90}) {
    sizes->allocate(run.mesh.NUMnode);
  }
  sediment.BEDmobile.allocate(run.mesh.NUMnode);
  sediment.UNIFORMbed = false;

  switch (run.settings.method.sediments) {
    case SedimentsFormat::adcirc:
      read_node_text(run);
      return;
    case SedimentsFormat::hyfs:
      read_hyfs(run, false);
      return;
    case SedimentsFormat::hyfs_n2d:
      read_hyfs(run, true);
      return;
    case SedimentsFormat::n2d:
      read_grid_text(run);
      return;
    case SedimentsFormat::kfe:
      read_kfe_text(run);
      return;
    case SedimentsFormat::uniform:
      fill_uniform(run);
      return;
    case SedimentsFormat::unknown:
      break;
  }
  REPORT(run.messages, true, "Sediments file type not available");
}

}  // namespace dfl
