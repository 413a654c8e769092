#pragma once

// HYFS dataset files: HDF5 files that are also valid NetCDF-4. Every operation returns a status; a
// negative status is an error, with the codes of control/messages.cpp. Handles are positive.
// Layout and rules of safe writing: docs/hyfs.md.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace dfl {

using HyfsHandle = std::int64_t;

constexpr int hyfs_not_hdf5 = -4001;
constexpr int hyfs_not_hyfs = -4002;
constexpr int hyfs_attribute_not_supported = -4101;
constexpr int hyfs_incorrect_datatype = -4201;
constexpr int hyfs_size_incorrect = -4301;
constexpr int hyfs_no_data = -4302;
constexpr int hyfs_does_not_exist = -4303;
constexpr int hyfs_dataset_invalid = -4304;
constexpr int hyfs_group_type = -4401;
constexpr int hyfs_io_error = -1;  // a read or write failed (disk full, file damaged, no file)

// Start; once before any other, harmless if repeated. Closing the process by std::exit is then
// safe at any time: the HDF5 library does nothing at exit, so that a write that failed is not
// tried again.
int hfpinitialize_f();

// What a new file holds; the expected frame counts size the chunk index.
struct HyfsFileInfo {
  std::string kind = "data";  // "maps", "particles", "data"
  std::string title;
  std::string start_date;               // "YYYY-MM-DD hh:mm:ss", origin of /time
  std::int64_t expected_frames = 1000;  // time steps that will be written
  std::int64_t expected_values = 1;     // values of a frame; 1: not known
};
int hfopenfile_f(const std::string& path, bool read_only, HyfsHandle& file);
int hfcreatefile_f(const std::string& path, bool overwrite, const HyfsFileInfo& info,
                   HyfsHandle& file);
// Closes what was opened through the file too.
int hfclosefile_f(HyfsHandle file);

// A group, scalar dataset or vector marker at a path below a file or group handle. A path of two or
// three datasets joined by commas ("u-vel,v-vel") opens them as one vector.
int hfopengroup_f(HyfsHandle parent, const std::string& path, HyfsHandle& group);
int hfclosegroup_f(HyfsHandle group);

// Properties below a group.
int hfgetpropertynumber_f(HyfsHandle group, const std::string& name, int& number);
int hfreadpropertyint_f(HyfsHandle group, const std::string& name, std::vector<int>& values);
int hfreadpropertyfloat_f(HyfsHandle group, const std::string& name, std::vector<float>& values);
int hfreadpropertydouble_f(HyfsHandle group, const std::string& name, std::vector<double>& values);

// Grids.
int hfgetorigin_f(HyfsHandle grid, double& x, double& y, double& z);
int hfgetbearing_f(HyfsHandle grid, double& degrees);
int hfgetnumbercellsini_f(HyfsHandle grid, int& cells);
int hfgetnumbercellsinj_f(HyfsHandle grid, int& cells);
int hfgetnumbercellsink_f(HyfsHandle grid, int& cells);
int hfgetgridcoordsi_f(HyfsHandle grid, std::vector<double>& coordinates);
int hfgetgridcoordsj_f(HyfsHandle grid, std::vector<double>& coordinates);
int hfgetgridcoordsk_f(HyfsHandle grid, std::vector<double>& coordinates);
struct HyfsGrid {
  std::array<double, 3> origin{};
  double bearing = 0.0;         // degrees
  std::vector<double> i, j, k;  // coordinates; cells = size
};
int hfcreategrid_f(HyfsHandle parent, const std::string& path, const HyfsGrid& grid);
int hfwritepropertyint_f(HyfsHandle group, const std::string& name, const std::vector<int>& values);
int hfwritepropertyfloat_f(HyfsHandle group, const std::string& name,
                           const std::vector<float>& values);
int hfwritepropertydouble_f(HyfsHandle group, const std::string& name,
                            const std::vector<double>& values);

// Reading datasets. index counts from 1.
int hfgetdatasetnumtimes_f(HyfsHandle dataset, int& times);
int hfgetdatasetnumvals_f(HyfsHandle dataset, int& values);
int hfgetdatasettimes_f(HyfsHandle dataset, std::vector<double>& times);
int hfgetdatasettimeunits_f(HyfsHandle dataset, std::string& units);  // "Seconds", "Hours", ...
int hfreadreftime_f(HyfsHandle dataset, double& julian_day);
int hfreadscalarvaluestimestep_f(HyfsHandle dataset, int index, std::vector<float>& values);
// Pairs x, y for each value; triples of a vector with three components.
int hfreadvectorvaluestimestep_f(HyfsHandle dataset, int index, std::vector<float>& values);
// 0 centre, 3 I-face, 4 J-face, -1 node.
int hfgetscalardatalocation_f(HyfsHandle dataset, int& location);
int hfgetvector2ddatalocations_f(HyfsHandle dataset, int& location_x, int& location_y);

