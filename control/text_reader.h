#pragma once

// The one reader of free-format text. One `read` is one record: it takes the items it needs, from
// as many lines as it needs, and drops what is left of the last line.
//
//   items        split by blanks, tabs or commas; quoted text keeps its blanks ('it''s' is it's)
//   numbers      1.5, 1.5E+03, 1.5D+03, 0.1234-100 (exponent without a letter), +3, .5, 5.
//   repeats      3*0.5 is three items of 0.5; 2* is two null items
//   null item    nothing between two commas: the variable keeps its value
//   slash        ends the record; the variables left keep their values
//   line ends    LF or CR LF; the last line needs none
//
// A fault is fatal: "mesh.14:57: expected a real number, found "x1"". The file is mapped into
// memory; scanning a frame costs no more than reading its bytes.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "control/messages.h"

namespace dfl {

// An item that is read past, of whatever type.
struct Ignored {};

class TextReader {
 public:
  // Opens an existing file; a missing file, a directory or an unreadable one is a fatal message.
  TextReader(const MessageState& messages, const std::string& path);
  // Reads from a text in memory; `name` and `first_line` stand in messages.
  TextReader(const MessageState& messages, const std::string& name, std::string text,
             int first_line);
  ~TextReader();
  TextReader(TextReader&&) noexcept;
  TextReader(const TextReader&) = delete;
  TextReader& operator=(const TextReader&) = delete;

  // Reads one record. Stops the run at a fault, naming the place, what was expected and found.
  template <class... Items>
  void read(Items&... items) {
    if (!try_read(items...)) fail();
  }
  // The same under error control: false at a fault, which fault() then tells. The rest of the line
  // is dropped in either case.
  template <class... Items>
  bool try_read(Items&... items) {
    begin_record();
    const bool good = (item(items) && ...);
    end_record();
    return good;
  }

  // A record taken item by item, for counts that are known only at run time.
  void begin_record();
  template <class Item>
  void read_item(Item& value) {
    if (!item(value)) fail();
  }
  void end_record();  // drops what is left of the line

  // The next line as it stands, without its line end. False at the end of the file.
  bool read_line(std::string& line);
  // Drops one line. Stops the run at the end of the file.
  void skip_line();
  // The items left on the line of the last item read, as text, not yet dropped (between
  // begin_record and end_record).
  std::string_view rest_of_line() const;

  bool at_end() const { return next >= last; }  // nothing at all is left
  bool only_blanks_left() const;                // no further item in the file
  void rewind();
  // A place to come back to.
  struct Place {
    const char* next;
    int line;
  };
  Place place() const { return {next, line_number}; }
  void go_to(const Place& place);

  const std::string& path() const { return name; }
  int line() const { return line_number; }          // line of the last item or line read, from 1
  const std::string& fault() const { return fault_text; }

  // Fatal message "path:line: text" at the present line.
  [[noreturn]] void stop(std::string_view text) const;

 private:
  bool item(int& value);
  bool item(std::int16_t& value);
  bool item(std::int64_t& value);
  bool item(float& value);
  bool item(double& value);
  bool item(std::string& value);
  bool item(Ignored&);
  [[noreturn]] void fail() const;

  // Fills `token` with the next item. False: null item or record ended by a slash (kept = true),
  // or end of file (kept = false, fault set).
  bool next_token(const char* expected, bool& kept);
  bool bad(const char* expected);
  template <class Number>
  bool integer_item(Number& value);
  template <class Number>
  bool real_item(Number& value);

  struct Mapping;  // owns the bytes
  std::unique_ptr<Mapping> mapping;
  const MessageState* messages;
  std::string name;
  std::string fault_text;
  const char* first = nullptr;
  const char* next = nullptr;
  const char* last = nullptr;
  int first_line_number = 1;
  int line_number = 1;
  // The present record.
  std::string_view token;
  std::string quoted;        // text of a quoted item, quotes undone
  bool token_is_quoted = false;
  int repeats_left = 0;      // how often the present token still counts
  bool repeat_null = false;
  bool slash_seen = false;
  bool after_item = false;   // an item was taken and its separator has not been passed
};

}  // namespace dfl
