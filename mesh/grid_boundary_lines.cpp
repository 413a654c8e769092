#include "mesh/grid_boundary_lines.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "control/text_tools.h"
#include "mesh/find_element.h"
#include "mesh/geometry.h"
#include "mesh/progress_lines.h"

namespace dfl {

namespace {

// ---- outer edges ----

bool has_edge(const MeshState& mesh, int e, int a, int b) {
  return EDGE_IN_ELEMENT(a, b, mesh.ELnode1(e), mesh.ELnode2(e), mesh.ELnode3(e));
}

// Structured: no neighbour has the edge.
bool is_outer_structured(const MeshState& mesh, int e, int a, int b) {
  const int start = mesh.NEIGHstart(e);
  for (int k = 0; k < mesh.NEIGHcount(e); ++k) {
    if (has_edge(mesh, mesh.NEIGHlist(start + k), a, b)) return false;
  }
  return true;
}

// Telescoping: no element holds a point just outside the edge. Where two smaller cells adjoin, no
// element has the edge, yet it is an inner one.
bool is_outer_telescoping(const MeshState& mesh, int e, int a, int b) {
  constexpr double outward = 1.570795;  // a quarter turn, radians
  constexpr double distance = 0.02;     // of the size of the element
  const double s =
      std::min(mesh.XMAXelem(e) - mesh.XMINelem(e), mesh.YMAXelem(e) - mesh.YMINelem(e));
  const double xa = mesh.Xnode(a), xb = mesh.Xnode(b), ya = mesh.Ynode(a), yb = mesh.Ynode(b);
  const double direction = std::atan2(yb - ya, xb - xa) - outward;
  const double x = (xa + xb) / 2.0 + distance * s * std::cos(direction);
  const double y = (ya + yb) / 2.0 + distance * s * std::sin(direction);
  return FIND_ELEMENT(mesh, x, y) == 0;
}

// ---- chains ----

void begin_chain(NodeChains& chains) {
  chains.ends.push_back(chains.nodes.size());
}

void add_node(NodeChains& chains, int node) {
  chains.nodes.push_back(node);
  chains.ends.back() = chains.nodes.size();
}

// Edges that follow each other in the walk of the elements make a chain; one that does not begins
// a chain, and so does the one after it.
class FirstChains {
 public:
  void add_edge(int a, int b) {
    if (last != 0 && a == last) {
      add_node(chains, b);
      last = b;
      return;
    }
    begin_chain(chains);
    add_node(chains, a);
    add_node(chains, b);
    last = last == 0 ? b : 0;
  }
  NodeChains chains;

 private:
  int last = 0;  // node at the end of a chain that can go on
};

template <class IsOuter>
void collect_edges(const MeshState& mesh, int e, const IsOuter& is_outer, FirstChains& edges) {
  const int n1 = mesh.ELnode1(e), n2 = mesh.ELnode2(e), n3 = mesh.ELnode3(e);
  for (const auto& [a, b] : {std::pair{n1, n2}, std::pair{n2, n3}, std::pair{n3, n1}}) {
    if (is_outer(mesh, e, a, b)) edges.add_edge(a, b);
  }
}

NodeChains first_chains(const RunState& run) {
  const MeshState& mesh = run.mesh;
  FirstChains edges;
  if (!run.settings.rvs_mesh) {
    for (int e = 1; e <= mesh.NUMelem; ++e) collect_edges(mesh, e, is_outer_structured, edges);
    return edges.chains;
  }
  ProgressLines progress(run.messages, mesh.NUMelem, " elements");
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    if (!run.messages.HOSTEDmode) progress.show(e);
    collect_edges(mesh, e, is_outer_telescoping, edges);
  }
  return edges.chains;
}

// The chains that begin at each node, in their order, with those taken left out as they are met.
class ChainsByFirstNode {
 public:
  ChainsByFirstNode(const NodeChains& chains_in, int nodes) : chains(chains_in) {
    first.assign(static_cast<std::size_t>(nodes) + 1, none);
    following.assign(chains.size(), none);
    used.assign(chains.size(), 0);
    for (std::size_t k = chains.size(); k-- > 0;) {
      std::size_t& head = first[static_cast<std::size_t>(chains.chain(k).front())];
      following[k] = head;
      head = k;
    }
  }
  bool take(std::size_t k) { return std::exchange(used[k], char{1}) == 0; }
  // Takes the first of the chains left that begins at the node; false if there is none.
  bool take_at(int node, std::size_t& k) {
    std::size_t& head = first[static_cast<std::size_t>(node)];
    while (head != none && used[head] != 0) head = following[head];
    if (head == none) return false;
    k = head;
    return take(k);
  }

