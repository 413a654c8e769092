#include "output/output_setup.h"

#include <string>

#include "output/hyfs_parcels.h"
#include "output/map_setup.h"
#include "output/mesh_text.h"
#include "output/output_file.h"
#include "output/parcel_fields.h"

namespace dfl {

namespace {

void create_population_file(RunState& run) {
  const std::string& prefix = run.settings.output_prefix;
  const OutputFile output = open_output(run.messages, prefix + "_population.plt", "w");
  run.output.population_file = output.file;
  write_output(run.messages, output,
               "VARIABLES=\"TIME\" \"BORN\" \"ALIVE\" \"DEAD\" \"ACTIVE\" \"DEPOSITED\" "
               "\"TRAPPED\"\n"
               "ZONE T=\"" +
                   prefix + "\"\n");
  flush_output(run.messages, output);
}

void create_tecplot_parcels(RunState& run) {
  const OutputFile output =
      open_output(run.messages, run.settings.output_prefix + "_particles.plt", "w");
  run.output.tecplot_parcel_file = output.file;
  std::string head = "VARIABLES=";
  for (const TecplotColumn& column : tecplot_columns(run)) {
    if (head.back() != '=') head += ' ';
    head += std::string("\"") + column.name + "\"";
  }
  write_output(run.messages, output, head + "\n");
  flush_output(run.messages, output);
}

// A text head, then binary records behind it.
void create_ensim_parcels(RunState& run) {
  const std::string path = run.settings.output_prefix + "_particles.pcl";
  std::string head = ensim_head("pcl", run.clock.RUNuser);
  head += ":Name       " + run.settings.output_prefix + "\n#\n";
  for (const EnsimAttribute& attribute : ensim_attributes(run)) {
    head += std::string(":AttributeName ") + attribute.name + "\n";
    head += std::string(":AttributeUnits ") + attribute.units + "\n";
  }
  head += "#\n:EndHeader\n";
  OutputFile output = open_output(run.messages, path, "w");
  write_output(run.messages, output, head);
  close_output(run.messages, output);
  run.output.ensim_parcel_file = open_output(run.messages, path, "ab").file;
}

void create_parcel_files(RunState& run) {
  if (run.settings.tecplot_parcels) create_tecplot_parcels(run);
  if (run.settings.hyfs_parcels) create_hyfs_parcels(run);
  if (run.settings.ensim_parcels) create_ensim_parcels(run);
}

void create_map_files(RunState& run) {
  if (run.settings.concentration_mapping && !run.output.CONCnode.allocated()) {
    run.output.CONCnode.allocate(run.mesh.NUMnode);
  }
  if (run.settings.hyfs_maps) create_hyfs_maps(run);
  if (run.settings.tecplot_maps) create_tecplot_maps(run);
  if (run.settings.ensim_maps) create_ensim_maps(run);
}

}  // namespace

void SETUP_OUTPUT(RunState& run) {
  const Settings& s = run.settings;
  console(run.messages, "Initializing output files...\n");
  if (s.population_record) create_population_file(run);
  if (s.tecplot_parcels || s.tecplot_maps) write_mesh_file(run);
  if (!s.no_parcels) create_parcel_files(run);
  if (any_map_field(s)) create_map_files(run);
  run.clock.OUTcount = 0;
  run.clock.MAPcount = 0;
}

}  // namespace dfl
