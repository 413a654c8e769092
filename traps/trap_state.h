#pragma once

namespace dfl {

struct TrapState {
  bool TRAPon = false;  // a trap file is in use
  int NUMtraps = 0;
};

}  // namespace dfl