 private:
  static constexpr std::size_t none = static_cast<std::size_t>(-1);
  const NodeChains& chains;
  std::vector<std::size_t> first, following;
  std::vector<char> used;
};

// "     3 of     7", in place.
class JoiningProgress {
 public:
  JoiningProgress(const MessageState& messages_in, std::size_t chains)
      : messages(messages_in), behind(" of" + columns(static_cast<int>(chains), count_width)) {}
  ~JoiningProgress() {
    if (!messages.HOSTEDmode) collected += '\n';
    console(messages, "%s", collected.c_str());
  }
  JoiningProgress(const JoiningProgress&) = delete;
  JoiningProgress& operator=(const JoiningProgress&) = delete;
  void show(std::size_t chain) {
    if (messages.HOSTEDmode) return;
    constexpr std::size_t collected_bytes = 4096;
    collected += '\r' + columns(static_cast<int>(chain), count_width) + behind;
    if (collected.size() < collected_bytes) return;
    console(messages, "%s", collected.c_str());
    collected.clear();
  }

 private:
  static constexpr int count_width = 6;
  const MessageState& messages;
  std::string behind, collected;
};

// Each chain is followed by the first one left that begins at its last node, and so on.
NodeChains join_chains(const RunState& run, const NodeChains& chains) {
  NodeChains joined;
  joined.nodes.reserve(chains.nodes.size());
  ChainsByFirstNode left(chains, run.mesh.NUMnode);
  JoiningProgress progress(run.messages, chains.size());
  for (std::size_t i = 0; i < chains.size(); ++i) {
    progress.show(i + 1);
    if (!left.take(i)) continue;
    begin_chain(joined);
    std::size_t k = i;
    do {
      for (int node : chains.chain(k)) joined.nodes.push_back(node);
    } while (left.take_at(joined.nodes.back(), k));
    joined.ends.back() = joined.nodes.size();
  }
  return joined;
}

// A single edge may lie against the direction of those beside it. The last chain stays.
void reverse_single_edges(NodeChains& chains) {
  for (std::size_t k = 0; k + 1 < chains.size(); ++k) {
    if (chains.chain(k).size() != 2) continue;
    std::swap(chains.nodes[chains.ends[k] - 2], chains.nodes[chains.ends[k] - 1]);
  }
}

// Without the nodes that stand twice where chains were joined.
NodeChains without_repeats(const NodeChains& chains) {
  NodeChains lines;
  lines.nodes.reserve(chains.nodes.size());
  for (std::size_t k = 0; k < chains.size(); ++k) {
    begin_chain(lines);
    int before = 0;
    for (int node : chains.chain(k)) {
      if (node != before) add_node(lines, node);
      before = node;
    }
  }
  return lines;
}

// ---- open and land ----

// A line into its open and land boundaries. The first land boundary begins with the node before
// it; later ones do not, and none ends with the first node of the next open boundary.
void split_line(std::span<const int> line, const Array<char>& cellstring_node,
                GridBoundaries& boundaries) {
  bool land_seen = false;
  int before = 0;  // the node before this one
  for (int node : line) {
    const bool after_open = before != 0 && cellstring_node(before) != 0;
    if (cellstring_node(node)) {
      if (!after_open) begin_chain(boundaries.open);
      add_node(boundaries.open, node);
    } else {
      if (!land_seen) {
        begin_chain(boundaries.land);
        if (before != 0) add_node(boundaries.land, before);
      } else if (after_open) {
        begin_chain(boundaries.land);
      }
      land_seen = true;
      add_node(boundaries.land, node);
    }
    before = node;
  }
}

GridBoundaries split_lines(const NodeChains& lines, const Array<char>& cellstring_node) {
  GridBoundaries boundaries;
  std::vector<std::size_t> mixed;
  for (std::size_t k = 0; k < lines.size(); ++k) {
    const std::span<const int> line = lines.chain(k);
    const bool open =
        std::any_of(line.begin(), line.end(), [&](int node) { return cellstring_node(node) != 0; });
    if (open) {
      mixed.push_back(k);
      continue;
    }
    begin_chain(boundaries.land);
    for (int node : line) add_node(boundaries.land, node);
  }
  for (std::size_t k : mixed) split_line(lines.chain(k), cellstring_node, boundaries);
  return boundaries;
}

}  // namespace

GridBoundaries find_grid_boundaries(const RunState& run, const Array<char>& cellstring_node,
                                    bool no_cellstrings) {
  NodeChains chains = first_chains(run);
  console(run.messages, "Organizing RVS cellstring list...\n");
  console(run.messages, "Optimizing boundary list (clockwise) ... \n");
  chains = join_chains(run, chains);
  reverse_single_edges(chains);
  console(run.messages, "Optimizing boundary list (counter-clockwise) ... \n");
  chains = join_chains(run, chains);
  const NodeChains lines = without_repeats(chains);
  if (no_cellstrings) return {.open = {}, .land = lines};
  return split_lines(lines, cellstring_node);
}

}  // namespace dfl
