#include "mesh/adcirc_mesh.h"

#include <charconv>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "control/text_reader.h"
#include "control/text_tools.h"
#include "mesh/boundaries.h"
#include "mesh/geometry.h"
#include "mesh/neighbours.h"

namespace dfl {

namespace {

void allocate_wave_arrays(WaveState& waves, int nodes) {
  waves.WAVEheight.allocate(nodes);
  waves.WAVEperiod.allocate(nodes, 1.0f);
  waves.WAVEdirx.allocate(nodes);
  waves.WAVEdiry.allocate(nodes);
  waves.WAVEbreak.allocate(nodes);
}

void allocate_bed_arrays(SedimentState& sediment, const Settings& settings, int nodes,
                         int elements) {
  for (Array<float>* field :
       {&sediment.USTAR, &sediment.TAUbed, &sediment.KSnode, &sediment.KSgrainnode,
        &sediment.BEDFORMnode, &sediment.MOBILITYnode, &sediment.QSED, &sediment.DZDT}) {
    field->allocate(nodes);
  }
  sediment.BEDrate.allocate(elements);
  if (settings.slope_effects) {
    sediment.BEDslopeX.allocate(nodes);
    sediment.BEDslopeY.allocate(nodes);
  }
  if (settings.morphology || settings.active_morphology || settings.adjust_currents) {
    sediment.DEPTHstart.allocate(nodes);
    sediment.BEDlevel.allocate(nodes);
    sediment.BEDchange.allocate(nodes);
  }
  if (settings.morphology || settings.active_morphology || settings.slope_effects) {
    sediment.ELEMwork.allocate(elements);
  }
}

std::string range_text(int highest) {
  return "from 1 to " + std::to_string(highest);
}

int read_number(TextReader& in, const char* what, int highest) {
  int number = 0;
  in.read_item(number);
  if (number < 1 || number > highest) {
    in.stop(std::string("expected ") + what + " " + range_text(highest) + ", found " +
            std::to_string(number));
  }
  return number;
}

// The number that opens a line; each may open one line only.
int read_line_number(TextReader& in, const char* what, Array<char>& seen) {
  const int number = read_number(in, what, seen.size());
  if (seen(number)) in.stop(std::string("second line of ") + what + " " + std::to_string(number));
  seen(number) = 1;
  return number;
}

// A count of records that each take some bytes of the file.
int read_count(TextReader& in, const char* what, int lowest, std::int64_t most) {
  int count = 0;
  in.read_item(count);
  if (count < lowest) {
    in.stop(std::string("expected a number of ") + what + " of " + std::to_string(lowest) +
            " or more, found " + std::to_string(count));
  }
  if (count > most) {
    in.stop(std::to_string(count) + " " + what + " cannot stand in a file of this size");
  }
  return count;
}

void skip_record(TextReader& in) {
  Ignored item;
  in.read(item);
}

// Most records that a file of this size can hold; the shortest is a digit and a line end.
std::int64_t most_records(const std::string& path) {
  std::error_code error;
  const std::uintmax_t bytes = std::filesystem::file_size(found_path(path), error);
  return error ? 0 : static_cast<std::int64_t>(bytes / 2) + 1;
}

void read_nodes(TextReader& in, MeshState& mesh) {
  Array<char> seen;
  seen.allocate(mesh.NUMnode);
  for (int i = 1; i <= mesh.NUMnode; ++i) {
    in.begin_record();
    const int n = read_line_number(in, "node", seen);
    in.read_item(mesh.Xnode(n));
    in.read_item(mesh.Ynode(n));
    in.read_item(mesh.DEPTHnode(n));
    in.end_record();
  }
}

void read_elements(TextReader& in, MeshState& mesh) {
  Array<char> seen;
  seen.allocate(mesh.NUMelem);
  for (int i = 1; i <= mesh.NUMelem; ++i) {
    in.begin_record();
    const int e = read_line_number(in, "element", seen);
    Ignored node_count;
    in.read_item(node_count);
    for (Array<int>* nodes : {&mesh.ELnode1, &mesh.ELnode2, &mesh.ELnode3}) {
      (*nodes)(e) = read_number(in, "node", mesh.NUMnode);
    }
    in.end_record();
  }
}

// The integer that follows on the line, if one does.
bool next_integer(const TextReader& in, int& value) {
  const std::string_view rest = in.rest_of_line();
  const std::size_t start = rest.find_first_not_of(" \t,");
  if (start == std::string_view::npos) return false;
  const std::from_chars_result result =
      std::from_chars(rest.data() + start, rest.data() + rest.size(), value);
  return result.ec == std::errc();
}

// Land boundaries that are weirs have two sides, front and back node on each line.
bool is_paired(int kind) {
  return kind == 4 || kind == 24 || kind == 5 || kind == 25;
}

// Reads the boundary and, if `back` is given, the second nodes of its lines.
void read_boundary_nodes(TextReader& in, const MeshState& mesh, int points, Boundary& boundary,
                         Boundary* back) {
  boundary.NODES.allocate(points);
  if (back != nullptr) back->NODES.allocate(points);
  for (int k = 1; k <= points; ++k) {
    in.begin_record();
    boundary.NODES(k) = read_number(in, "boundary node", mesh.NUMnode);
    if (back != nullptr) {
      if (int there = 0; !next_integer(in, there)) {
        in.stop("expected a second node on the line of a weir");
      }
      back->NODES(k) = read_number(in, "boundary node", mesh.NUMnode);
    }
    in.end_record();
  }
  set_boundary_lines(mesh, boundary);
  if (back != nullptr) set_boundary_lines(mesh, *back);
}

void read_open_boundaries(TextReader& in, MeshState& mesh, std::int64_t most) {
  in.begin_record();
  mesh.NUMopen = read_count(in, "open boundaries", 0, most);
  in.end_record();
  skip_record(in);
  mesh.OPENbnd.allocate(mesh.NUMopen);
  for (int b = 1; b <= mesh.NUMopen; ++b) {
    in.begin_record();
    const int points = read_count(in, "boundary nodes", 0, most);
    in.end_record();
    read_boundary_nodes(in, mesh, points, mesh.OPENbnd(b), nullptr);
  }
}

void read_land_boundaries(TextReader& in, MeshState& mesh, std::int64_t most) {
  in.begin_record();
  mesh.NUMland = read_count(in, "land boundaries", 0, most);
  in.end_record();
  skip_record(in);
  mesh.LANDbnd.allocate(mesh.NUMland);
  std::vector<Boundary> backs;
  for (int b = 1; b <= mesh.NUMland; ++b) {
    in.begin_record();
    const int points = read_count(in, "boundary nodes", 0, most);
    int kind = 0;
    const bool paired = next_integer(in, kind) && is_paired(kind);
    in.end_record();
    Boundary back;
    read_boundary_nodes(in, mesh, points, mesh.LANDbnd(b), paired ? &back : nullptr);
    if (paired) backs.push_back(back);
  }
  // Both sides of a weir are walls.
  for (const Boundary& back : backs) mesh.LANDbnd.push_back(back);
  mesh.NUMland = mesh.LANDbnd.size();
}

}  // namespace

void READ_ADCIRC_MESH(RunState& run) {
  MeshState& mesh = run.mesh;
  const std::string& path = run.settings.mesh_file;
  {
    TextReader in(run.messages, path);
    const std::int64_t most = most_records(path);
    console(run.messages, "Reading ADCIRC mesh data...\n");
    in.skip_line();
    in.begin_record();
    mesh.NUMelem = read_count(in, "elements", 1, most);
    mesh.NUMnode = read_count(in, "nodes", 1, most);
    in.end_record();
    echo_mesh_counts(run);
    allocate_mesh_arrays(run);
    read_nodes(in, mesh);
    start_moving_bed(run);
    read_elements(in, mesh);
    console(run.messages, "Reading boundary data...\n");
    read_open_boundaries(in, mesh, most);
    read_land_boundaries(in, mesh, most);
  }
  MESH_GEOMETRY(run);
  MESH_NEIGHBOURS(run);
  MESH_BOUNDARIES(run);
}

void echo_mesh_counts(const RunState& run) {
  echo(run.messages, "Input Mesh\n  Elements: %s\n  Nodes:    %s\n",
       columns(run.mesh.NUMelem, 8).c_str(), columns(run.mesh.NUMnode, 8).c_str());
}

void start_moving_bed(RunState& run) {
  SedimentState& sediment = run.sediment;
  if (!sediment.DEPTHstart.allocated()) return;
  sediment.DEPTHstart = run.mesh.DEPTHnode;
  sediment.BEDlevel = run.mesh.DEPTHnode;
}

void allocate_mesh_arrays(RunState& run) {
  MeshState& mesh = run.mesh;
  const int nodes = mesh.NUMnode, elements = mesh.NUMelem;
  mesh.Xnode.allocate(nodes);
  mesh.Ynode.allocate(nodes);
  mesh.DEPTHnode.allocate(nodes);
  for (Array<int>* list : {&mesh.ELnode1, &mesh.ELnode2, &mesh.ELnode3, &mesh.SORTxmin,
                           &mesh.SORTxmax, &mesh.NEIGHcount}) {
    list->allocate(elements);
  }
  mesh.AREAelem.allocate(elements);
  for (Array<double>* bound : {&mesh.XMINelem, &mesh.XMAXelem, &mesh.YMINelem, &mesh.YMAXelem}) {
    bound->allocate(elements);
  }
  // The fields at Tnow stay 0 in a run without currents; with currents they get their levels when
  // the flow starts.
  run.flow.ETAnode.allocate(nodes);
  run.flow.Hnode.allocate(nodes);
  run.flow.Unode.allocate(nodes, 0, 0);
  run.flow.Vnode.allocate(nodes, 0, 0);
  allocate_wave_arrays(run.waves, nodes);
  allocate_bed_arrays(run.sediment, run.settings, nodes, elements);
}

}  // namespace dfl
