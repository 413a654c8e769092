#include "mesh/neighbour_file.h"

#include <gtest/gtest.h>

#include <cstring>

#include "mesh/adcirc_mesh.h"
#include "mesh/random_mesh.h"

namespace dfl {
namespace {

const std::vector<test::TestNode> square_nodes = {{0, 0, 1}, {10, 0, 2}, {10, 10, 3}, {0, 10, 4}};
const std::vector<test::TestElement> square_elements = {{1, 2, 3}, {1, 3, 4}};

struct Trial {
  explicit Trial(const test::TemporaryFolder& folder_in, bool to_stderr = false)
      : folder(folder_in) {
    test::quiet(run, folder.path("run"), to_stderr);
    run.settings.mesh_file = folder.write(
        "mesh.14", test::adcirc_text(square_nodes, square_elements, {{2, 3}}, {{3, 4, 1, 2}}));
    run.settings.neighbor_file = folder.path("mesh.nei");
  }
  const test::TemporaryFolder& folder;
  RunState run;
};

void append_record(std::string& bytes, const std::vector<int>& items,
                   const std::string& text = "") {
  std::string body(items.size() * sizeof(int), '\0');
  std::memcpy(body.data(), items.data(), body.size());
  body += text;
  const auto length = static_cast<std::uint32_t>(body.size());
  std::string frame(sizeof length, '\0');
  std::memcpy(frame.data(), &length, sizeof length);
  bytes += frame + body + frame;
}

std::string expected_file(const std::string& version = "2.3.005", int nodes = 4) {
  std::string bytes;
  append_record(bytes, {nodes, 2}, version);
  append_record(bytes, {1});
  append_record(bytes, {1, 1});
  append_record(bytes, {2});
  append_record(bytes, {2, 1});
  append_record(bytes, {1});
  for (int kind = 0; kind < 2; ++kind) {
    append_record(bytes, {1, -1});
    append_record(bytes, {2, -1});
  }
  append_record(bytes, {1, 1, 3, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0});
  append_record(bytes, {2, 1, 1, 0, 0, 1, 2, 0, 0, 0, 0, 0, 0});
  return bytes;
}

TEST(NeighbourFile, IsWrittenRecordByRecordAndReadBack) {
  const test::TemporaryFolder folder;
  Trial first(folder);
  READ_ADCIRC_MESH(first.run);
  EXPECT_TRUE(first.run.mesh.NEIGHnew);
  EXPECT_EQ(test::read_text(folder.path("mesh.nei")), expected_file());

  Trial second(folder);
  READ_ADCIRC_MESH(second.run);
  EXPECT_FALSE(second.run.mesh.NEIGHnew);
  EXPECT_EQ(test::read_text(folder.path("mesh.nei")), expected_file());
  const MeshState &a = first.run.mesh, &b = second.run.mesh;
  EXPECT_EQ(a.NUMneigh, b.NUMneigh);
  for (int e = 1; e <= 2; ++e) {
    EXPECT_EQ(a.NEIGHlist(a.NEIGHstart(e)), b.NEIGHlist(b.NEIGHstart(e)));
    EXPECT_EQ(a.LANDelem(e), b.LANDelem(e));
    EXPECT_EQ(a.OPENelem(e), b.OPENelem(e));
    EXPECT_EQ(a.LANDrefs(e).BND, b.LANDrefs(e).BND);
    EXPECT_EQ(a.LANDrefs(e).SEG, b.LANDrefs(e).SEG);
    EXPECT_EQ(a.OPENrefs(e).BND, b.OPENrefs(e).BND);
    EXPECT_EQ(a.OPENrefs(e).SEG, b.OPENrefs(e).SEG);
  }
  EXPECT_FALSE(std::filesystem::exists(folder.path("run.err")));
}

// The element number in a record is the entry to fill, whatever the order of the records.
TEST(NeighbourFile, RecordsMayStandInAnyOrder) {
  const test::TemporaryFolder folder;
  std::string bytes;
  append_record(bytes, {4, 2}, "2.3.005 and more");
  append_record(bytes, {1, 7, 7});
  append_record(bytes, {2, 0});
  append_record(bytes, {1, 1});
  append_record(bytes, {2});
  for (int e : {2, 1, 1, 2}) append_record(bytes, {e, e == 1 ? -1 : 0});
  append_record(bytes, std::vector<int>(13, 0));
  bytes.replace(bytes.size() - 56, 4, std::string("\2\0\0\0", 4));
  append_record(bytes, {1, 1, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  folder.write("mesh.nei", bytes);
  Trial trial(folder);
  READ_ADCIRC_MESH(trial.run);
  const MeshState& mesh = trial.run.mesh;
  EXPECT_FALSE(mesh.NEIGHnew);
  EXPECT_EQ(mesh.NEIGHcount(1), 1);
  EXPECT_EQ(mesh.NEIGHcount(2), 0);
  EXPECT_EQ(mesh.NEIGHlist(mesh.NEIGHstart(1)), 2);
  EXPECT_EQ(mesh.LANDelem(1), -1);
  EXPECT_EQ(mesh.LANDelem(2), 0);
  EXPECT_EQ(mesh.LANDrefs(1).SEG[0], 3);
}

TEST(NeighbourFile, IsBuiltAnewWhenItsHeadIsBadOrOld) {
  struct Case {
    const char* name;
    std::string bytes;
    const char* error_text;  // of the ".err" file, null for none
  };
  std::string bad_frame = expected_file();
  bad_frame[19] = 1;
  std::string no_head = expected_file();
  std::fill(no_head.begin(), no_head.begin() + 23, '\0');
  const Case cases[] = {
      {"empty", "", nullptr},
      {"cut in the head", expected_file().substr(0, 10), nullptr},
      {"lengths differ", bad_frame, nullptr},
      {"not finished", no_head, nullptr},
      {"text", "this is a text file\nof two lines\n", nullptr},
      {"no version", expected_file("x.y.005"), nullptr},
      {"old", expected_file("2.1.999"),
       "\nWARNING: Need to generate a v2.2-compatible neighbor file\n"},
  };
  for (const Case& c : cases) {
    const test::TemporaryFolder folder;
    folder.write("mesh.nei", c.bytes);
    Trial trial(folder);
    READ_ADCIRC_MESH(trial.run);
    EXPECT_TRUE(trial.run.mesh.NEIGHnew) << c.name;
    EXPECT_EQ(test::read_text(folder.path("mesh.nei")), expected_file()) << c.name;
    EXPECT_EQ(test::read_text(folder.path("run.err")), c.error_text ? c.error_text : "") << c.name;
  }
}

// A name with "\\" opens the file in its folder; that file is then the one to build anew.
TEST(NeighbourFile, IsBuiltAnewWhereItWasFound) {
  const test::TemporaryFolder folder;
  folder.write("mesh.nei", "");
  Trial trial(folder);
  std::string& name = trial.run.settings.neighbor_file;
  name[name.rfind('/')] = '\\';
  READ_ADCIRC_MESH(trial.run);
  EXPECT_EQ(test::read_text(folder.path("mesh.nei")), expected_file());
}

TEST(NeighbourFile, Version22IsStillGood) {
  const test::TemporaryFolder folder;
  folder.write("mesh.nei", expected_file("2.2.000"));
  Trial trial(folder);
  READ_ADCIRC_MESH(trial.run);
  EXPECT_FALSE(trial.run.mesh.NEIGHnew);
}

void read_with_file(const std::string& bytes) {
  const test::TemporaryFolder folder;
  folder.write("mesh.nei", bytes);
  Trial trial(folder, true);
  READ_ADCIRC_MESH(trial.run);
  std::fprintf(stderr, "went on");
  std::exit(7);
}

std::string with_int(std::size_t place, int value) {
  std::string bytes = expected_file();
  std::memcpy(bytes.data() + place, &value, sizeof value);
  return bytes;
}

TEST(NeighbourFileDeathTest, StopsWithTheCountsOfAnotherMesh) {
  EXPECT_EXIT(read_with_file(expected_file("2.3.005", 5)), testing::ExitedWithCode(0),
              "ERROR: Mesh and neighbor file do not agree     5     2 <RETURN>");
}

// Bytes: head 23; NUMneigh 23; element 1 at 35, its neighbour at 51; flags from 91.
TEST(NeighbourFileDeathTest, StopsAtADamagedRecord) {
  const std::string whole = expected_file();
  const std::pair<std::string, const char*> cases[] = {
      {with_int(27, 2000000000), "longest neighbor list 2000000000"},
      {with_int(27, -1), "longest neighbor list -1"},
      {with_int(39, 3), "element number from 1 to 2, found 3"},
      {with_int(39, 0), "element number from 1 to 2, found 0"},
      {with_int(43, 2), "element 1 has 2 neighbors, expected 0 to 1"},
      {with_int(43, -1), "element 1 has -1 neighbors"},
      {with_int(55, 99), "neighbor 99 of element 1 is no element"},
      {with_int(67, 1), "in the neighbor lists: element 1 stands in two records"},
      {with_int(47, 12), "in the neighbor lists: a record cannot be read"},
      {with_int(35, 2000000000), "in the neighbor lists: a record cannot be read"},
      {whole.substr(0, 30), "in the neighbor lists: a record cannot be read"},
      {whole.substr(0, 100), "in the boundary element lists: a record cannot be read"},
      {with_int(95, 7), "in the boundary element lists: expected an element number"},
      {whole.substr(0, whole.size() - 1), "in the element boundary lists: a record cannot be"},
      {with_int(whole.size() - 52, 2), "element 2 refers to segment 1 of boundary 2"},
      {with_int(whole.size() - 48, 4), "element 2 refers to segment 4 of boundary 1"},
  };
  for (const auto& [bytes, text] : cases) {
    EXPECT_EXIT(read_with_file(bytes), testing::ExitedWithCode(0),
                std::string("mesh.nei\": damaged, .*") + text);
  }
}

void read_with_path(const std::string& path) {
  const test::TemporaryFolder folder;
  Trial trial(folder, true);
  trial.run.settings.neighbor_file = path;
  READ_ADCIRC_MESH(trial.run);
  std::exit(7);
}

TEST(NeighbourFileDeathTest, StopsWhereTheFileCannotBe) {
  const test::TemporaryFolder folder;
  EXPECT_EXIT(read_with_path(folder.path("")), testing::ExitedWithCode(0), "it is a folder");
  EXPECT_EXIT(read_with_path(folder.path("none/mesh.nei")), testing::ExitedWithCode(0),
              "cannot write it: No such file or directory");
  EXPECT_EXIT(read_with_path("/dev/full"), testing::ExitedWithCode(0),
              "cannot write it: No space left on device");
}

}  // namespace
}  // namespace dfl
