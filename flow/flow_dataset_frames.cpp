// Frames of flow datasets, brought to the mesh nodes.

#include <cmath>

#include "dataset/dataset_status.h"
#include "flow/flow_dataset_parts.h"
#include "flow/flow_datasets.h"
#include "mesh/quadtree_map.h"

namespace dfl {

namespace {

// One step of a dataset into `values`. What is not finite becomes a mark of no value.
struct Step {
  HyfsHandle set;
  int index;
  std::int64_t expected;  // numbers of a step
  const char* name;       // of the dataset in messages, as "ADCIRC-Z"
};

void finish_step(const RunState& run, int status, const Step& step, const std::string& file_name,
                 const char* operation, std::vector<float>& values) {
  if (status >= 0 && static_cast<std::int64_t>(values.size()) != step.expected) {
    status = hyfs_size_incorrect;
  }
  check_dataset_status(run.messages, status, file_name + ": step " + std::to_string(step.index),
                       std::string(operation) + "(" + step.name + ") error");
  for (float& value : values) {
    if (!std::isfinite(value)) value = dry_surface;
  }
}

void read_scalar(const RunState& run, const Step& step, std::vector<float>& values) {
  const FlowDatasets& sets = run.flow.datasets;
  const bool apart = step.set == sets.Zset && sets.elevation_file >= 0;
  const int status = hfreadscalarvaluestimestep_f(step.set, step.index, values);
  finish_step(run, status, step, apart ? run.settings.flow_file_z : run.settings.flow_file_uv,
              "HF_READ_SCALAR_VALUES_TIMESTEP", values);
}

void read_vector(const RunState& run, const Step& step, const std::string& file_name,
                 std::vector<float>& values) {
  const int status = hfreadvectorvaluestimestep_f(step.set, step.index, values);
  finish_step(run, status, step, file_name, "HF_READ_VECTOR_VALUES_TIMESTEP", values);
}

bool is_dry(float value) {
  return value <= dry_mark;
}

// Between two places; none where one has none.
float mean(float a, float b) {
  return is_dry(a) || is_dry(b) ? dry_surface : (a + b) * 0.5f;
}

// Level 0 as the mean over levels of equal thickness; none where a level has none.
void average_levels(int NUMlayers, Array2<float>& field) {
  const float share = 1.0f / static_cast<float>(NUMlayers);
  for (int n = 1; n <= field.rows(); ++n) {
    float sum = 0.0f;
    bool dry = false;
    for (int k = 1; k <= NUMlayers; ++k) {
      dry = dry || is_dry(field(n, k));
      sum += field(n, k) * share;
    }
    field(n, 0) = dry ? dry_surface : sum;
  }
}

// A place without a value has the water of the cards, so that no mark enters its properties.
void fill_from_card(Array2<float>& field, float card) {
  float* const values = field.data();
  for (std::size_t i = 0; i < field.count(); ++i) {
    if (is_dry(values[i])) values[i] = card;
  }
}

// ---------------------------------------------------------------- "n2d"

// One number of each cell, `width` apart in a step, mapped to the nodes.
void map_cells(RunState& run, const std::vector<float>& step, std::size_t first, std::size_t width,
               int location, Array<float>& nodes) {
  Array<float>& cells = run.grid.CELLvalues;
  for (int c = 1; c <= run.grid.NUMcells; ++c) {
    cells(c) = step[first + width * (static_cast<std::size_t>(c) - 1)];
  }
  if (run.settings.rvs_mesh) {
    MAP_QUADTREE(run, cells, location, nodes);
  } else {
    MAP_GRID(run, cells, location, nodes);
  }
}

// ---------------------------------------------------------------- "gr3d"

// The value at lattice node (i, j): the mean of the cells around it, four, on a side two, in a
// corner one. `cells`: a level of the lattice cells, I fastest.
float node_from_cells(const GridState& grid, const float* cells, std::size_t stride, int i, int j) {
  const int first_i = i > 1 ? i - 1 : 1, last_i = i < grid.NumI ? i : grid.NumI - 1;
  const int first_j = j > 1 ? j - 1 : 1, last_j = j < grid.NumJ ? j : grid.NumJ - 1;
  float sum = 0.0f;
  int count = 0;
  for (int cj = first_j; cj <= last_j; ++cj) {
    for (int ci = first_i; ci <= last_i; ++ci) {
      const std::size_t cell =
          static_cast<std::size_t>(cj - 1) * static_cast<std::size_t>(grid.NumI - 1) +
          static_cast<std::size_t>(ci - 1);
      const float value = cells[stride * cell];
      if (is_dry(value)) return dry_surface;
      sum += value;
      ++count;
    }
  }
  return count == 4 ? sum * 0.25f : count == 2 ? sum * 0.5f : sum;
}

// A level of cells, `stride` numbers apart, to all nodes; set(n, value) takes the values.
template <class Set>
void cells_to_nodes(const GridState& grid, const float* cells, std::size_t stride, Set set) {
  for (int j = 1; j <= grid.NumJ; ++j) {
    for (int i = 1; i <= grid.NumI; ++i) {
      set((j - 1) * grid.NumI + i, node_from_cells(grid, cells, stride, i, j));
    }
  }
}

// All levels of one component of a step; `width` components a cell.
void levels_to_nodes(const RunState& run, const std::vector<float>& step, std::size_t component,
                     std::size_t width, Array2<float>& field) {
  const std::size_t level = static_cast<std::size_t>(run.grid.NUMactive) * width;
  for (int k = 1; k <= run.flow.NUMlayers; ++k) {
    const float* const cells = step.data() + level * static_cast<std::size_t>(k - 1) + component;
    cells_to_nodes(run.grid, cells, width, [&](int n, float value) { field(n, k) = value; });
  }
}

// ---------------------------------------------------------------- "n3d"

// A step of planes of lattice nodes: the value of node n in plane k.
struct Planes {
  const std::vector<float>& values;
  std::size_t nodes;
  float operator()(int n, int k) const {
    return values[nodes * static_cast<std::size_t>(k - 1) + static_cast<std::size_t>(n - 1)];
  }
};

Planes planes_of(const RunState& run) {
  return {run.flow.datasets.LEVELwork, static_cast<std::size_t>(run.mesh.NUMnode)};
}

void read_planes(RunState& run, HyfsHandle set, int index, const char* name) {
  read_scalar(run, {set, index, n3d_values(run), name}, run.flow.datasets.LEVELwork);
}

// Relative heights of the levels: each in the middle between its two planes.
void take_heights(const RunState& run, const Planes& z, Array<float>& ETA, Array2<float>& SIG) {
  const int NUMlayers = run.flow.NUMlayers;
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const float bottom = z(n, 1), top = z(n, NUMlayers + 1);
    const float h = top - bottom;
    ETA(n) = top;
    for (int k = 1; k <= NUMlayers; ++k) {
      const bool water = h > 0.0f && !is_dry(bottom) && !is_dry(z(n, k)) && !is_dry(z(n, k + 1));
      SIG(n, k) = water ? ((z(n, k) - bottom) / h + (z(n, k + 1) - bottom) / h) * 0.5f : 0.0f;
    }
  }
}

// From the sides of the lattice to its nodes, along I (step 1) or J (step NumI); the last column
// or row is taken as it is.
void sides_to_nodes(const RunState& run, const Planes& side, bool along_i, Array2<float>& field) {
  const int NumI = run.grid.NumI, NumJ = run.grid.NumJ;
  for (int j = 1; j <= NumJ; ++j) {
    for (int i = 1; i <= NumI; ++i) {
      const int n = (j - 1) * NumI + i;
      const bool last = along_i ? i == NumI : j == NumJ;
      const int next = last ? n : n + (along_i ? 1 : NumI);
      for (int k = 1; k <= run.flow.NUMlayers; ++k) {
        field(n, k) = last ? side(n, k) : mean(side(n, k), side(next, k));
      }
    }
  }
}

}  // namespace

