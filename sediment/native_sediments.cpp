#include "sediment/native_sediments.h"

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "control/text_reader.h"
#include "control/text_tools.h"
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
  fill_missing(run.sediment, given);
}

// ---- gridded models: sizes by cell, in mm, mapped to the nodes ----

struct CellSizes {
  Array<float> D35, D50, D90;
};

void map_sizes(RunState& run, const CellSizes& cells) {
  SedimentState& sediment = run.sediment;
  const auto map = run.settings.rvs_mesh ? MAP_QUADTREE : MAP_GRID;
  constexpr int centre = 0;
  map(run, cells.D35, centre, sediment.D35);
  map(run, cells.D50, centre, sediment.D50);
  map(run, cells.D90, centre, sediment.D90);
}

void convert_nodes(RunState& run) {
  for (int n = 1; n <= run.mesh.NUMnode; ++n) convert_node(run.messages, run.sediment, n);
}

// A line for each cell: a number, row J, column I and three sizes.
void read_grid_text(RunState& run) {
  const GridState& grid = run.grid;
  TextReader in(run.messages, run.settings.sediment_file);
  in.skip_line();
  CellSizes cells;
  for (Array<float>* sizes : {&cells.D35, &cells.D50, &cells.D90}) sizes->allocate(grid.NUMcells);
  Array<char> seen;
  seen.allocate(grid.NUMcells);
  for (int k = 1; k <= grid.NUMcells; ++k) {
    int number = 0, J = 0, I = 0;
    float d35 = 0.0f, d50 = 0.0f, d90 = 0.0f;
    if (!in.try_read(number, J, I, d35, d50, d90)) {
      echo_warning(run.messages, in.path() + ":" + std::to_string(in.line()) + ": " + in.fault());
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
  if (grid.NUMcells >= 1) map_sizes(run, cells);
  convert_nodes(run);
}

void require(const RunState& run, int status, const std::string& text) {
  if (status < 0) REPORT_CODE(run.messages, true, text, status);
}

void take_values(const RunState& run, const std::vector<float>& values, const std::string& text,
                 Array<float>& sizes) {
  if (values.size() != static_cast<std::size_t>(run.grid.NUMcells)) {
    require(run, hyfs_size_incorrect, text);
  }
  sizes.allocate(run.grid.NUMcells);
  for (int cell = 1; cell <= run.grid.NUMcells; ++cell) {
    sizes(cell) = values[static_cast<std::size_t>(cell) - 1];
  }
}

// The file counts the points of its grid, one a cell, as nodes.
void read_grid_properties(RunState& run, HyfsHandle file, CellSizes& cells) {
  const Settings& s = run.settings;
  std::vector<int> nodes;
  const char* const nodes_message = "HF_READ_PROPERTY_INT(NUMnode) error";
  require(run, hfreadpropertyint_f(file, "Nodes", nodes), nodes_message);
  if (nodes.empty()) require(run, hyfs_no_data, nodes_message);
  if (nodes.front() != run.grid.NUMcells) {
    REPORT(run.messages, true, "Number of nodes in sediment file does not match grid");
  }
  const char* const message = "HF_READ_PROPERTY_FLOAT(D35) error";
  const auto read = [&](const std::string& path, Array<float>& sizes) {
    std::vector<float> values;
    require(run, hfreadpropertyfloat_f(file, path, values), message);
    take_values(run, values, message, sizes);
  };
  read(s.hyfs_d35_path, cells.D35);
  read(s.hyfs_d50_path, cells.D50);
  read(s.hyfs_d90_path, cells.D90);
}

void read_grid_datasets(RunState& run, HyfsHandle file, CellSizes& cells) {
  struct Dataset {
    const std::string& path;
    const char* name;
    Array<float>& sizes;
    HyfsHandle handle;
  };
  Dataset datasets[] = {{run.settings.hyfs_d35_path, "(sediments-d35) error", cells.D35, 0},
                        {run.settings.hyfs_d50_path, "(sediments-d50) error", cells.D50, 0},
                        {run.settings.hyfs_d90_path, "(sediments-d90) error", cells.D90, 0}};
  for (Dataset& set : datasets) {
    require(run, hfopengroup_f(file, set.path, set.handle),
            std::string("HF_OPEN_GROUP") + set.name);
  }
  for (Dataset& set : datasets) {
    std::vector<float> values;
    const std::string message = std::string("HF_READ_SCALAR_VALUES_TIMESTEP") + set.name;
    require(run, hfreadscalarvaluestimestep_f(set.handle, 1, values), message);
    take_values(run, values, message, set.sizes);
  }
  for (Dataset& set : datasets) {
    require(run, hfclosegroup_f(set.handle), std::string("HF_CLOSE_GROUP") + set.name);
  }
}

void read_grid_hyfs(RunState& run) {
  HyfsHandle file = 0;
  require(run, hfopenfile_f(found_path(run.settings.sediment_file), true, file),
          "HF_OPEN_FILE(sediments) error");
  CellSizes cells;
  if (run.settings.sediment_hyfs_layout == "property") {
    read_grid_properties(run, file, cells);
  } else {
    read_grid_datasets(run, file, cells);
  }
  require(run, hfclosefile_f(file), "HF_CLOSE_FILE(sediments) error");
  map_sizes(run, cells);
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

  const std::string not_available =
      "sediments_format \"" + run.settings.sediments_format + "\" is not available in this version";
  switch (run.settings.method.sediments) {
    case SedimentsFormat::adcirc:
      read_node_text(run);
      return;
    case SedimentsFormat::hyfs:
      fatal_error(run.messages, not_available);
    case SedimentsFormat::hyfs_n2d:
      read_grid_hyfs(run);
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
