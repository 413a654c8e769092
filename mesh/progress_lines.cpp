#include "mesh/progress_lines.h"

#include <charconv>

#include "control/text_tools.h"

namespace dfl {

namespace {

constexpr std::size_t collected_bytes = 4096;
constexpr std::size_t width = 8;

}  // namespace

ProgressLines::ProgressLines(const MessageState& messages_in, int of, const char* what)
    : messages(messages_in),
      front(messages.HOSTEDmode ? "   " : "\r   "),
      behind(" of" + columns(of, static_cast<int>(width)) + what) {
  if (messages.HOSTEDmode) behind += '\n';
}

ProgressLines::~ProgressLines() {
  if (shown && !messages.HOSTEDmode) collected += '\n';
  write();
}

void ProgressLines::show(int count) {
  char digits[16];
  const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, count);
  const auto length = static_cast<std::size_t>(result.ptr - digits);
  shown = true;
  collected += front;
  if (length > width) {
    collected.append(width, '*');
  } else {
    collected.append(width - length, ' ').append(digits, length);
  }
  collected += behind;
  if (collected.size() >= collected_bytes) write();
}

void ProgressLines::write() {
  console(messages, "%s", collected.c_str());
  collected.clear();
}

}  // namespace dfl
