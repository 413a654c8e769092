// The text beside a map file, written at each frame: cost of one more frame by the frames so far.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "dataset/hyfs.h"

namespace dfl {
namespace {

constexpr int nodes = 3;
constexpr const char* scalars[] = {"wse",         "bedforms",    "shear stress",   "dzdt",
                                   "wave height", "wave period", "wave direction", "concentration"};
constexpr const char* vectors[] = {"flow", "mobility"};

class MapFile {
 public:
  MapFile() {
    HyfsFileInfo info;
    info.kind = "maps";
    info.start_date = "2000-01-01 00:00:00";
    HyfsHandle file = 0, set = 0;
    require(hfcreatefile_f(path(), true, info, file));
    require(hfwritemesh_f(file, {{0, 1, 0}, {0, 0, 1}, {-1, -2, -3}, {1, 2, 3}}));
    HyfsDatasetInfo data;
    data.values = nodes;
    for (const char* name : scalars) require(hfcreatescalardataset_f(file, name, data, set));
    for (const char* name : vectors) require(hfcreatevectordataset_f(file, name, data, set));
    require(hfclosefile_f(file));
  }
  ~MapFile() {
    std::error_code ignored;
    std::filesystem::remove(path(), ignored);
    std::filesystem::remove("sidecar_bench_maps.xmf", ignored);
  }
  MapFile(const MapFile&) = delete;
  MapFile& operator=(const MapFile&) = delete;

  static std::string path() { return "sidecar_bench_maps.h5"; }

  void write_frames(int count) {
    HyfsHandle file = 0, set = 0;
    require(hfopenfile_f(path(), false, file));
    const float values[2 * nodes] = {1, 2, 3, 4, 5, 6};
    for (int k = 0; k < count; ++k, ++frames) {
      for (const char* name : scalars) {
        require(hfopengroup_f(file, name, set));
        require(hfwritescalartimestep_f(set, frames * 60.0, values, nodes));
        require(hfclosegroup_f(set));
      }
      for (const char* name : vectors) {
        require(hfopengroup_f(file, name, set));
        require(hfwritevectortimestep_f(set, frames * 60.0, values, nodes));
        require(hfclosegroup_f(set));
      }
    }
    require(hfclosefile_f(file));
  }

 private:
  static void require(int status) {
    if (status < 0) std::abort();
  }
  int frames = 0;
};

void one_more_frame(benchmark::State& state) {
  MapFile maps;
  maps.write_frames(static_cast<int>(state.range(0)));
  HyfsSidecar kept;
  if (hfwritemapsxmf_f(MapFile::path(), kept) < 0) state.SkipWithError("not written");
  for (auto _ : state) {
    state.PauseTiming();
    maps.write_frames(1);
    state.ResumeTiming();
    if (hfwritemapsxmf_f(MapFile::path(), kept) < 0) state.SkipWithError("not written");
  }
}
BENCHMARK(one_more_frame)
    ->Arg(1)
    ->Arg(200)
    ->Arg(2000)
    ->Iterations(20)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace dfl
