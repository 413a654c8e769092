#include "mesh/grid_boundary_file.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>

#include "control/text_reader.h"
#include "control/text_tools.h"
#include "dataset/hyfs.h"
#include "mesh/boundaries.h"

namespace dfl {

namespace {

// ---- writing ----

[[noreturn]] void stop_at_file(const RunState& run, const std::string& text) {
  fatal_error(run.messages, "Boundary file \"" + run.settings.bc_file + "\": " + text);
}

// Collects text before it is written: the file has millions of lines.
class BoundaryText {
 public:
  explicit BoundaryText(std::FILE* file_in) : file(file_in) {}

  void add(std::string_view text) { collected += text; }
  void add(int value, std::size_t width) {
    std::array<char, 16> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    add_field({digits.data(), static_cast<std::size_t>(end - digits.data())}, width);
  }
  void add(double value, std::size_t width) {
    constexpr int decimals = 3;
    std::array<char, 24> digits;
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                      std::chars_format::fixed, decimals);
    if (result.ec != std::errc()) {
      collected += columns(value, static_cast<int>(width), decimals);
      return;
    }
    add_field({digits.data(), static_cast<std::size_t>(result.ptr - digits.data())}, width);
  }
  void end_line() {
    collected += '\n';
    constexpr std::size_t collected_bytes = 1 << 16;
    if (collected.size() >= collected_bytes) write();
  }
  // False if anything could not be written.
  bool finish() {
    write();
    return good;
  }

 private:
  void add_field(std::string_view digits, std::size_t width) {
    if (digits.size() > width) {
      collected.append(width, '*');
      return;
    }
    collected.append(width - digits.size(), ' ').append(digits);
  }
  void write() {
    good = std::fwrite(collected.data(), 1, collected.size(), file) == collected.size() && good;
    collected.clear();
  }
  std::FILE* file;
  std::string collected;
  bool good = true;
};

void add_mesh(const MeshState& mesh, BoundaryText& out) {
  constexpr std::size_t count_width = 12, number_width = 8, place_width = 16, depth_width = 12;
  out.add("DFL_BC 1");
  out.end_line();
  out.add(mesh.NUMelem, count_width);
  out.add(mesh.NUMnode, count_width);
  out.end_line();
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    out.add(n, number_width);
    out.add(mesh.Xnode(n), place_width);
    out.add(mesh.Ynode(n), place_width);
    out.add(static_cast<double>(mesh.DEPTHnode(n)), depth_width);
    out.end_line();
  }
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    for (int number : {e, 3, mesh.ELnode1(e), mesh.ELnode2(e), mesh.ELnode3(e)}) {
      out.add(number, number_width);
    }
    out.end_line();
  }
}

// kind: what stands behind the number of nodes of a boundary.
void add_boundaries(const NodeChains& chains, const std::string& name, const std::string& kind,
                    BoundaryText& out) {
  out.add(std::to_string(chains.size()) + " = Number of " + name + " boundaries");
  out.end_line();
  out.add(std::to_string(chains.nodes.size()) + " = Total number of " + name + " boundary nodes");
  out.end_line();
  for (std::size_t k = 0; k < chains.size(); ++k) {
    out.add(std::to_string(chains.chain(k).size()) + kind + " = Number of nodes for " + name +
            " boundary " + std::to_string(k + 1));
    out.end_line();
    for (int node : chains.chain(k)) {
      out.add(std::to_string(node));
      out.end_line();
    }
  }
}

// ---- reading ----

struct Head {
  int elements = 0, nodes = 0;
  bool good = false;
};

Head read_head(const RunState& run, const std::string& path) {
  TextReader in(run.messages, path);
  Head head;
  std::string title;
  head.good = in.read_line(title) && in.try_read(head.elements, head.nodes);
  return head;
}

// A count of things that each take a line or more.
int read_count(TextReader& in, const char* what) {
  int count = 0;
  in.read(count);
  if (count < 0 || static_cast<std::size_t>(count) > in.bytes_left() / 2 + 1) {
    in.stop("a number of " + std::string(what) + " of " + std::to_string(count) +
            " cannot stand in a file of this size");
  }
  return count;
}

void read_boundaries(TextReader& in, const MeshState& mesh, const char* what, int& count,
                     Array<Boundary>& boundaries) {
  count = read_count(in, what);
  Ignored total;
  in.read(total);
  boundaries.allocate(count);
  for (Boundary& boundary : boundaries) {
    const int points = read_count(in, "boundary nodes");
    boundary.NODES.allocate(points);
    for (int& node : boundary.NODES) {
      in.read(node);
      if (node < 1 || node > mesh.NUMnode) {
        in.stop("expected a boundary node from 1 to " + std::to_string(mesh.NUMnode) + ", found " +
                std::to_string(node));
      }
    }
    set_boundary_lines(mesh, boundary);
  }
}

// ---- cellstrings ----

