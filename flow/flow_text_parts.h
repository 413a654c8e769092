#pragma once

// What the text readers of the flow share.

#include <memory>
#include <string>
#include <vector>

#include "control/run_state.h"

namespace dfl {

// Opens a flow file with its console line. A name without a point gets the extension.
std::unique_ptr<TextReader> open_flow_file(RunState& run, const std::string& name, const char* what,
                                           const char* extension);

// A file whose frame times do not agree with those of the file read before it.
[[noreturn]] void stop_at_times(const RunState& run, const char* text, double reference_time,
                                int reference_step, double time, int step);

// `seen` stays empty as long as node i stands on line i.
void check_node(const TextReader& in, int n, int line, int NUMnode, std::vector<bool>& seen);

// Lines in any order: the number at the head of each says which node `values` reads.
template <class Values>
void read_node_lines(TextReader& in, int lines, int NUMnode, Values values) {
  std::vector<bool> seen;
  for (int i = 1; i <= lines; ++i) {
    int n = 0;
    in.begin_record();
    in.read_item(n);
    if (n != i || !seen.empty()) check_node(in, n, i, NUMnode, seen);
    values(n);
    in.end_record();
  }
}

}  // namespace dfl
