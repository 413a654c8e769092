#include "sediment/native_sediments.h"

#include <cmath>
#include <string>

#include "control/text_reader.h"

namespace dfl {

namespace {

// Metres from the millimetres of a file, with the checks on a node's sizes.
void convert_node(const MessageState& messages, SedimentState& sediment, int n) {
  struct Size {
    Array<float>& values;
    const char* message;
  };
  const Size sizes[] = {
      {sediment.D35, "*** Zero grain size for D35 @ N="},
      {sediment.D50, "*** Zero grain size for D50 @ N="},
      {sediment.D90, "*** Zero grain size for D90 @ N="},
  };
  for (const Size& size : sizes) size.values(n) = size.values(n) / 1000.0f;
  for (const Size& size : sizes) {
    if (std::abs(size.values(n)) < 1.0e-9f) REPORT_INT(messages, true, size.message, n);
  }
  const float D90 = sediment.D90(n);
  if (D90 > 0.0f) {
    sediment.BEDmobile(n) = logical_true;
    return;
  }
  // A hard bottom: three times the size is the roughness that the file gave.
  for (const Size& size : sizes) size.values(n) = D90 / -3.0f;
  sediment.BEDmobile(n) = logical_false;
}

// One node's record: its number, `ignored` reals, three sizes. Marks the node as given.
int read_node(TextReader& in, int ignored, bool once, SedimentState& sediment,
              Array<Logical>& given) {
  int n = 0;
  float d35 = 0.0f, d50 = 0.0f, d90 = 0.0f;
  in.begin_record();
  in.read_item(n);
  if (n < 1 || n > given.size()) {
    in.stop("expected a node number from 1 to " + std::to_string(given.size()) + ", found " +
            std::to_string(n));
  }
  if (once && is_true(given(n))) in.stop("node " + std::to_string(n) + " is given twice");
  for (int k = 0; k < ignored; ++k) {
    double position = 0.0;
    in.read_item(position);
  }
  in.read_item(d35);
  in.read_item(d50);
  in.read_item(d90);
  in.end_record();
  given(n) = logical_true;
  sediment.D35(n) = d35;
  sediment.D50(n) = d50;
  sediment.D90(n) = d90;
  return n;
}

void read_node_text(RunState& run) {
  TextReader in(run.messages, run.settings.sediment_file);
  in.skip_line();
  int elements = 0, nodes = 0;
  in.read(elements, nodes);
  if (nodes != run.mesh.NUMnode) {
    REPORT(run.messages, true, "Native sediments file error (NUMnode)");
  }
  if (elements >= 1 && elements != run.mesh.NUMelem) {
    REPORT(run.messages, true, "Native sediments file error (NUMelem)");
  }
  Array<Logical> given;
  given.allocate(run.mesh.NUMnode);
  for (int k = 1; k <= nodes; ++k) read_node(in, 2, true, run.sediment, given);
  for (int n = 1; n <= nodes; ++n) convert_node(run.messages, run.sediment, n);
}

// Nodes that the file leaves out take the mean size of those it gives.
void fill_missing(SedimentState& sediment, const Array<Logical>& given) {
  int nodes = 0;
  double d35 = 0.0, d50 = 0.0, d90 = 0.0;
  for (int n = 1; n <= given.size(); ++n) {
    if (!is_true(given(n))) continue;
    ++nodes;
    d35 += static_cast<double>(sediment.D35(n));
    d50 += static_cast<double>(sediment.D50(n));
    d90 += static_cast<double>(sediment.D90(n));
  }
  for (int n = 1; n <= given.size(); ++n) {
    if (is_true(given(n))) continue;
    sediment.D35(n) = static_cast<float>(d35 / nodes);
    sediment.D50(n) = static_cast<float>(d50 / nodes);
    sediment.D90(n) = static_cast<float>(d90 / nodes);
    sediment.BEDmobile(n) = logical_true;
  }
}

void read_kfe_text(RunState& run) {
  TextReader in(run.messages, run.settings.sediment_file);
  in.skip_line();
  int records = 0;
  in.begin_record();
  in.read_item(records);
  if (records < 1) {
    in.stop("expected a number of records of 1 or more, found " + std::to_string(records));
  }
  in.end_record();
  Array<Logical> given;
  given.allocate(run.mesh.NUMnode);
  // A node that comes again takes the later sizes.
  for (int k = 1; k <= records; ++k) {
    const int n = read_node(in, 0, false, run.sediment, given);
    convert_node(run.messages, run.sediment, n);
  }
  fill_missing(run.sediment, given);
}

void fill_uniform(RunState& run) {
  const Settings& settings = run.settings;
  SedimentState& sediment = run.sediment;
  sediment.D35.fill(settings.bed_d35 / 1000.0f);
  sediment.D50.fill(settings.bed_d50 / 1000.0f);
  sediment.D90.fill(settings.bed_d90 / 1000.0f);
  sediment.BEDmobile.fill(logical_true);
  sediment.UNIFORMbed = true;
  if (!(settings.bed_d35 > 0.0f && settings.bed_d50 > 0.0f && settings.bed_d90 > 0.0f)) {
    echo_warning(run.messages,
                 "uniform bed sediment with a size of 0 or less: no native transport is computed");
  }
}

}  // namespace

void READ_NATIVE_SEDIMENTS(RunState& run) {
  SedimentState& sediment = run.sediment;
  for (Array<float>* sizes : {&sediment.D35, &sediment.D50, &sediment.D90}) {
    sizes->allocate(run.mesh.NUMnode);
  }
  sediment.BEDmobile.allocate(run.mesh.NUMnode);
  sediment.UNIFORMbed = false;

  const std::string not_available =
      "sediments_format \"" + run.settings.sediments_format + "\" is not available in this version";
  switch (run.settings.method.sediments) {
    case SedimentsFormat::adcirc:
      read_node_text(run);
      return;
    case SedimentsFormat::hyfs:
    case SedimentsFormat::hyfs_n2d:
      fatal_error(run.messages, not_available);
    case SedimentsFormat::n2d:
      fatal_error(run.messages, not_available + ": it needs a gridded mesh");
    case SedimentsFormat::kfe:
      read_kfe_text(run);
      return;
    case SedimentsFormat::uniform:
      fill_uniform(run);
      return;
    case SedimentsFormat::unknown:
      break;
  }
  REPORT(run.messages, true, "Sediments file type not available");
}

}  // namespace dfl
