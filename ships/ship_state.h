#pragma once

namespace dfl {

struct ShipState {
  bool SHIPstill = false;    // the ship does not move along its route
  bool SHIPrunning = false;  // its propellers turn
};

}  // namespace dfl
