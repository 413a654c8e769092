#include "sediment/eulerian_files.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "output/map_setup.h"
#include "output/output_file.h"

namespace dfl {

namespace {

const char* field_word(EulerianField field) {
  switch (field) {
    case EulerianField::ssc:
      return "ssc";
    case EulerianField::pick_up:
      return "pick-up";
    case EulerianField::depo:
      return "depo";
    case EulerianField::qbs:
      return "qbs";
  }
  return "";
}

std::string field_path(const RunState& run, EulerianField field) {
  return run.settings.output_prefix + "~" + field_word(field) + ".t3s";
}

void make_file(const RunState& run, EulerianField field) {
  const std::string path = field_path(run, field);
  OutputFile head = open_output(run.messages, path, "w");
  write_output(run.messages, head, ensim_map_head(run, "t3s", "debugger", field_word(field)));
  close_output(run.messages, head);
  OutputFile mesh = open_output(run.messages, path, "ab");
  const std::vector<char> geometry = ensim_geometry(run.mesh);
  write_record(run.messages, mesh, geometry.data(), geometry.size());
  close_output(run.messages, mesh);
}

}  // namespace

void begin_eulerian_frame(RunState& run) {
  if (!run.clock.MAPnow) return;
  if (run.sediment.eulerian_frames == 0) {
    for (const EulerianField field :
         {EulerianField::ssc, EulerianField::pick_up, EulerianField::depo, EulerianField::qbs}) {
      make_file(run, field);
    }
  }
  ++run.sediment.eulerian_frames;
}

void write_eulerian_field(const RunState& run, EulerianField field, const Array<float>& values) {
  if (!run.clock.MAPnow) return;
  const std::int32_t frame = run.sediment.eulerian_frames;
  std::vector<std::int32_t> stamp = {frame, frame};
  stamp.insert(stamp.end(), run.clock.DATEnow.begin(), run.clock.DATEnow.end());
  const std::size_t stamp_bytes = stamp.size() * sizeof stamp[0];
  const std::size_t value_bytes = static_cast<std::size_t>(run.mesh.NUMnode) * sizeof(float);
  std::vector<char> record(stamp_bytes + value_bytes);
  std::memcpy(record.data(), stamp.data(), stamp_bytes);
  std::memcpy(record.data() + stamp_bytes, values.data(), value_bytes);
  OutputFile output = open_output(run.messages, field_path(run, field), "ab");
  write_record(run.messages, output, record.data(), record.size());
  close_output(run.messages, output);
}

}  // namespace dfl
