#include "parcels/track_passive.h"

#include <array>
#include <cmath>

#include "parcels/displacement.h"
#include "parcels/estimates.h"
#include "parcels/mesh_walk.h"

namespace dfl {

namespace {

// A place with the fields there.
struct Sample {
  alignas(16) std::array<float, passive_fields> f;
  double x, y;
  int element;
};

void take_sample(const RunState& run, const TrackFields& fields, Sample& here) {
  const TrackElement& t = fields.elements(here.element);
  const Weights w = packed_weights(run, t, here.element, here.x, here.y);
  interpolate<passive_fields>(fields, t, w, here.f.data());
}

}  // namespace

bool track_passive(const RunState& run, const TrackFields& fields, int order, Parcel& parcel,
                   RandomStream& random, double& displacement_squared) {
  const Settings& set = run.settings;
  const RandomStream before = random;
  const auto give_up = [&] {
    random = before;
    return false;
  };
  const Walk walk = WALK_NUMBERS(random, set.debug, set.repeatable, run.clock.NStep);
  const TrackElement& start = fields.elements(parcel.ELEMENT);
  DeferredGauss gauss;
  Sample here;
  here.x = parcel.X;
  here.y = parcel.Y;
  here.element = parcel.ELEMENT;
  take_sample(run, fields, here);
  const float B0 = here.f[at_B];
  float height = parcel.h, h0 = parcel.h, z = parcel.Z;
  std::array<double, 4> dx, dy;

  for (int i = 1; i <= order; ++i) {
    // Conditions: a current that surely moves the parcel.
    const float H = here.f[at_H], U = here.f[at_U], V = here.f[at_V];
    const float KSgrain = 3.0f * here.f[at_D90];
    const float KStotal = std::max(KSgrain, here.f[at_KS]);
    if (!(H >= set.min_depth && here.f[at_waves] == 0.0f &&
          surely_mobile(H, KSgrain, U, V, set.water_density, parcel.TAUcd))) {
      return give_up();
    }
    if (fields.turbulent_draws) pass_gauss(gauss, random);

    // Displacement.
    double rx = 0.0, ry = 0.0;
    if (!set.no_random_walk) {
      const float ustar = std::sqrt(here.f[at_TAUbed] / set.water_density);
      const float Et = ET_HORIZONTAL(set, H, ustar, 1.0f);
      const float sh = Et == set.etmin ? fields.sh_etmin : walk_scale(Et, fields.dt8);
      rx = static_cast<double>(walk.w2 * sh) * fields.dt8;
      ry = static_cast<double>(walk.w3 * sh) * fields.dt8;
    }
    const auto k = static_cast<std::size_t>(i) - 1;
    dx[k] = static_cast<double>(U) * fields.dt8 + rx;
    dy[k] = static_cast<double>(V) * fields.dt8 + ry;
    if (i == 4) {
      here.x = parcel.X + fourth_order(dx);
      here.y = parcel.Y + fourth_order(dy);
    } else {
      const double weight = i == 3 || (i == 2 && order == 2) ? 1.0 : 0.5;
      here.x = parcel.X + dx[k] * weight;
      here.y = parcel.Y + dy[k] * weight;
    }
    height = std::max(height, KStotal / 30.0f);
    if (height > H) h0 = H;
    height = std::max(height, 0.0f);

    // Place.
    const EdgeValues edges = edge_values(start, here.x, here.y);
    here.element = parcel.ELEMENT;
    if (!holds(edges)) {
      if (start.wall) return give_up();
      here.element = walk_to(fields.elements, parcel.ELEMENT, edges, here.x, here.y);
      if (here.element == 0) return give_up();
    }
    take_sample(run, fields, here);
    const float Hn = here.f[at_H], Bn = here.f[at_B];
    if (Hn < height) height = 2.0f * Hn - height;  // mirrored at the surface
    z = (parcel.Z - h0) + (B0 - Bn) + height;
    const float floor = KSgrain / 4.0f;
    if (height < floor) {
      z = z - height + floor;
      height = floor;
    }
    if (!(height > floor)) return give_up();  // it lands
  }

  settle_gauss(gauss, random);
  const double lx = here.x - parcel.X, ly = here.y - parcel.Y;
  displacement_squared = (lx * lx + ly * ly) / static_cast<double>(start.area);
  parcel.X = here.x;
  parcel.Y = here.y;
  parcel.h = height;
  parcel.Z = z;
  parcel.ELEMENT = here.element;
  parcel.BURIAL = 0.0f;
  parcel.MOBILITY = 1.0f;
  return true;
}

}  // namespace dfl
