// Damaged files give a status, never a crash and never a request for absurd memory.

#include <gtest/gtest.h>
#include <hdf5.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>

#include "common/test_run.h"
#include "dataset/hyfs_calls.h"

namespace dfl {
namespace {

using namespace test;

std::string make_file(const TemporaryFolder& folder) {
  const std::string path = folder.path("good.h5");
  const HyfsHandle file = create(path, "maps");
  EXPECT_EQ(hfcreategrid_f(file, "Grid", {{0, 0, 0}, 0.0, {1, 2}, {1, 2}, {1}}), 0);
  EXPECT_EQ(hfwritepropertyfloat_f(file, "D50", {1, 2, 3}), 0);
  HyfsDatasetInfo data;
  data.values = 20;
  data.compression = 1;
  EXPECT_EQ(write_pairs(test::vector(file, "flow", data), 0.0, std::vector<float>(40, 1.5f)), 0);
  EXPECT_EQ(write(scalar(file, "wse", data), 0.0, std::vector<float>(20, 1.5f)), 0);
  EXPECT_EQ(hfclosefile_f(file), 0);
  return test::read_text(path);
}

// All that a reader may ask; the number of questions that got an answer.
int read_all(const std::string& path) {
  int answers = 0;
  const auto note = [&answers](int status) { answers += status >= 0 ? 1 : 0; };
  HyfsHandle file = 0;
  if (hfopenfile_f(path, true, file) < 0) return 0;
  for (const char* name : {"wse", "flow", "Grid", "D50", "flow_x,wse"}) {
    HyfsHandle set = 0;
    if (hfopengroup_f(file, name, set) < 0) continue;
    int number = 0, other = 0;
    double x = 0, y = 0, z = 0;
    std::vector<double> times;
    std::vector<float> values;
    std::string units;
    note(hfgetdatasetnumtimes_f(set, number));
    note(hfgetdatasetnumvals_f(set, number));
    note(hfgetdatasettimes_f(set, times));
    note(hfgetdatasettimeunits_f(set, units));
    note(hfreadreftime_f(set, x));
    note(hfreadscalarvaluestimestep_f(set, 1, values));
    note(hfreadvectorvaluestimestep_f(set, 1, values));
    note(hfgetscalardatalocation_f(set, number));
    note(hfgetvector2ddatalocations_f(set, number, other));
    note(hfgetorigin_f(set, x, y, z));
    note(hfgetgridcoordsi_f(set, times));
    note(hfclosegroup_f(set));
  }
  std::vector<float> values;
  note(hfreadpropertyfloat_f(file, "D50", values));
  hfclosefile_f(file);
  return answers;
}

TEST(HyfsDamage, CutAtAnyLength) {
  const TemporaryFolder folder;
  const std::string whole = make_file(folder);
  const std::string path = folder.path("cut.h5");
  EXPECT_GT(read_all(folder.path("good.h5")), 25);
  for (std::size_t length = 0; length < whole.size(); length += length < 200 ? 1 : 211) {
    folder.write("cut.h5", whole.substr(0, length));
    EXPECT_EQ(read_all(path), 0) << length;  // refused as a whole: shorter than its head tells
    HyfsHandle file = 0;
    EXPECT_LT(hfopenfile_f(path, false, file), 0) << length;
    // A file that is refused is left as it is.
    EXPECT_EQ(test::read_text(path).size(), length);
  }
}

// Counts that a damaged file may claim, against the few bytes that it has.
TEST(HyfsDamage, AbsurdSizesAreRefusedBeforeMemoryIsTaken) {
  const TemporaryFolder folder;
  make_file(folder);
  const hid_t file = H5Fopen(folder.path("good.h5").c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
  ASSERT_GE(file, 0);
  const auto claim = [file](const char* name, std::vector<hsize_t> size) {
    std::vector<hsize_t> chunk(size.size(), 1);
    chunk.back() = 16;
    const hid_t list = H5Pcreate(H5P_DATASET_CREATE);
    H5Pset_chunk(list, static_cast<int>(size.size()), chunk.data());
    const hid_t space = H5Screate_simple(static_cast<int>(size.size()), size.data(), nullptr);
    const hid_t set = H5Dcreate2(file, name, H5T_IEEE_F32LE, space, H5P_DEFAULT, list, H5P_DEFAULT);
    EXPECT_GE(set, 0) << name;
    H5Dclose(set);
    H5Sclose(space);
    H5Pclose(list);
  };
  claim("two billion", {2000000000});
  claim("beyond integers", {1000000, 1000000});
  claim("beyond 8 bytes", {1ull << 31, 1ull << 31, 1ull << 31});
  H5Fclose(file);
  HyfsHandle opened = 0, set = 0;
  ASSERT_EQ(hfopenfile_f(folder.path("good.h5"), true, opened), 0);
  for (const char* name : {"two billion", "beyond integers", "beyond 8 bytes"}) {
    int values = 0;
    std::vector<float> read;
    std::vector<int> integers;
    ASSERT_EQ(hfopengroup_f(opened, name, set), 0);
    EXPECT_EQ(hfgetdatasetnumvals_f(set, values), hyfs_size_incorrect) << name;
    EXPECT_EQ(hfreadscalarvaluestimestep_f(set, 1, read), hyfs_size_incorrect) << name;
    EXPECT_EQ(hfreadpropertyint_f(opened, name, integers), hyfs_size_incorrect) << name;
    EXPECT_LT(read.capacity(), 1000u);
  }
  EXPECT_EQ(hfclosefile_f(opened), 0);
}

// Whether a process of its own reads the damaged files of these rounds to the end.
bool survives(const TemporaryFolder& folder, const std::vector<std::string>& rounds) {
  const pid_t child = fork();
  if (child == 0) {
    for (const std::string& bytes : rounds) {
      alarm(20);
      read_all(folder.write("bad.h5", bytes));
    }
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status == 0;  // a sanitizer ends the process without a signal
}

TEST(HyfsDamage, FlippedBytesNeverCrash) {
  constexpr int batches = 20, rounds = 20;
  const TemporaryFolder folder;
  const std::string whole = make_file(folder);
  std::mt19937 random(1);
  for (int batch = 0; batch < batches; ++batch) {
    std::vector<std::string> damaged(rounds, whole);
    for (std::string& bytes : damaged) {
      for (int k = 0; k < 3; ++k) {
        bytes[random() % bytes.size()] = static_cast<char>(random());
      }
    }
    if (survives(folder, damaged)) continue;
    for (int round = 0; round < rounds; ++round) {
      const std::string& bytes = damaged[static_cast<std::size_t>(round)];
      EXPECT_TRUE(survives(folder, {bytes})) << "round " << batch * rounds + round;
    }
    ADD_FAILURE() << "batch " << batch;
  }
}

}  // namespace
}  // namespace dfl
