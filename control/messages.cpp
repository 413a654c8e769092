#include "control/messages.h"

#include <cstdarg>
#include <cstdlib>

#include "control/text_tools.h"

namespace dfl {

namespace {

struct CodeName {
  int code;
  const char* name;
};

// Names as shown, a field of 32 characters; some carry their number and a tab, one is cut by the
// field.
constexpr CodeName code_names[] = {
    {-4001, "ERROR_FILE_NOT_HDF5"},
    {-4002, "-4002\tERROR_FILE_NOT_HYFS"},
    {-4101, "-4101\tERROR_ATTRIBUTE_NOT_SUPPORTED"},
    {-4201, "ERROR_INCORRECT_DATATYPE"},
    {-4301, "ERROR_DATASET_SIZE_INCORRECT"},
    {-4302, "ERROR_DATASET_NO_DATA"},
    {-4303, "ERROR_DATASET_DOES_NOT_EXIST"},
    {-4304, "ERROR_DATASET_INVALID"},
    {-4401, "ERROR_GROUP_TYPE_INCONSISTENT"},
    {-4501, "ERROR_ELEMENT_NUM_INCORRECT"},
    {-4502, "ERROR_NODE_NUM_INCORRECT"},
    {-4503, "ERROR_NOT_MESH_GROUP"},
    {-4504, "ERROR_MESH_INCOMPLETE"},
    {-4505, "ERROR_MESH_INVALID"},
    {-4601, "ERROR_GRID_TYPE_INVALID"},
    {-4602, "ERROR_GRID_NUM_DIMS"},
    {-4603, "ERROR_GRID_EXTRUDE_TYPE_INVALID"},
    {-4604, "ERROR_GRID_NUMVALS_INCORRECT"},
};
constexpr std::size_t code_name_width = 32;

std::string code_name(int status) {
  std::string name;
  for (const CodeName& row : code_names) {
    if (row.code == status) name = row.name;
  }
  name.resize(code_name_width, ' ');
  return name;
}

void write(std::FILE* file, std::string_view text) {
  if (file != nullptr) std::fwrite(text.data(), 1, text.size(), file);
}

void report(const MessageState& messages, bool fatal, const std::string& tail) {
  const std::string text = (fatal ? "\nERROR: " : "\nWARNING: ") + tail;
  std::FILE* error_file = open_error_file(messages);
  write(error_file, text + "\n");
  if (error_file != nullptr) std::fflush(error_file);
  write(messages.console_out, text);
  if (messages.HOSTEDmode) {
    write(messages.console_out, "\n");
    std::fflush(messages.console_out);
  } else {
    write(messages.console_out, " <RETURN>");
    std::fflush(messages.console_out);
    read_console_line(messages);
  }
  if (fatal) stop_run(messages, true);
}

}  // namespace

void REPORT(const MessageState& messages, bool fatal, std::string_view text) {
  report(messages, fatal, std::string(text));
}

void REPORT_INT(const MessageState& messages, bool fatal, std::string_view text, int i) {
  report(messages, fatal, std::string(text) + columns(i, 6));
}

void REPORT_INT2(const MessageState& messages, bool fatal, std::string_view text, int i, int j) {
  report(messages, fatal, std::string(text) + columns(i, 6) + columns(j, 6));
}

void REPORT_CODE(const MessageState& messages, bool fatal, std::string_view text, int status) {
  report(messages, fatal, std::string(text) + "\n       " + code_name(status));
}

void fatal_error(const MessageState& messages, std::string_view text) {
  REPORT(messages, true, text);
  stop_run(messages, true);
}

void stop_run(const MessageState& messages, bool failed) {
  std::fflush(nullptr);
  std::exit(failed && messages.exit_code ? 1 : 0);
}

std::FILE* open_error_file(const MessageState& messages) {
  if (messages.error_file == nullptr) {
    messages.error_file = open_file(messages.output_prefix + ".err", "w");
  }
  return messages.error_file;
}

void echo_warning(const MessageState& messages, std::string_view text) {
  echo(messages, "WARNING: %.*s\n", static_cast<int>(text.size()), text.data());
}

void console(const MessageState& messages, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::vfprintf(messages.console_out, format, arguments);
  va_end(arguments);
  std::fflush(messages.console_out);
}

void echo(const MessageState& messages, const char* format, ...) {
  if (messages.echo_file == nullptr) return;
  std::va_list arguments;
  va_start(arguments, format);
  std::vfprintf(messages.echo_file, format, arguments);
  va_end(arguments);
}

std::string read_console_line(const MessageState& messages) {
  std::string line;
  if (messages.console_in == nullptr) return line;
  for (int c = std::fgetc(messages.console_in); c != EOF && c != '\n';
       c = std::fgetc(messages.console_in)) {
    line.push_back(static_cast<char>(c));
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

}  // namespace dfl
