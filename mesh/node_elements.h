#pragma once

// The elements around each node.

#include <span>
#include <vector>

#include "mesh/mesh_state.h"

namespace dfl {

struct NodeElements {
  std::vector<int> first;     // place of a node's list, nodes from 1; one entry more than the last
  std::vector<int> elements;  // the lists one behind the other
};

// The elements around node n; none for a number that is no node.
inline std::span<const int> around(const NodeElements& lists, int n) {
  if (n < 1 || static_cast<std::size_t>(n) + 1 >= lists.first.size()) return {};
  const int begin = lists.first[static_cast<std::size_t>(n)];
  const int end = lists.first[static_cast<std::size_t>(n) + 1];
  return {lists.elements.data() + begin, static_cast<std::size_t>(end - begin)};
}

// The elements that use each node, ascending, each once.
NodeElements elements_around_nodes(const MeshState& mesh);

}  // namespace dfl
