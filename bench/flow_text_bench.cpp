// Reading flow frames from text: bytes parsed a second, beside a bare scan of the same bytes, and
// the resident memory that a pass over the whole file leaves.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "flow/flow_frames.h"
#include "flow/flow_text.h"

namespace {

constexpr int nodes = 20000;
constexpr int frames = 60;

double resident_megabytes() {
  long pages = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1.0e6;
}

// The two files of a two-dimensional flow in a folder of their own, removed at the end.
struct FlowFiles {
  FlowFiles() {
    std::string pattern = (std::filesystem::temp_directory_path() / "dfl_bench_XXXXXX").string();
    folder = mkdtemp(pattern.data());
    write(folder + "/flow.63", 1);
    write(folder + "/flow.64", 2);
  }
  ~FlowFiles() {
    std::error_code error;
    std::filesystem::remove_all(folder, error);
  }
  FlowFiles(const FlowFiles&) = delete;
  FlowFiles& operator=(const FlowFiles&) = delete;

  static void write(const std::string& path, int values) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    std::fprintf(file, "title\n%11d%11d%16.7E%9d%6d\n", frames, nodes, 3600.0, 900, values);
    for (int t = 1; t <= frames; ++t) {
      std::fprintf(file, "%22.10E%15d\n", 3600.0 * t, 900 * t);
      for (int n = 1; n <= nodes; ++n) {
        std::fprintf(file, "%10d", n);
        for (int i = 0; i < values; ++i) {
          std::fprintf(file, "%20.10E", std::sin(0.01 * n + t + i));
        }
        std::fputc('\n', file);
      }
    }
    std::fclose(file);
  }
  double bytes() const {
    return static_cast<double>(std::filesystem::file_size(folder + "/flow.63") +
                               std::filesystem::file_size(folder + "/flow.64"));
  }

  std::string folder;
};

void read_all_frames(benchmark::State& state) {
  const FlowFiles files;
  double resident = 0.0;
  for (auto _ : state) {
    dfl::RunState run;
    run.messages.console_out = std::fopen("/dev/null", "w");
    run.mesh.NUMnode = nodes;
    run.settings.currents = true;
    run.settings.flow_file_z = files.folder + "/flow.63";
    run.settings.flow_file_uv = files.folder + "/flow.64";
    dfl::allocate_flow_arrays(run);
    const double before = resident_megabytes();
    dfl::OPEN_FLOW_2D(run);
    for (int t = 1; t <= run.flow.NUMframes; ++t) {
      dfl::READ_FRAME_2D(run, run.flow.ETAnew, run.flow.Unew, run.flow.Vnew);
    }
    resident = resident_megabytes() - before;
    benchmark::DoNotOptimize(run.flow.Unew.data());
    std::fclose(run.messages.console_out);
  }
  state.SetBytesProcessed(
      static_cast<std::int64_t>(files.bytes() * static_cast<double>(state.iterations())));
  state.counters["file_MB"] = files.bytes() / 1.0e6;
  state.counters["resident_MB"] = resident;
}
BENCHMARK(read_all_frames)->Iterations(5)->Unit(benchmark::kMillisecond);

// What reading costs without parsing: a count of line ends.
void scan_all_bytes(benchmark::State& state) {
  const FlowFiles files;
  const dfl::MessageState messages;
  for (auto _ : state) {
    std::int64_t lines = 0;
    for (const char* name : {"/flow.63", "/flow.64"}) {
      dfl::TextReader in(messages, files.folder + name);
      for (; !in.at_end(); ++lines) in.skip_line();
    }
    benchmark::DoNotOptimize(lines);
  }
  state.SetBytesProcessed(
      static_cast<std::int64_t>(files.bytes() * static_cast<double>(state.iterations())));
}
BENCHMARK(scan_all_bytes)->Iterations(5)->Unit(benchmark::kMillisecond);

void blend_frames(benchmark::State& state) {
  dfl::RunState run;
  run.mesh.NUMnode = nodes;
  run.mesh.DEPTHnode.allocate(nodes, 5.0f);
  run.settings.currents = true;
  dfl::allocate_flow_arrays(run);
  run.flow.FLOWfrac = 0.25f;
  for (auto _ : state) {
    dfl::FLOW_BLEND(run);
    benchmark::DoNotOptimize(run.flow.Unode.data());
  }
  state.SetItemsProcessed(nodes * state.iterations());
}
BENCHMARK(blend_frames)->Unit(benchmark::kMicrosecond);

}  // namespace
