#include "output/hyfs_parcels.h"

#include <string>
#include <vector>

#include "control/run_clock.h"
#include "control/text_tools.h"
#include "dataset/hyfs.h"
#include "output/output_file.h"
#include "output/parcel_fields.h"
#include "output/parcel_output.h"

namespace dfl {

namespace {

constexpr double null_position = -9999.9;

std::string hyfs_path(const RunState& run) {
  return run.settings.output_prefix + "_particles.h5";
}
std::string group_path(const RunState& run) {
  return run.settings.output_prefix + "_particles";
}

std::string named(const char* operation, const char* name) {
  return std::string(operation) + "(" + name + ") error";
}

HyfsDatasetInfo dataset_info(const RunState& run, const HyfsParcelDataset& row) {
  HyfsDatasetInfo info;
  info.units = row.units;
  info.compression = run.settings.hyfs_compression;
  info.location = "trajectory";
  info.fill = hyfs_null;
  return info;
}

// The file open for a frame, with its particle group.
struct OpenParticles {
  std::string path;
  HyfsHandle file = 0;
  HyfsHandle group = 0;
};

OpenParticles open_particles(const RunState& run) {
  OpenParticles open;
  open.path = hyfs_path(run);
  check_hyfs(run.messages, hfopenfile_f(open.path, false, open.file), "HF_OPEN_FILE(p) error",
             open.path);
  check_hyfs(run.messages, hfopengroup_f(open.file, group_path(run), open.group),
             "HF_OPEN_GROUP(p) error", open.path);
  return open;
}

void close_particles(const RunState& run, const OpenParticles& open) {
  check_hyfs(run.messages, hfclosegroup_f(open.group), "HF_CLOSE_GROUP error", open.path);
  check_hyfs(run.messages, hfclosefile_f(open.file), "HF_CLOSE_FILE(particles) error", open.path);
}

// A viewer's sidecar is not worth a run: its failure is only noted.
void write_sidecar(RunState& run, const std::string& path) {
  if (hfwriteparticlesxmf_f(path, run.output.parcel_sidecar) < 0) {
    echo_warning(run.messages, "the .xmf file beside \"" + path + "\" could not be written");
  }
}

void fill_positions(RunState& run) {
  ParcelState& parcels = run.parcels;
  if (parcels.output_buffer.size() < 3 * parcels.NUMborn) {
    parcels.output_buffer.allocate(3 * parcels.NUMborn);
  }
  for (int id = 1; id <= parcels.NUMborn; ++id) {
    const Parcel& parcel = parcels.PARCELS(id);
    const bool alive = is_true(parcel.ALIVE);
    double* position = parcels.output_buffer.data() + 3 * (static_cast<std::size_t>(id) - 1);
    position[0] = alive ? parcel.X : null_position;
    position[1] = alive ? parcel.Y : null_position;
    position[2] = alive ? static_cast<double>(parcel.Z) : null_position;
  }
}

// One value a parcel born so far, null values behind them.
const float* fill_values(RunState& run, ParcelField field) {
  Array<float>& work = run.output.parcel_work;
  work.allocate(run.parcels.NUMparcels, hyfs_null);
  for (int id = 1; id <= run.parcels.NUMborn; ++id) {
    work(id) = static_cast<float>(parcel_value(run.parcels.PARCELS(id), id, field));
  }
  return work.data();
}

}  // namespace

void create_hyfs_parcels(RunState& run) {
  const Settings& s = run.settings;
  const std::string path = hyfs_path(run);
  HyfsFileInfo info;
  info.kind = "particles";
  info.title = "Parcels of run " + base_name(s.output_prefix);
  info.start_date = hyfs_date(SECONDS_TO_DATE(REFyear, s.start_run));
  info.expected_frames = expected_frames(run, s.output_inc);
  info.expected_values = run.parcels.NUMparcels;
  HyfsHandle file = 0, group = 0;
  check_hyfs(run.messages, hfcreatefile_f(path, true, info, file), "HF_CREATE_FILE(p) error", path);
  check_hyfs(run.messages,
             hfcreategeometricpathgroup_f(file, group_path(run), trim_right(s.particle_set_guid),
                                          s.hyfs_compression, group),
             "HF_CREATE_GEOMETRIC_PATH_GROUP error", path);
  const double julian_day = start_julian_day(run, path);
  check_hyfs(run.messages, hfwritereftime_f(group, julian_day), "HF_WRITE_REFTIME error", path);

  const std::vector<HyfsParcelDataset> datasets = hyfs_parcel_frames(run);
  for (auto row = datasets.rbegin(); row != datasets.rend(); ++row) {
    HyfsHandle dataset = 0;
    check_hyfs(run.messages,
               hfcreatescalardsetextndbl_f(group, row->name, dataset_info(run, *row), dataset),
               "HF_CREATE_SCALAR_DSET_EXTNDBL error", path);
    check_hyfs(run.messages, hfwritereftime_f(dataset, julian_day), "HF_WRITE_REFTIME error", path);
    check_hyfs(run.messages, hfclosegroup_f(dataset), named("HF_CLOSE_GROUP", row->close_name),
               path);
  }
  check_hyfs(run.messages, hfclosegroup_f(group), "HF_CLOSE_GROUP error", path);
  check_hyfs(run.messages, hfclosefile_f(file), "HF_CLOSE_FILE(particles) error", path);
  run.output.parcel_sidecar = HyfsSidecar();
  write_sidecar(run, path);  // one of an earlier run would tell of frames that are gone
}

void WRITE_HYFS_PARCELS(RunState& run) {
  const int NUMborn = run.parcels.NUMborn;
  OutputState& output = run.output;
  const double time = static_cast<double>(run.clock.NStep - 1) * run.settings.time_step;
  fill_positions(run);

  const OpenParticles open = open_particles(run);
  const std::vector<HyfsParcelDataset> rows = hyfs_parcel_frames(run);
  std::vector<HyfsHandle> datasets(rows.size(), 0);
  for (std::size_t k = 0; k < rows.size(); ++k) {
    check_hyfs(run.messages, hfopengroup_f(open.group, rows[k].name, datasets[k]),
               named("HF_OPEN_GROUP", rows[k].name), open.path);
  }
  check_hyfs(run.messages,
             hfwriteparticletimestep_f(open.group, time, NUMborn, run.parcels.output_buffer.data()),
             "HF_WRITE_PARTICLE_TIMESTEP error", open.path);
  const bool first_frame = output.hyfs_parcels_written < 0;
  const bool extend = !first_frame && NUMborn != output.hyfs_parcels_written;
  for (std::size_t k = 0; k < rows.size(); ++k) {
    if (extend) {
      check_hyfs(run.messages, hfextendscalardataset_f(datasets[k], NUMborn),
                 named("HF_EXTEND_SCALAR_DATASET", rows[k].name), open.path);
    }
    const float* values = fill_values(run, rows[k].field);
    check_hyfs(run.messages, hfwritescalartimestep_f(datasets[k], time, values, NUMborn),
               named("HF_WRITE_SCALAR_TIMESTEP", rows[k].name), open.path);
  }
  for (std::size_t k = 0; k < rows.size(); ++k) {
    check_hyfs(run.messages, hfclosegroup_f(datasets[k]),
               named("HF_CLOSE_GROUP", rows[k].close_name), open.path);
  }
  close_particles(run, open);
  output.hyfs_parcels_written = NUMborn;
  ++output.hyfs_parcel_frames;
  write_sidecar(run, open.path);
}

void FINISH_HYFS_PARCELS(RunState& run) {
  const OpenParticles open = open_particles(run);
  const double julian_day = start_julian_day(run, open.path);
  for (const HyfsParcelDataset& row : hyfs_parcel_constants(run)) {
    HyfsHandle dataset = 0;
    check_hyfs(run.messages,
               hfcreatescalardataset_f(open.group, row.name, dataset_info(run, row), dataset),
               named("HF_CREATE_SCALAR_DATASET", row.name), open.path);
    check_hyfs(run.messages, hfwritereftime_f(dataset, julian_day), "HF_WRITE_REFTIME error",
               open.path);
    const float* values = fill_values(run, row.field);
    check_hyfs(run.messages, hfwritescalartimestep_f(dataset, 0.0, values, run.parcels.NUMborn),
               named("HF_WRITE_SCALAR_TIMESTEP", row.name), open.path);
    check_hyfs(run.messages, hfclosegroup_f(dataset), named("HF_CLOSE_GROUP", row.close_name),
               open.path);
  }
  close_particles(run, open);
  run.output.parcel_sidecar = HyfsSidecar();  // every frame shows the constants
  write_sidecar(run, open.path);
}

}  // namespace dfl
