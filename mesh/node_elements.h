#pragma once

// The elements around each node.

#include <span>
#include <vector>

#include "mesh/mesh_state.h"

namespace dfl {

struct NodeElements {
  std::vector<int> first;   // place of a node's list, nodes from 1; one entry more than the last
  std::vector<int> values;  // the lists one behind the other
};

// The values of the elements around node n; nothing for a number that is no node.
inline std::span<const int> around(const NodeElements& lists, int n) {
  if (n < 1 || static_cast<std::size_t>(n) + 1 >= lists.first.size()) return {};
  const int begin = lists.first[static_cast<std::size_t>(n)];
  const int end = lists.first[static_cast<std::size_t>(n) + 1];
  return {lists.values.data() + begin, static_cast<std::size_t>(end - begin)};
}

// Goes through the elements in the order order(1), order(2), ...: each node gets, ascending, the
// places in this order of the elements that use it, each once.
NodeElements places_around_nodes(const MeshState& mesh, const Array<int>& order);

// The same with the elements themselves, in their own order.
NodeElements elements_around_nodes(const MeshState& mesh);

}  // namespace dfl
