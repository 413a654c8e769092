#pragma once

// The table of cards and what each does to the settings.

#include <set>
#include <string>

#include "control/run_state.h"

namespace dfl {

// One pass over the cards, and the card in hand.
struct CardPass {
  RunState& run;
  std::string path;                  // of the control file, for messages
  std::set<std::string> given = {};  // cards seen that have a value, without the colon
  int line_number = 0;
  std::string line = {};     // shifted left, without trailing blanks
  std::string keyword = {};  // lower-cased, with the colon
  std::string value = {};
};

// Lets the card in hand act on the settings. False if it needs a value and has none, or one that it
// cannot use; the console has been told. A number that cannot be read stops the run.
bool apply_card(CardPass& pass);

}  // namespace dfl
