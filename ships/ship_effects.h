#pragma once

// The effects of a passing ship on the flow.

#include "control/run_state.h"
#include "ships/drawdown.h"
#include "ships/propeller_wash.h"

namespace dfl {

// Reads the files of the ship and prepares its hull; nothing without drawdown and propeller wash.
void SHIP_SETUP(RunState& run);

// The node fields of flow and waves at Tnow, with the ship at its place.
void SHIP_PASS(RunState& run);

// What a ship does to all nodes in one pass; taken once a pass from the ship's place.
struct ShipEffects {
  bool wash = false, drawdown = false;
  PropellerJets jets;
  PassingHull hull;
};
ShipEffects ship_effects(const RunState& run);

// Adds the ship to level k of node n, whose flow has been blended. Levels go upward from 0: at 0
// the drawdown of the node is found, which serves the others.
void add_ship(RunState& run, const ShipEffects& ship, int n, int k, NodeDrawdown& drawdown);

}  // namespace dfl
