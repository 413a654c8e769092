#include "mesh/node_elements.h"

namespace dfl {

namespace {

// Calls use(node) for the nodes of an element, each once.
template <class Use>
void for_nodes(const MeshState& mesh, int e, const Use& use) {
  const int n1 = mesh.ELnode1(e), n2 = mesh.ELnode2(e), n3 = mesh.ELnode3(e);
  use(n1);
  if (n2 != n1) use(n2);
  if (n3 != n1 && n3 != n2) use(n3);
}

}  // namespace

NodeElements elements_around_nodes(const MeshState& mesh) {
  NodeElements lists;
  const auto nodes = static_cast<std::size_t>(mesh.NUMnode);
  lists.first.assign(nodes + 2, 0);
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    for_nodes(mesh, e, [&](int n) { ++lists.first[static_cast<std::size_t>(n) + 1]; });
  }
  for (std::size_t n = 1; n <= nodes + 1; ++n) lists.first[n] += lists.first[n - 1];
  lists.elements.resize(static_cast<std::size_t>(lists.first[nodes + 1]));
  std::vector<int> next(lists.first);
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    for_nodes(mesh, e, [&](int n) {
      lists.elements[static_cast<std::size_t>(next[static_cast<std::size_t>(n)]++)] = e;
    });
  }
  return lists;
}

}  // namespace dfl
