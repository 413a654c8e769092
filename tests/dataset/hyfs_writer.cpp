// Writes a short run of maps and parcels, and tells each file and frame that is complete, so that a
// test can end it at any place and look what is left.
//   hyfs_writer FOLDER FRAMES COMPRESSION

#include <cstdio>
#include <cstdlib>
#include <string>

#include "dataset/hyfs.h"
#include "writer_run.h"

namespace {

using namespace dfl;
using namespace dfl::test;

void told(const char* what, int number) {
  std::printf("%s %d\n", what, number);
  std::fflush(stdout);
}

// As a fatal message does: tells, flushes, leaves by std::exit.
void require(int status, const char* what) {
  if (status >= 0) return;
  std::printf("failed %s %d\n", what, status);
  std::fflush(nullptr);
  std::exit(3);
}

constexpr const char* map_fields[] = {"shear stress", "bedforms", "wse"};
constexpr const char* parcel_fields[] = {"speed", "state"};

struct Run {
  std::string maps, particles;
  int frames = 0, compression = -1;
};

HyfsMesh make_mesh() {
  HyfsMesh mesh;
  for (int n = 0; n < writer_nodes; ++n) {
    mesh.x.push_back(100.0 * (n % writer_columns));
    mesh.y.push_back(100.0 * (n / writer_columns));
    mesh.bed.push_back(-5.0f);
  }
  for (int n = 1; n + writer_columns < writer_nodes; ++n) {
    if (n % writer_columns == 0) continue;
    mesh.faces.insert(mesh.faces.end(), {n, n + 1, n + writer_columns});
    mesh.faces.insert(mesh.faces.end(), {n + 1, n + writer_columns + 1, n + writer_columns});
  }
  return mesh;
}

void create_maps(const Run& run) {
  HyfsFileInfo info;
  info.kind = "maps";
  info.start_date = "2020-03-01 00:00:00";
  info.expected_frames = run.frames;
  info.expected_values = writer_nodes;
  HyfsHandle file = 0, set = 0;
  require(hfcreatefile_f(run.maps, true, info, file), "create maps");
  require(hfwritemesh_f(file, make_mesh()), "mesh");
  HyfsDatasetInfo data;
  data.compression = run.compression;
  data.values = writer_nodes;
  for (const char* name : map_fields) {
    require(hfcreatescalardataset_f(file, name, data, set), "create dataset");
    require(hfwritereftime_f(set, 2458909.5), "reftime");
    require(hfclosegroup_f(set), "close dataset");
  }
  require(hfcreatevectordataset_f(file, "flow", data, set), "create vector");
  require(hfclosegroup_f(set), "close vector");
  require(hfclosefile_f(file), "close maps");
  told("created_maps", 0);
}

void create_particles(const Run& run) {
  HyfsFileInfo info;
  info.kind = "particles";
  info.start_date = "2020-03-01 00:00:00";
  info.expected_frames = run.frames;
  info.expected_values = parcels_of(run.frames);
  HyfsHandle file = 0, group = 0, set = 0;
  require(hfcreatefile_f(run.particles, true, info, file), "create particles");
  require(hfcreategeometricpathgroup_f(file, "out/run_particles", "1-2-3", run.compression, group),
          "create group");
  require(hfwritereftime_f(group, 2458909.5), "reftime");
  HyfsDatasetInfo data;
  data.compression = run.compression;
  for (const char* name : parcel_fields) {
    require(hfcreatescalardsetextndbl_f(group, name, data, set), "create dataset");
    require(hfclosegroup_f(set), "close dataset");
  }
  require(hfclosegroup_f(group), "close group");
  require(hfclosefile_f(file), "close particles");
  told("created_particles", 0);
}

void write_maps(const Run& run, int frame) {
  HyfsHandle file = 0, set = 0;
  require(hfopenfile_f(run.maps, false, file), "open maps");
  std::vector<float> values(writer_nodes), pairs(2 * writer_nodes);
  for (int field = 0; field < 3; ++field) {
    for (int n = 0; n < writer_nodes; ++n) {
      values[static_cast<std::size_t>(n)] = map_value(field, frame, n);
    }
    require(hfopengroup_f(file, map_fields[field], set), "open dataset");
    require(hfwritescalartimestep_f(set, writer_time(frame), values.data(), writer_nodes),
            "write scalar");
    require(hfclosegroup_f(set), "close dataset");
  }
  for (int n = 0; n < writer_nodes; ++n) {
    pairs[static_cast<std::size_t>(2 * n)] = map_value(3, frame, n);
    pairs[static_cast<std::size_t>(2 * n + 1)] = map_value(4, frame, n);
  }
  require(hfopengroup_f(file, "flow", set), "open vector");
  require(hfwritevectortimestep_f(set, writer_time(frame), pairs.data(), writer_nodes),
          "write vector");
  require(hfclosegroup_f(set), "close vector");
  require(hfclosefile_f(file), "close maps");
  told("maps", frame);
  require(hfwritemapsxmf_f(run.maps), "maps sidecar");
}

void write_particles(const Run& run, int frame) {
  HyfsHandle file = 0, group = 0, set = 0;
  const int count = parcels_of(frame);
  std::vector<double> positions;
  for (int p = 0; p < count; ++p) {
    for (int axis = 0; axis < 3; ++axis) positions.push_back(position_value(axis, frame, p));
  }
  require(hfopenfile_f(run.particles, false, file), "open particles");
  require(hfopengroup_f(file, "out/run_particles", group), "open group");
  require(hfwriteparticletimestep_f(group, writer_time(frame), count, positions.data()),
          "write particles");
  std::vector<float> values(static_cast<std::size_t>(count));
  for (int field = 0; field < 2; ++field) {
    for (int p = 0; p < count; ++p) {
      values[static_cast<std::size_t>(p)] = parcel_value(field, frame, p);
    }
    require(hfopengroup_f(group, parcel_fields[field], set), "open dataset");
    if (frame > 0 && parcels_of(frame - 1) != count) {
      require(hfextendscalardataset_f(set, count), "extend");
    }
    require(hfwritescalartimestep_f(set, writer_time(frame), values.data(), count), "write scalar");
    require(hfclosegroup_f(set), "close dataset");
  }
  require(hfclosegroup_f(group), "close group");
  require(hfclosefile_f(file), "close particles");
  told("particles", frame);
  require(hfwriteparticlesxmf_f(run.particles), "particles sidecar");
}

void write_constants(const Run& run) {
  const int count = parcels_of(run.frames - 1);
  HyfsHandle file = 0, group = 0, set = 0;
  require(hfopenfile_f(run.particles, false, file), "open particles");
  require(hfopengroup_f(file, "out/run_particles", group), "open group");
  HyfsDatasetInfo data;
  data.location = "trajectory";
  data.compression = run.compression;
  constexpr const char* names[] = {"id", "source", "grain size", "density", "fall velocity"};
  for (int field = 0; field < 5; ++field) {
    std::vector<float> values(static_cast<std::size_t>(count));
    for (int p = 0; p < count; ++p) {
      values[static_cast<std::size_t>(p)] = parcel_value(10 + field, 0, p);
    }
    require(hfcreatescalardataset_f(group, names[field], data, set), "create constant");
    require(hfwritereftime_f(set, 2458909.5), "reftime");
    require(hfwritescalartimestep_f(set, 0.0, values.data(), count), "write constant");
    require(hfclosegroup_f(set), "close constant");
  }
  require(hfclosegroup_f(group), "close group");
  require(hfclosefile_f(file), "close particles");
  told("constants", 5);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const std::string folder = argv[1];
  const Run run{folder + "/run_maps.h5", folder + "/run_particles.h5", std::atoi(argv[2]),
                std::atoi(argv[3])};
  require(hfpinitialize_f(), "initialize");
  create_maps(run);
  create_particles(run);
  for (int frame = 0; frame < run.frames; ++frame) {
    write_maps(run, frame);
    write_particles(run, frame);
  }
  write_constants(run);
  told("end", 0);
  return 0;
}
