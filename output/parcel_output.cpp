#include "output/parcel_output.h"

#include <cstdint>
#include <string>
#include <vector>

#include "control/text_tools.h"
#include "output/fixed_columns.h"
#include "output/output_file.h"
#include "output/parcel_fields.h"

namespace dfl {

namespace {

char* put_row(char* at, const Parcel& parcel, int id, const std::vector<TecplotColumn>& selected) {
  for (const TecplotColumn& column : selected) {
    const double value = parcel_value(parcel, id, column.field);
    at = column.decimals == integer_column ? put_columns(at, static_cast<int>(value), column.width)
                                           : put_columns(at, value, column.width, column.decimals);
  }
  *at++ = '\n';
  return at;
}

}  // namespace

void WRITE_TECPLOT_PARCELS(RunState& run) {
  const OutputFile output{run.output.tecplot_parcel_file,
                          run.settings.output_prefix + "_particles.plt"};
  const int NUMborn = run.parcels.NUMborn;
  write_output(run.messages, output,
               "ZONE T=\"" + run.settings.output_prefix + " @ " + zone_date(run.clock.DATEnow) +
                   "\", I=" + std::to_string(NUMborn) + "\n");

  const std::vector<TecplotColumn> selected = tecplot_columns(run);
  std::size_t row_width = 1;
  for (const TecplotColumn& column : selected) row_width += static_cast<std::size_t>(column.width);
  constexpr std::size_t rows_at_once = 4096;
  std::vector<char> rows(row_width * rows_at_once);
  char* at = rows.data();
  for (int id = 1; id <= NUMborn; ++id) {
    at = put_row(at, run.parcels.PARCELS(id), id, selected);
    const std::size_t used = static_cast<std::size_t>(at - rows.data());
    if (used == rows.size() || id == NUMborn) {
      write_output(run.messages, output, std::string_view(rows.data(), used));
      at = rows.data();
    }
  }
  flush_output(run.messages, output);
}

void WRITE_ENSIM_PARCELS(RunState& run) {
  const OutputFile output{run.output.ensim_parcel_file,
                          run.settings.output_prefix + "_particles.pcl"};
  const std::int32_t NUMparcels = run.parcels.NUMparcels;
  std::vector<std::int32_t> stamp = {++run.output.ensim_parcel_frames, run.clock.NStep};
  stamp.insert(stamp.end(), run.clock.DATEnow.begin(), run.clock.DATEnow.end());
  write_record(run.messages, output, stamp.data(), stamp.size() * sizeof stamp[0]);
  write_record(run.messages, output, &NUMparcels, sizeof NUMparcels);

  std::vector<ParcelField> fields = {ParcelField::x, ParcelField::y};
  for (const EnsimAttribute& attribute : ensim_attributes(run)) fields.push_back(attribute.field);
  std::vector<float> values(static_cast<std::size_t>(NUMparcels));
  for (const ParcelField field : fields) {
    for (int id = 1; id <= NUMparcels; ++id) {
      values[static_cast<std::size_t>(id) - 1] =
          static_cast<float>(parcel_value(run.parcels.PARCELS(id), id, field));
    }
    write_record(run.messages, output, values.data(), values.size() * sizeof values[0]);
  }
  flush_output(run.messages, output);
}

void WRITE_POPULATION_ROW(RunState& run) {
  const OutputFile output{run.output.population_file,
                          run.settings.output_prefix + "_population.plt"};
  const ParcelState& parcels = run.parcels;
  // Whole seconds with a decimal point behind them.
  std::string row = columns(run.clock.Tnow, 15, 0) + ".";
  for (const int count : {parcels.NUMborn, parcels.NUMalive, parcels.NUMdead, parcels.NUMactive,
                          parcels.NUMdormant, parcels.NUMtrapped}) {
    row += columns(count, 8);
  }
  write_output(run.messages, output, row + "\n");
  flush_output(run.messages, output);
}

}  // namespace dfl
