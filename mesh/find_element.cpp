#include "mesh/find_element.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "mesh/element_grid.h"
#include "mesh/geometry.h"

namespace dfl {

namespace {

// True if the walk goes by ascending SORTxmin. The ends of the mesh are those that elements 1 and
// NUMelem tell, not its extremes; this decides which of several elements on a shared edge is found.
bool walks_up(const MeshState& mesh, double x) {
  const double right = std::max(mesh.XMAXelem(1), mesh.XMAXelem(mesh.NUMelem));
  const double left = std::min(mesh.XMINelem(1), mesh.XMINelem(mesh.NUMelem));
  const float dR = static_cast<float>(std::abs(right - x));
  const float dL = static_cast<float>(std::abs(left - x));
  return dR >= dL;
}

bool holds(const MeshState& mesh, int e, double x, double y) {
  return x >= mesh.XMINelem(e) && x <= mesh.XMAXelem(e) && y >= mesh.YMINelem(e) &&
         y <= mesh.YMAXelem(e) && in_element(mesh, e, x, y);
}

int walk(const MeshState& mesh, double x, double y) {
  const bool up = walks_up(mesh, x);
  for (int i = 1; i <= mesh.NUMelem; ++i) {
    const int e = mesh.SORTxmin(up ? i : mesh.NUMelem + 1 - i);
    if (holds(mesh, e, x, y)) return e;
  }
  return 0;
}

// The first of a list of elements in the direction of the walk that holds the point.
int search_list(const MeshState& mesh, const int* elements, int count, bool up, double x,
                double y) {
  for (int k = 0; k < count; ++k) {
    const int e = elements[up ? k : count - 1 - k];
    if (holds(mesh, e, x, y)) return e;
  }
  return 0;
}

int search_list(const MeshState& mesh, const ElementGrid::List& list, bool up, double x, double y) {
  return search_list(mesh, mesh.grid.candidates.data() + list.first, list.count, up, x, y);
}

// Of two elements that hold the point, either of them 0, the one that comes first in the walk.
int earlier(const ElementGrid& grid, int a, int b, bool up) {
  if (a == 0 || b == 0) return a + b;
  const bool a_first =
      grid.place[static_cast<std::size_t>(a)] < grid.place[static_cast<std::size_t>(b)];
  return a_first == up ? a : b;
}

// Four slots of a cell are treated alike in vector registers: the even ones or the odd ones.
using Real4 = float __attribute__((vector_size(16)));
using Int4 = std::int32_t __attribute__((vector_size(16)));
enum class Slots { even, odd };

Real4 load(const std::array<std::int16_t, ElementGrid::slots>& values, Slots slots) {
  Int4 pairs;
  std::memcpy(&pairs, values.data(), sizeof pairs);
  constexpr int half = 16;
  const bool low = (slots == Slots::even) == (std::endian::native == std::endian::little);
  return __builtin_convertvector((low ? pairs << half : pairs) >> half, Real4);
}

Real4 absolute(Real4 values) {
  constexpr std::int32_t all_but_sign = 0x7fffffff;
  return std::bit_cast<Real4>(std::bit_cast<Int4>(values) & all_but_sign);
}

// A corner of each slot seen from the point; `size`: sum of the absolute values.
struct Corner4 {
  Real4 x, y, size;
};

Corner4 see_corner(const std::array<std::int16_t, ElementGrid::slots>& x,
                   const std::array<std::int16_t, ElementGrid::slots>& y, Slots slots, float px,
                   float py) {
  const Real4 dx = load(x, slots) - px, dy = load(y, slots) - py;
  return {dx, dy, absolute(dx) + absolute(dy)};
}

// Where a triangle may hold the point and where it surely does: all bits of a slot or none.
struct Verdict4 {
  Int4 maybe, surely;
};

// Narrows the verdict by the edge from a to b. The point and the corners are off by half a unit
// each, which makes the cross product uncertain by the sum of its factors; the rest is rounding.
void test_edge(const Corner4& a, const Corner4& b, Verdict4& verdict) {
  constexpr float rounding = 64.0f;
  const Real4 cross = b.x * a.y - b.y * a.x;
  const Real4 uncertain = a.size + b.size + rounding;
  verdict.maybe &= cross <= uncertain;
  verdict.surely &= cross + uncertain < 0.0f;
}

// A bit for each slot whose triangle may hold the point (bits 0 to 7) or surely does (8 to 15).
Int4 slot_bits(const ElementGrid::Cell& cell, Slots slots, float px, float py) {
  const Corner4 a = see_corner(cell.x1, cell.y1, slots, px, py);
  const Corner4 b = see_corner(cell.x2, cell.y2, slots, px, py);
  const Corner4 c = see_corner(cell.x3, cell.y3, slots, px, py);
  Verdict4 verdict = {~Int4{}, ~Int4{}};
  test_edge(a, b, verdict);
  test_edge(b, c, verdict);
  test_edge(c, a, verdict);
  constexpr Int4 even = {1, 4, 16, 64}, odd = {2, 8, 32, 128};
  const Int4 bits = slots == Slots::even ? even : odd;
  return (verdict.maybe & bits) | (verdict.surely & (bits << ElementGrid::slots));
}

// The exact test of the elements of a cell, for points close to an edge.
int search_closely(const MeshState& mesh, const ElementGrid::Cell& cell, bool up, double x,
                   double y) {
  std::array<int, ElementGrid::slots> elements = cell.element;
  elements[0] &= (1 << ElementGrid::element_bits) - 1;
  const auto end = std::find(elements.begin(), elements.end(), 0);
  return search_list(mesh, elements.data(), static_cast<int>(end - elements.begin()), up, x, y);
}

int search_cell(const MeshState& mesh, const ElementGrid::Cell& cell, double x_from_middle,
                double y_from_middle, bool up, double x, double y) {
  const std::int32_t head = cell.element[0];
  const double units = ElementGrid::cell_units >> (head >> ElementGrid::element_bits);
  const auto px = static_cast<float>(rounded_units(x_from_middle, units));
  const auto py = static_cast<float>(rounded_units(y_from_middle, units));
  const Int4 parts = slot_bits(cell, Slots::even, px, py) | slot_bits(cell, Slots::odd, px, py);
  const auto bits = static_cast<unsigned>((parts[0] | parts[1]) | (parts[2] | parts[3]));
  const unsigned found = bits & 0xffu;
  if (found != bits >> ElementGrid::slots) return search_closely(mesh, cell, up, x, y);
  if (found == 0) return 0;
  const int slot = up ? std::countr_zero(found) : std::bit_width(found) - 1;
  const std::int32_t element = cell.element[static_cast<std::size_t>(slot)];
  return element & ((1 << ElementGrid::element_bits) - 1);
}

}  // namespace

int FIND_ELEMENT(const MeshState& mesh, double x, double y) {
  if (mesh.NUMelem < 1) return 0;
  const ElementGrid& grid = mesh.grid;
  if (!grid.built) return walk(mesh, x, y);
  // Also false for a coordinate that is no number.
  if (!(x >= grid.x_min && x <= grid.x_max && y >= grid.y_min && y <= grid.y_max)) return 0;
  const bool up = walks_up(mesh, x);
  int wide = 0;
  const ElementGrid::Lattice* lattice = grid.lattices.data();
  for (;;) {
    if (lattice->wide.count > 0) {
      wide = earlier(grid, wide, search_list(mesh, lattice->wide, up, x, y), up);
    }
    const LatticePlace column = lattice_column(*lattice, x), row = lattice_row(*lattice, y);
    const ElementGrid::Cell& cell = grid.cells[cell_number(*lattice, column.index, row.index)];
    if (cell.element[0] >= 0) {
      const int e = search_cell(mesh, cell, column.from_middle, row.from_middle, up, x, y);
      return wide == 0 ? e : earlier(grid, wide, e, up);
    }
    const ElementGrid::List& list = grid.others[static_cast<std::size_t>(-1 - cell.element[0])];
    if (list.count != ElementGrid::finer_lattice) {
      return earlier(grid, wide, search_list(mesh, list, up, x, y), up);
    }
    lattice = &grid.lattices[static_cast<std::size_t>(list.first)];
  }
}

}  // namespace dfl
