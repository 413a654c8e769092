#pragma once

// What the parts of the check share.

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "control/run_state.h"
#include "dataset/hyfs.h"

namespace dfl {

// Sizes that the datasets have to fit; 0: not known.
struct MeshSize {
  std::int64_t nodes = 0;
  std::int64_t cells = 0;   // of a grid of cells
  std::int64_t active = 0;  // cells of a lattice between nodes
  std::int64_t layers = 0;
  std::string grid_file;  // of a grid of cells: where it stands, and its paths
  std::string grid_path, depth_path;
  std::string cellstring_file;
  std::vector<std::string> cellstrings;
};

struct FileCheck {
  RunState& run;
  std::string file_name;       // as given
  std::string control_folder;  // with a slash, or empty
  HyfsHandle file = 0;
  std::FILE* out = nullptr;
  MeshSize mesh;
  int roles = 0;     // uses of the file by the control file
  int findings = 0;  // what is missing
};

void role(FileCheck& check, const std::string& text);
void finding(FileCheck& check, const std::string& text);
void note(const FileCheck& check, const std::string& text);

// A name of the control file: from the current folder as a run takes it, else from the folder of
// the control file.
std::string resolved(const FileCheck& check, const std::string& name);
// Whether a name of the control file means the file.
bool names_file(const FileCheck& check, const std::string& name);

// Another file that a run needs together with this one; 0 if it cannot be opened, which is told if
// it is needed.
HyfsHandle open_other_file(FileCheck& check, const std::string& name, bool needed);

// Which values a run takes.
enum class Wanted { any, not_infinite, finite };

// A dataset that a run reads, with what is expected of it.
struct Expected {
  std::string card, path;
  int components = 1;
  std::int64_t values = 0;  // of a step; 0: not known
  const char* values_of = "mesh nodes";
  const char* quantity = "";  // "m", "m/s", "s", "mm": what its units have to be, if it has any
  Wanted wanted = Wanted::any;
  std::int64_t wanted_values = 0;  // the first of a step that have to be so; 0: all
};
// `card "path": `, which is how findings about it begin.
std::string place(const Expected& expected);
// Opens and checks it, its first and last step among it; false if it cannot be read. The handle is
// the caller's to close.
bool check_dataset(FileCheck& check, HyfsHandle file, const Expected& expected, HyfsHandle& set);
// Steps, which grow. Empty if there is none.
std::vector<double> check_times(FileCheck& check, HyfsHandle set, const Expected& expected);

// How steps cover a run: one step covers all, and so does the time of an interval before the first.
struct Cover {
  bool even = false;   // the first interval counts for all
  bool begin = true;   // a run stops in front of the first step; else it takes that
  double after = 0.0;  // s behind the last step in which that is taken; negative: for ever
};
// Whether steps at these run seconds cover the run.
void check_cover(FileCheck& check, const Expected& expected, const std::vector<double>& times,
                 const Cover& cover);
// A property with so many numbers, 0: any; false if it is not there.
enum class NumberKind { whole, single, wide };
bool check_property(FileCheck& check, HyfsHandle group, const std::string& name, std::int64_t count,
                    NumberKind kind, std::vector<double>& values);
// The first number that is not what a run takes is told.
void check_numbers(FileCheck& check, const std::string& what, const std::vector<double>& values,
                   Wanted wanted);

// The mesh of the control file, as far as its size is told at the head of its file.
MeshSize mesh_size(FileCheck& check);

// The uses of the file.
void check_mesh_file(FileCheck& check);
void check_flow_files(FileCheck& check);
void check_bottom_flow(FileCheck& check);
void check_sediments(FileCheck& check);
void check_waves(FileCheck& check);

}  // namespace dfl
