#include "parcels/track_parcel.h"

#include "parcels/track_fields.h"
#include "tests/parcels/literal_tracking.h"

namespace dfl {

TrackReport TRACK_PARCEL(const RunState& run, const TrackFields&, int order, Parcel& parcel,
                         RandomStream& random) {
  return literal::TRACK_PARCEL(run, order, parcel, random);
}

void TRACK_POPULATION(RunState& run, const TrackFields& fields) {
  const int scheme = run.settings.numerical_scheme;
  const int order = scheme == 1 || scheme == 2 ? 2 : 4;
  ParcelState& parcels = run.parcels;
  BalanceState& balance = run.balance;
  for (int k = 1; k <= parcels.NUMalive; ++k) {
    const int id = parcels.ALIVElist(k);
    Parcel& parcel = parcels.PARCELS(id);
    parcel.Age = static_cast<float>(static_cast<double>(parcel.Age) + run.settings.time_step);
    const TrackReport report = TRACK_PARCEL(run, fields, order, parcel, parcels.random);
    ++balance.parcel_steps;
    if (report.dry) ++balance.dry_steps;
    if (report.displacement_squared > balance.largest_displacement_squared) {
      balance.largest_displacement_squared = report.displacement_squared;
      balance.largest_displacement_parcel = id;
      balance.largest_displacement_step = run.clock.NStep;
    }
  }
}

}  // namespace dfl
