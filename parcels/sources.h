#pragma once

// The source file: where, when and how much material enters the water. Free format, four sections
// in this order, each headed by a line with its number of sources:
//
//   section        record    items                                                 repeats
//   instantaneous  head      id, rows, 'name'                                      1 a source
//                  row       year, month, day, hour, minute, second, x, y, z,      rows
//                            mass of a parcel, scatter, z scatter, total mass,
//                            D50, sigma, density, Ws, TAUcr, TAUcd
//   point          head      as instantaneous
//                  row       as instantaneous, with kg/s for the total mass        rows
//   line           head      id, rows, 'name' [datum word], all on one line
//                  row       date (6), x1, y1, z1, x2, y2, z2, mass of a parcel,   rows
//                            scatter, unused, kg/s/m, D50, sigma, density, Ws,
//                            TAUcr, TAUcd
//   area           head      id, vertices, rows, 'name'
//                  date      year, month, day, hour, minute, second                rows: one date,
//                  vertex    x, y, z                                               its vertices,
//                  amounts   mass of a parcel, scatter, unused, kg/s/m2, D50,      its amounts
//                            sigma, density, Ws, TAUcr, TAUcd
//
// A negative year is one second after the start of the run. Datum words: beddatum (default),
// depthdistributed (z is a fraction of the depth, the rate is kg/s), surfacedatum. D50 and scatter
// in m, sigma in phi units, mass in kg, density in kg/m3, Ws in m/s, stresses in Pa.

#include "control/run_state.h"

namespace dfl {

enum class SourceKind { instantaneous, point, line, area };
const char* kind_word(SourceKind kind);  // "point", ...
Array<SourceRecord>& sources_of(ParcelState& parcels, SourceKind kind);

// Values of SRCdatum.
constexpr int beddatum = 0;
constexpr int depthdistributed = 1;
constexpr int surfacedatum = 2;

// Reads settings.source_file, checks it, counts the parcels of the run in advance, draws their
// grain sizes and allocates the population.
void SOURCE_SETUP(RunState& run);

}  // namespace dfl
