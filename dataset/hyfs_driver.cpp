// How files are written: a driver below the HDF5 library that keeps what a file already holds
// readable at any moment, so that a run that is killed or fills the disk loses nothing that was
// complete.
//
// Values go to the file at once; they lie where nothing refers to yet. All that refers to others
// (headers, indexes, the head of the file with its length) is kept in memory until the whole file
// is flushed or closed, and then written in an order in which each piece refers only to what is
// there: first all that lies behind the former end, then the head with the new end, then the
// pieces that are changed in their place: lists of references, indexes of chunks, and at last
// headers, from low to high addresses. The time axis, made first, is so lengthened before the
// datasets along it. A file is shortened only once its head tells the new end.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <utility>

#include "dataset/hyfs_internal.h"

#if H5_VERSION_GE(1, 13, 0)
#include <H5FDdevelop.h>
#endif

namespace dfl::hyfs {

namespace {

struct Piece {
  H5FD_mem_t kind = H5FD_MEM_DEFAULT;
  std::vector<char> bytes;
};
using Pending = std::map<haddr_t, Piece>;  // no two pieces overlap

struct OrderedFile {
  H5FD_t common{};  // first, as the HDF5 library sees no more of it
  int descriptor = -1;
  haddr_t length = 0;        // of the file as it is
  haddr_t end = 0;           // of what the library has allotted
  haddr_t former_end = 0;    // all behind it is unknown to what is written
  bool whole_flush = false;  // the flush that is under way is that of the whole file
  bool may_shorten = false;  // its length has been settled by the library
  Pending pending;
  dev_t device = 0;
  ino_t inode = 0;
};

OrderedFile& ordered(H5FD_t* file) {
  return *reinterpret_cast<OrderedFile*>(file);
}
const OrderedFile& ordered(const H5FD_t* file) {
  return *reinterpret_cast<const OrderedFile*>(file);
}

// ---- plain reading and writing ----

bool write_bytes(OrderedFile& file, haddr_t at, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t done = pwrite(file.descriptor, data, size, static_cast<off_t>(at));
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) return false;
    data += done;
    at += static_cast<haddr_t>(done);
    size -= static_cast<std::size_t>(done);
    file.length = std::max(file.length, at);
  }
  return true;
}

// What lies behind the end of the file reads as zeros.
bool read_bytes(const OrderedFile& file, haddr_t at, char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t done = pread(file.descriptor, data, size, static_cast<off_t>(at));
    if (done < 0 && errno == EINTR) continue;
    if (done < 0) return false;
    if (done == 0) {
      std::memset(data, 0, size);
      return true;
    }
    data += done;
    at += static_cast<haddr_t>(done);
    size -= static_cast<std::size_t>(done);
  }
  return true;
}

bool set_length(OrderedFile& file, haddr_t length) {
  int result = 0;
  do {
    result = ftruncate(file.descriptor, static_cast<off_t>(length));
  } while (result != 0 && errno == EINTR);
  if (result == 0) file.length = length;
  return result == 0;
}

// ---- pieces that wait ----

haddr_t end_of(const Pending::value_type& piece) {
  return piece.first + piece.second.bytes.size();
}

// Parts the piece that lies across an address.
void cut_at(Pending& pending, haddr_t at) {
  Pending::iterator piece = pending.lower_bound(at);
  if (piece == pending.begin()) return;
  --piece;
  if (end_of(*piece) <= at) return;
  std::vector<char>& bytes = piece->second.bytes;
  const std::ptrdiff_t kept = static_cast<std::ptrdiff_t>(at - piece->first);
  Piece rest{piece->second.kind, {bytes.begin() + kept, bytes.end()}};
  bytes.resize(static_cast<std::size_t>(kept));
  pending.emplace(at, std::move(rest));
}

void forget(Pending& pending, haddr_t at, std::size_t size) {
  cut_at(pending, at);
  cut_at(pending, at + size);
  pending.erase(pending.lower_bound(at), pending.lower_bound(at + size));
}

void overlay(const Pending& pending, haddr_t at, char* data, std::size_t size) {
  const haddr_t end = at + size;
  Pending::const_iterator piece = pending.lower_bound(at);
  if (piece != pending.begin()) --piece;
  for (; piece != pending.end() && piece->first < end; ++piece) {
    const haddr_t first = std::max(at, piece->first);
    const haddr_t last = std::min(end, end_of(*piece));
    if (first >= last) continue;
    std::memcpy(data + (first - at), piece->second.bytes.data() + (first - piece->first),
                static_cast<std::size_t>(last - first));
  }
}

bool write_piece(OrderedFile& file, const Pending::value_type& piece) {
  return write_bytes(file, piece.first, piece.second.bytes.data(), piece.second.bytes.size());
}

// Turn in which a piece changed in its place is written. Nothing of a file comes before its head.
int turn_of(const Pending::value_type& piece) {
  if (piece.first == 0) return 0;
  if (piece.second.kind == H5FD_MEM_GHEAP) return 1;
  return piece.second.kind == H5FD_MEM_BTREE ? 2 : 3;
}

bool commit(OrderedFile& file) {
  cut_at(file.pending, file.former_end);
  const Pending::iterator fresh = file.pending.lower_bound(file.former_end);
  for (Pending::iterator piece = fresh; piece != file.pending.end(); ++piece) {
    if (!write_piece(file, *piece)) return false;
  }
  if (file.length < file.end && !set_length(file, file.end)) return false;
  for (int turn = 0; turn <= 3; ++turn) {
    for (Pending::iterator piece = file.pending.begin(); piece != fresh; ++piece) {
      if (turn_of(*piece) == turn && !write_piece(file, *piece)) return false;
    }
  }
  file.pending.clear();
  file.former_end = file.end;
  return true;
}

