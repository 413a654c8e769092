#include "mesh/neighbours.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <vector>

#include "mesh/neighbour_file.h"
#include "mesh/node_elements.h"
#include "mesh/progress_lines.h"

namespace dfl {

namespace {

// Two sweeps visit the elements by their left and by their right ends. In the first an element's
// list follows SORTxmin upward, in the second SORTxmax downward; where the sweeps overlap the
// second counts. A sweep looks at a strip around the element only, told by keys rounded to 4 bytes:
// with coordinates of tens of millions the rounding passes the margin and can cost a wide
// neighbour. The lists come from the elements around each node, cut to the strip, which gives the
// same in less time.

constexpr double margin = 1.0;  // mesh units
constexpr int table_slots = 100;

// Where the strips begin.
struct CoarseTable {
  std::array<double, table_slots> keys{};    // ascending, XMINelem at the positions
  std::array<int, table_slots> positions{};  // in SORTxmin
  double widest = 0.0;                       // widest element in x, rounded to 4 bytes
};

struct SweepRange {
  int last_up = 0;    // the first sweep covers places 1 to this of SORTxmin
  int last_down = 1;  // the second covers NUMelem down to this of SORTxmax
};

struct Sweep {
  const MeshState& mesh;
  bool cell_corners = false;  // corner nodes of an element's cell count as its nodes
  CoarseTable table;
  SweepRange range;
  NodeElements by_xmin, by_xmax;  // places in SORTxmin and SORTxmax
};

CoarseTable coarse_table(const MeshState& mesh) {
  CoarseTable table;
  const int N = mesh.NUMelem, spacing = N / (table_slots + 1);
  for (int slot = 1; slot <= table_slots; ++slot) {
    const int position = spacing == 0 ? 1 : slot * spacing;
    table.positions[static_cast<std::size_t>(slot) - 1] = position;
    table.keys[static_cast<std::size_t>(slot) - 1] = mesh.XMINelem(mesh.SORTxmin(position));
  }
  float widest = -999.0f;
  for (int e = 1; e <= N; ++e) {
    widest = std::max(widest, static_cast<float>(mesh.XMAXelem(e) - mesh.XMINelem(e)));
  }
  table.widest = static_cast<double>(widest);
  return table;
}

SweepRange sweep_range(int N) {
  const float fifth = 0.2f * static_cast<float>(N);
  SweepRange range;
  range.last_up = std::min(N, static_cast<int>(static_cast<float>(N / 2) + fifth));
  range.last_down = std::max(1, static_cast<int>(static_cast<float>(N / 2 + 1) - fifth));
  return range;
}

// First place of SORTxmin in the strip of an element.
int lowest_place(const Sweep& sweep, int e) {
  const CoarseTable& table = sweep.table;
  const float lowkey = static_cast<float>(sweep.mesh.XMINelem(e) - margin - table.widest);
  const auto slot =
      std::lower_bound(table.keys.begin(), table.keys.end(), static_cast<double>(lowkey));
  if (slot == table.keys.begin()) return 1;
  return table.positions[static_cast<std::size_t>(slot - table.keys.begin()) - 1];
}

// Last place of SORTxmax in the strip of an element.
int highest_place(const Sweep& sweep, int e) {
  const CoarseTable& table = sweep.table;
  const float highkey = static_cast<float>(sweep.mesh.XMAXelem(e) + table.widest + margin);
  const auto slot =
      std::upper_bound(table.keys.begin(), table.keys.end(), static_cast<double>(highkey));
  if (slot == table.keys.end()) return sweep.mesh.NUMelem;
  return table.positions[static_cast<std::size_t>(slot - table.keys.begin())];
}

void sort_places(std::vector<int>& places) {
  constexpr std::size_t long_list = 40;
  if (places.size() > long_list) {
    std::sort(places.begin(), places.end());
    return;
  }
  // Three ascending runs of a few numbers.
  for (std::size_t i = 1; i < places.size(); ++i) {
    const int place = places[i];
    std::size_t j = i;
    for (; j > 0 && places[j - 1] > place; --j) places[j] = places[j - 1];
    places[j] = place;
  }
}

// Places of the elements at the nodes of e, ascending, each once; e is among them.
void collect_places(const Sweep& sweep, const NodeElements& lists, int e,
                    std::vector<int>& places) {
  const MeshState& mesh = sweep.mesh;
  places.clear();
  const auto add = [&](int node) {
    const std::span<const int> found = around(lists, node);
    places.insert(places.end(), found.begin(), found.end());
  };
  add(mesh.ELnode1(e));
  add(mesh.ELnode2(e));
  add(mesh.ELnode3(e));
  if (sweep.cell_corners) {
    const int cell = mesh.ELcell(e);
    for (int side = 1; side <= 4 && cell > 0; ++side) add(mesh.CELLcorners(cell, side));
  }
  sort_places(places);
  places.erase(std::unique(places.begin(), places.end()), places.end());
}

// The list of e in the order of the first sweep, as far as the strip goes.
void list_upward(const Sweep& sweep, int e, std::vector<int>& list) {
  const MeshState& mesh = sweep.mesh;
  collect_places(sweep, sweep.by_xmin, e, list);
  const int lowest = lowest_place(sweep, e);
  const double right = mesh.XMAXelem(e) + margin;
  std::size_t count = 0;
  for (int place : list) {
    const int f = mesh.SORTxmin(place);
    if (place < lowest || f == e) continue;
    if (mesh.XMINelem(f) > right) break;
    list[count++] = f;
  }
  list.resize(count);
}

// The list of e in the order of the second sweep.
void list_downward(const Sweep& sweep, int e, std::vector<int>& list) {
  const MeshState& mesh = sweep.mesh;
  collect_places(sweep, sweep.by_xmax, e, list);
  std::reverse(list.begin(), list.end());
  const int highest = highest_place(sweep, e);
  const double left = mesh.XMINelem(e) - margin;
  std::size_t count = 0;
  for (int place : list) {
    const int f = mesh.SORTxmax(place);
    if (place > highest || f == e) continue;
    if (mesh.XMAXelem(f) < left) break;
    list[count++] = f;
  }
  list.resize(count);
}

int report_interval(int elements) {
  if (elements <= 1000) return 1;
  if (elements <= 10000) return 10;
  return elements <= 100000 ? 100 : 1000;
}

// Goes through both sweeps: use(e, list) for each element visited, in the order of the sweeps, with
// progress on the console.
template <class Use>
void NEIGHBOUR_SWEEP(const Sweep& sweep, const MessageState& messages, const Use& use) {
  const MeshState& mesh = sweep.mesh;
  const int N = mesh.NUMelem;
  ProgressLines progress(messages, N, " elements");
  std::vector<int> list;
  const int interval = report_interval(sweep.range.last_up);
  for (int i = 1; i <= sweep.range.last_up; ++i) {
    const int e = mesh.SORTxmin(i);
    list_upward(sweep, e, list);
    use(e, list);
    if (i % interval == 0) progress.show(i);
  }
  constexpr int hosted_interval = 1000;
  int shown = N / 2;
  for (int i = N; i >= sweep.range.last_down; --i) {
    const int e = mesh.SORTxmax(i);
    list_downward(sweep, e, list);
    use(e, list);
    if (shown == N) continue;
    ++shown;
    if (!messages.HOSTEDmode || shown % hosted_interval == 0) progress.show(shown);
  }
}

void count_neighbours(RunState& run, const Sweep& sweep) {
  MeshState& mesh = run.mesh;
  std::int64_t total = 0;
  NEIGHBOUR_SWEEP(sweep, run.messages, [&](int e, const std::vector<int>& list) {
    const int count = static_cast<int>(list.size());
    total += count - mesh.NEIGHcount(e);
    if (total >= std::numeric_limits<int>::max()) {
      fatal_error(run.messages, "Too many element neighbors in the mesh");
    }
    mesh.NEIGHcount(e) = count;
    mesh.NUMneigh = std::max(mesh.NUMneigh, count);
  });
  mesh.NEIGHstart.allocate(mesh.NUMelem + 1, 1);
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    mesh.NEIGHstart(e + 1) = mesh.NEIGHstart(e) + mesh.NEIGHcount(e);
  }
  mesh.NEIGHlist.allocate(static_cast<int>(total));
}

}  // namespace

