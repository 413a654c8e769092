#pragma once

// dfl-hyfs within a test: what it shows and its status.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "common/test_run.h"
#include "tools/hyfs_tool.h"

namespace dfl::test {

struct ToolRun {
  int status = -1;
  std::string out, err;
};

inline std::string content_of(std::FILE* file) {
  std::string text;
  std::rewind(file);
  for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) {
    text.push_back(static_cast<char>(c));
  }
  std::fclose(file);
  return text;
}

inline ToolRun tool(const std::vector<std::string>& words) {
  std::FILE* const out = std::tmpfile();
  std::FILE* const err = std::tmpfile();
  ToolRun result;
  result.status = HYFS_TOOL(words, out, err);
  result.out = content_of(out);
  result.err = content_of(err);
  return result;
}

inline bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

inline void expect_parts(const std::string& text, const std::vector<std::string>& parts) {
  for (const std::string& part : parts) EXPECT_TRUE(has(text, part)) << part << "\nin\n" << text;
}

// A grid of 3 by 2 cells with depths, elevations and velocities at two times, by `make`.
inline std::vector<std::string> small_grid(const TemporaryFolder& folder) {
  folder.write("depth.txt", "5 5 5\n6 6 6\n");
  folder.write("wse.txt", "0 0 0 0 0 0\n6*0.5\n");
  folder.write("u.txt", "12*0.25\n");
  folder.write("v.txt", "1 2 3 4 5 6\n7 8 9 10 11 12\n");
  return {"make",
          folder.path("grid.h5"),
          "--start",
          "2020-03-01 00:00:00",
          "--grid",
          "Grid",
          "--origin",
          "500000",
          "4100000",
          "--bearing",
          "20",
          "--i",
          "3:50",
          "--j",
          "2:40",
          "--dataset",
          "Grid/Datasets/Depth",
          "m",
          "centre",
          folder.path("depth.txt"),
          "--times",
          "2:600",
          "--dataset",
          "wse",
          "m",
          "centre",
          folder.path("wse.txt"),
          "--vector",
          "flow",
          "m/s",
          "faces",
          folder.path("u.txt"),
          folder.path("v.txt")};
}

inline std::string grid_cards() {
  return "params_file \"cells.h5\"\ngrid_file \"grid.h5\"\n"
         "bathymetry_dataset \"grid.h5\" \"Grid/Datasets/Depth\"\nend_parameters\n";
}

// The control file of a run on it, with cards in addition.
inline std::string grid_control(const std::string& cards = "") {
  return ":mesh_format rvs-2d\n:rvcards_file rvcards\n:bc_file grid.bc\n:neighbor_file grid.nei\n"
         ":currents\n:flow_format rvs-2d\n:flow_files grid.h5 grid.h5\n:hyfs_wse_path wse\n"
         ":hyfs_vel_path flow\n:start_run 2020 3 1 0 0 0\n:stop_run 2020 3 1 0 10 0\n"
         ":time_step 10\n" +
         cards + ":end_data\n";
}

}  // namespace dfl::test
