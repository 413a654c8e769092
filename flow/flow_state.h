#pragma once

// Two frames of the flow and the node fields at Tnow. Level 0 of a velocity is the depth average;
// levels 1 to NUMlayers run upward from the bed.

#include <memory>
#include <vector>

#include "control/array.h"
#include "control/text_reader.h"
#include "dataset/hyfs.h"

namespace dfl {

constexpr float dry_mark = -998.0f;       // an elevation or velocity at or below it is no value
constexpr float dry_surface = -99999.0f;  // blended surface of a dry node

// Flow in dataset files: handles stay open for the run, -1 where there is none.
struct FlowDatasets {
  HyfsHandle flow_file = -1;       // flow_file_uv
  HyfsHandle elevation_file = -1;  // "n2d": flow_file_z
  HyfsHandle Zset = -1, Vset = -1;
  HyfsHandle Uset = -1, Wset = -1;  // "n3d"
  HyfsHandle Sset = -1, Tset = -1;  // salinity, temperature
  HyfsHandle bottom_file = -1, BOTset = -1;
  int ZLOC = 0, ULOC = 0, VLOC = 0;                 // "n2d": data locations, as in MAP_GRID
  std::vector<float> VECwork, CELLwork, LEVELwork;  // one step of a vector or scalar dataset
  Array<double> TIMESbottom;  // times of the bottom frames, without bottom_start_flow
  float dTimebottom = 0.0f;   // s
};

struct FlowState {
  bool FLOW2D = true;      // depth-averaged data; the vertical profile is a model
  bool UNIFORMden = true;  // density is water_density
  bool UNIFORMtem = true;  // temperature and viscosity are those of the cards
  bool UNIFORMsal = true;  // salinity is that of the card
  int NUMlayers = 0;
  int IDEN = 0;  // 0 none, 1 den, 2 den+sal, 3 den+tem, 4 den+sal+tem, 5 sal+tem, 6 sal+SIG

  Array<float> ETAold, ETAnew, ETAnode;  // surface above datum, m; dry at dry_mark or below
  Array<float> Hnode;                    // total depth at Tnow, m
  Array2<float> Uold, Unew, Unode;       // m/s, levels 0 to NUMlayers
  Array2<float> Vold, Vnew, Vnode;
  Array2<float> Wold, Wnew, Wnode;        // m/s, levels 1 to NUMlayers; 3-D only
  Array2<float> DENold, DENnew, DENnode;  // kg/m3
  Array2<float> SALold, SALnew, SALnode;  // parts per thousand
  Array2<float> TEMold, TEMnew, TEMnode;  // degrees C
  Array2<float> SIGold, SIGnew, SIGnode;  // relative height of each level, "n3d" only
  Array<float> UBold, UBnew, UBnode;      // bottom point, "2d (two-point)" only, m/s
  Array<float> VBold, VBnew, VBnode;
  Array<Logical> BOTTOMmask;  // the bottom point holds at this node
  Array<float> SIGMA;         // relative height of levels 1 to NUMlayers, 0 bed, 1 surface

  float dTime = 0.0f;  // s between the frames in hand
  int NUMframes = 0;
  double TIMEflow = 0.0;      // run time of the newer frame, s
  double TIMEfirst = 0.0;     // of the first frame
  double TIMEearliest = 0.0;  // first run time covered: TIMEfirst - dTime
  double TIMElast = 0.0;      // last run time covered
  double TIMEold = 0.0;       // of the older frame in hand; equal to TIMEflow until two are read
  int FRAMEflow = 0;          // index of the newest frame
  Array<double> TIMESflow;    // time of each frame without start_flow
  double TIMEbottom = 0.0;
  int FRAMEbottom = 0;
  float FLOWfrac = 0.0f;  // weight of the newer frame

  FlowDatasets datasets;

  // Open text files.
  std::unique_ptr<TextReader> elevation_file, velocity_file, scalar_file, bottom_file;
  double frame_time = 0.0;          // time of the frame read last, as in the file, s
  int frame_step = 0;               // model step of the frame read last
  bool scalars_checked = false;     // the first density frame has been looked at
  bool density_is_sigma_t = false;  // density fields hold kg/m3 above 1000
};

}  // namespace dfl
