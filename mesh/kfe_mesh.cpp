#include "mesh/kfe_mesh.h"

#include <cstdint>
#include <limits>
#include <string>

#include "control/text_reader.h"
#include "control/text_tools.h"
#include "mesh/adcirc_mesh.h"
#include "mesh/boundaries.h"
#include "mesh/geometry.h"
#include "mesh/neighbours.h"

namespace dfl {

namespace {

constexpr std::size_t line_width = 180;  // characters of a line that count
constexpr const char* element_word = "E4T";
constexpr const char* node_word = "ND";

struct WordLine {
  std::string word, rest;
};

bool read_word_line(TextReader& in, WordLine& line) {
  std::string text;
  if (!in.read_line(text)) return false;
  if (text.size() > line_width) text.resize(line_width);
  int parts = 0;
  CARD_SPLIT(text, ' ', parts, line.word, line.rest);
  if (parts == 1) line.rest.clear();
  return true;
}

void count_lines(TextReader& in, MeshState& mesh) {
  mesh.NUMelem = 0;
  mesh.NUMnode = 0;
  WordLine line;
  while (read_word_line(in, line)) {
    if (line.word == element_word) ++mesh.NUMelem;
    if (line.word == node_word) ++mesh.NUMnode;
  }
  if (mesh.NUMelem < 1) in.stop("expected lines that begin with E4T, found none");
  if (mesh.NUMnode < 1) in.stop("expected lines that begin with ND, found none");
}

// The next line, of whatever word: its place says what it is. The first line of another word than
// its place asks for is told in the log.
TextReader next_line(const RunState& run, TextReader& in, const char* word, bool& told) {
  WordLine line;
  if (!read_word_line(in, line)) in.stop("expected a line, found the end of the file");
  if (line.word != word && !told) {
    told = true;
    echo_warning(run.messages, in.path() + ":" + std::to_string(in.line()) + ": the line of \"" +
                                   line.word + "\" stands where one of " + word +
                                   " has to stand, and is read as such");
  }
  return TextReader(run.messages, in.path(), line.rest, in.line());
}

int read_number(TextReader& in, const char* what, int lowest, int highest) {
  int number = std::numeric_limits<int>::min();  // of an item left out
  in.read_item(number);
  if (number < lowest || number > highest) {
    in.stop(std::string("expected ") + what + " from " + std::to_string(lowest) + " to " +
            std::to_string(highest) + ", found " +
            (number == std::numeric_limits<int>::min() ? "none" : std::to_string(number)));
  }
  return number;
}

// The number that opens the items; each may do so once only.
int read_line_number(TextReader& in, const char* what, Array<char>& seen) {
  const int number = read_number(in, what, 1, seen.size());
  if (seen(number)) in.stop(std::string("second line of ") + what + " " + std::to_string(number));
  seen(number) = 1;
  return number;
}

void read_elements(RunState& run, TextReader& in, bool& told) {
  MeshState& mesh = run.mesh;
  Array<char> seen;
  seen.allocate(mesh.NUMelem);
  for (int i = 1; i <= mesh.NUMelem; ++i) {
    TextReader line = next_line(run, in, element_word, told);
    line.begin_record();
    const int e = read_line_number(line, "element", seen);
    for (Array<int>* nodes : {&mesh.ELnode1, &mesh.ELnode2, &mesh.ELnode3}) {
      (*nodes)(e) = read_number(line, "node", 1, mesh.NUMnode);
    }
    run.grid.ELnode4(e) = read_number(line, "fourth node", 0, mesh.NUMnode);
    Ignored m;
    line.read_item(m);
  }
}

void read_nodes(RunState& run, TextReader& in, bool& told) {
  MeshState& mesh = run.mesh;
  Array<char> seen;
  seen.allocate(mesh.NUMnode);
  for (int i = 1; i <= mesh.NUMnode; ++i) {
    TextReader line = next_line(run, in, node_word, told);
    line.begin_record();
    const int n = read_line_number(line, "node", seen);
    line.read_item(mesh.Xnode(n));
    line.read_item(mesh.Ynode(n));
    line.read_item(mesh.DEPTHnode(n));
  }
}

void read_mesh_file(RunState& run) {
  TextReader in(run.messages, run.settings.mesh_file);
  console(run.messages, "Reading KFE mesh data...\n");
  in.skip_line();
  const TextReader::Place first = in.place();
  count_lines(in, run.mesh);
  echo_mesh_counts(run);
  in.go_to(first);
  allocate_mesh_arrays(run);
  run.grid.ELnode4.allocate(run.mesh.NUMelem);
  run.grid.FACEbc.allocate(run.mesh.NUMelem, 1, 4);
  bool told = false;
  read_elements(run, in, told);
  read_nodes(run, in, told);
  start_moving_bed(run);
}

void read_face_codes(RunState& run) {
  console(run.messages, "Reading mesh face bc data...\n");
  TextReader in(run.messages, run.settings.bc_file);
  in.skip_line();
  Array<char> seen;
  seen.allocate(run.mesh.NUMelem);
  for (int i = 1; i <= run.mesh.NUMelem; ++i) {
    in.begin_record();
    const int e = read_line_number(in, "element", seen);
    for (int face = 1; face <= 4; ++face) in.read_item(run.grid.FACEbc(e, face));
    in.end_record();
  }
}

}  // namespace

void READ_KFE_MESH(RunState& run) {
  MeshState& mesh = run.mesh;
  read_mesh_file(run);
  read_face_codes(run);
  // The model knows no boundary lists.
  mesh.NUMopen = 0;
  mesh.NUMland = 0;
  mesh.OPENbnd.allocate(0);
  mesh.LANDbnd.allocate(0);
  MESH_GEOMETRY(run);
  MESH_NEIGHBOURS(run);
  MESH_BOUNDARIES(run);
}

}  // namespace dfl
