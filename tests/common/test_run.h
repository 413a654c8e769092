#pragma once

// What tests share: a folder of their own, small files, quiet runs and small meshes.

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "control/run_state.h"
#include "mesh/adcirc_mesh.h"

namespace dfl::test {

// A new empty folder, removed at the end of the test.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "dfl_test_XXXXXX").string();
    folder = mkdtemp(pattern.data());
  }
  ~TemporaryFolder() {
    std::error_code error;
    std::filesystem::remove_all(folder, error);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  std::string path(const std::string& name) const { return folder + "/" + name; }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(path(name), std::ios::binary) << text;
    return path(name);
  }

 private:
  std::string folder;
};

inline std::string read_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

inline std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// Sends the console of a run to /dev/null (or, in a death test, to standard error so that EXPECT_EXIT
// sees it) and gives it no input.
inline void quiet(RunState& run, const std::string& prefix, bool to_stderr = false) {
  run.messages.console_out = to_stderr ? stderr : std::fopen("/dev/null", "w");
  run.messages.console_in = nullptr;
  run.messages.output_prefix = prefix;
  run.settings.output_prefix = prefix;
}

struct TestNode {
  double x, y;
  float depth;
};
struct TestElement {
  int a, b, c;
};
// Fills the node and element arrays of run.mesh; geometry and lists are not built.
inline void set_mesh(RunState& run, const std::vector<TestNode>& nodes,
                     const std::vector<TestElement>& elements) {
  run.mesh.NUMnode = static_cast<int>(nodes.size());
  run.mesh.NUMelem = static_cast<int>(elements.size());
  allocate_mesh_arrays(run);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const TestNode& node = nodes[static_cast<std::size_t>(n) - 1];
    run.mesh.Xnode(n) = node.x;
    run.mesh.Ynode(n) = node.y;
    run.mesh.DEPTHnode(n) = node.depth;
  }
  for (int e = 1; e <= run.mesh.NUMelem; ++e) {
    const TestElement& element = elements[static_cast<std::size_t>(e) - 1];
    run.mesh.ELnode1(e) = element.a;
    run.mesh.ELnode2(e) = element.b;
    run.mesh.ELnode3(e) = element.c;
  }
}

// A rectangle of columns by rows cells of the given size, each cut into two triangles by its
// diagonal; node (i, j) is j * (columns + 1) + i + 1, i, j from 0; lower left corner at the origin.
inline void rectangle_mesh(int columns, int rows, double size, float depth,
                           std::vector<TestNode>& nodes, std::vector<TestElement>& elements) {
  nodes.clear();
  elements.clear();
  for (int j = 0; j <= rows; ++j) {
    for (int i = 0; i <= columns; ++i) nodes.push_back({i * size, j * size, depth});
  }
  for (int j = 0; j < rows; ++j) {
    for (int i = 0; i < columns; ++i) {
      const int a = j * (columns + 1) + i + 1, b = a + 1, c = b + columns + 1, d = a + columns + 1;
      elements.push_back({a, b, c});
      elements.push_back({a, c, d});
    }
  }
}

// The text of an ADCIRC mesh file. Boundaries: lists of node numbers.
inline std::string adcirc_text(const std::vector<TestNode>& nodes,
                               const std::vector<TestElement>& elements,
                               const std::vector<std::vector<int>>& open,
                               const std::vector<std::vector<int>>& land) {
  std::ostringstream out;
  out.precision(15);
  out << "test mesh\n" << elements.size() << ' ' << nodes.size() << '\n';
  for (std::size_t n = 0; n < nodes.size(); ++n) {
    out << n + 1 << ' ' << nodes[n].x << ' ' << nodes[n].y << ' ' << nodes[n].depth << '\n';
  }
  for (std::size_t e = 0; e < elements.size(); ++e) {
    out << e + 1 << " 3 " << elements[e].a << ' ' << elements[e].b << ' ' << elements[e].c << '\n';
  }
  for (const auto* lists : {&open, &land}) {
    std::size_t total = 0;
    for (const auto& list : *lists) total += list.size();
    out << lists->size() << '\n' << total << '\n';
    for (const auto& list : *lists) {
      out << list.size() << " 0\n";
      for (int node : list) out << node << '\n';
    }
  }
  return out.str();
}

}  // namespace dfl::test
