#pragma once

// Asks for the memory of the parcels that the loop over the population comes to next: their
// records, elements and nodes, and the elements and nodes that they are likely to go to. It changes
// no result.

#include <array>

#include "parcels/mesh_walk.h"
#include "parcels/track_fields.h"

namespace dfl {

struct LookAhead {
  // Where a parcel will be, and the element that the walk there has come to; nullptr where it ends.
  struct Target {
    double x = 0.0, y = 0.0;
    const TrackElement* t = nullptr;
  };
  std::array<Target, 8> targets;  // by the place in ALIVElist, modulo 8
};

// Inlined by force, as all here: the compiler drops calls of functions that only prefetch.
[[gnu::always_inline]] inline void prefetch(const void* address) {
  __builtin_prefetch(address);
}

[[gnu::always_inline]] inline void prefetch_element(const TrackElement* t) {
  prefetch(t);
  prefetch(&t->cross1);
}

[[gnu::always_inline]] inline void prefetch_nodes(const TrackFields& fields,
                                                  const TrackElement* t) {
  prefetch(&fields.nodes(t->n1));
  prefetch(&fields.nodes(t->n2));
  prefetch(&fields.nodes(t->n3));
}

// One element further toward the target.
[[gnu::always_inline]] inline void step_toward(const TrackFields& fields, LookAhead::Target& target,
                                               bool start) {
  if (target.t == nullptr) return;
  const EdgeValues f = edge_values(*target.t, target.x, target.y);
  if (holds(f)) {
    if (!start) prefetch_nodes(fields, target.t);
    target.t = nullptr;
    return;
  }
  const int next = target.t->across[worst_edge(f)];
  target.t = next == 0 ? nullptr : &fields.elements(next);
  if (target.t != nullptr) prefetch_element(target.t);
}

// For the k-th parcel of ALIVElist.
[[gnu::always_inline]] inline void look_ahead(const ParcelState& parcels, const TrackFields& fields,
                                              int k, LookAhead& ahead) {
  const auto listed = [&](int places) -> const Parcel* {
    return k + places <= parcels.NUMalive ? &parcels.PARCELS(parcels.ALIVElist(k + places))
                                          : nullptr;
  };
  const auto element_of = [&](const Parcel* parcel) -> const TrackElement* {
    if (parcel == nullptr || parcel->ELEMENT < 1 || parcel->ELEMENT > fields.elements.size()) {
      return nullptr;
    }
    return &fields.elements(parcel->ELEMENT);
  };
  const auto target = [&](int places) -> LookAhead::Target& {
    return ahead.targets[static_cast<std::size_t>(k + places) % 8];
  };
  if (const Parcel* parcel = listed(24); parcel != nullptr) {
    prefetch(parcel);
    prefetch(&parcel->ALIVE);
  }
  if (const TrackElement* t = element_of(listed(18)); t != nullptr) prefetch_element(t);
  if (const TrackElement* t = element_of(listed(12)); t != nullptr) prefetch_nodes(fields, t);

  // The depth-averaged current of one node is near enough.
  LookAhead::Target& begun = target(7);
  begun.t = nullptr;
  if (const Parcel* parcel = listed(7); parcel != nullptr && !is_true(parcel->DORMANT)) {
    begun.t = element_of(parcel);
    if (begun.t != nullptr) {
      const NodeValues& f = fields.nodes(begun.t->n1).f;
      begun.x = parcel->X + static_cast<double>(f[at_U] * fields.dt);
      begun.y = parcel->Y + static_cast<double>(f[at_V] * fields.dt);
      step_toward(fields, begun, true);
    }
  }
  for (int places : {5, 4, 3, 2}) step_toward(fields, target(places), false);
}

}  // namespace dfl