void READ_FRAME_HYFS(RunState& run, int index, Array<float>& ETA, Array2<float>& U,
                     Array2<float>& V) {
  FlowDatasets& sets = run.flow.datasets;
  const int NUMnode = run.mesh.NUMnode;
  read_scalar(run, {sets.Zset, index, NUMnode, "ADCIRC-Z"}, sets.CELLwork);
  read_vector(run, {sets.Vset, index, 2 * static_cast<std::int64_t>(NUMnode), "ADCIRC-V"},
              run.settings.flow_file_uv, sets.VECwork);
  for (int n = 1; n <= NUMnode; ++n) {
    const std::size_t at = static_cast<std::size_t>(n) - 1;
    ETA(n) = sets.CELLwork[at];
    U(n, 0) = sets.VECwork[2 * at];
    V(n, 0) = sets.VECwork[2 * at + 1];
  }
}

void READ_FRAME_N2D(RunState& run, int index, Array<float>& ETA, Array2<float>& U,
                    Array2<float>& V) {
  FlowDatasets& sets = run.flow.datasets;
  const int NUMcells = run.grid.NUMcells;
  read_scalar(run, {sets.Zset, index, NUMcells, "RVS-Z"}, sets.CELLwork);
  map_cells(run, sets.CELLwork, 0, 1, sets.ZLOC, ETA);
  read_vector(run, {sets.Vset, index, 2 * static_cast<std::int64_t>(NUMcells), "RVS-V"},
              run.settings.flow_file_uv, sets.VECwork);
  Array<float> along_i, along_j;  // velocity along the axes of the grid, at the nodes
  map_cells(run, sets.VECwork, 0, 2, sets.ULOC, along_i);
  map_cells(run, sets.VECwork, 1, 2, sets.VLOC, along_j);
  const double angle = run.grid.GRIDangle * static_cast<double>(3.14159f) / 180.0;
  const double c = std::cos(angle), s = std::sin(angle);
  constexpr float none = -999.0f;  // of the mapping
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const bool dry = along_i(n) <= none || along_j(n) <= none;
    const double u = static_cast<double>(along_i(n)), v = static_cast<double>(along_j(n));
    U(n, 0) = dry ? 0.0f : static_cast<float>(u * c + v * s);
    V(n, 0) = dry ? 0.0f : static_cast<float>(v * c - u * s);
  }
}

