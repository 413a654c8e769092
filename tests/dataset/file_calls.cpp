#include "dataset/file_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "common/test_run.h"

namespace dfl::test {

namespace {

FileWatch* watched = nullptr;  // functions of the system have no other place for it

template <class Function>
Function* system_function(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Not the pipe by which a process reports, nor the console.
bool is_watched(int descriptor) {
  struct stat facts;
  return watched != nullptr && descriptor > 2 && fstat(descriptor, &facts) == 0 &&
         S_ISREG(facts.st_mode);
}

std::string path_of(int descriptor) {
  std::array<char, 4096> path;
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t length = readlink(link.c_str(), path.data(), path.size());
  return length <= 0 ? "" : std::string(path.data(), static_cast<std::size_t>(length));
}

// Counts a call. False if the disk is full.
bool admit() {
  ++watched->count;
  if (watched->full_at == 0 || watched->count < watched->full_at) return true;
  errno = ENOSPC;
  return false;
}

bool admit_write(int descriptor, const void* data, std::size_t count, long at) {
  if (!admit()) return false;
  if (watched->note) {
    watched->calls.push_back({FileCall::Kind::write, path_of(descriptor), "", at,
                              std::string(static_cast<const char*>(data), count)});
  }
  return true;
}

ssize_t placed_write(const char* name, int descriptor, const void* data, std::size_t count,
                     off_t at) {
  if (is_watched(descriptor) && !admit_write(descriptor, data, count, at)) return -1;
  return system_function<ssize_t(int, const void*, std::size_t, off_t)>(name)(descriptor, data,
                                                                              count, at);
}

int set_length(const char* name, int descriptor, off_t length) {
  if (is_watched(descriptor)) {
    if (!admit()) return -1;
    if (watched->note) {
      watched->calls.push_back({FileCall::Kind::set_length, path_of(descriptor), "", length, ""});
    }
  }
  return system_function<int(int, off_t)>(name)(descriptor, length);
}

}  // namespace

void watch_files(FileWatch* watch) {
  watched = watch;
}

bool repeat_call(const FileCall& call, const std::string& path, bool torn) {
  constexpr std::size_t page = 4096;
  const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT, 0600);
  if (descriptor < 0) return false;
  bool good = true;
  if (call.kind == FileCall::Kind::set_length) {
    good = torn || ftruncate(descriptor, call.at) == 0;
  } else {
    const std::size_t whole = call.bytes.size();
    const std::size_t count = torn ? whole / 2 / page * page : whole;
    good = pwrite(descriptor, call.bytes.data(), count, call.at) == static_cast<ssize_t>(count);
  }
  return ::close(descriptor) == 0 && good;
}

}  // namespace dfl::test

using namespace dfl::test;

extern "C" {

ssize_t write(int descriptor, const void* data, std::size_t count) {
  if (is_watched(descriptor) &&
      !admit_write(descriptor, data, count, lseek(descriptor, 0, SEEK_CUR))) {
    return -1;
  }
  return system_function<ssize_t(int, const void*, std::size_t)>("write")(descriptor, data, count);
}

ssize_t pwrite(int descriptor, const void* data, std::size_t count, off_t at) {
  return placed_write("pwrite", descriptor, data, count, at);
}

ssize_t pwrite64(int descriptor, const void* data, std::size_t count, off64_t at) {
  return placed_write("pwrite64", descriptor, data, count, at);
}

int ftruncate(int descriptor, off_t length) noexcept {
  return set_length("ftruncate", descriptor, length);
}

int ftruncate64(int descriptor, off64_t length) noexcept {
  return set_length("ftruncate64", descriptor, length);
}

int rename(const char* from, const char* to) noexcept {
  if (watched != nullptr) {
    if (!admit()) return -1;
    if (watched->note) {
      watched->calls.push_back({FileCall::Kind::rename, from, to, 0, read_text(from)});
    }
  }
  return system_function<int(const char*, const char*)>("rename")(from, to);
}

}  // extern "C"
