#include "parcels/releases.h"

#include <algorithm>
#include <cmath>

#include "flow/vertical_profile.h"
#include "mesh/find_element.h"
#include "mesh/geometry.h"
#include "mesh/polygon.h"
#include "parcels/kinematics.h"
#include "parcels/random_stream.h"
#include "parcels/source_counts.h"
#include "parcels/sources.h"
#include "sediment/primitives.h"

namespace dfl {

namespace {

constexpr int most_tries = 1000000;  // of drawing one position

// From where the wanted elevation of a parcel is measured.
enum class HeightFrom { bed, datum, surface };

// A position that has been found for a parcel. It is formed in 4 bytes, as all that the source file
// says is used; the parcel's own coordinates have 8. Its wanted elevation is dz + z; below the
// surface it is z + dz, positive down.
struct Place {
  float X = 0.0f, Y = 0.0f;
  int element = 0;
  float dz = 0.0f;
  float z = 0.0f;
  HeightFrom from = HeightFrom::bed;
};

// The row that releases, and what holds for all its parcels in this step.
struct Release {
  SourceKind kind;
  int source, row;  // for messages
  SourceRecord& record;
  Instruction& instruction;
  float density = 0.0f;  // kg/m3
};

// A normal deviate for the scatter of positions.
float scatter_deviate(RunState& run) {
  if (run.settings.debug) return 0.0f;
  return static_cast<float>(std::min(std::max(GAUSS_NUMBER(run.parcels.random), -6.0), 6.0));
}

// The next pair of the chain of uniform numbers for lines and areas.
void draw_chain(RunState& run) {
  std::array<float, 2>& chain = run.parcels.RANDOMfirst;
  const int seed1 = static_cast<int>(chain[1] * 2.0e6f);
  const int seed2 = static_cast<int>(chain[0] * 1.0e6f);
  seed_generator(run.parcels.random, seed1, seed2);
  chain[0] = UNIFORM_NUMBER(run.parcels.random);
  chain[1] = UNIFORM_NUMBER(run.parcels.random);
}

HeightFrom height_from(const RunState& run) {
  return run.settings.source_to_datum ? HeightFrom::datum : HeightFrom::bed;
}

// Repeats `draw`, which fills a place and says whether its point serves, until the place lies in
// the mesh.
template <class Draw>
Place find_place(RunState& run, const Release& release, Draw draw) {
  // Without random numbers every try is the same.
  const int tries = run.settings.debug ? 1 : most_tries;
  Place place;
  for (int i = 1; i <= tries; ++i) {
    if (!draw(place)) continue;
    place.element =
        FIND_ELEMENT(run.mesh, static_cast<double>(place.X), static_cast<double>(place.Y));
    if (place.element != 0) return place;
  }
  REPORT_INT2(run.messages, true,
              std::string("No position found for a particle of ") + kind_word(release.kind) +
                  " source, row",
              release.source, release.row);
  return place;
}

// A new parcel at a place.
void PLACE_PARCEL(RunState& run, Release& release, const Place& place) {
  ParcelState& parcels = run.parcels;
  const MeshState& mesh = run.mesh;
  const Settings& settings = run.settings;
  Instruction& row = release.instruction;
  if (parcels.NUMborn >= parcels.NUMparcels || row.ROWnext >= row.ROWgrains.size()) {
    REPORT_INT2(run.messages, true, "More particles are due than were counted, source and row",
                release.source, release.row);
  }
  Parcel& parcel = parcels.PARCELS(++parcels.NUMborn);
  parcel.MOBILITY = 1.0f;
  parcel.SOURCE = static_cast<std::int16_t>(release.record.SRCid);
  parcel.LOSS = 0;
  parcel.ELEMENT = place.element;
  parcel.X = static_cast<double>(place.X);
  parcel.Y = static_cast<double>(place.Y);
  parcel.MASS = row.ROWmass;
  parcel.D = row.ROWgrains(++row.ROWnext);
  parcel.ALIVE = logical_true;

  const int e = place.element;
  const int n1 = mesh.ELnode1(e), n2 = mesh.ELnode2(e), n3 = mesh.ELnode3(e);
  const Weights w = element_weights(run.messages, mesh, e, parcel.X, parcel.Y);
  const float H = NODE_INTERP(w, n1, n2, n3, run.flow.Hnode);
  const float D90 = NODE_INTERP(w, n1, n2, n3, run.sediment.D90);
  const float B = NODE_INTERP(w, n1, n2, n3, mesh.DEPTHnode);
  const float hf = D90 * 3.0f * 0.25f;  // a quarter of the grain roughness

  float wanted = 0.0f;  // height above the bed, m
  switch (place.from) {
    case HeightFrom::bed:
      wanted = place.dz + place.z;
      break;
    case HeightFrom::datum:
      wanted = B + (place.dz + place.z);
      break;
    case HeightFrom::surface:
      wanted = (H - place.z) - place.dz;
      break;
  }
  const float h = std::min(std::max(wanted, hf), H);
  parcel.Z = h - B;
  parcel.h = h;
  if (h <= hf) {
    parcel.DORMANT = logical_true;
    parcel.MOBILITY = 0.0f;
  } else {
    parcel.DORMANT = logical_false;
  }

  const auto at_height = [&](const Array2<float>& field) {
    return ELEMENT_VERT_INTERP(run.flow, settings.method.flow, w, n1, n2, n3, h, H, 1,
                               EndRule::hold, EndRule::hold, field);
  };
  const float rho = run.flow.UNIFORMden ? settings.water_density : at_height(run.flow.DENnode);
  const float nu =
      run.flow.UNIFORMtem ? settings.water_viscosity : VISCOSITY_T(at_height(run.flow.TEMnode));
  parcel.RHOs = settings.neutrally_buoyant ? rho : release.density;
  parcel.Ws = row.ROWws < 0.0f ? FALL_VELOCITY(nu, rho, parcel.RHOs, parcel.D) : row.ROWws;
  parcel.TAUcr =
      row.ROWtaucr <= 0.0f ? TAUCR_SOULSBY(rho, parcel.RHOs, nu, parcel.D) : row.ROWtaucr;
  parcel.TAUcd =
      row.ROWtaucd <= 0.0f ? TAUCR_SOULSBY(rho, parcel.RHOs, nu, parcel.D) : row.ROWtaucd;
  parcels.TAUgiven =
      release.kind == SourceKind::instantaneous ? row.ROWtaucd > 0.0f : row.ROWtaucr > 0.0f;
}

// A point scattered about (x, y, z), in the plane and in elevation.
bool draw_scattered(RunState& run, const Instruction& row, float x, float y, float z,
                    Place& place) {
  const float g1 = scatter_deviate(run);
  const float g2 = scatter_deviate(run);
  const float g3 = scatter_deviate(run);
  place.X = g1 * row.ROWscatter + x;
  place.Y = g2 * row.ROWscatter + y;
  place.dz = g3 * row.ROWscatterz;
  place.z = z;
  place.from = height_from(run);
  return true;
}

// Goes through the rows of a continuous kind that are active now. `action` is given the release,
// the moment and the number of parcels.
template <class Action>
void for_active_rows(RunState& run, SourceKind kind, Action action) {
  Array<SourceRecord>& sources = sources_of(run.parcels, kind);
  for (int i = 1; i <= sources.size(); ++i) {
    SourceRecord& source = sources(i);
    for (int j = 1; j < source.SRCrows; ++j) {
      RowMoment moment;
      if (!row_moment(source, j, run.clock.Tnow, run.settings.time_step, moment)) continue;
      Instruction& row = source.SRCrow(j);
      const float density = row.ROWrhos + moment.f * (source.SRCrow(j + 1).ROWrhos - row.ROWrhos);
      Release release{kind, i, j, source, row, density};
      int n = 0;
      if (!take_parcels_due(source, j, rate_extent(kind, source, j, moment.f), moment, n)) {
        REPORT_INT2(run.messages, true, "Number of particles due out of range, source and row", i,
                    j);
      }
      run.parcels.NUMnew += n;
      action(release, moment, n);
    }
  }
}

// Total depth at the first end of row j, in the file's own coordinates.
float depth_at_first_end(const RunState& run, const SourceRecord& source, int j) {
  const double x = source.SRCpos(j, 1), y = source.SRCpos(j, 2);
  const int e = FIND_ELEMENT(run.mesh, x, y);
  if (e == 0) fatal_error(run.messages, " *** Ne ERROR [dfl_line_source_release] ***");
  const Weights w = element_weights(run.messages, run.mesh, e, x, y);
  return NODE_INTERP(w, run.mesh.ELnode1(e), run.mesh.ELnode2(e), run.mesh.ELnode3(e),
                     run.flow.Hnode);
}

// The height rule of a line source.
HeightFrom line_height_from(const RunState& run, int datum) {
  if (!run.settings.source_to_datum) {
    return datum == surfacedatum ? HeightFrom::surface : HeightFrom::bed;
  }
  if (datum == surfacedatum) {
    REPORT(run.messages, true, "SOURCE_DATUM not available with surfacedatum source type");
  }
  if (datum == depthdistributed) {
    REPORT(run.messages, true, "SOURCE_DATUM not available with depthdistributed source type");
  }
  return HeightFrom::datum;
}

// A line of the moment, level or upright.
struct ReleaseLine {
  LineEnds ends;
  bool vertical = false;
  float ca = 1.0f, sa = 0.0f;  // direction of a level line
  float zm = 0.0f, zh = 0.0f;  // middle and half height of a vertical one
  HeightFrom from = HeightFrom::bed;
};

bool draw_on_line(RunState& run, const Instruction& row, const ReleaseLine& line, Place& place) {
  const LineEnds& ends = line.ends;
  const bool debug = run.settings.debug;
  if (!debug) draw_chain(run);
  const float r = run.parcels.RANDOMfirst[0];
  const float g1 = scatter_deviate(run);
  const float g2 = scatter_deviate(run);
  const float scatter = row.ROWscatter;
  if (line.vertical) {
    const float e = debug ? 0.0f : (r - 0.5f) * 2.0f;
    place.X = scatter * g1 + ends.x1;
    place.Y = scatter * g2 + ends.y1;
    place.dz = e * line.zh;
    place.z = line.zm;
  } else {
    const float s = debug ? 0.0f : r;
    place.X = (ends.x2 - ends.x1) * s + ends.x1 + line.sa * scatter * g1;
    place.Y = (ends.y2 - ends.y1) * s + ends.y1 + line.ca * scatter * g1;
    place.dz = g2 * scatter;
    place.z = ends.z1;
  }
  place.from = line.from;
  return true;
}

// Vertices of an area at the moment: their bounding box and the last one.
struct ReleaseArea {
  float lowest[3] = {}, highest[3] = {};  // x, y, z
  float last[3] = {};
};

ReleaseArea area_at(const SourceRecord& source, int j, float f) {
  ReleaseArea area;
  for (int axis = 0; axis < 3; ++axis) {
    for (int i = 1; i <= source.SRCverts; ++i) {
      const float value = position_between(source, j, 3 * (i - 1) + axis + 1, f);
      area.lowest[axis] = i == 1 ? value : std::min(area.lowest[axis], value);
      area.highest[axis] = i == 1 ? value : std::max(area.highest[axis], value);
      area.last[axis] = value;
    }
  }
  return area;
}

bool draw_in_area(RunState& run, const SourceRecord& source, int j, const ReleaseArea& area,
                  Place& place) {
  float r1 = 0.5f, r2 = 0.5f;
  if (!run.settings.debug) {
    draw_chain(run);
    r1 = run.parcels.RANDOMfirst[0];
    r2 = run.parcels.RANDOMfirst[1];
  }
  const float g = scatter_deviate(run);
  const float scatter = source.SRCrow(j).ROWscatter;
  const auto across = [&](int axis, float r) {
    return r * (area.highest[axis] - area.lowest[axis]) + area.lowest[axis];
  };
  const auto in_polygon = [&](float a, float b, Plane plane) {
    return INPOLYm(a, b, source.SRCpos, j, source.SRCverts, plane);
  };
  place.from = height_from(run);
  if (is_true(source.SRCplaneXY(j))) {
    place.X = across(0, r1);
    place.Y = across(1, r2);
    place.dz = g * scatter;
    place.z = area.last[2];
    return in_polygon(place.X, place.Y, Plane::xy);
  }
  place.dz = 0.0f;
  if (is_true(source.SRCplaneYZ(j))) {
    place.X = g * scatter + area.last[0];
    place.Y = across(1, r2);
    place.z = across(2, r1);
    return in_polygon(place.Y, place.z, Plane::yz);
  }
  place.X = across(0, r1);
  place.Y = g * scatter + area.last[1];
  place.z = across(2, r2);
  return in_polygon(place.X, place.z, Plane::xz);
}

}  // namespace

void RELEASE_INST(RunState& run) {
  for (int i = 1; i <= run.parcels.NUMinst; ++i) {
    SourceRecord& source = run.parcels.SRCinst(i);
    for (int j = 1; j <= source.SRCrows; ++j) {
      Instruction& row = source.SRCrow(j);
      if (!(run.clock.Tnow >= row.ROWtime && row.ROWtime > 0.0)) continue;
      const int n = static_cast<int>(row.ROWreleased);
      run.parcels.NUMnew += n;
      row.ROWtime = -999.0;
      const float x = static_cast<float>(source.SRCpos(j, 1));
      const float y = static_cast<float>(source.SRCpos(j, 2));
      const float z = static_cast<float>(source.SRCpos(j, 3));
      Release release{SourceKind::instantaneous, i, j, source, row, row.ROWrhos};
      for (int k = 1; k <= n; ++k) {
        PLACE_PARCEL(run, release, find_place(run, release, [&](Place& place) {
                       return draw_scattered(run, row, x, y, z, place);
                     }));
      }
    }
  }
}

void RELEASE_POINT(RunState& run) {
  for_active_rows(run, SourceKind::point, [&](Release& release, const RowMoment& moment, int n) {
    const Instruction& row = release.instruction;
    const float x = position_between(release.record, release.row, 1, moment.f);
    const float y = position_between(release.record, release.row, 2, moment.f);
    const float z = position_between(release.record, release.row, 3, moment.f);
    // The propellers of a ship that stays in place turn while material is stirred up.
    if (run.ships.SHIPstill) run.ships.SHIPrunning = moment.Q > 0.0f;
    for (int k = 1; k <= n; ++k) {
      PLACE_PARCEL(run, release, find_place(run, release, [&](Place& place) {
                     return draw_scattered(run, row, x, y, z, place);
                   }));
    }
  });
}

void RELEASE_LINE(RunState& run) {
  for_active_rows(run, SourceKind::line, [&](Release& release, const RowMoment& moment, int n) {
    const SourceRecord& source = release.record;
    ReleaseLine line;
    line.ends = line_ends_between(source, release.row, moment.f);
    LineEnds& ends = line.ends;
    if (source.SRCdatum == depthdistributed) {
      const float H = depth_at_first_end(run, source, release.row);
      ends.z1 = ends.z1 * H;
      ends.z2 = ends.z2 * H;
    }
    line.vertical = ends.x1 == ends.x2 && ends.y1 == ends.y2;
    if (!line.vertical && ends.z1 != ends.z2) {
      REPORT_INT2(run.messages, true, " *** Line source not in a plane", release.source,
                  release.row);
    }
    if (line.vertical) {
      line.zm = (ends.z1 + ends.z2) / 2.0f;
      line.zh = (ends.z2 - ends.z1) / 2.0f;
    } else {
      const float a = std::atan2(ends.y2 - ends.y1, ends.x2 - ends.x1);
      line.ca = std::cos(a);
      line.sa = std::sin(a);
    }
    if (n > 0) line.from = line_height_from(run, source.SRCdatum);
    for (int k = 1; k <= n; ++k) {
      PLACE_PARCEL(run, release, find_place(run, release, [&](Place& place) {
                     return draw_on_line(run, release.instruction, line, place);
                   }));
    }
  });
}

void RELEASE_AREA(RunState& run) {
  for_active_rows(run, SourceKind::area, [&](Release& release, const RowMoment& moment, int n) {
    const SourceRecord& source = release.record;
    const ReleaseArea area = area_at(source, release.row, moment.f);
    for (int k = 1; k <= n; ++k) {
      PLACE_PARCEL(run, release, find_place(run, release, [&](Place& place) {
                     return draw_in_area(run, source, release.row, area, place);
                   }));
    }
  });
}

bool INPOLYm(float a, float b, const Array2<double>& position, int row, int vertices, Plane plane) {
  const int axis_u = plane == Plane::yz ? 2 : 1;
  const int axis_v = plane == Plane::xy ? 2 : 3;
  const auto u = [&](int i) {
    return static_cast<float>(position(row, 3 * (i - 1) + axis_u) - static_cast<double>(a));
  };
  const auto v = [&](int i) {
    return static_cast<float>(position(row, 3 * (i - 1) + axis_v) - static_cast<double>(b));
  };
  return polygon_holds_origin(vertices, u, v);
}

}  // namespace dfl
