#include "ships/ship_effects.h"

#include <algorithm>
#include <cmath>

#include "control/text_tools.h"
#include "flow/flow_frames.h"
#include "flow/vertical_profile.h"
#include "mesh/find_element.h"
#include "mesh/geometry.h"
#include "ships/return_flow.h"
#include "ships/ship_routes.h"
#include "waves/wave_frames.h"

namespace dfl {

namespace {

void set_drawdown_method(RunState& run) {
  const std::string& word = run.settings.drawdown_method;
  ShipState& ships = run.ships;
  ships.interpolated = contains(word, "interpolated");
  ships.continuity = contains(word, "continuity");
  if (contains(word, "return-square")) ships.return_flow = ReturnFlow::square;
  if (contains(word, "return-channel")) ships.return_flow = ReturnFlow::channel;
  if (contains(word, "return-trench")) ships.return_flow = ReturnFlow::trench;
}

void prepare_hull(RunState& run) {
  ShipState& ships = run.ships;
  ships.draws_down = ships.interpolated || ships.SHIPspeed > 0.0f;
  if (!ships.draws_down) {
    echo_warning(run.messages,
                 "the ship does not move: drawdown by a function counts as 0 for a speed of 0");
  } else if (!ships.interpolated) {
    SHIP_STAGNATION(run);
  }
}

void place_ship(RunState& run) {
  ShipState& ships = run.ships;
  SHIP_POSITION(ships, run.clock.Tnow);
  const ShipPosition &first = ships.propeller[0], &second = ships.propeller[1];
  ships.xs = ships.NUMprops == 2 ? (first.x + second.x) / 2.0f : first.x;
  ships.ys = ships.NUMprops == 2 ? (first.y + second.y) / 2.0f : first.y;
  ships.heading = first.heading;
}

// Depth of the water at the ship, and the return flow of its hull.
void look_at_channel(RunState& run) {
  ShipState& ships = run.ships;
  const MeshState& mesh = run.mesh;
  ships.depth = ships.Vr = ships.Lr = 0.0f;
  if (!ships.continuity && ships.return_flow == ReturnFlow::none) return;
  const double xs = static_cast<double>(ships.xs), ys = static_cast<double>(ships.ys);
  const int e = FIND_ELEMENT(mesh, xs, ys);
  if (e == 0) fatal_error(run.messages, "Ship not in domain");
  // Before the first blend no depth of the water is known.
  const Array<float>& depth = run.clock.NStep == 1 ? mesh.DEPTHnode : run.flow.Hnode;
  const Weights w = element_weights(run.messages, mesh, e, xs, ys);
  ships.depth = NODE_INTERP(w, mesh.ELnode1(e), mesh.ELnode2(e), mesh.ELnode3(e), depth);
  if (ships.return_flow == ReturnFlow::none) return;
  const ReturnFlowResult result =
      RETURN_FLOW(run.messages, ships, CHANNEL_SECTION(run, xs, ys, ships.heading, depth));
  ships.Vr = result.Vr;
  ships.Lr = result.Lr;
  if (result.blocked && !ships.blocked_told) {
    echo_warning(run.messages,
                 "the ship fills its channel, or lies on dry land: no return flow there");
    ships.blocked_told = true;
  }
}

// The propellers at the stern of the hull, whose middle the route gives.
std::array<ShipPosition, 2> at_the_stern(const ShipState& ships) {
  std::array<ShipPosition, 2> place = ships.propeller;
  const float back = ships.SHIPlength / 2.3f;
  const float t = ships.heading * 3.14159f / 180.0f;
  for (ShipPosition& propeller : place) {
    propeller.x = propeller.x - back * std::sin(t);
    propeller.y = propeller.y - back * std::cos(t);
  }
  return place;
}

// Height above the bed at which a level feels the wash.
float level_height(const RunState& run, int n, int k, float H) {
  if (k == 0) return std::min(1.0f, H / 2.0f);
  return SIGMA_AT_NODE(run.flow, run.settings.method.flow, n)[k - 1] * H;
}

}  // namespace

void SHIP_SETUP(RunState& run) {
  const Settings& s = run.settings;
  if (!s.drawdown_on && !s.propwash_on) return;
  ShipState& ships = run.ships;
  if (s.propwash_on) {
    READ_PROPWASH_DATA(run);
  } else {
    ships.NUMprops = 1;
  }
  if (s.drawdown_on) {
    set_drawdown_method(run);
    READ_DRAWDOWN_DATA(run);
  }
  READ_SHIP_ROUTES(run);
  if (s.drawdown_on) prepare_hull(run);
  if (!s.currents) {
    echo_warning(run.messages, "a ship acts on the flow only with the card :currents");
  }
}

void SHIP_PASS(RunState& run) {
  const Settings& s = run.settings;
  if (s.drawdown_on || s.propwash_on) {
    place_ship(run);
    if (run.ships.present && run.ships.draws_down) look_at_channel(run);
    run.ships.PROPpitch = pitch_in_range(run.ships.PROPpitch);
  }
  if (s.currents) FLOW_BLEND(run);
  if (s.waves) WAVES_TO_NODES(run);
}

ShipEffects ship_effects(const RunState& run) {
  const Settings& s = run.settings;
  const ShipState& ships = run.ships;
  ShipEffects ship;
  if (!ships.present) return ship;
  // The propellers of a ship that stays in place do not always turn.
  ship.wash = s.propwash_on && (!ships.SHIPstill || ships.SHIPrunning);
  ship.drawdown = s.drawdown_on && ships.draws_down;
  if (ship.wash) {
    ship.jets = propeller_jets(ships, s.drawdown_on ? at_the_stern(ships) : ships.propeller,
                               ships.heading, s.water_density);
  }
  if (ship.drawdown) ship.hull = passing_hull(run);
  return ship;
}

void add_ship(RunState& run, const ShipEffects& ship, int n, int k, NodeDrawdown& drawdown) {
  FlowState& flow = run.flow;
  const double x = run.mesh.Xnode(n), y = run.mesh.Ynode(n);
  const float H = flow.Hnode(n);
  if (ship.wash && H > 0.0f) {
    const JetVelocity jet = PROP_WASH(run.messages, ship.jets, H, x, y, level_height(run, n, k, H));
    flow.Unode(n, k) = flow.Unode(n, k) + jet.U;
    flow.Vnode(n, k) = flow.Vnode(n, k) + jet.V;
  }
  if (!ship.drawdown) return;
  if (k == 0) {
    drawdown = NodeDrawdown{};
    if (H > 0.0f) {
      drawdown = run.ships.interpolated ? DRAWDOWN_GRID(ship.hull, run.ships.grid, x, y)
                                        : DRAWDOWN_FUNCTION(ship.hull, H, x, y);
      flow.Hnode(n) = std::max(0.0f, H + drawdown.dz);
      flow.ETAnode(n) = flow.ETAnode(n) + drawdown.dz;
    }
  }
  flow.Unode(n, k) = flow.Unode(n, k) + drawdown.du;
  flow.Vnode(n, k) = flow.Vnode(n, k) + drawdown.dv;
}

}  // namespace dfl
