#pragma once

// All model state of one run, one member per room. Two runs in a process never meet.

#include <array>
#include <string>

#include "control/messages.h"
#include "control/settings.h"
#include "flow/flow_state.h"
#include "mesh/grid_state.h"
#include "mesh/mesh_state.h"
#include "output/output_state.h"
#include "parcels/parcel_state.h"
#include "sediment/sediment_state.h"
#include "ships/ship_state.h"
#include "traps/trap_state.h"
#include "waves/wave_state.h"

namespace dfl {

// year, month, day, hour, minute, second, millisecond
using Date = std::array<int, 7>;

struct ClockState {
  std::string CONTROLfile;
  std::string RUNuser;
  Date run_start_date{};                // wall clock at the start of the run
  double Tnow = 0.0;                    // run seconds since 1 January of REFyear
  Date DATEnow{};                       // latest conversion made for output
  int NStep = 0;                        // step under way, from 1
  int OUTcount = 0, MAPcount = 0;       // steps since the last parcel, map output
  bool OUTnow = false, MAPnow = false;  // such output falls due in this step
  bool LASTstep = false;                // this step reaches stop_run
  bool STOPrun = false;                 // nothing is left to track
  std::string STEPmark;
};

struct RunState {
  MessageState messages;
  Settings settings;
  ClockState clock;
  MeshState mesh;
  GridState grid;
  FlowState flow;
  SedimentState sediment;
  WaveState waves;
  ParcelState parcels;
  TrapState traps;
  ShipState ships;
  OutputState output;
  BalanceState balance;

  RunState() = default;
  RunState(const RunState&) = delete;  // parcels point into stores of their own run
  RunState& operator=(const RunState&) = delete;
};

}  // namespace dfl
