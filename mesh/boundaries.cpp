#include "mesh/boundaries.h"

#include "mesh/geometry.h"
#include "mesh/neighbour_file.h"
#include "mesh/node_elements.h"
#include "mesh/progress_lines.h"

namespace dfl {

namespace {

// An element with one node on the boundary counts as touching it. The last point is not joined to
// the first: a closed island repeats its first node.
void flag_elements(const MessageState& messages, const NodeElements& at_nodes,
                   const Array<Boundary>& boundaries, const char* what, Array<Logical>& flags) {
  ProgressLines progress(messages, boundaries.size(), what);
  for (int b = 1; b <= boundaries.size(); ++b) {
    const Boundary& boundary = boundaries(b);
    for (int k = 1; k <= boundary.NUMpts && boundary.NUMpts > 1; ++k) {
      for (int e : around(at_nodes, boundary.NODES(k))) flags(e) = logical_true;
    }
    if (!messages.HOSTEDmode) progress.show(b);
  }
}

// A segment that occurs twice can give an element more than three; what does not fit is left out.
void add_reference(ElementBoundaries& refs, int boundary, int segment) {
  for (std::size_t slot = 0; slot < refs.BND.size(); ++slot) {
    if (refs.BND[slot] == 0) {
      refs.BND[slot] = boundary;
      refs.SEG[slot] = segment;
      return;
    }
  }
}

// By boundaries and their segments, so that each element's slots fill in that order.
void refer_elements(const MeshState& mesh, const NodeElements& at_nodes,
                    const Array<Boundary>& boundaries, Array<ElementBoundaries>& refs) {
  for (int b = 1; b <= boundaries.size(); ++b) {
    const Boundary& boundary = boundaries(b);
    for (int k = 1; k < boundary.NUMpts; ++k) {
      const int first = boundary.NODES(k), second = boundary.NODES(k + 1);
      for (int e : around(at_nodes, first)) {
        if (EDGE_IN_ELEMENT(first, second, mesh.ELnode1(e), mesh.ELnode2(e), mesh.ELnode3(e))) {
          add_reference(refs(e), b, k);
        }
      }
    }
  }
}

void read_lists(RunState& run) {
  MeshState& mesh = run.mesh;
  console(run.messages, "Reading closed boundary element list...\n");
  read_boundary_flags(run, mesh.LANDelem);
  console(run.messages, "Reading open boundary element list...\n");
  read_boundary_flags(run, mesh.OPENelem);
  console(run.messages, "Reading element boundary lists...\n");
  read_boundary_references(run);
}

void build_lists(RunState& run) {
  MeshState& mesh = run.mesh;
  const NodeElements at_nodes = elements_around_nodes(mesh);
  console(run.messages, "Creating closed boundary element list...\n");
  flag_elements(run.messages, at_nodes, mesh.LANDbnd, " land boundaries", mesh.LANDelem);
  console(run.messages, "Creating open boundary element list...\n");
  flag_elements(run.messages, at_nodes, mesh.OPENbnd, " open boundaries", mesh.OPENelem);
  console(run.messages, "Writing boundary element lists to file...\n");
  write_boundary_flags(run, mesh.LANDelem);
  write_boundary_flags(run, mesh.OPENelem);
  console(run.messages, "Writing element boundary lists to file...\n");
  refer_elements(mesh, at_nodes, mesh.LANDbnd, mesh.LANDrefs);
  refer_elements(mesh, at_nodes, mesh.OPENbnd, mesh.OPENrefs);
  write_boundary_references(run);
}

}  // namespace

void MESH_BOUNDARIES(RunState& run) {
  MeshState& mesh = run.mesh;
  mesh.LANDelem.allocate(mesh.NUMelem);
  mesh.OPENelem.allocate(mesh.NUMelem);
  mesh.LANDrefs.allocate(mesh.NUMelem);
  mesh.OPENrefs.allocate(mesh.NUMelem);
  if (mesh.neighbour_file != nullptr && !mesh.NEIGHnew) {
    read_lists(run);
  } else {
    build_lists(run);
  }
  close_neighbour_file(run);
}

void set_boundary_lines(const MeshState& mesh, Boundary& boundary) {
  boundary.NUMpts = boundary.NODES.size();
  boundary.SLOPE.allocate(boundary.NUMpts);
  boundary.ICEPT.allocate(boundary.NUMpts);
  for (int k = 2; k <= boundary.NUMpts; ++k) {
    const int a = boundary.NODES(k - 1), b = boundary.NODES(k);
    LINE_COEFS(mesh.Xnode(a), mesh.Xnode(b), mesh.Ynode(a), mesh.Ynode(b), boundary.SLOPE(k - 1),
               boundary.ICEPT(k - 1));
  }
}

}  // namespace dfl
