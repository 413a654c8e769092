#pragma once

// Where the ship is: its route as read at the start, and its place at a time.

#include "control/run_state.h"

namespace dfl {

// Reads ship_route_file: NUMprops routes. Needs PROPdepth.
//
//   record        items                                          repeats
//   header        ":name" and a name; ":start" and the date of   EnSim form, to ":endheader"
//                 the first way point, seven integers
//   route         number of points; its name, the rest of line   NUMprops, with its points behind
//   point         x, y, speed in knots                           number of points
//   one point     x, y, heading in degrees                       if the number is 1: a ship that
//                                                                stays there
void READ_SHIP_ROUTES(RunState& run);

// Places the propellers at Tnow: `present` and `propeller` of the ship state. Before the first time
// of the routes there is no ship. After the last it stays where it was seen last, or at the last
// way point if no pass saw it.
void SHIP_POSITION(ShipState& ships, double Tnow);

}  // namespace dfl
