#pragma once

// The grid of a gridded flow model behind the triangular mesh, and the lattice of nodes of the 3-D
// structured models.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "control/array.h"

namespace dfl {

// Slots of Cell::NEIGH: two neighbours on each side.
enum Neighbour { N1, N2, E1, E2, S1, S2, W1, W2 };

// A cell of a gridded flow model.
struct Cell {
  double X = 0.0, Y = 0.0;    // centre; structured: mesh coordinates; telescoping: grid coordinates
                              // relative to the origin, before rotation
  double DX = 0.0, DY = 0.0;  // size along the axes of the grid, mesh units
  std::array<int, 8> NEIGH{};  // telescoping: neighbouring cells, 0 for none
  float DEPTH = 0.0f;          // telescoping: bed depth, m, positive down; -999.0 or less: inactive
};

struct GridState {
  int NumI = 0, NumJ = 0;  // cells along I and J of a structured grid; nodes for "n3d", "gr3d"
  int NUMcells = 0;
  int NUMactive = 0;                  // active cells
  double GRIDx0 = 0.0, GRIDy0 = 0.0;  // origin, mesh coordinates
  double GRIDangle = 0.0;             // degrees, rounded to 4 bytes
  Array<Cell> CELLS;
  Array2<int> CELLnodes;    // columns 1 to 4: lower-left, lower-right, upper-left, upper-right
                            // corner in the axes of the cell; 0 where the cell is inactive
  Array<float> CELLvalues;  // work: one value a cell
  std::string cellstring_file = "none";
  std::vector<std::string> CELLstrings;  // dataset paths, in the order of their cards
  std::vector<int> CSTRcells;            // cells of all cellstrings, in order
  Array2<std::int16_t> FACEbc;           // "kfe": four face codes of each element
  Array<int> ELnode4;                    // "kfe": fourth node of each element, 0 for none

  // The cells around each node with their distances from it, by cell number; made at the first
  // mapping (mesh/quadtree_map.h). Has to be cleared when the grid changes.
  struct MapEntry {
    int cell = 0;
    float distance = 0.0f;  // mesh units
  };
  struct MapTable {
    std::vector<std::uint32_t> first;  // place of a node's list, nodes from 1; one entry more
    std::vector<MapEntry> entries;     // the lists one behind the other
  };
  std::array<MapTable, 3> maps;  // values at cell centres, I-faces, J-faces
  bool maps_quadtree = false;    // the tables are those of a telescoping grid
};

}  // namespace dfl
