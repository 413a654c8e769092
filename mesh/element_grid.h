#pragma once

// Cells of the search grid.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "mesh/mesh_state.h"

namespace dfl {

// A coordinate in a lattice: column or row from 0, and the place from the low side of the cell in
// cells. What lies outside the lattice counts to its first or last column.
struct LatticePlace {
  int index;
  double in_cell;
};

// The index never falls as the coordinate grows, whatever the rounding: a box that holds a point
// meets the point's cell.
inline LatticePlace lattice_place(double value, double origin, double per_unit, int count) {
  const double t = (value - origin) * per_unit;
  const double column = std::min(std::max(0.0, t), static_cast<double>(count - 1));
  const int index = static_cast<int>(column);
  return {index, t - index};
}

inline LatticePlace lattice_column(const ElementGrid::Lattice& lattice, double x) {
  return lattice_place(x, lattice.x_origin, lattice.columns_per_unit, lattice.columns);
}

inline LatticePlace lattice_row(const ElementGrid::Lattice& lattice, double y) {
  return lattice_place(y, lattice.y_origin, lattice.rows_per_unit, lattice.rows);
}

inline std::size_t cell_number(const ElementGrid::Lattice& lattice, int column, int row) {
  return static_cast<std::size_t>(lattice.first_cell) +
         static_cast<std::size_t>(row) * static_cast<std::size_t>(lattice.columns) +
         static_cast<std::size_t>(column);
}

// The test of a point against the lines of a cell is made in whole numbers. A line is the value
//   slope_x * px + slope_y * py + level,
// below 0 on one side and above 0 on the other, with px and py the place in the cell in units.
// Where it is within the margin, the roundings leave the side open.
namespace cell_lines {

constexpr int cell_units = 4096;      // side of a cell
constexpr int beside = 64;            // units from the cell's low side that px and py count from
constexpr int slope_scale = 1 << 14;  // the larger slope of a line
// Half a unit by px and py each, half by each slope times up to 2112 units from the middle of the
// cell, and half by the level: less than 18500. Edges on one line share it if their levels differ
// by no more than is left.
constexpr std::int16_t margin = 20000;
constexpr int shared_level = 1000;

// The lower end of the unit that the place lies in; the unit's middle stands for the place.
inline int whole_units(double in_cell) {
  return static_cast<int>(in_cell * cell_units + beside);
}

// Bit k of the lower byte: the place is surely below line k; of the upper byte: surely above it.
// Bits of a slot's result: lower byte, the element surely holds the place; upper, it may.
inline unsigned swapped_bytes(unsigned sides) {
  return (sides >> 8 | sides << 8) & 0xffffu;
}

inline unsigned slot_bits_plainly(const ElementGrid::Cell& cell, int px, int py) {
  unsigned sides = 0;
  for (std::size_t k = 0; k < ElementGrid::edges; ++k) {
    const int value = cell.slope[2 * k] * px + cell.slope[2 * k + 1] * py + cell.level[k];
    if (value < -margin) sides |= 1u << k;
    if (value > margin) sides |= 1u << (k + 8);
  }
  unsigned bits = 0;
  for (std::size_t k = 0; k < ElementGrid::slots; ++k) {
    const unsigned inside = cell.inside[k];
    if ((sides & inside) == inside) bits |= 1u << k;
    if ((swapped_bytes(sides) & inside) == 0) bits |= 1u << (k + 8);
  }
  return bits;
}

#ifdef __SSE2__
// The same in vector registers.
inline unsigned slot_bits(const ElementGrid::Cell& cell, int px, int py) {
  const auto load = [](const auto& values, std::size_t from = 0) {
    return _mm_load_si128(reinterpret_cast<const __m128i*>(values.data() + from));
  };
  const __m128i point = _mm_set1_epi32(py << 16 | px);
  const __m128i low = _mm_add_epi32(_mm_madd_epi16(load(cell.slope), point), load(cell.level));
  const __m128i high =
      _mm_add_epi32(_mm_madd_epi16(load(cell.slope, 8), point), load(cell.level, 4));
  const __m128i value = _mm_packs_epi32(low, high);
  const __m128i below = _mm_cmplt_epi16(value, _mm_set1_epi16(-margin));
  const __m128i above = _mm_cmpgt_epi16(value, _mm_set1_epi16(margin));
  const auto sides = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(below, above)));
  const __m128i inside = load(cell.inside);
  const __m128i met = _mm_and_si128(inside, _mm_set1_epi16(static_cast<short>(sides)));
  const __m128i failed =
      _mm_and_si128(inside, _mm_set1_epi16(static_cast<short>(swapped_bytes(sides))));
  const __m128i surely = _mm_cmpeq_epi16(met, inside);
  const __m128i maybe = _mm_cmpeq_epi16(failed, _mm_setzero_si128());
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(surely, maybe)));
}
#else
inline unsigned slot_bits(const ElementGrid::Cell& cell, int px, int py) {
  return slot_bits_plainly(cell, px, py);
}
#endif

}  // namespace cell_lines

}  // namespace dfl
