#include "mesh/neighbour_file.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>

#include "control/text_tools.h"
#include "mesh/record_file.h"

namespace dfl {

namespace {

constexpr std::size_t version_width = 7;
constexpr std::uint32_t head_bytes = 2 * sizeof(int) + version_width;
constexpr std::uint32_t head_record_bytes = head_bytes + 2 * sizeof(std::uint32_t);
constexpr float oldest_version = 2.2f;

[[noreturn]] void stop_at_file(const RunState& run, const std::string& text) {
  fatal_error(run.messages, "Neighbor file \"" + run.settings.neighbor_file + "\": " + text);
}

[[noreturn]] void stop_damaged(const RunState& run, const std::string& text) {
  stop_at_file(run, "damaged, " + text + "; delete it to have it built anew");
}

std::string system_text() {
  return errno != 0 ? std::strerror(errno) : "write error";
}

void check_kind_of_file(const RunState& run, const std::string& path) {
  std::error_code error;
  const std::filesystem::file_type type = std::filesystem::status(path, error).type();
  if (type == std::filesystem::file_type::directory) stop_at_file(run, "it is a folder");
  if (type != std::filesystem::file_type::regular &&
      type != std::filesystem::file_type::character) {
    stop_at_file(run, "not a regular file");
  }
}

void open_empty(RunState& run, const std::string& path) {
  MeshState& mesh = run.mesh;
  if (mesh.neighbour_file != nullptr) std::fclose(mesh.neighbour_file);
  errno = 0;
  mesh.neighbour_file = open_file(path, "w+b");
  if (mesh.neighbour_file == nullptr) stop_at_file(run, "cannot write it: " + system_text());
}

enum class Head { good, corrupted, old };

Head read_head(RunState& run, RecordReader& reader) {
  std::array<char, head_bytes> head;
  if (!reader.read(head.data(), head_bytes)) return Head::corrupted;
  int nodes = 0, elements = 0;
  std::memcpy(&nodes, head.data(), sizeof nodes);
  std::memcpy(&elements, head.data() + sizeof nodes, sizeof elements);
  const char* version_text = head.data() + 2 * sizeof(int);
  float version = 0.0f;
  const std::from_chars_result result = std::from_chars(version_text, version_text + 3, version);
  if (result.ec != std::errc()) return Head::corrupted;
  if (version < oldest_version) {
    REPORT(run.messages, false, "Need to generate a v2.2-compatible neighbor file");
    return Head::old;
  }
  if (nodes != run.mesh.NUMnode || elements != run.mesh.NUMelem) {
    REPORT_INT2(run.messages, true, "Mesh and neighbor file do not agree", nodes, elements);
  }
  return Head::good;
}

// One record for each element, in any order, each element once.
class ElementRecords {
 public:
  explicit ElementRecords(const RunState& run_in)
      : run(run_in), reader(run_in.mesh.neighbour_file) {
    seen.allocate(run.mesh.NUMelem);
  }
  RecordReader& records() { return reader; }

  // Reads the next record, of the element number and further integers.
  template <std::size_t size>
  void read(std::array<int, size>& items, const char* what) {
    if (!reader.read(items.data(), sizeof items)) stop_unreadable(what);
    const int e = items[0];
    if (e < 1 || e > run.mesh.NUMelem) {
      stop_damaged(run, std::string("in the ") + what + ": expected an element number from 1 to " +
                            std::to_string(run.mesh.NUMelem) + ", found " + std::to_string(e));
    }
    if (seen(e)) {
      stop_damaged(run, std::string("in the ") + what + ": element " + std::to_string(e) +
                            " stands in two records");
    }
    seen(e) = 1;
  }
  [[noreturn]] void stop_unreadable(const char* what) const {
    stop_damaged(run, std::string("in the ") + what +
                          ": a record cannot be read or the file ends too early");
  }

