#include "parcels/population.h"

#include <algorithm>
#include <cstdio>

#include "control/text_tools.h"

namespace dfl {

namespace {

constexpr float not_in_a_trap = -9999.0f;  // entry time of a parcel that stays in no trap

}  // namespace

int vec_length(const Settings& settings) {
  return (settings.flow_output ? 3 : 0) + (settings.residence_calc ? 2 : 0);
}

void allocate_population(RunState& run) {
  ParcelState& parcels = run.parcels;
  const int count = parcels.NUMparcels;
  const int entries = std::max(count, 1);  // without parcels the lists keep one unused entry
  parcels.PARCELS.allocate(count);
  parcels.ALIVElist.allocate(entries, 0);
  parcels.DEADlist.allocate(entries, 0);
  parcels.DEADflag.allocate(entries, logical_false);
  parcels.output_buffer.allocate(3 * entries, 0.0);
  parcels.VECLEN = vec_length(run.settings);
  parcels.VECstore.allocate(count * parcels.VECLEN, 0.0f);
  for (int id = 1; id <= count; ++id) {
    parcels.PARCELS(id).VEC =
        parcels.VECLEN > 0 ? &parcels.VECstore((id - 1) * parcels.VECLEN + 1) : nullptr;
  }
}

void PARCEL_INIT(RunState& run) {
  ParcelState& parcels = run.parcels;
  parcels.VECstore.fill(0.0f);
  for (Parcel& parcel : parcels.PARCELS) {
    Parcel initial;
    initial.RHOs = run.settings.rhos;
    initial.VEC = parcel.VEC;
    initial.TRAPSTATE = parcel.TRAPSTATE;
    parcel = initial;
    // The last entry is the time at which the parcel came into the trap where it stays.
    if (run.settings.residence_calc && parcel.VEC != nullptr) {
      parcel.VEC[parcels.VECLEN - 1] = not_in_a_trap;
    }
  }
}

void BUILD_ALIVE_LIST(RunState& run) {
  ParcelState& parcels = run.parcels;
  run.clock.STOPrun = false;
  parcels.NUMalive = 0;
  // Slots above NUMborn have never been alive.
  for (int id = 1; id <= parcels.NUMborn; ++id) {
    if (is_true(parcels.PARCELS(id).ALIVE)) parcels.ALIVElist(++parcels.NUMalive) = id;
  }
  // What the list of the step before had further back; NUMalive may have been lowered since.
  for (int i = parcels.NUMalive + 1; i <= parcels.ALIVElist.size() && parcels.ALIVElist(i) != 0;
       ++i) {
    parcels.ALIVElist(i) = 0;
  }

  if (run.clock.Tnow <= parcels.RELlast) return;
  for (int i = 1; i <= parcels.NUMinst; ++i) {
    if (parcels.SRCinst(i).SRCrow(1).ROWtime > -998.9) {
      REPORT(run.messages, false, "Time step may not be in sync with instantaneous release");
    }
  }
  if (parcels.NUMalive == 0) {
    constexpr const char* text = "*** No active particles in domain";
    console(run.messages, "%s\n", text);
    if (std::FILE* file = open_error_file(run.messages); file != nullptr) {
      std::fprintf(file, "%s\n", text);
      std::fflush(file);
    }
    run.clock.STOPrun = true;
  }
}

void SCAN_PARCELS(RunState& run) {
  ParcelState& parcels = run.parcels;
  parcels.NUMdormant = 0;
  parcels.DEADflag.fill(logical_false);
  for (int i = 1; i <= parcels.NUMalive; ++i) {
    const int id = parcels.ALIVElist(i);
    const Parcel& parcel = parcels.PARCELS(id);
    if (!is_true(parcel.ALIVE)) {
      parcels.DEADlist(++parcels.NUMdead) = id;
      parcels.DEADflag(id) = logical_true;
      if (std::FILE* file = open_error_file(run.messages); file != nullptr) {
        std::fprintf(file, "Dead particle: %s%s%s%s\n", columns(run.clock.NStep, 8).c_str(),
                     columns(id, 8).c_str(), columns(parcel.X, 16, 3).c_str(),
                     columns(parcel.Y, 16, 3).c_str());
      }
    }
    if (is_true(parcel.DORMANT)) ++parcels.NUMdormant;
  }
}

}  // namespace dfl
