#include "mesh/lattice_mesh.h"

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "control/text_reader.h"
#include "dataset/dataset_status.h"
#include "dataset/hyfs.h"
#include "mesh/adcirc_mesh.h"
#include "mesh/boundaries.h"
#include "mesh/geometry.h"
#include "mesh/neighbours.h"

namespace dfl {

namespace {

// ---- dataset file ----

void require(const RunState& run, int status, const std::string& object, const std::string& text) {
  check_dataset_status(run.messages, status, dataset_place(run.settings.mesh_file, object), text);
}

HyfsHandle open_mesh_file(const RunState& run) {
  HyfsHandle file = 0;
  const std::string& name = run.settings.mesh_file;
  check_dataset_file(run.messages, hfopenfile_f(name, true, file), name, "HF_OPEN_FILE error");
  return file;
}

// The counts of the lattice, before anything is allocated by them.
void set_counts(RunState& run, int NumI, int NumJ, int levels) {
  const auto stop = [&](const std::string& text) {
    fatal_error(run.messages, "A lattice of " + std::to_string(NumI) + " by " +
                                  std::to_string(NumJ) + " nodes and " + std::to_string(levels) +
                                  " levels " + text);
  };
  if (NumI < 2 || NumJ < 2 || levels < 1) {
    stop("is no mesh: it needs two nodes along both sides and a level");
  }
  constexpr std::int64_t most = 1 << 30;  // two elements a cell, and all values of a step
  const std::int64_t nodes = std::int64_t{NumI} * NumJ;
  if (nodes > most / (std::int64_t{levels} + 1)) stop("is too large");
  GridState& grid = run.grid;
  grid.NumI = NumI;
  grid.NumJ = NumJ;
  grid.NUMcells = 0;  // no cells of a grid in the plane
  grid.NUMactive = (NumI - 1) * (NumJ - 1);
  run.mesh.NUMnode = NumI * NumJ;
  run.mesh.NUMelem = (2 * NumI - 2) * (NumJ - 1);
  run.flow.NUMlayers = levels;
}

void require_count(const RunState& run, std::size_t found, int expected, const std::string& object,
                   const std::string& text) {
  if (found != static_cast<std::size_t>(expected)) {
    require(run, hyfs_size_incorrect, object, text);
  }
}

// The first values of a list, a node each.
void take_depths(RunState& run, const std::vector<float>& depths) {
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const float depth = depths[static_cast<std::size_t>(n) - 1];
    if (!std::isfinite(depth)) {
      fatal_error(run.messages, "The depth of node " + std::to_string(n) + " is not a number");
    }
    run.mesh.DEPTHnode(n) = depth;
  }
  start_moving_bed(run);
}

// ---- elements and boundaries ----

void fill_elements(RunState& run) {
  MeshState& mesh = run.mesh;
  const int NumI = run.grid.NumI;
  int e = 0;
  for (int j = 1; j < run.grid.NumJ; ++j) {
    for (int i = 1; i < NumI; ++i) {
      const int p = (j - 1) * NumI + i;
      ++e;
      mesh.ELnode1(e) = p;
      mesh.ELnode2(e) = p + 1;
      mesh.ELnode3(e) = p + NumI;
      ++e;
      mesh.ELnode1(e) = p + 1;
      mesh.ELnode2(e) = p + NumI + 1;
      mesh.ELnode3(e) = p + NumI;
    }
  }
}

// A count of records that each take two bytes of the file or more.
int read_count(TextReader& in, const char* what) {
  int count = 0;
  in.begin_record();
  in.read_item(count);
  if (count < 0) {
    in.stop(std::string("expected a number of ") + what + " of 0 or more, found " +
            std::to_string(count));
  }
  if (static_cast<std::size_t>(count) > in.bytes_left() / 2 + 1) {
    in.stop(std::to_string(count) + " " + what + " cannot stand in the rest of the file");
  }
  in.end_record();
  return count;
}

void read_boundary(const RunState& run, TextReader& in, Boundary& boundary) {
  const GridState& grid = run.grid;
  const int points = read_count(in, "boundary points");
  boundary.NODES.allocate(points);
  for (int k = 1; k <= points; ++k) {
    int i = 0, j = 0;
    in.begin_record();
    in.read_item(i);
    in.read_item(j);
    if (i < 1 || i > grid.NumI || j < 1 || j > grid.NumJ) {
      in.stop("expected i, j of a boundary point within 1 to " + std::to_string(grid.NumI) +
              ", 1 to " + std::to_string(grid.NumJ) + ", found " + std::to_string(i) + ", " +
              std::to_string(j));
    }
    in.end_record();
    boundary.NODES(k) = (j - 1) * grid.NumI + i;
  }
  set_boundary_lines(run.mesh, boundary);
}

void read_boundary_file(RunState& run) {
  MeshState& mesh = run.mesh;
  console(run.messages, "Reading grid bc data...\n");
  TextReader in(run.messages, run.settings.bc_file);
  in.skip_line();
  mesh.NUMopen = read_count(in, "open boundaries");
  mesh.OPENbnd.allocate(mesh.NUMopen);
  for (Boundary& boundary : mesh.OPENbnd) read_boundary(run, in, boundary);
  mesh.NUMland = read_count(in, "land boundaries");
  mesh.LANDbnd.allocate(mesh.NUMland);
  if (mesh.NUMland > 0) {
    int points = 0;
    in.read(points);
  }
  for (Boundary& boundary : mesh.LANDbnd) read_boundary(run, in, boundary);
}

// The rim as one open boundary, around the lattice and back to its first node. The elements that
// touch it are those of the cells in the first and last rows and columns.
void make_rim_boundary(RunState& run) {
  MeshState& mesh = run.mesh;
  const int NumI = run.grid.NumI, NumJ = run.grid.NumJ;
  console(run.messages, "Creating open boundary element list...\n");
  mesh.NUMopen = 1;
  mesh.NUMland = 0;
  mesh.OPENbnd.allocate(1);
  mesh.LANDbnd.allocate(0);
  Array<int>& rim = mesh.OPENbnd(1).NODES;
  const auto add = [&](int i, int j) { rim.push_back((j - 1) * NumI + i); };
  for (int i = 1; i < NumI; ++i) add(i, 1);
  for (int j = 1; j < NumJ; ++j) add(NumI, j);
  for (int i = NumI; i > 1; --i) add(i, NumJ);
  for (int j = NumJ; j >= 1; --j) add(1, j);
  set_boundary_lines(mesh, mesh.OPENbnd(1));
}

void finish_mesh(RunState& run) {
  fill_elements(run);
  if (run.settings.bc_file == "none") {
    make_rim_boundary(run);
  } else {
    read_boundary_file(run);
  }
  MESH_GEOMETRY(run);
  MESH_NEIGHBOURS(run);
  MESH_BOUNDARIES(run);
}

// ---- "n3d" ----

// A uniform grid: the spacing between the first two coordinates is that of all.
struct UniformGrid {
  double x0 = 0.0, y0 = 0.0;   // origin
  double bearing = 0.0;        // degrees
  float dx = 0.0f, dy = 0.0f;  // mesh units
};

float first_spacing(const RunState& run, const std::vector<double>& coordinates,
                    const std::string& object, const std::string& text) {
  const float spacing = static_cast<float>(coordinates[1]) - static_cast<float>(coordinates[0]);
  if (!std::isfinite(spacing)) require(run, hyfs_dataset_invalid, object, text);
  return spacing;
}

UniformGrid read_uniform_grid(RunState& run, HyfsHandle group) {
  const std::string& path = run.settings.hyfs_n3d_path;
  const std::string counts_text = "HF_READ_PROPERTY_INT(NX) error";
  int NumI = 0, NumJ = 0, levels = 0;
  require(run, hfgetnumbercellsini_f(group, NumI), path, counts_text);
  require(run, hfgetnumbercellsinj_f(group, NumJ), path, counts_text);
  require(run, hfgetnumbercellsink_f(group, levels), path, counts_text);
  set_counts(run, NumI, NumJ, levels);

  UniformGrid grid;
  double z0 = 0.0;
  int status = hfgetorigin_f(group, grid.x0, grid.y0, z0);
  if (status >= 0 && !(std::isfinite(grid.x0) && std::isfinite(grid.y0))) {
    status = hyfs_dataset_invalid;
  }
  require(run, status, path, "HF_GET_ORIGIN error");
  status = hfgetbearing_f(group, grid.bearing);
  if (status >= 0 && !std::isfinite(grid.bearing)) status = hyfs_dataset_invalid;
  require(run, status, path, "HF_READ_PROPERTY_INT(Layers) error");

  std::vector<double> xc, yc, zc;
  const std::string i_text = "HF_GET_GRID_COORDS_I error", j_text = "HF_GET_GRID_COORDS_J error";
  require(run, hfgetgridcoordsi_f(group, xc), path, i_text);
  require_count(run, xc.size(), NumI, path, i_text);
  require(run, hfgetgridcoordsj_f(group, yc), path, j_text);
  require_count(run, yc.size(), NumJ, path, j_text);
  require(run, hfgetgridcoordsk_f(group, zc), path, "HF_GET_GRID_COORDS_K error");
  grid.dx = first_spacing(run, xc, path, i_text);
  grid.dy = first_spacing(run, yc, path, j_text);
  return grid;
}

// The planes of the depth dataset, which stands below the grid.
std::vector<float> read_depth_planes(const RunState& run, HyfsHandle group) {
  const std::string& path = run.settings.hyfs_dep_path;
  HyfsHandle dataset = 0;
  int times = 0, count = 0;
  require(run, hfopengroup_f(group, path, dataset), path, "HF_OPEN_GROUP error (H)");
  require(run, hfgetdatasetnumtimes_f(dataset, times), path, "HF_GET_DATASET_NUM_TIMES(H) error");
  if (times != 1) fatal_error(run.messages, "Depth has more than 1 frame");
  require(run, hfgetdatasetnumvals_f(dataset, count), path, "HF_GET_DATASET_NUMVALS error");
  const std::int64_t N3Dvalues = (std::int64_t{run.flow.NUMlayers} + 1) * run.mesh.NUMnode;
  if (count != N3Dvalues) fatal_error(run.messages, "Depth has more than \"NUMnode\" points");
  std::vector<float> values;
  const std::string text = "HF_READ_SCALAR_VALUES_TIMESTEP error";
  require(run, hfreadscalarvaluestimestep_f(dataset, 1, values), path, text);
  require_count(run, values.size(), count, path, text);
  return values;
}

void place_uniform_nodes(RunState& run, const UniformGrid& grid) {
  MeshState& mesh = run.mesh;
  const float angle = static_cast<float>(360.0 - grid.bearing) * 3.14159f / 180.0f;
  const float s = std::sin(angle), c = std::cos(angle);
  for (int j = 0, n = 1; j < run.grid.NumJ; ++j) {
    for (int i = 0; i < run.grid.NumI; ++i, ++n) {
      const float a = static_cast<float>(i) * grid.dx, b = static_cast<float>(j) * grid.dy;
      mesh.Xnode(n) = grid.x0 + static_cast<double>(a * c) + static_cast<double>(b * s);
      mesh.Ynode(n) = grid.y0 - static_cast<double>(a * s) + static_cast<double>(b * c);
    }
  }
}

// ---- "gr3d" ----

int read_count_property(const RunState& run, HyfsHandle file, const std::string& name,
                        const std::string& text) {
  std::vector<int> values;
  require(run, hfreadpropertyint_f(file, name, values), name, text);
  require_count(run, values.size(), 1, name, text);
  return values[0];
}

std::vector<double> read_positions(const RunState& run, HyfsHandle file, const std::string& name,
                                   const std::string& text) {
  std::vector<double> values;
  int count = 0;
  require(run, hfgetpropertynumber_f(file, name, count), name, text);
  require_count(run, static_cast<std::size_t>(count), run.mesh.NUMnode, name, text);
  require(run, hfreadpropertydouble_f(file, name, values), name, text);
  return values;
}

// Positions have 4 bytes in this format.
void take_positions(RunState& run, const std::vector<double>& values, Array<double>& positions) {
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const float position = static_cast<float>(values[static_cast<std::size_t>(n) - 1]);
    if (!std::isfinite(position)) {
      fatal_error(run.messages, "The position of node " + std::to_string(n) + " is not a number");
    }
    positions(n) = static_cast<double>(position);
  }
}

}  // namespace

