#pragma once

// A short run as the output writers make it: maps and parcels, files reopened at each frame, all
// values known from their place.

#include <functional>
#include <string>

namespace dfl::test {

constexpr int writer_nodes = 60;
constexpr int writer_columns = 10;
constexpr double writer_step = 600.0;

inline double writer_time(int frame) {
  return writer_step * frame;
}

inline float map_value(int field, int frame, int node) {
  return static_cast<float>(1000 * field + 10 * frame) + 0.01f * static_cast<float>(node);
}

// More parcels every third frame.
inline int parcels_of(int frame) {
  return 70 + 40 * (frame / 3);
}

inline double position_value(int axis, int frame, int parcel) {
  return 500000.0 + 1000.0 * axis + frame + parcel / 1024.0;
}

inline float parcel_value(int field, int frame, int parcel) {
  return static_cast<float>(100 * field + frame) + 0.5f * static_cast<float>(parcel);
}

struct WriterFailure {
  std::string what;
  int status;
};
using Tell = std::function<void(const std::string&)>;

// Tells each file and frame that is complete: "created_maps", "created_particles", "maps" and
// "particles" once a frame, "constants", "end". Throws WriterFailure at the first bad status.
void write_run(const std::string& folder, int frames, int compression, const Tell& tell);

}  // namespace dfl::test
