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

// Two sweeps visit the elements, the first by their left ends and the second by their right ends.
// In the first an element's list follows SORTxmin upward, in the second SORTxmax downward; where
// the sweeps overlap the second counts. A sweep looks at a strip around the element only, told by
// keys rounded to 4 bytes: with coordinates of tens of millions the rounding passes the margin and
// can cost a wide neighbour. The lists are formed element by element from the elements around each
// node, cut to the strip and sorted, which gives the same in less time.

constexpr double margin = 1.0;  // mesh units
constexpr int table_slots = 100;

// Where the strips begin.
struct CoarseTable {
  std::array<double, table_slots> keys{};    // ascending, XMINelem at the positions
  std::array<int, table_slots> positions{};  // in SORTxmin
  double widest = 0.0;                       // widest element in x, rounded to 4 bytes
};

struct Sweep {
  const MeshState& mesh;
  bool cell_corners = false;  // corner nodes of an element's cell count as its nodes
  CoarseTable table;
  int last_up = 0;    // the first sweep covers places 1 to this of SORTxmin
  int last_down = 1;  // the second covers NUMelem down to this of SORTxmax
  NodeElements at_nodes;
  Array<int> place_xmin, place_xmax;  // of each element in SORTxmin and SORTxmax
};

// What the sweeps find for one element.
struct Found {
  struct Entry {
    int place;  // in the order of the list
    int element;
  };
  std::vector<Entry> list;
  int longest = 0;  // of its lists in the two sweeps
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

Array<int> places_of(const Array<int>& order) {
  Array<int> places;
  places.allocate(order.size());
  for (int i = 1; i <= order.size(); ++i) places(order(i)) = i;
  return places;
}

Sweep plan_sweep(const MeshState& mesh, bool cell_corners) {
  const int N = mesh.NUMelem;
  Sweep sweep = {.mesh = mesh,
                 .cell_corners = cell_corners,
                 .table = N > 0 ? coarse_table(mesh) : CoarseTable{},
                 .at_nodes = elements_around_nodes(mesh),
                 .place_xmin = places_of(mesh.SORTxmin),
                 .place_xmax = places_of(mesh.SORTxmax)};
  const float fifth = 0.2f * static_cast<float>(N);
  sweep.last_up = std::min(N, static_cast<int>(static_cast<float>(N / 2) + fifth));
  sweep.last_down = std::max(1, static_cast<int>(static_cast<float>(N / 2 + 1) - fifth));
  return sweep;
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

void sort_by_place(std::vector<Found::Entry>& list) {
  constexpr std::size_t long_list = 40;
  if (list.size() > long_list) {
    std::sort(list.begin(), list.end(),
              [](const Found::Entry& a, const Found::Entry& b) { return a.place < b.place; });
    return;
  }
  for (std::size_t i = 1; i < list.size(); ++i) {
    const Found::Entry entry = list[i];
    std::size_t j = i;
    for (; j > 0 && list[j - 1].place > entry.place; --j) list[j] = list[j - 1];
    list[j] = entry;
  }
}

// Calls use(f) for the elements at the nodes of e, several times for those at several of them.
template <class Use>
void for_elements_around(const Sweep& sweep, int e, const Use& use) {
  const MeshState& mesh = sweep.mesh;
  const auto at_node = [&](int node) {
    for (int f : around(sweep.at_nodes, node)) {
      if (f != e) use(f);
    }
  };
  at_node(mesh.ELnode1(e));
  at_node(mesh.ELnode2(e));
  at_node(mesh.ELnode3(e));
  if (!sweep.cell_corners) return;
  const int cell = mesh.ELcell(e);
  for (int side = 1; side <= 4 && cell > 0; ++side) at_node(mesh.CELLcorners(cell, side));
}

// Forms a list: the elements in the strip by ascending order(f). False if the strip leaves any out.
template <class InStrip, class Order>
bool form_list(const Sweep& sweep, int e, const InStrip& in_strip, const Order& order,
               std::vector<Found::Entry>& list) {
  list.clear();
  bool all = true;
  for_elements_around(sweep, e, [&](int f) {
    if (in_strip(f)) {
      list.push_back({order(f), f});
    } else {
      all = false;
    }
  });
  sort_by_place(list);
  const auto same = [](const Found::Entry& a, const Found::Entry& b) {
    return a.element == b.element;
  };
  list.erase(std::unique(list.begin(), list.end(), same), list.end());
  return all;
}

bool form_list_up(const Sweep& sweep, int e, std::vector<Found::Entry>& list) {
  const MeshState& mesh = sweep.mesh;
  const int lowest = lowest_place(sweep, e);
  const double right = mesh.XMAXelem(e) + margin;
  return form_list(
      sweep, e, [&](int f) { return sweep.place_xmin(f) >= lowest && mesh.XMINelem(f) <= right; },
      [&](int f) { return sweep.place_xmin(f); }, list);
}

bool form_list_down(const Sweep& sweep, int e, std::vector<Found::Entry>& list) {
  const MeshState& mesh = sweep.mesh;
  const int highest = highest_place(sweep, e);
  const double left = mesh.XMINelem(e) - margin;
  return form_list(
      sweep, e, [&](int f) { return sweep.place_xmax(f) <= highest && mesh.XMAXelem(f) >= left; },
      [&](int f) { return -sweep.place_xmax(f); }, list);
}

// True if the first sweep finds all neighbours of e.
bool complete_up(const Sweep& sweep, int e) {
  const int lowest = lowest_place(sweep, e);
  const double right = sweep.mesh.XMAXelem(e) + margin;
  bool all = true;
  for_elements_around(sweep, e, [&](int f) {
    all = all && sweep.place_xmin(f) >= lowest && sweep.mesh.XMINelem(f) <= right;
  });
  return all;
}

void find_neighbours(const Sweep& sweep, int e, Found& found) {
  const bool up = sweep.place_xmin(e) <= sweep.last_up;
  const bool down = sweep.place_xmax(e) >= sweep.last_down;
  found.list.clear();
  found.longest = 0;
  bool complete = false;
  if (down) {
    complete = form_list_down(sweep, e, found.list);
    found.longest = static_cast<int>(found.list.size());
  }
  if (up && !down) {
    form_list_up(sweep, e, found.list);
    found.longest = static_cast<int>(found.list.size());
  } else if (up && !(complete && complete_up(sweep, e))) {
    // Of the first list only the length counts.
    std::vector<Found::Entry> list;
    form_list_up(sweep, e, list);
    found.longest = std::max(found.longest, static_cast<int>(list.size()));
  }
}

// The counts that the two sweeps show on their way: in the first every so many elements up to
// last_up; in the second each element, hosted each thousandth, from half of the elements to all.
class SweepProgress {
 public:
  SweepProgress(const MessageState& messages_in, const Sweep& sweep)
      : messages(messages_in),
        elements(sweep.mesh.NUMelem),
        last_up(sweep.last_up),
        visits(last_up + elements - sweep.last_down + 1),
        lines(messages_in, elements, " elements") {
    for (int few = 1000; interval < 1000 && last_up > few; few *= 10) interval *= 10;
  }
  // `done` of all elements are finished.
  void advance(int done) {
    const auto reached = static_cast<int>(std::int64_t{visits} * done / elements);
    while (visited < reached) show(++visited);
  }

 private:
  void show(int visit) {
    if (visit <= last_up) {
      if (visit % interval == 0) lines.show(visit);
      return;
    }
    constexpr int hosted_interval = 1000;
    const int count = elements / 2 + visit - last_up;
    if (count <= elements && (!messages.HOSTEDmode || count % hosted_interval == 0)) {
      lines.show(count);
    }
  }

  const MessageState& messages;
  int elements, last_up, visits;
  int interval = 1;
  int visited = 0;
  ProgressLines lines;
};

// The lists one behind the other; NEIGHcount and NUMneigh are set.
std::vector<int> NEIGHBOUR_SWEEP(RunState& run, const Sweep& sweep) {
  MeshState& mesh = run.mesh;
  std::vector<int> lists;
  SweepProgress progress(run.messages, sweep);
  Found found;
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    find_neighbours(sweep, e, found);
    if (lists.size() + found.list.size() >= std::numeric_limits<int>::max()) {
      fatal_error(run.messages, "Too many element neighbors in the mesh");
    }
    for (const Found::Entry& entry : found.list) lists.push_back(entry.element);
    mesh.NEIGHcount(e) = static_cast<int>(found.list.size());
    mesh.NUMneigh = std::max(mesh.NUMneigh, found.longest);
    progress.advance(e);
  }
  return lists;
}

void fill_lists(RunState& run, const Sweep& sweep, const std::vector<int>& lists) {
  MeshState& mesh = run.mesh;
  mesh.NEIGHstart.allocate(mesh.NUMelem + 1, 1);
  mesh.NEIGHlist.allocate(static_cast<int>(lists.size()));
  SweepProgress progress(run.messages, sweep);
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    const int start = mesh.NEIGHstart(e);
    for (int k = 0; k < mesh.NEIGHcount(e); ++k) {
      mesh.NEIGHlist(start + k) = lists[static_cast<std::size_t>(start + k) - 1];
    }
    mesh.NEIGHstart(e + 1) = start + mesh.NEIGHcount(e);
    progress.advance(e);
  }
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
  const Sweep sweep = plan_sweep(mesh, cell_corners);
  console(run.messages,
          "Need to create new element neighbor list...\n   Checking element neighbors...\n");
  const std::vector<int> lists = NEIGHBOUR_SWEEP(run, sweep);
  console(run.messages, "Creating element neighbor lists...\n");
  fill_lists(run, sweep, lists);
  write_neighbour_lists(run);
}

}  // namespace dfl
