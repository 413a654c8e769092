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

// A dataset that a run reads, with what is expected of it.
struct Expected {
  std::string card, path;
  int components = 1;
  std::int64_t values = 0;  // of a step; 0: not known
  const char* values_of = "mesh nodes";
  const char* quantity = "";  // "m", "m/s", "s", "mm": what its units have to be, if it has any
};
// Opens and checks it; false if it cannot be read. The handle is the caller's to close.
bool check_dataset(FileCheck& check, HyfsHandle file, const Expected& expected, HyfsHandle& set);
// Steps, which grow. Empty if there is none.
std::vector<double> check_times(FileCheck& check, HyfsHandle set, const Expected& expected);
// Whether steps at these run seconds cover the run.
void check_cover(FileCheck& check, const Expected& expected, const std::vector<double>& times,
                 bool one_step_covers_all);
// A property with so many numbers, 0: any; false if it is not there.
bool check_property(FileCheck& check, const std::string& name, std::int64_t count, bool whole,
                    std::vector<double>& values);

// The mesh of the control file, as far as its size is told at the head of its file.
MeshSize mesh_size(FileCheck& check);

// The uses of the file.
void check_mesh_file(FileCheck& check);
void check_flow_files(FileCheck& check);
void check_bottom_flow(FileCheck& check);
void check_sediments(FileCheck& check);
void check_waves(FileCheck& check);

}  // namespace dfl
