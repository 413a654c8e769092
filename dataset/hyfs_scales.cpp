// Dimension scales in the form that NetCDF-4 knows, and time axes.

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

#include "dataset/hyfs_internal.h"

namespace dfl::hyfs {

namespace {

constexpr hsize_t time_chunk = 1024;
constexpr hsize_t dimension_chunk = 65536;
constexpr double no_time = -1.0;  // a time that was never written

// One entry of a scale's list of the datasets that use it.
struct Use {
  hobj_ref_t dataset;
  int axis;
};

// Null-terminated, as every reader of dimension scales expects these two attributes.
int write_mark(hid_t object, const char* name, const std::string& text) {
  const Id type(H5Tcopy(H5T_C_S1));
  H5Tset_size(type.get(), text.size() + 1);
  const Id space(H5Screate(H5S_SCALAR));
  Id attribute(H5Acreate2(object, name, type.get(), space.get(), H5P_DEFAULT, H5P_DEFAULT));
  if (!attribute.good()) return hyfs_io_error;
  if (H5Awrite(attribute.get(), type.get(), text.c_str()) < 0) return hyfs_io_error;
  return attribute.close();
}

Id use_type() {
  Id type(H5Tcreate(H5T_COMPOUND, sizeof(Use)));
  H5Tinsert(type.get(), "dataset", HOFFSET(Use, dataset), H5T_STD_REF_OBJ);
  H5Tinsert(type.get(), "dimension", HOFFSET(Use, axis), H5T_NATIVE_INT);
  return type;
}

int read_uses(hid_t scale, const Id& type, std::vector<Use>& uses) {
  if (!has_attribute(scale, "REFERENCE_LIST")) return 0;
  const Id attribute(H5Aopen(scale, "REFERENCE_LIST", H5P_DEFAULT));
  const Id space(H5Aget_space(attribute.get()));
  const hssize_t count = H5Sget_simple_extent_npoints(space.get());
  if (count < 0 || count > 65536) return hyfs_dataset_invalid;
  uses.resize(static_cast<std::size_t>(count));
  return status_of(H5Aread(attribute.get(), type.get(), uses.data()));
}

int note_use(hid_t scale, hid_t dataset, int axis) {
  const Id type = use_type();
  std::vector<Use> uses;
  if (const int status = read_uses(scale, type, uses); status < 0) return status;
  Use use{};
  use.axis = axis;
  if (H5Rcreate(&use.dataset, dataset, ".", H5R_OBJECT, H5I_INVALID_HID) < 0) return hyfs_io_error;
  uses.push_back(use);
  if (uses.size() > 1 && H5Adelete(scale, "REFERENCE_LIST") < 0) return hyfs_io_error;
  const hsize_t count = uses.size();
  const Id space(H5Screate_simple(1, &count, nullptr));
  Id list(H5Acreate2(scale, "REFERENCE_LIST", type.get(), space.get(), H5P_DEFAULT, H5P_DEFAULT));
  if (!list.good() || H5Awrite(list.get(), type.get(), uses.data()) < 0) return hyfs_io_error;
  return list.close();
}

bool is_reference_list(hid_t attribute, int rank) {
  const Id type(H5Aget_type(attribute));
  const Id space(H5Aget_space(attribute));
  if (!type.good() || H5Tget_class(type.get()) != H5T_VLEN) return false;
  const Id base(H5Tget_super(type.get()));
  return base.good() && H5Tequal(base.get(), H5T_STD_REF_OBJ) > 0 &&
         H5Sget_simple_extent_npoints(space.get()) == rank;
}

}  // namespace

int make_scale(hid_t dataset, const std::string& name) {
  if (const int status = write_mark(dataset, "CLASS", "DIMENSION_SCALE"); status < 0) return status;
  return write_mark(dataset, "NAME", name);
}

bool is_scale(hid_t dataset) {
  std::string text;
  return read_text(dataset, "CLASS", text) >= 0 && text == "DIMENSION_SCALE";
}

bool is_pure_dimension(hid_t scale) {
  std::string text;
  return read_text(scale, "NAME", text) >= 0 && text.rfind(pure_dimension, 0) == 0;
}

int attach_scales(hid_t dataset, const std::vector<hid_t>& scales, bool noted) {
  std::vector<hobj_ref_t> references(scales.size());
  std::vector<hvl_t> lists(scales.size());
  for (std::size_t i = 0; i < scales.size(); ++i) {
    if (scales[i] < 0) continue;
    if (H5Rcreate(&references[i], scales[i], ".", H5R_OBJECT, H5I_INVALID_HID) < 0) {
      return hyfs_io_error;
    }
    lists[i] = {1, &references[i]};
  }
  if (has_attribute(dataset, "DIMENSION_LIST") && H5Adelete(dataset, "DIMENSION_LIST") < 0) {
    return hyfs_io_error;
  }
  const hsize_t rank = scales.size();
  const Id type(H5Tvlen_create(H5T_STD_REF_OBJ));
  const Id space(H5Screate_simple(1, &rank, nullptr));
  Id attribute(
      H5Acreate2(dataset, "DIMENSION_LIST", type.get(), space.get(), H5P_DEFAULT, H5P_DEFAULT));
  if (!attribute.good() || H5Awrite(attribute.get(), type.get(), lists.data()) < 0) {
    return hyfs_io_error;
  }
  for (std::size_t i = 0; i < scales.size() && noted; ++i) {
    if (scales[i] < 0) continue;
    const int status = note_use(scales[i], dataset, static_cast<int>(i));
    if (status < 0) return status;
  }
  return attribute.close();
}

Id scale_of(hid_t dataset, int axis) {
  Shape shape;
  if (!has_attribute(dataset, "DIMENSION_LIST") || read_shape(dataset, shape) < 0) return Id();
  const Id attribute(H5Aopen(dataset, "DIMENSION_LIST", H5P_DEFAULT));
  if (!attribute.good() || axis >= shape.rank || !is_reference_list(attribute.get(), shape.rank)) {
    return Id();
  }
  const Id type(H5Tvlen_create(H5T_STD_REF_OBJ));
  std::vector<hvl_t> lists(static_cast<std::size_t>(shape.rank));
  if (H5Aread(attribute.get(), type.get(), lists.data()) < 0) return Id();
  const hvl_t& list = lists[static_cast<std::size_t>(axis)];
  Id scale;
  if (list.len > 0 && list.p != nullptr) {
    scale = Id(H5Rdereference2(dataset, H5P_DEFAULT, H5R_OBJECT, list.p));
  }
  const Id space(H5Aget_space(attribute.get()));
  H5Dvlen_reclaim(type.get(), space.get(), H5P_DEFAULT, lists.data());
  return scale.good() && H5Iget_type(scale.get()) == H5I_DATASET ? std::move(scale) : Id();
}

Id create_dimension(hid_t file, const std::string& name, hsize_t length, bool growing) {
  Storage storage;
  if (growing) storage.chunk = {dimension_chunk};
  Id dimension = create_dataset(file, name, H5T_IEEE_F32BE, {length},
                                {growing ? H5S_UNLIMITED : length}, storage);
  if (!dimension.good()) return Id();
  std::array<char, 80> text;
  std::snprintf(text.data(), text.size(), "%s%10lld", pure_dimension,
                static_cast<long long>(length));
  return make_scale(dimension.get(), text.data()) < 0 ? Id() : std::move(dimension);
}

// ---- time ----

Id create_time_scale(hid_t group, const std::string& name, const std::string& units) {
  Storage storage;
  storage.chunk = {time_chunk};
  storage.fill = no_time;
  storage.filled = true;
  Id times = create_dataset(group, name, H5T_IEEE_F64LE, {0}, {H5S_UNLIMITED}, storage);
  if (!times.good() || make_scale(times.get(), name) < 0 ||
      write_text(times.get(), "units", units) < 0 ||
      write_text(times.get(), "calendar", "standard") < 0 ||
      write_text(times.get(), "standard_name", "time") < 0 ||
      write_text(times.get(), "axis", "T") < 0) {
    return Id();
  }
  return times;
}

std::string unit_word(const std::string& units) {
  std::string word;
  for (const char c : units) {
    if (std::isspace(static_cast<unsigned char>(c)) != 0) {
      if (!word.empty()) break;
      continue;
    }
    word.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
  }
  struct Word {
    const char* full;
    std::array<const char*, 5> forms;
  };
  constexpr std::array<Word, 4> words = {{
      {"Seconds", {"s", "sec", "secs", "second", "seconds"}},
      {"Minutes", {"min", "mins", "minute", "minutes", "minutes"}},
      {"Hours", {"h", "hr", "hrs", "hour", "hours"}},
      {"Days", {"d", "day", "days", "days", "days"}},
  }};
  for (const Word& row : words) {
    if (std::find(row.forms.begin(), row.forms.end(), word) != row.forms.end()) return row.full;
  }
  if (!word.empty()) word[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(word[0])));
  return word;
}

