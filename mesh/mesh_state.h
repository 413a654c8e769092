#pragma once

// The one triangular solution mesh. A second mesh of the same form serves unstructured wave input.

#include <array>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "control/array.h"
#include "mesh/huge_pages.h"

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

// Search grid over the plane for FIND_ELEMENT. A lattice of cells covers the mesh; a cell that many
// elements meet has a finer lattice of its own, so that meshes with small elements in a corner of a
// large domain are searched as fast as even ones. Built by BUILD_ELEMENT_GRID
// (mesh/find_element.h).
struct ElementGrid {
  static constexpr int slots = 8;  // elements of a cell
  static constexpr int edges = 8;  // lines of their edges, as far as they cross the cell
  // The elements that meet a cell, in SORTxmin order, and the lines of their edges, rounded: enough
  // to tell the element of a point but for points close to an edge. Two cache lines; a search
  // seldom needs more. See mesh/element_grid.h.
  struct alignas(128) Cell {
    std::array<std::int16_t, 2 * edges> slope{};  // of each line along x and y, in pairs
    std::array<std::int32_t, edges> level{};      // of each line
    std::array<std::uint16_t, slots> inside{};    // sides of the lines that the element lies on
    std::array<std::int32_t, slots> element{};    // element[0] below 0: -1 - place in `others`
  };
  static_assert(sizeof(Cell) == 128);
  // A run of entries of `candidates`, in SORTxmin order.
  struct List {
    int first = 0;
    int count = 0;  // finer_lattice: `first` is the number of a lattice
  };
  static constexpr int finer_lattice = -1;
  struct Lattice {
    double x_origin = 0.0, y_origin = 0.0;
    double columns_per_unit = 0.0, rows_per_unit = 0.0;
    int columns = 1, rows = 1;
    int first_cell = 0;  // in `cells`, row after row
    List wide;           // elements that would fill too many cells: candidates in every cell
  };

  bool built = false;
  double x_min = 0.0, x_max = 0.0, y_min = 0.0, y_max = 0.0;  // of all elements
  std::vector<Lattice> lattices;                              // the first covers the mesh
  HugePageVector<Cell> cells;
  std::vector<List> others;     // cells that are finer lattices or have too many or large elements
  std::vector<int> candidates;  // elements
  std::vector<int> place;  // of each element in SORTxmin, from 1; only if a lattice has wide ones
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

  Array<int> ELcell;  // gridded models only: the cell each element came from
  // Telescoping grids only: the nodes in the middle of the north, east, south and west side of each
  // cell (columns 1 to 4), 0 for none.
  Array2<int> CELLcorners;

  bool NEIGHnew = false;                // the neighbour file is being rewritten in this run
  std::FILE* neighbour_file = nullptr;  // open between MESH_NEIGHBOURS and MESH_BOUNDARIES
};

}  // namespace dfl
