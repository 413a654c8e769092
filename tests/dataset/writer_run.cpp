#include "dataset/writer_run.h"

#include "dataset/hyfs.h"

namespace dfl::test {

namespace {

void require(int status, const char* what) {
  if (status < 0) throw WriterFailure{what, status};
}

constexpr const char* map_fields[] = {"shear stress", "bedforms", "wse"};
constexpr const char* parcel_fields[] = {"speed", "state"};

struct Run {
  std::string maps, particles;
  int frames = 0, compression = -1;
  const Tell& tell;
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
  run.tell("created_maps");
}

void create_particles(const Run& run) {
  HyfsFileInfo info;
  info.kind = "particles";
  info.start_date = "2020-03-01 00:00:00";
  info.expected_frames = run.frames;
  info.expected_values = parcels_of(0);  // so that later frames need several chunks
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
  run.tell("created_particles");
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
  run.tell("maps");
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
  run.tell("particles");
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
  run.tell("constants");
}

}  // namespace

void write_run(const std::string& folder, int frames, int compression, const Tell& tell) {
  const Run run{folder + "/run_maps.h5", folder + "/run_particles.h5", frames, compression, tell};
  require(hfpinitialize_f(), "initialize");
  create_maps(run);
  create_particles(run);
  for (int frame = 0; frame < frames; ++frame) {
    write_maps(run, frame);
    write_particles(run, frame);
  }
  write_constants(run);
  tell("end");
}

}  // namespace dfl::test