void READ_FRAME_GR3D(RunState& run, int index, Array<float>& ETA, Array2<float>& U,
                     Array2<float>& V, Array2<float>& W, Array2<float>& SAL, Array2<float>& TEM) {
  FlowDatasets& sets = run.flow.datasets;
  const std::int64_t values = gr3d_values(run);
  read_scalar(run, {sets.Zset, index, run.grid.NUMactive, "GR3D-Z"}, sets.CELLwork);
  cells_to_nodes(run.grid, sets.CELLwork.data(), 1, [&](int n, float value) { ETA(n) = value; });
  read_vector(run, {sets.Vset, index, 3 * values, "ADCIRC-V"}, run.settings.flow_file_uv,
              sets.VECwork);
  levels_to_nodes(run, sets.VECwork, 0, 3, U);
  levels_to_nodes(run, sets.VECwork, 1, 3, V);
  levels_to_nodes(run, sets.VECwork, 2, 3, W);
  average_levels(run.flow.NUMlayers, U);
  average_levels(run.flow.NUMlayers, V);
  read_scalar(run, {sets.Sset, index, values, "GR3D-S"}, sets.LEVELwork);
  levels_to_nodes(run, sets.LEVELwork, 0, 1, SAL);
  fill_from_card(SAL, run.settings.salinity * 1000.0f);
  read_scalar(run, {sets.Tset, index, values, "GR3D-T"}, sets.LEVELwork);
  levels_to_nodes(run, sets.LEVELwork, 0, 1, TEM);
  fill_from_card(TEM, run.settings.temperature);
}

void READ_FRAME_N3D(RunState& run, int index, Array<float>& ETA, Array2<float>& U, Array2<float>& V,
                    Array2<float>& W, Array2<float>& SAL, Array2<float>& SIG) {
  FlowDatasets& sets = run.flow.datasets;
  const int NUMlayers = run.flow.NUMlayers;
  read_planes(run, sets.Zset, index, "N3D-Z");
  take_heights(run, planes_of(run), ETA, SIG);
  read_planes(run, sets.Uset, index, "N3D-U");
  sides_to_nodes(run, planes_of(run), true, U);
  read_planes(run, sets.Vset, index, "N3D-V");
  sides_to_nodes(run, planes_of(run), false, V);
  average_levels(NUMlayers, U);
  average_levels(NUMlayers, V);
  read_planes(run, sets.Wset, index, "N3D-W");
  const Planes plane = planes_of(run);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    for (int k = 1; k <= NUMlayers; ++k) W(n, k) = mean(plane(n, k), plane(n, k + 1));
  }
  read_planes(run, sets.Sset, index, "N3D-S");
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    for (int k = 1; k <= NUMlayers; ++k) SAL(n, k) = plane(n, k);
  }
  fill_from_card(SAL, run.settings.salinity * 1000.0f);
}

void READ_FRAME_BOTTOM_DATASET(RunState& run, int index, Array<float>& U, Array<float>& V) {
  FlowDatasets& sets = run.flow.datasets;
  const int NUMnode = run.mesh.NUMnode;
  read_vector(run, {sets.BOTset, index, 2 * static_cast<std::int64_t>(NUMnode), "BOTTOM-U"},
              run.settings.bottom_flow_file, sets.VECwork);
  for (int n = 1; n <= NUMnode; ++n) {
    const std::size_t at = static_cast<std::size_t>(n) - 1;
    U(n) = sets.VECwork[2 * at];
    V(n) = sets.VECwork[2 * at + 1];
  }
}

}  // namespace dfl