 private:
  const RunState& run;
  RecordReader reader;
  Array<char> seen;
};

void read_lists(RunState& run) {
  MeshState& mesh = run.mesh;
  constexpr const char* what = "neighbor lists";
  ElementRecords in(run);
  if (!in.records().read(&mesh.NUMneigh, sizeof mesh.NUMneigh)) in.stop_unreadable(what);
  if (mesh.NUMneigh < 0 || mesh.NUMneigh >= std::max(mesh.NUMelem, 1)) {
    stop_damaged(run, "longest neighbor list " + std::to_string(mesh.NUMneigh));
  }
  console(run.messages, "Reading data from neighbor file...\n");
  // The lists as they come, then by element.
  std::vector<int> list;
  Array<int> start;
  start.allocate(mesh.NUMelem);
  for (int i = 1; i <= mesh.NUMelem; ++i) {
    std::array<int, 2> items{};
    in.read(items, what);
    const auto& [e, count] = items;
    if (count < 0 || count > mesh.NUMneigh) {
      stop_damaged(run, "element " + std::to_string(e) + " has " + std::to_string(count) +
                            " neighbors, expected 0 to " + std::to_string(mesh.NUMneigh));
    }
    if (list.size() + static_cast<std::size_t>(count) > std::numeric_limits<int>::max() - 1) {
      stop_at_file(run, "too many neighbors");
    }
    mesh.NEIGHcount(e) = count;
    start(e) = static_cast<int>(list.size());
    for (int k = 1; k <= count; ++k) {
      int f = 0;
      if (!in.records().read(&f, sizeof f)) in.stop_unreadable(what);
      if (f < 1 || f > mesh.NUMelem) {
        stop_damaged(run, "neighbor " + std::to_string(f) + " of element " + std::to_string(e) +
                              " is no element");
      }
      list.push_back(f);
    }
  }
  mesh.NEIGHstart.allocate(mesh.NUMelem + 1, 1);
  mesh.NEIGHlist.allocate(static_cast<int>(list.size()));
  int place = 1;
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    mesh.NEIGHstart(e) = place;
    for (int k = 0; k < mesh.NEIGHcount(e); ++k) {
      mesh.NEIGHlist(place++) = list[static_cast<std::size_t>(start(e) + k)];
    }
  }
  mesh.NEIGHstart(mesh.NUMelem + 1) = place;
}

void stop_if_not_written(RunState& run, RecordWriter& writer) {
  errno = 0;
  if (!writer.flush()) stop_at_file(run, "cannot write it: " + system_text());
}

void check_references(const RunState& run, int e, const ElementBoundaries& refs,
                      const Array<Boundary>& boundaries) {
  for (std::size_t slot = 0; slot < refs.BND.size(); ++slot) {
    const int boundary = refs.BND[slot], segment = refs.SEG[slot];
    const bool empty = boundary == 0 && segment == 0;
    if (!empty && (boundary < 1 || boundary > boundaries.size() || segment < 1 ||
                   segment >= boundaries(boundary).NUMpts)) {
      stop_damaged(run, "element " + std::to_string(e) + " refers to segment " +
                            std::to_string(segment) + " of boundary " + std::to_string(boundary) +
                            ", which the mesh does not have");
    }
  }
}

}  // namespace

bool read_neighbour_lists(RunState& run) {
  MeshState& mesh = run.mesh;
  mesh.neighbour_file = nullptr;
  if (run.settings.neighbor_file == "none") return false;
  const std::string path = found_path(run.settings.neighbor_file);
  if (!file_exists(path)) {
    open_empty(run, path);
    return false;
  }
  check_kind_of_file(run, path);
  mesh.neighbour_file = open_file(path, "rb");
  if (mesh.neighbour_file == nullptr) stop_at_file(run, "cannot open it: " + system_text());
  Head head = Head::good;
  {
    RecordReader reader(mesh.neighbour_file);
    head = read_head(run, reader);
  }
  if (head != Head::good) {
    if (head == Head::corrupted) console(run.messages, "Neighbors file corrupted >>> ");
    open_empty(run, path);
    return false;
  }
  read_lists(run);
  return true;
}

