#pragma once

// The one reader of free-format text. One `read` is one record: it takes the items it needs, from
// as many lines as it needs, and drops what is left of the last line.
//
//   items        split by blanks, tabs, line ends or one comma among them; quoted text keeps its
//                blanks ('it''s' is it's) and ends on its line
//   numbers      1.5, 1.5E+03, 1.5D+03, 0.1234-100 (exponent without a letter), +3, .5, 5.
//                too small for its type counts as 0, too large is a fault; nan and inf are none
//   repeats      3*0.5 is three items of 0.5; 2* is two null items
//   null item    nothing between two commas: the variable keeps its value
//   slash        ends the record; the variables left keep their values
//   line ends    LF or CR LF; the last line needs none; blank lines are passed
//
// A fault is fatal: "mesh.14:57: expected a real number, found "x1"", with the line where the item
// stands, or the last line at the end of the file. The file is mapped into memory, and pages well
// behind the place of reading are given back, so that the memory used does not grow with the file.

#include <cstddef>
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
  // The same under error control.
  template <class Item>
  bool try_item(Item& value) {
    return item(value);
  }
  void end_record();  // drops what is left of the line

  // The next line as it stands, without its line end. False at the end of the file.
  bool read_line(std::string& line);
  // Drops one line. Stops the run at the end of the file.
  void skip_line();
  // The items left on the line of the last item read, as text without the line end, not yet
  // dropped (between begin_record and end_record).
  std::string_view rest_of_line() const;

  bool at_end() const { return next >= last; }  // nothing at all is left
  bool only_blanks_left() const;                // no further item in the file
  // Bytes not yet read: a bound on what the rest can hold, to check counts before they allocate.
  std::size_t bytes_left() const { return static_cast<std::size_t>(last - next); }
  void rewind();
  // A place to come back to.
  struct Place {
    const char* next;
    int line;
  };
  Place place() const { return {next, line_number}; }
  void go_to(const Place& place);

  const std::string& path() const { return name; }
  int line() const { return item_line; }  // line of the last item or line read, from 1
  const std::string& fault() const { return fault_text; }

  // Fatal message "path:line: text" at the line of the last item or line read.
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

  // What stands next in the record: an item, now in `token`; nothing, so that the variable keeps
  // its value (a null item, or a slash before it); a fault, now in `fault_text`.
  enum class Found { item, nothing, fault };
  Found next_token(const char* expected);
  Found pass_separator(const char* expected);
  Found quoted_token();
  Found repeated_token(const char* star, const char* end);
  bool bad(const char* expected);
  int last_line() const;
  void give_back_pages();

  // The general way for numbers, and the quick way for those in plain form; false: not in plain
  // form, nothing taken.
  template <class Number>
  bool integer_item(Number& value);
  template <class Number>
  bool real_item(Number& value);
  bool plain_item_ahead();
  template <class Number>
  bool plain_integer(Number& value);
  template <class Number>
  bool plain_real(Number& value);

  struct Mapping;  // owns the bytes
  std::unique_ptr<Mapping> mapping;
  const MessageState* messages;
  std::string name;
  std::string fault_text;
  const char* first = nullptr;
  const char* next = nullptr;
  const char* last = nullptr;
  const char* kept_from = nullptr;  // pages of the mapping before it have been given back
  int first_line_number = 1;
  int line_number = 1;  // of `next`
  int item_line = 1;    // of the last item or line read
  // The present record.
  std::string_view token;
  std::string quoted;  // text of a quoted item, quotes undone
  bool token_is_quoted = false;
  int repeats_left = 0;  // how often the present token still counts
  bool repeat_null = false;
  bool slash_seen = false;
  bool comma_allowed = false;  // an item was taken; one comma may part it from the next
};

}  // namespace dfl