bool read_cellstring(HyfsHandle file, const std::string& path, std::vector<int>& cells) {
  HyfsHandle group = 0;
  std::vector<int> string;
  if (hfopengroup_f(file, path, group) < 0) return false;
  const bool good = hfreadpropertyint_f(group, "Cells", string) >= 0;
  if (hfclosegroup_f(group) < 0 || !good) return false;
  cells.insert(cells.end(), string.begin(), string.end());
  return true;
}

Array<char> cellstring_nodes(const RunState& run) {
  Array<char> marks;
  marks.allocate(run.mesh.NUMnode);
  int outside = 0;
  for (int cell : run.grid.CSTRcells) {
    if (cell < 1 || cell > run.grid.NUMcells) {
      ++outside;
      continue;
    }
    for (int corner = 1; corner <= 4; ++corner) {
      const int node = run.grid.CELLnodes(cell, corner);
      if (node > 0) marks(node) = 1;
    }
  }
  if (outside > 0) {
    echo_warning(run.messages, std::to_string(outside) + " cells of the cellstrings in \"" +
                                   run.grid.cellstring_file + "\" are no cells of the grid");
  }
  return marks;
}

}  // namespace

void CHECK_BOUNDARY_FILE(RunState& run) {
  const MeshState& mesh = run.mesh;
  const std::string path = found_path(run.settings.bc_file);
  if (file_exists(path)) {
    const Head head = read_head(run, path);
    if (!head.good) {
      console(run.messages, "Boundary file corrupted -> building new BC file\n");
    } else if (head.elements == mesh.NUMelem && head.nodes == mesh.NUMnode) {
      return;
    } else {
      REPORT_INT2(run.messages, false, "Mesh and BC mismatch -> building new BC file", head.nodes,
                  head.elements);
    }
  }
  bool no_cellstrings = true;
  READ_CELLSTRINGS(run, no_cellstrings);
  BUILD_BOUNDARY_FILE(run, no_cellstrings);
}

void READ_CELLSTRINGS(RunState& run, bool& no_cellstrings) {
  GridState& grid = run.grid;
  no_cellstrings = true;
  grid.CSTRcells.clear();
  if (grid.CELLstrings.empty()) return;
  HyfsHandle file = 0;
  bool good = hfopenfile_f(found_path(grid.cellstring_file), true, file) >= 0;
  if (good) {
    for (const std::string& path : grid.CELLstrings) {
      good = good && read_cellstring(file, path, grid.CSTRcells);
    }
    good = hfclosefile_f(file) >= 0 && good;
  }
  no_cellstrings = !good;
  if (good) return;
  grid.CSTRcells.clear();
  echo_warning(run.messages, "the cellstrings in \"" + grid.cellstring_file +
                                 "\" cannot be read: the mesh has no open boundaries");
}

void BUILD_BOUNDARY_FILE(RunState& run, bool no_cellstrings) {
  console(run.messages, "Creating RVS cellstring list...\n");
  Array<char> marks;
  if (!no_cellstrings) marks = cellstring_nodes(run);
  write_boundary_file(run, find_grid_boundaries(run, marks, no_cellstrings));
  if (run.mesh.neighbour_file != nullptr && !run.mesh.NEIGHnew) {
    echo_warning(run.messages,
                 "the boundary file is new, but the neighbor file with its lists of boundary "
                 "elements is not: delete both if the boundaries have changed");
  }
}

void write_boundary_file(const RunState& run, const GridBoundaries& boundaries) {
  // Written aside, so that a run that is stopped here leaves no file with a good head.
  const std::string path = found_path(run.settings.bc_file);
  const std::string aside = path + ".new";
  errno = 0;
  std::FILE* file = open_file(aside, "w");
  if (file == nullptr) stop_at_file(run, std::string("cannot write it: ") + std::strerror(errno));
  BoundaryText out(file);
  add_mesh(run.mesh, out);
  add_boundaries(boundaries.open, "open", "", out);
  add_boundaries(boundaries.land, "land", " 10", out);
  bool good = out.finish();
  good = std::fclose(file) == 0 && good;
  std::error_code error;
  if (good) std::filesystem::rename(found_path(aside), path, error);
  if (!good || error) {
    std::remove(found_path(aside).c_str());
    stop_at_file(run, "cannot write it: " + (error ? error.message() : "write error"));
  }
}

void READ_GRID_BOUNDARIES(RunState& run) {
  MeshState& mesh = run.mesh;
  console(run.messages, "Reading grid bc data...\n");
  TextReader in(run.messages, found_path(run.settings.bc_file));
  int elements = 0, nodes = 0, number = 0;
  double x = 0.0, y = 0.0, depth = 0.0;
  in.skip_line();
  in.read(elements, nodes);
  for (int n = 1; n <= nodes; ++n) in.read(number, x, y, depth);
  for (int e = 1; e <= elements; ++e) {
    int corners = 0, a = 0, b = 0, c = 0;
    in.read(number, corners, a, b, c);
  }
  read_boundaries(in, mesh, "open boundaries", mesh.NUMopen, mesh.OPENbnd);
  read_boundaries(in, mesh, "land boundaries", mesh.NUMland, mesh.LANDbnd);
}

}  // namespace dfl
