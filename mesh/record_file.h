#pragma once

// Sequential unformatted files: each record stands between two copies of its length in bytes, a
// 4-byte integer each. Both tools keep a buffer of their own over an open file.

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace dfl {

class RecordReader {
 public:
  // Reads on from the present place of the file.
  explicit RecordReader(std::FILE* file);
  // Sets the place of the file behind the last record read.
  ~RecordReader();
  RecordReader(const RecordReader&) = delete;
  RecordReader& operator=(const RecordReader&) = delete;

  // Takes `bytes` bytes from the next record and drops what it holds more. False if the file ends,
  // the record is shorter or its two lengths differ.
  bool read(void* items, std::uint32_t bytes) {
    if (end - next >= bytes + 2 * length_bytes) {
      const char* record = buffer.data() + next;
      if (length_at(record) == bytes && length_at(record + length_bytes + bytes) == bytes) {
        copy(items, record + length_bytes, bytes);
        next += bytes + 2 * length_bytes;
        return true;
      }
    }
    return read_slowly(items, bytes);
  }

 private:
  static constexpr std::size_t length_bytes = 4;
  static std::uint32_t length_at(const char* place);
  static void copy(void* to, const char* from, std::uint32_t bytes);
  bool read_slowly(void* items, std::uint32_t bytes);
  bool take(void* items, std::size_t bytes);  // nullptr drops them
  bool refill();

  std::FILE* file;
  std::int64_t buffer_place;  // in the file, of the buffer's first byte
  std::vector<char> buffer;
  std::size_t next = 0, end = 0;
};

class RecordWriter {
 public:
  explicit RecordWriter(std::FILE* file);
  ~RecordWriter();  // flushes
  RecordWriter(const RecordWriter&) = delete;
  RecordWriter& operator=(const RecordWriter&) = delete;

  void write(const void* items, std::uint32_t bytes);
  // False if anything since the start could not be written.
  bool flush();

 private:
  std::FILE* file;
  std::vector<char> buffer;
  std::size_t used = 0;
  bool good = true;
};

}  // namespace dfl
