#pragma once

// The ship: its route, hull and propellers as read at the start, and where it is at the present
// pass.

#include <array>
#include <string>

#include "control/array.h"

namespace dfl {

struct RoutePoint {
  double x = 0.0, y = 0.0;  // plane position, mesh units
  double z = 0.0;           // propeller axis below the surface, m
};

// The way of one propeller, or of the ship if it has none.
struct ShipRoute {
  int NUMpoints = 0;
  Array<RoutePoint> POSITION;  // way points
  Array<double> TIME;          // run seconds at each way point; none if the ship does not move
  Array<float> SPEED;          // m/s
  Array<float> HEADING;        // direction of travel, degrees clockwise from +y
  Array<Logical> ACTIVE;       // per leg: the ship has come to it
  std::string NAME;
};

// Where a propeller stands at the present pass, or stood last. In 4 bytes, as all of the model but
// the way points: with coordinates in the millions a ship moves on a grid of a quarter or half a
// metre.
struct ShipPosition {
  float x = 0.0f, y = 0.0f;  // mesh units
  float z = 0.0f;            // axis below the surface, m
  float heading = 0.0f;      // degrees clockwise from +y
  bool seen = false;         // a pass has placed it
};

enum class ReturnFlow { none, square, channel, trench };

// Drawdown and velocities on a grid that is fixed to the ship.
struct DrawdownGrid {
  int DDni = 0, DDnj = 0;          // points along x and y
  float DDdx = 0.0f, DDdy = 0.0f;  // m
  float DDangle = 0.0f;            // degrees clockwise from the direction of travel
  float DDxs = 0.0f, DDys = 0.0f;  // first point, in half lengths and half beams from the ship
  float DDxe = 0.0f, DDye = 0.0f;  // last point, likewise
  Array2<float> DDz, DDu, DDv;     // (row, column): m, m/s along grid axes
};

struct ShipState {
  bool SHIPstill = false;    // a route has one point: the ship stays there
  bool SHIPrunning = false;  // the propellers of such a ship turn

  // Routes, one a propeller.
  int NUMprops = 1;
  Array<ShipRoute> SHIP_ROUTE;
  float SHIPspeed = 0.0f;                   // mean over the way points, m/s
  double TSHIPstart = 0.0, TSHIPend = 0.0;  // run seconds; without meaning if nothing moves

  // Propellers.
  float PROPdiameter = 0.0f;  // m
  float PROPspacing = 0.0f;   // above 0: two propellers
  bool PROPducted = false;
  float PROPpitch = 0.0f;      // pitch over diameter
  float PROPangle = 0.0f;      // tilt of the jet from the horizontal, degrees
  int PROPmethod = 0;          // of the exit speed: 1 by revolutions, 2 and 3 by power
  float PROPdrive = 0.0f;      // 1/min (method 1) or power (2 and 3)
  bool PROPclearance = false;  // the far jet decays with the clearance from the bed
  float PROPdepth = 0.0f;      // axis, at or below 0: surface at 0, m
  bool PROPhalfdecay = false;  // the base exponent of decay is halved

  // Hull.
  bool interpolated = false;  // drawdown from a grid, not from the functions below
  bool continuity = false;    // velocities grow where the water is shallower than at the ship
  ReturnFlow return_flow = ReturnFlow::none;
  float SHIPlength = 0.0f, SHIPbeam = 0.0f, SHIPdraft = 0.0f;  // m
  float SHIPsource = 0.0f;    // half the distance between the two sources of the hull model, m
  float SHIPstrength = 0.0f;  // of each source, m2/s
  DrawdownGrid grid;

  // At the present pass.
  bool present = false;     // the ship has entered its route
  bool draws_down = false;  // its hull acts on the water
  std::array<ShipPosition, 2> propeller;
  float xs = 0.0f, ys = 0.0f;  // the ship: its propeller, or the middle of the two
  float heading = 0.0f;        // of the first route
  float depth = 0.0f;          // of the water at the ship, m
  float Vr = 0.0f;             // return flow beside the hull, m/s
  float Lr = 0.0f;             // and how far from the track it has fallen to 1/e, m
  bool blocked_told = false;   // the log has been told of a ship that fills its section
};

}  // namespace dfl
