// Opening the bottom flow of "2d (two-point)".

#include "flow/flow_datasets.h"
#include "flow/flow_text.h"
#include "flow/flow_text_parts.h"

namespace dfl {

namespace {

// Which nodes have a bottom point.
void read_bottom_mask(RunState& run) {
  const int NUMnode = run.mesh.NUMnode;
  run.flow.BOTTOMmask.allocate(NUMnode, logical_true);
  if (run.settings.bottom_mask_file == "none") return;
  TextReader in(run.messages, run.settings.bottom_mask_file);
  in.skip_line();
  int count = 0;
  in.read(count);
  if (count != NUMnode) REPORT(run.messages, true, "*** MASK file error (NUMnode)");
  read_node_lines(in, NUMnode, NUMnode, [&](int n) {
    int flag = 0;
    in.read_item(flag);
    run.flow.BOTTOMmask(n) = flag == 1 ? logical_true : logical_false;
  });
}

}  // namespace

void OPEN_BOTTOM_FLOW(RunState& run) {
  FlowState& flow = run.flow;
  for (Array<float>* field :
       {&flow.UBold, &flow.UBnew, &flow.UBnode, &flow.VBold, &flow.VBnew, &flow.VBnode}) {
    field->allocate(run.mesh.NUMnode);
  }
  if (run.settings.method.bottom_flow == FlowFormat::adcirc) {
    flow.bottom_file = std::make_unique<TextReader>(run.messages, run.settings.bottom_flow_file);
    Ignored any;
    flow.bottom_file->skip_line();
    flow.bottom_file->read(any, any, any, any, any);
  } else if (run.settings.method.bottom_flow == FlowFormat::hyfs) {
    OPEN_BOTTOM_DATASET(run);
  } else {
    REPORT(run.messages, true, "*** FLOW_FILE type not supported ***");
  }
  read_bottom_mask(run);
}

}  // namespace dfl
