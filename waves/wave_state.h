#pragma once

// Wave fields at the nodes at the present time, the two frames that they are blended from, and the
// wave model's grids. The mesh readers set the start values, so that a run without waves sees
// height 0 and period 1.

#include <array>
#include <bit>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "control/array.h"
#include "control/text_reader.h"
#include "dataset/hyfs.h"
#include "mesh/mesh_state.h"

namespace dfl {

// Fields of a frame, in the order in which they are read.
enum WaveField { wave_height_field, wave_period_field, wave_direction_field, wave_breaking_field };
constexpr std::size_t wave_field_count = 4;

// One wave grid: the parent, or the nested one laid over it.
struct WaveGrid {
  int NI = 0, NJ = 0;
  double x_origin = 0.0, y_origin = 0.0;  // mesh units
  float angle = 0.0f;                     // degrees
  bool variable = false;             // DX and DY hold sums from the origin to the end of each cell
  Array<float> DX, DY;               // cell sizes, mesh units; one entry for a uniform grid
  Array<std::int16_t> cellI, cellJ;  // of each node, variable grids only; 0 outside
  std::array<Array2<float>, wave_field_count> field;  // (J, I) of the frame read last
};

struct WaveState {
  Array<float> WAVEheight;          // m; start 0
  Array<float> WAVEperiod;          // s; start 1
  Array<float> WAVEdirx, WAVEdiry;  // unit vector of travel; start 0
  Array<float> WAVEbreak;           // dissipation, negative where waves break; start 0

  // Frames at the nodes; the direction in degrees from +y clockwise, where waves travel to.
  std::array<Array<float>, wave_field_count> last, next;

  int NUMwaveframes = 0;
  int wave_files = 0, wave_frames = 0;
  float wave_step = 0.0f;     // s between frames
  double start_waves = 0.0;   // run seconds of the first frame
  bool WAVEnautical = false;  // directions are those the waves come from, clockwise from north
  int SWANidla = 1;           // layout of SWAN blocks: 1 rows from the top, 3 from the bottom
  bool swan_on_mesh = false;

  double TWAVEfirst = 0.0, TWAVEfloor = 0.0, TWAVElast = 0.0, TWAVEnext = 0.0;  // run seconds
  int WAVEframe = 0;                                                            // frames read
  float WAVEfraction = 0.0f;  // weight of the next frame
  bool frames_ended = false;  // no further frame can be read; the last one stays

  std::array<WaveGrid, 2> grid;  // parent, nested
  int grids = 1;                 // in use

  // SWAN on a mesh of its own: its element that holds each node, 0 outside, and the weights.
  MeshState swan_mesh;
  Array<int> swan_element;
  std::vector<std::array<float, 3>> swan_weights;
  std::array<Array<float>, wave_field_count> swan_field;  // frame read last, per SWAN node

  // Open text files: one a field for SWAN and Lagoon; for "oswell" waves and breaking, by grid.
  std::array<std::unique_ptr<TextReader>, wave_field_count> swan_file;
  std::array<std::unique_ptr<TextReader>, 2> oswell_file, oswell_breaking_file;
  std::array<std::vector<std::string>, 2> oswell_names, oswell_breaking_names;
  int oswell_files_open = 0;    // of each list
  int oswell_frames_taken = 0;  // from the files open
  // Dataset files, by grid, and their groups by field.
  std::array<std::string, 2> hyfs_path;
  std::vector<double> hyfs_times;  // s after start_waves
};

// True if a node has no waves at all: its height, direction and breaking are 0 without a sign, and
// its period is one that a wave number exists for.
inline bool calm_node(const WaveState& waves, int n) {
  const auto plain_zero = [](float value) { return std::bit_cast<std::uint32_t>(value) == 0; };
  return plain_zero(waves.WAVEheight(n)) && plain_zero(waves.WAVEdirx(n)) &&
         plain_zero(waves.WAVEdiry(n)) && plain_zero(waves.WAVEbreak(n)) &&
         waves.WAVEperiod(n) >= 0.01f && waves.WAVEperiod(n) <= 1.0e6f;
}

}  // namespace dfl
