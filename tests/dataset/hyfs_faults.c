/* Preloaded into a writing process to see what a crash or a full disk leaves behind.
 *
 * Counts the calls that change files. At call HYFS_FAULT_AT
 *   HYFS_FAULT_KIND=kill   the process ends before the call,
 *   HYFS_FAULT_KIND=tear   a write goes up to a page boundary near its middle, then the process ends,
 *   HYFS_FAULT_KIND=full   this call and all after it fail with ENOSPC.
 * With HYFS_FAULT_COUNT=path the number of calls is written there when the process ends.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

static long calls = 0, fault_at = 0;
static char kind = 'n';
static const char* count_path = NULL;

__attribute__((constructor)) static void start(void) {
  const char* at = getenv("HYFS_FAULT_AT");
  const char* name = getenv("HYFS_FAULT_KIND");
  count_path = getenv("HYFS_FAULT_COUNT");
  fault_at = at ? atol(at) : 0;
  kind = name ? name[0] : 'n';
}

__attribute__((destructor)) static void finish(void) {
  if (!count_path) return;
  FILE* file = fopen(count_path, "w");
  if (file) {
    fprintf(file, "%ld\n", calls);
    fclose(file);
  }
}

/* Only files count, not the pipe by which the process reports. */
static int is_file(int fd) {
  struct stat facts;
  return fd > 2 && fstat(fd, &facts) == 0 && S_ISREG(facts.st_mode);
}

/* 0: go on; 1: fail; 2: tear. */
static int next_call(void) {
  ++calls;
  if (fault_at == 0 || calls < fault_at) return 0;
  if (kind == 'f') return 1;
  if (calls > fault_at) return 0;
  if (kind == 't') return 2;
  if (kind == 'k') _exit(77);
  return 0;
}

static size_t torn(size_t count) {
  const size_t page = 4096;
  return count / 2 / page * page;
}

typedef ssize_t (*write_type)(int, const void*, size_t);
typedef ssize_t (*pwrite_type)(int, const void*, size_t, off_t);
typedef int (*truncate_type)(int, off_t);

#define FAIL(result)  \
  do {                \
    errno = ENOSPC;   \
    return result;    \
  } while (0)

ssize_t write(int fd, const void* data, size_t count) {
  const write_type real = (write_type)dlsym(RTLD_NEXT, "write");
  if (!is_file(fd)) return real(fd, data, count);
  switch (next_call()) {
    case 1: FAIL(-1);
    case 2: real(fd, data, torn(count)); _exit(77);
    default: return real(fd, data, count);
  }
}

static ssize_t placed_write(const char* name, int fd, const void* data, size_t count, off_t at) {
  const pwrite_type real = (pwrite_type)dlsym(RTLD_NEXT, name);
  if (!is_file(fd)) return real(fd, data, count, at);
  switch (next_call()) {
    case 1: FAIL(-1);
    case 2: real(fd, data, torn(count), at); _exit(77);
    default: return real(fd, data, count, at);
  }
}

ssize_t pwrite(int fd, const void* data, size_t count, off_t at) {
  return placed_write("pwrite", fd, data, count, at);
}

ssize_t pwrite64(int fd, const void* data, size_t count, off_t at) {
  return placed_write("pwrite64", fd, data, count, at);
}

static int set_length(const char* name, int fd, off_t length) {
  const truncate_type real = (truncate_type)dlsym(RTLD_NEXT, name);
  if (is_file(fd)) {
    switch (next_call()) {
      case 1: FAIL(-1);
      case 2: _exit(77);
      default: break;
    }
  }
  return real(fd, length);
}

int ftruncate(int fd, off_t length) { return set_length("ftruncate", fd, length); }
int ftruncate64(int fd, off_t length) { return set_length("ftruncate64", fd, length); }

int rename(const char* from, const char* to) {
  typedef int (*rename_type)(const char*, const char*);
  const rename_type real = (rename_type)dlsym(RTLD_NEXT, "rename");
  switch (next_call()) {
    case 1: FAIL(-1);
    case 2: _exit(77);
    default: return real(from, to);
  }
}