// What is in a file, for tools that show it. Each object once, however many names it has.
enum class HyfsKind {
  group,
  grid,
  particle_set,
  vector,    // by its marker; the components are not listed a second time
  series,    // a dataset of values, with or without time
  property,  // a short list of numbers: a dataset of one axis or none, or an attribute of a group
  axis,      // times or coordinates: a dimension scale
  other,     // not numbers
};
struct HyfsObject {
  HyfsKind kind = HyfsKind::other;
  std::string path;  // from the root, without a slash in front
};
int hflistobjects_f(HyfsHandle file, std::vector<HyfsObject>& objects);
struct HyfsForm {
  bool timed = false;              // has a time axis
  int components = 1;              // 2 or 3 for vectors
  std::vector<std::string> along;  // names of the dimensions of a step, as far as they have one
};
int hfgetdatasetform_f(HyfsHandle dataset, HyfsForm& form);
// A text attribute of a file, group or dataset; of a vector's marker, else of its first component.
int hfreadtext_f(HyfsHandle object, const std::string& name, std::string& text);

// Writing datasets. compression: -1 none, 0 to 9.
struct HyfsDatasetInfo {
  std::string units;
  std::string time_units = "Seconds";
  int compression = -1;
  // "node", "face" (of the mesh), "trajectory"; on grids "centre", "i-face", "j-face" (of a cell,
  // on its lower side), or "faces" for a vector with x on I-faces and y on J-faces.
  std::string location = "node";
  std::int64_t values = 0;  // of a frame at the start; 0: set by the first write
  float fill = -9999.9f;
};
int hfcreatescalardataset_f(HyfsHandle parent, const std::string& path, const HyfsDatasetInfo& info,
                            HyfsHandle& dataset);
// Extendable: grows with hfextendscalardataset_f.
int hfcreatescalardsetextndbl_f(HyfsHandle parent, const std::string& path,
                                const HyfsDatasetInfo& info, HyfsHandle& dataset);
int hfcreatevectordataset_f(HyfsHandle parent, const std::string& path, const HyfsDatasetInfo& info,
                            HyfsHandle& dataset);
int hfextendscalardataset_f(HyfsHandle dataset, std::int64_t values);
int hfwritescalartimestep_f(HyfsHandle dataset, double time, const float* values,
                            std::int64_t count);
int hfwritevectortimestep_f(HyfsHandle dataset, double time, const float* pairs,
                            std::int64_t count);
int hfwritereftime_f(HyfsHandle dataset, double julian_day);

// The UGRID mesh of a maps file, written once. faces: three node numbers from 1 each.
struct HyfsMesh {
  std::vector<double> x, y;
  std::vector<float> bed;  // elevation of the bed, m, positive up
  std::vector<int> faces;
};
int hfwritemesh_f(HyfsHandle file, const HyfsMesh& mesh);
int hfwritecrs_f(HyfsHandle file, int epsg);

// Particle sets. Scalar datasets created below a particle set are values of its parcels: extendable
// ones by time step, others constants of the parcels, written once at time 0.
int hfcreategeometricpathgroup_f(HyfsHandle file, const std::string& path, const std::string& guid,
                                 int compression, HyfsHandle& group);
// positions: x, y, z of each parcel.
int hfwriteparticletimestep_f(HyfsHandle group, double time, std::int64_t count,
                              const double* positions);

// Calendar. era 1: common era.
int hfcalendartojulian_f(int era, int year, int month, int day, int hour, int minute, double second,
                         double& julian_day);
int hfjuliantocalendar_f(double julian_day, int& era, int& year, int& month, int& day, int& hour,
                         int& minute, double& second);

// Sidecars for ParaView, written aside and renamed. path: of the HYFS file, with its ending
// replaced by ".xmf". The text of a frame never changes, so that a writer of frame after frame
// keeps it; frames beyond those that are kept are read from the file.
struct HyfsSidecar {
  std::size_t frames = 0;
  std::string text;  // of these frames
};
int hfwriteparticlesxmf_f(const std::string& hyfs_path, HyfsSidecar& kept);
int hfwritemapsxmf_f(const std::string& hyfs_path, HyfsSidecar& kept);
// The same with nothing kept.
int hfwriteparticlesxmf_f(const std::string& hyfs_path);
int hfwritemapsxmf_f(const std::string& hyfs_path);

}  // namespace dfl
