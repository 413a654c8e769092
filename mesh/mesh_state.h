#pragma once

// The one triangular solution mesh. A second mesh of the same form serves unstructured wave input.

#include <array>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "control/array.h"

namespace dfl {

// Largest 4-byte float; slope and intercept of a segment that is vertical in the plane.
constexpr float largest_float = 3.4028235e38f;
// A slope of this or more counts as vertical.
constexpr double vertical_slope = 3.4028234663852886e37;

struct Boundary {
  int NUMpts = 0;
  Array<int> NODES;    // node numbers in order along the boundary
  Array<float> SLOPE;  // of the segment from point i to i+1; the last entry stays 0
  Array<float> ICEPT;  // its y-intercept
};

// Up to three boundary segments that are edges of an element; 0 in a slot not filled.
struct ElementBoundaries {
  std::array<int, 3> BND{};  // boundary numbers
  std::array<int, 3> SEG{};  // first point of the segment in the boundary's NODES
};

// Search grid over the plane for FIND_ELEMENT: each cell lists the elements whose bounding boxes
// meet it, in SORTxmin order. Built by BUILD_ELEMENT_GRID (mesh/find_element.h).
struct ElementGrid {
  bool built = false;
  double x_origin = 0.0, y_origin = 0.0;
  double cell_width = 1.0, cell_height = 1.0;  // mesh units
  int columns = 0, rows = 0;
  std::vector<std::int64_t> first;  // columns * rows + 1 entries
  std::vector<int> ranks;           // positions in SORTxmin, ascending in a cell
};

struct MeshState {
  int NUMnode = 0;
  int NUMelem = 0;
  int NUMneigh = 0;  // longest neighbour list
  int NUMopen = 0;
  int NUMland = 0;
  float MESHtol = 0.0f;  // distance for stepping off boundaries, mesh units

  Array<double> Xnode, Ynode;  // plane position, mesh units
  Array<float> DEPTHnode;      // bed below datum, m, positive down

  Array<int> ELnode1, ELnode2, ELnode3;  // counter-clockwise
  Array<float> AREAelem;
  Array<double> XMINelem, XMAXelem, YMINelem, YMAXelem;
  Array<int> SORTxmin, SORTxmax;  // elements by ascending XMINelem, XMAXelem
  ElementGrid grid;

  // Neighbour lists, packed one behind the other: the k-th neighbour of e, 1 <= k <=
  // NEIGHcount(e), is NEIGHlist(NEIGHstart(e) + k - 1). NEIGHstart has NUMelem + 1 entries.
  Array<int> NEIGHcount;
  Array<int> NEIGHstart;
  Array<int> NEIGHlist;

  Array<Boundary> OPENbnd, LANDbnd;
  Array<Logical> LANDelem, OPENelem;  // the element touches such a boundary
  Array<ElementBoundaries> LANDrefs, OPENrefs;

  bool NEIGHnew = false;                // the neighbour file is being rewritten in this run
  std::FILE* neighbour_file = nullptr;  // open between MESH_NEIGHBOURS and MESH_BOUNDARIES
};

}  // namespace dfl
