#include "output/map_output.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "dataset/hyfs.h"
#include "output/fixed_columns.h"
#include "output/map_fields.h"
#include "output/output_file.h"

namespace dfl {

namespace {

void fill_scalars(RunState& run, MapFieldId id) {
  Array<float>& values = run.output.scalar_work;
  if (values.size() != run.mesh.NUMnode) values.allocate(run.mesh.NUMnode);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) values(n) = map_scalar(run, id, n);
}

void fill_vectors(RunState& run, MapFieldId id) {
  Array2<float>& values = run.output.vector_work;
  if (values.rows() != run.mesh.NUMnode) values.allocate(run.mesh.NUMnode, 1, 2);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const std::array<float, 2> pair = map_vector(run, id, n);
    values(n, 1) = pair[0];
    values(n, 2) = pair[1];
  }
}

void write_hyfs_field(RunState& run, HyfsHandle file, const MapField& field, double time,
                      const std::string& path) {
  const std::string name = std::string("(") + field.dataset + ") error";
  HyfsHandle group = 0;
  check_hyfs(run.messages, hfopengroup_f(file, field.dataset, group), "HF_OPEN_GROUP" + name, path);
  if (field.vector) {
    fill_vectors(run, field.id);
    check_hyfs(
        run.messages,
        hfwritevectortimestep_f(group, time, run.output.vector_work.data(), run.mesh.NUMnode),
        "HF_WRITE_VECTOR_TIMESTEP" + name, path);
  } else {
    fill_scalars(run, field.id);
    check_hyfs(
        run.messages,
        hfwritescalartimestep_f(group, time, run.output.scalar_work.data(), run.mesh.NUMnode),
        "HF_WRITE_SCALAR_TIMESTEP" + name, path);
  }
  check_hyfs(run.messages, hfclosegroup_f(group), "HF_CLOSE_GROUP" + name, path);
}

// The flow of the EnSim file is that of the first level above the bed in three-dimensional flow.
std::array<float, 2> ensim_vector(const RunState& run, MapFieldId id, int n) {
  const FlowState& flow = run.flow;
  if (id == MapFieldId::flow && !flow.FLOW2D && flow.Unode.last_column() >= 1) {
    return {flow.Unode(n, 1), flow.Vnode(n, 1)};
  }
  return map_vector(run, id, n);
}

// Frame number, step and date, then the values: one array, or two for a vector.
std::vector<char> ensim_record(const RunState& run, const MapField& field, std::int32_t frame) {
  std::vector<std::int32_t> stamp = {frame, run.clock.NStep};
  stamp.insert(stamp.end(), run.clock.DATEnow.begin(), run.clock.DATEnow.end());
  const std::size_t nodes = static_cast<std::size_t>(run.mesh.NUMnode);
  std::vector<float> values(field.vector ? 2 * nodes : nodes);
  for (std::size_t i = 0; i < nodes; ++i) {
    const int n = static_cast<int>(i) + 1;
    if (field.vector) {
      const std::array<float, 2> pair = ensim_vector(run, field.id, n);
      values[i] = pair[0];
      values[nodes + i] = pair[1];
    } else {
      values[i] = map_scalar(run, field.id, n);
    }
  }
  const std::size_t stamp_bytes = stamp.size() * sizeof stamp[0];
  std::vector<char> record(stamp_bytes + values.size() * sizeof values[0]);
  std::memcpy(record.data(), stamp.data(), stamp_bytes);
  std::memcpy(record.data() + stamp_bytes, values.data(), values.size() * sizeof values[0]);
  return record;
}

}  // namespace

void WRITE_HYFS_MAPS(RunState& run) {
  const std::string path = run.settings.output_prefix + "_maps.h5";
  const double time = (run.clock.NStep - 1) * run.settings.time_step;
  HyfsHandle file = 0;
  check_hyfs(run.messages, hfopenfile_f(path, false, file), "HF_OPEN_FILE(m) error", path);
  for (const MapFieldId id : hyfs_map_order) {
    const MapField& field = map_field(id);
    if (hyfs_map_selected(run, field)) write_hyfs_field(run, file, field, time, path);
  }
  check_hyfs(run.messages, hfclosefile_f(file), "HF_CLOSE_FILE(maps) error", path);
  // A viewer's sidecar is not worth a run: its failure is only noted.
  if (hfwritemapsxmf_f(path, run.output.map_sidecar) < 0) {
    echo_warning(run.messages, "the .xmf file beside \"" + path + "\" could not be written");
  }
}

void WRITE_TECPLOT_MAPS(RunState& run) {
  const OutputFile output{run.output.tecplot_map_file, run.settings.output_prefix + "_maps.plt"};
  const MeshState& mesh = run.mesh;
  write_output(run.messages, output,
               "ZONE F=FEPOINT, T=\"" + run.settings.output_prefix + " @ " +
                   zone_date(run.clock.DATEnow) +
                   "\"\nET=TRIANGLE, N=" + std::to_string(mesh.NUMnode) +
                   ", E=" + std::to_string(mesh.NUMelem) + ", D=(1,2,FECONNECT)\n");
  const std::vector<const MapField*> selected = selected_map_fields(run);
  std::vector<char> row((2 * map_field_count) * map_column_width + 1);
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    const char* const end = put_map_row(row.data(), run, selected, n);
    write_output(run.messages, output,
                 std::string_view(row.data(), static_cast<std::size_t>(end - row.data())));
  }
  flush_output(run.messages, output);
}

void WRITE_ENSIM_MAPS(RunState& run) {
  ++run.output.ensim_map_frames;
  for (std::size_t k = 0; k < ensim_map_order.size(); ++k) {
    const MapField& field = map_field(ensim_map_order[k]);
    const OutputFile output{run.output.ensim_map_files[k], ensim_map_path(run, field)};
    if (output.file == nullptr) continue;
    const std::vector<char> record = ensim_record(run, field, run.output.ensim_map_frames);
    write_record(run.messages, output, record.data(), record.size());
    flush_output(run.messages, output);
  }
}

}  // namespace dfl