void write_neighbour_lists(RunState& run) {
  MeshState& mesh = run.mesh;
  if (mesh.neighbour_file == nullptr) return;
  console(run.messages, "Writing data to neighbor file...\n");
  std::rewind(mesh.neighbour_file);
  constexpr std::array<char, head_record_bytes> room_for_head{};
  std::fwrite(room_for_head.data(), 1, room_for_head.size(), mesh.neighbour_file);
  RecordWriter writer(mesh.neighbour_file);
  writer.write(&mesh.NUMneigh, sizeof mesh.NUMneigh);
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    const std::array<int, 2> items = {e, mesh.NEIGHcount(e)};
    writer.write(items.data(), sizeof items);
    for (int k = 0; k < mesh.NEIGHcount(e); ++k) {
      writer.write(&mesh.NEIGHlist(mesh.NEIGHstart(e) + k), sizeof(int));
    }
  }
  stop_if_not_written(run, writer);
}

void read_boundary_flags(RunState& run, Array<Logical>& flags) {
  ElementRecords in(run);
  for (int i = 1; i <= run.mesh.NUMelem; ++i) {
    std::array<int, 2> items{};
    in.read(items, "boundary element lists");
    flags(items[0]) = items[1];
  }
}

void read_boundary_references(RunState& run) {
  MeshState& mesh = run.mesh;
  ElementRecords in(run);
  for (int i = 1; i <= mesh.NUMelem; ++i) {
    std::array<int, 13> items{};
    in.read(items, "element boundary lists");
    const int e = items[0];
    ElementBoundaries &land = mesh.LANDrefs(e), &open = mesh.OPENrefs(e);
    for (std::size_t slot = 0; slot < 3; ++slot) {
      land.BND[slot] = items[4 * slot + 1];
      land.SEG[slot] = items[4 * slot + 2];
      open.BND[slot] = items[4 * slot + 3];
      open.SEG[slot] = items[4 * slot + 4];
    }
    check_references(run, e, land, mesh.LANDbnd);
    check_references(run, e, open, mesh.OPENbnd);
  }
}

void write_boundary_flags(RunState& run, const Array<Logical>& flags) {
  if (run.mesh.neighbour_file == nullptr) return;
  RecordWriter writer(run.mesh.neighbour_file);
  for (int e = 1; e <= run.mesh.NUMelem; ++e) {
    const std::array<int, 2> items = {e, flags(e)};
    writer.write(items.data(), sizeof items);
  }
  stop_if_not_written(run, writer);
}

void write_boundary_references(RunState& run) {
  const MeshState& mesh = run.mesh;
  if (mesh.neighbour_file == nullptr) return;
  RecordWriter writer(mesh.neighbour_file);
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    const ElementBoundaries &land = mesh.LANDrefs(e), &open = mesh.OPENrefs(e);
    std::array<int, 13> items{e};
    for (std::size_t slot = 0; slot < 3; ++slot) {
      items[4 * slot + 1] = land.BND[slot];
      items[4 * slot + 2] = land.SEG[slot];
      items[4 * slot + 3] = open.BND[slot];
      items[4 * slot + 4] = open.SEG[slot];
    }
    writer.write(items.data(), sizeof items);
  }
  stop_if_not_written(run, writer);
}

void close_neighbour_file(RunState& run) {
  MeshState& mesh = run.mesh;
  if (mesh.neighbour_file == nullptr) return;
  if (mesh.NEIGHnew) {
    std::array<char, head_bytes> head;
    std::memcpy(head.data(), &mesh.NUMnode, sizeof mesh.NUMnode);
    std::memcpy(head.data() + sizeof(int), &mesh.NUMelem, sizeof mesh.NUMelem);
    static_assert(std::char_traits<char>::length(program_version) == version_width);
    std::memcpy(head.data() + 2 * sizeof(int), program_version, version_width);
    std::rewind(mesh.neighbour_file);
    RecordWriter writer(mesh.neighbour_file);
    writer.write(head.data(), head_bytes);
    stop_if_not_written(run, writer);
  }
  errno = 0;
  if (std::fclose(mesh.neighbour_file) != 0 && mesh.NEIGHnew) {
    stop_at_file(run, "cannot write it: " + system_text());
  }
  mesh.neighbour_file = nullptr;
}

}  // namespace dfl