bool day_since(const std::string& units, double& julian_day) {
  const std::size_t since = units.find("since");
  if (since == std::string::npos) return false;
  const std::string date = units.substr(since + std::strlen("since"));
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, used = 0;
  double second = 0.0;
  if (std::sscanf(date.c_str(), " %6d-%2d-%2d%n", &year, &month, &day, &used) != 3) return false;
  // The time of day may be missing or stop at any place; what follows it is a time zone, and only
  // a numerical one changes the instant.
  const char* rest = date.c_str() + used;
  while (*rest == ' ' || *rest == 'T') ++rest;
  int length = 0;
  if (std::sscanf(rest, "%2d:%2d%n", &hour, &minute, &length) == 2) {
    rest += length;
    if (std::sscanf(rest, ":%lf%n", &second, &length) == 1) rest += length;
  }
  while (*rest == ' ') ++rest;
  int zone_hour = 0, zone_minute = 0;
  if ((*rest == '+' || *rest == '-') &&
      (std::sscanf(rest + 1, "%2d:%2d", &zone_hour, &zone_minute) == 2 ||
       std::sscanf(rest + 1, "%2d%2d", &zone_hour, &zone_minute) >= 1)) {
    constexpr double minutes_of_day = 1440.0;
    const double shift = (60.0 * zone_hour + zone_minute) / minutes_of_day;
    if (hfcalendartojulian_f(1, year, month, day, hour, minute, second, julian_day) < 0) {
      return false;
    }
    julian_day += *rest == '+' ? -shift : shift;
    return true;
  }
  return hfcalendartojulian_f(1, year, month, day, hour, minute, second, julian_day) >= 0;
}

int note_time(hid_t times, hsize_t k, double time, bool& same) {
  same = true;
  const hsize_t length = length_of(times);
  if (length < k) return hyfs_dataset_invalid;
  if (length == k) return write_line(times, H5T_NATIVE_DOUBLE, k, 1, &time);
  double there = 0.0;
  const int status = read_doubles(times, k, 1, &there);
  same = there == time;
  return status;
}

}  // namespace dfl::hyfs