void READ_N3D_MESH(RunState& run) {
  const std::string& path = run.settings.hyfs_n3d_path;
  console(run.messages, "Reading N3D mesh data...\n");
  const HyfsHandle file = open_mesh_file(run);
  HyfsHandle group = 0;
  require(run, hfopengroup_f(file, path, group), path, "HF_OPEN_GROUP error");
  // All that the counts are checked against comes before they allocate anything.
  const UniformGrid grid = read_uniform_grid(run, group);
  const std::vector<float> depths = read_depth_planes(run, group);
  require(run, hfclosefile_f(file), "", "HF_CLOSE_FILE error");

  allocate_mesh_arrays(run);
  place_uniform_nodes(run, grid);
  take_depths(run, depths);
  finish_mesh(run);
}

void READ_GR3D_MESH(RunState& run) {
  console(run.messages, "Reading GR3D mesh data...\n");
  const HyfsHandle file = open_mesh_file(run);
  const int NumI = read_count_property(run, file, "NumI", "HF_READ_PROPERTY_FLOAT(NX) error");
  const int NumJ = read_count_property(run, file, "NumJ", "HF_READ_PROPERTY_FLOAT(NY) error");
  const int NumK = read_count_property(run, file, "NumK", "HF_READ_PROPERTY_FLOAT(L) error");
  set_counts(run, NumI, NumJ, NumK);
  const std::vector<double> x = read_positions(run, file, "X", "HF_READ_PROPERTY_DOUBLE(X) error");
  const std::vector<double> y = read_positions(run, file, "Y", "HF_READ_PROPERTY_DOUBLE(Y) error");
  const std::string depth_text = "HF_READ_PROPERTY_FLOAT(H) error";
  std::vector<float> depths;
  require(run, hfreadpropertyfloat_f(file, "Depth", depths), "Depth", depth_text);
  require_count(run, depths.size(), run.mesh.NUMnode, "Depth", depth_text);
  require(run, hfclosefile_f(file), "", "HF_CLOSE_FILE error");

  allocate_mesh_arrays(run);
  take_positions(run, x, run.mesh.Xnode);
  take_positions(run, y, run.mesh.Ynode);
  take_depths(run, depths);
  finish_mesh(run);
}

}  // namespace dfl
