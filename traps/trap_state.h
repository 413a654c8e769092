#pragma once

// Traps: places at which a run counts what passes or what lies.

#include <cstdio>
#include <string>

#include "control/array.h"

namespace dfl {

enum class TrapKind { line, polygon };

struct Trap {
  TrapKind TRAPkind = TrapKind::line;
  std::string TRAPname;
  std::string TRAPnumber;                   // first word of the name record
  Array2<double> TRAPxy;                    // (vertex, 1 x, 2 y), mesh units; a line has two
  int TRAPsides = 0;                        // vertices of a polygon
  bool TRAPopened = false;                  // a counted parcel goes on
  bool TRAPonecount = false;                // acts once on a parcel
  bool TRAPvertical = false;                // line with x2 = x1
  double TRAPstart = 0.0, TRAPstop = 0.0;   // counting period, run seconds
  float TRAPmass = 0.0f;                    // counted so far, kg
  double TRAPslope = 0.0, TRAPicept = 0.0;  // of a line; the intercept of a vertical one is its x
  float TRAPbottom = 0.0f;  // the second limit in the file: the high limit of the test, m
  float TRAPtop = 0.0f;     // the first limit in the file: the low limit of the test, m
  float TRAParea = 0.0f;    // of a polygon, positive counter-clockwise, mesh units squared
  int TRAPparcels = 0;      // counted so far
  int TRAPdir = 0;          // side of a line that counts: negative low, positive high, 0 none
  double xmin = 0.0, xmax = 0.0, ymin = 0.0, ymax = 0.0;  // of the vertices
};

struct TrapState {
  bool TRAPon = false;  // a trap file is in use
  int NUMtraps = 0;
  int NUMlinetraps = 0;
  int NUMpolytraps = 0;
  Array<Trap> TRAPS;  // lines first
  // "_bin.out" with last_step_trap, else "_residency.out" or "_count.out".
  std::FILE* report_file = nullptr;
  std::string report_path;
  std::FILE* concentration_file = nullptr;  // "_conc.out", with last_step_trap
  std::string concentration_path;
};

}  // namespace dfl