void MESH_NEIGHBOURS(RunState& run) {
  MeshState& mesh = run.mesh;
  mesh.NEIGHcount.allocate(mesh.NUMelem);
  mesh.NUMneigh = 0;
  mesh.NEIGHnew = !read_neighbour_lists(run);
  if (!mesh.NEIGHnew) return;
  const bool cell_corners = run.settings.method.mesh == MeshFormat::n2d && run.settings.rvs_mesh &&
                            mesh.ELcell.size() == mesh.NUMelem;
  const Sweep sweep = {mesh,
                       cell_corners,
                       mesh.NUMelem > 0 ? coarse_table(mesh) : CoarseTable{},
                       sweep_range(mesh.NUMelem),
                       places_around_nodes(mesh, mesh.SORTxmin),
                       places_around_nodes(mesh, mesh.SORTxmax)};
  console(run.messages,
          "Need to create new element neighbor list...\n   Checking element neighbors...\n");
  count_neighbours(run, sweep);
  console(run.messages, "Creating element neighbor lists...\n");
  NEIGHBOUR_SWEEP(sweep, run.messages, [&](int e, const std::vector<int>& list) {
    // An element in both sweeps is filled twice; its count is that of the second.
    const auto count = std::min(list.size(), static_cast<std::size_t>(mesh.NEIGHcount(e)));
    for (std::size_t k = 0; k < count; ++k) {
      mesh.NEIGHlist(mesh.NEIGHstart(e) + static_cast<int>(k)) = list[k];
    }
  });
  write_neighbour_lists(run);
}

}  // namespace dfl
