#include "dataset/dataset_status.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "control/text_tools.h"
#include "dataset/hyfs.h"

namespace dfl {

namespace {

void stop_at(const MessageState& messages, const std::string& place, const std::string& reason,
             const std::string& text) {
  console(messages, "\n%s: %s", place.c_str(), reason.c_str());
  echo(messages, "%s: %s\n", place.c_str(), reason.c_str());
  REPORT(messages, true, text);
}

// "CDF" and a number stand at the head of the classic forms.
bool is_classic_netcdf(const std::string& name) {
  std::FILE* file = std::fopen(name.c_str(), "rb");
  if (file == nullptr) return false;
  std::array<char, 4> head{};
  const bool read = std::fread(head.data(), 1, head.size(), file) == head.size();
  std::fclose(file);
  return read && std::string_view(head.data(), 3) == "CDF" && head[3] > 0 && head[3] <= 5;
}

}  // namespace

std::string hyfs_reason(int status) {
  switch (status) {
    case hyfs_not_hdf5:
      return "not an HDF5 file";
    case hyfs_not_hyfs:
      return "an HDF5 file, but neither HYFS nor NetCDF-4";
    case hyfs_attribute_not_supported:
      return "an attribute of a kind that is not read";
    case hyfs_incorrect_datatype:
      return "holds no numbers, or numbers that do not fit";
    case hyfs_size_incorrect:
      return "of a wrong size";
    case hyfs_no_data:
      return "without a time step";
    case hyfs_does_not_exist:
      return "does not exist";
    case hyfs_dataset_invalid:
      return "a dataset whose form makes no sense here";
    case hyfs_group_type:
      return "another kind of object";
    case -4601:
      return "not a grid";
    case -4602:
      return "a grid with wrong \"dimensions\"";
    case -4603:
      return "a grid without layers";
    case -4604:
      return "a grid with a wrong count of coordinates";
    default:
      return "cannot be read: cut short or damaged?";
  }
}

std::string hyfs_open_reason(const std::string& path, int status) {
  const std::string name = found_path(path);
  if (!file_exists(name)) return "no such file";
  if (is_directory(name)) return "a folder";
  if (std::error_code error; !std::filesystem::is_regular_file(name, error))
    return "not a plain file";
  if (status == hyfs_not_hdf5 && is_classic_netcdf(name)) {
    return "NetCDF of a classic form, which is not read; nccopy -k nc4 OLD NEW makes one that is";
  }
  if (status == hyfs_io_error && access(name.c_str(), R_OK) != 0) return "may not be read";
  return hyfs_reason(status);
}

std::string dataset_place(const std::string& file, const std::string& object) {
  return object.empty() ? file : file + ": \"" + object + "\"";
}

void check_dataset_status(const MessageState& messages, int status, const std::string& place,
                          const std::string& text) {
  if (status < 0) stop_at(messages, place, hyfs_reason(status), text);
}

void check_dataset_file(const MessageState& messages, int status, const std::string& path,
                        const std::string& text) {
  if (status < 0) stop_at(messages, path, hyfs_open_reason(path, status), text);
}

}  // namespace dfl
