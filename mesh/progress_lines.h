#pragma once

// A count that goes on in place on the console: "      12 of      96 elements". Hosted, each count
// is a line of its own. Collected before it is written, since there may be one for each element.

#include <string>

#include "control/messages.h"

namespace dfl {

class ProgressLines {
 public:
  // `what`: the text behind the counts, as " elements".
  ProgressLines(const MessageState& messages, int of, const char* what);
  ~ProgressLines();  // writes what is left; ends the line that stood in place
  ProgressLines(const ProgressLines&) = delete;
  ProgressLines& operator=(const ProgressLines&) = delete;
  void show(int count);

 private:
  void write();
  const MessageState& messages;
  std::string front, behind;
  std::string collected;
  bool shown = false;
};

}  // namespace dfl
