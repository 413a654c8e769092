#include "mesh/record_file.h"

#include <algorithm>
#include <cstring>

namespace dfl {

namespace {

constexpr std::size_t buffer_bytes = std::size_t{1} << 18;

}  // namespace

RecordReader::RecordReader(std::FILE* file_in)
    : file(file_in), buffer_place(ftello(file_in)), buffer(buffer_bytes) {}

RecordReader::~RecordReader() {
  fseeko(file, static_cast<off_t>(buffer_place) + static_cast<off_t>(next), SEEK_SET);
}

std::uint32_t RecordReader::length_at(const char* place) {
  std::uint32_t length = 0;
  std::memcpy(&length, place, sizeof length);
  return length;
}

void RecordReader::copy(void* to, const char* from, std::uint32_t bytes) {
  std::memcpy(to, from, bytes);
}

// Keeps the bytes not yet taken and reads on behind them. False at the end of the file.
bool RecordReader::refill() {
  std::memmove(buffer.data(), buffer.data() + next, end - next);
  buffer_place += static_cast<std::int64_t>(next);
  end -= next;
  next = 0;
  const std::size_t got = std::fread(buffer.data() + end, 1, buffer.size() - end, file);
  end += got;
  return got > 0;
}

bool RecordReader::take(void* items, std::size_t bytes) {
  char* to = static_cast<char*>(items);
  while (bytes > 0) {
    if (next == end && !refill()) return false;
    const std::size_t part = std::min(bytes, end - next);
    if (to != nullptr) {
      std::memcpy(to, buffer.data() + next, part);
      to += part;
    }
    next += part;
    bytes -= part;
  }
  return true;
}

bool RecordReader::read_slowly(void* items, std::uint32_t bytes) {
  std::uint32_t length = 0, length_behind = 0;
  return take(&length, length_bytes) && length >= bytes && take(items, bytes) &&
         take(nullptr, length - bytes) && take(&length_behind, length_bytes) &&
         length == length_behind;
}

RecordWriter::RecordWriter(std::FILE* file_in) : file(file_in), buffer(buffer_bytes) {}

RecordWriter::~RecordWriter() {
  flush();
}

void RecordWriter::write(const void* items, std::uint32_t bytes) {
  constexpr std::size_t lengths = 2 * sizeof bytes;
  if (used + bytes + lengths > buffer.size()) flush();
  if (bytes + lengths > buffer.size()) buffer.resize(bytes + lengths);
  char* to = buffer.data() + used;
  std::memcpy(to, &bytes, sizeof bytes);
  std::memcpy(to + sizeof bytes, items, bytes);
  std::memcpy(to + sizeof bytes + bytes, &bytes, sizeof bytes);
  used += bytes + lengths;
}

bool RecordWriter::flush() {
  if (std::fwrite(buffer.data(), 1, used, file) != used) good = false;
  if (std::fflush(file) != 0) good = false;
  used = 0;
  return good;
}

}  // namespace dfl
