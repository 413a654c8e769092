#include "control/availability.h"

namespace dfl {

namespace {

struct Refusal {
  bool asked;
  const char* text;
};

}  // namespace

void refuse_unavailable(const RunState& run) {
  const Settings& s = run.settings;
  const auto& m = s.method;
  const Refusal refusals[] = {
      {m.transport == TransportFormula::a_d,
       "Eulerian transport \"a-d\" is not available in this version"},
  };
  for (const Refusal& refusal : refusals) {
    if (refusal.asked) fatal_error(run.messages, refusal.text);
  }
}

}  // namespace dfl