// ---- what the HDF5 library calls ----

H5FD_t* open_file(const char* name, unsigned flags, hid_t, haddr_t) {
  int mode = (flags & H5F_ACC_RDWR) != 0 ? O_RDWR : O_RDONLY;
  if ((flags & H5F_ACC_TRUNC) != 0) mode |= O_TRUNC;
  if ((flags & H5F_ACC_CREAT) != 0) mode |= O_CREAT;
  if ((flags & H5F_ACC_EXCL) != 0) mode |= O_EXCL;
  constexpr mode_t usual_rights = 0666;
  const int descriptor = ::open(name, mode | O_CLOEXEC, usual_rights);
  if (descriptor < 0) return nullptr;
  struct stat facts;
  std::unique_ptr<OrderedFile> file(new (std::nothrow) OrderedFile);
  if (!file || fstat(descriptor, &facts) != 0) {
    ::close(descriptor);
    return nullptr;
  }
  file->descriptor = descriptor;
  file->length = static_cast<haddr_t>(facts.st_size);
  file->former_end = file->length;
  file->device = facts.st_dev;
  file->inode = facts.st_ino;
  return &file.release()->common;
}

herr_t close_file(H5FD_t* common) {
  const std::unique_ptr<OrderedFile> file(&ordered(common));
  bool good = false;
  try {
    good = file->pending.empty() || commit(*file);
  } catch (...) {
    good = false;
  }
  // Never on a file that was not understood, whose end is not known.
  if (good && file->may_shorten && file->length > file->end) good = set_length(*file, file->end);
  if (::close(file->descriptor) != 0) good = false;
  return good ? 0 : -1;
}

int compare_files(const H5FD_t* a, const H5FD_t* b) {
  const OrderedFile& first = ordered(a);
  const OrderedFile& second = ordered(b);
  const auto key = [](const OrderedFile& file) { return std::pair(file.device, file.inode); };
  return key(first) < key(second) ? -1 : key(second) < key(first) ? 1 : 0;
}

herr_t tell_features(const H5FD_t*, unsigned long* features) {
  *features = H5FD_FEAT_AGGREGATE_METADATA | H5FD_FEAT_DATA_SIEVE | H5FD_FEAT_AGGREGATE_SMALLDATA |
              H5FD_FEAT_DEFAULT_VFD_COMPATIBLE;
  return 0;
}

haddr_t tell_end(const H5FD_t* file, H5FD_mem_t) {
  return ordered(file).end;
}

herr_t take_end(H5FD_t* file, H5FD_mem_t, haddr_t end) {
  ordered(file).end = end;
  return 0;
}

haddr_t tell_length(const H5FD_t* common, H5FD_mem_t) {
  const OrderedFile& file = ordered(common);
  if (file.pending.empty()) return file.length;
  return std::max(file.length, end_of(*file.pending.rbegin()));
}

herr_t read_range(H5FD_t* common, H5FD_mem_t, hid_t, haddr_t at, std::size_t size, void* data) {
  const OrderedFile& file = ordered(common);
  if (!read_bytes(file, at, static_cast<char*>(data), size)) return -1;
  overlay(file.pending, at, static_cast<char*>(data), size);
  return 0;
}

herr_t write_range(H5FD_t* common, H5FD_mem_t kind, hid_t, haddr_t at, std::size_t size,
                   const void* data) {
  OrderedFile& file = ordered(common);
  const char* bytes = static_cast<const char*>(data);
  try {
    forget(file.pending, at, size);
    if (kind == H5FD_MEM_DRAW) return write_bytes(file, at, bytes, size) ? 0 : -1;
    file.pending.emplace(at, Piece{kind, {bytes, bytes + size}});
    return 0;
  } catch (...) {
    return -1;  // no memory
  }
}

// Only a flush of the whole file comes by here; that of one dataset leaves its pieces waiting.
herr_t note_whole_flush(H5FD_t* file, hid_t, hbool_t) {
  ordered(file).whole_flush = true;
  ordered(file).may_shorten = true;
  return 0;
}

herr_t flush_file(H5FD_t* common, hid_t, hbool_t) {
  OrderedFile& file = ordered(common);
  if (!file.whole_flush) return 0;
  file.whole_flush = false;
  try {
    return commit(file) ? 0 : -1;
  } catch (...) {
    return -1;
  }
}

H5FD_class_t driver_class() {
  H5FD_class_t driver{};
#if H5_VERSION_GE(1, 13, 0)
  driver.version = H5FD_CLASS_VERSION;
  driver.value = static_cast<H5FD_class_value_t>(600);
#endif
  driver.name = "ordered";
  driver.maxaddr = static_cast<haddr_t>(std::numeric_limits<off_t>::max());
  driver.fc_degree = H5F_CLOSE_WEAK;
  driver.open = open_file;
  driver.close = close_file;
  driver.cmp = compare_files;
  driver.query = tell_features;
  driver.get_eoa = tell_end;
  driver.set_eoa = take_end;
  driver.get_eof = tell_length;
  driver.read = read_range;
  driver.write = write_range;
  driver.flush = flush_file;
  driver.truncate = note_whole_flush;
  constexpr H5FD_mem_t kinds[] = H5FD_FLMAP_DICHOTOMY;
  std::copy(std::begin(kinds), std::end(kinds), driver.fl_map);
  return driver;
}

}  // namespace

int use_ordered_driver(hid_t access_list) {
  const H5FD_class_t driver = driver_class();
  const hid_t id = H5FDregister(&driver);
  if (id < 0) return hyfs_io_error;
  const int status = status_of(H5Pset_driver(access_list, id, nullptr));
  return H5FDunregister(id) < 0 ? hyfs_io_error : status;
}

}  // namespace dfl::hyfs
