// Datasets by time step, particle sets, meshes and sidecars, written and read back.

#include <gtest/gtest.h>
#include <hdf5.h>

#include "common/test_run.h"
#include "dataset/hyfs_calls.h"

namespace dfl {
namespace {

using namespace test;

double fill_of(HyfsHandle file, const char* path) {
  const hid_t set = H5Dopen2(file, path, H5P_DEFAULT);
  const hid_t attribute = H5Aopen(set, "_FillValue", H5P_DEFAULT);
  double fill = 0.0;
  H5Aread(attribute, H5T_NATIVE_DOUBLE, &fill);
  H5Aclose(attribute);
  H5Dclose(set);
  return fill;
}

bool has_attribute(HyfsHandle file, const char* path, const char* name) {
  return H5Aexists_by_name(file, path, name, H5P_DEFAULT) > 0;
}

const HyfsMesh triangle{{0, 1, 0}, {0, 0, 1}, {-1, -2, -3}, {1, 2, 3}};

TEST(HyfsSeries, ScalarRoundTripWithCompressionAndNestedPath) {
  const TemporaryFolder folder;
  for (const int compression : {-1, 0, 9}) {
    const std::string path = folder.path("a.h5");
    HyfsHandle file = create(path, "data");
    HyfsDatasetInfo info;
    info.units = "m";
    info.values = 3;
    info.compression = compression;
    HyfsHandle set = scalar(file, "Datasets/Water Surface Elevation (63)", info);
    EXPECT_EQ(hfwritereftime_f(set, 2458910.0), 0);
    EXPECT_EQ(write(set, 0.5, {1, 2, 3}), 0);
    EXPECT_EQ(write(set, 1.5, {4, 5, 6}), 0);
    EXPECT_EQ(hfclosegroup_f(set), 0);
    EXPECT_EQ(hfclosefile_f(file), 0);

    file = open(path);
    set = group_at(file, "Datasets/Water Surface Elevation (63)");
    std::vector<float> none;
    EXPECT_EQ(get(hfgetdatasetnumtimes_f, set), 2);
    EXPECT_EQ(get(hfgetdatasetnumvals_f, set), 3);
    EXPECT_EQ(get(hfgetscalardatalocation_f, set), -1);
    EXPECT_EQ(get(hfreadreftime_f, set), 2458910.0);
    EXPECT_EQ(get(hfgetdatasettimeunits_f, set), "Seconds");
    EXPECT_EQ(get(hfgetdatasettimes_f, set), (std::vector<double>{0.5, 1.5}));
    EXPECT_EQ(read(set, 1), (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(read(set, 2), (std::vector<float>{4, 5, 6}));
    EXPECT_EQ(hfreadscalarvaluestimestep_f(set, 0, none), hyfs_size_incorrect);
    EXPECT_EQ(hfreadscalarvaluestimestep_f(set, 3, none), hyfs_size_incorrect);
    EXPECT_EQ(hfreadvectorvaluestimestep_f(set, 1, none), hyfs_dataset_invalid);
    EXPECT_EQ(hfclosefile_f(file), 0);
  }
}

TEST(HyfsSeries, DatasetsOfAFileShareItsTimeAndAnotherTimeGetsItsOwn) {
  const TemporaryFolder folder;
  const HyfsHandle file = create(folder.path("a.h5"), "data");
  HyfsDatasetInfo info;
  info.values = 2;
  const HyfsHandle a = scalar(file, "a", info), b = scalar(file, "b", info);
  for (const double time : {0.0, 600.0, 1200.0}) {
    EXPECT_EQ(write(a, time, {1, 2}), 0);
    if (time < 1000.0) {
      EXPECT_EQ(write(b, time, {3, 4}), 0);
    }
  }
  EXPECT_EQ(write(b, 1300.0, {5, 6}), 0);
  EXPECT_EQ(get(hfgetdatasettimes_f, a), (std::vector<double>{0, 600, 1200}));
  EXPECT_EQ(get(hfgetdatasettimes_f, b), (std::vector<double>{0, 600, 1300}));
  EXPECT_EQ(read(b, 3), (std::vector<float>{5, 6}));
  EXPECT_EQ(H5Lexists(file, "b_time", H5P_DEFAULT), 1);
  EXPECT_EQ(H5Lexists(file, "a_time", H5P_DEFAULT), 0);
  // Another unit is another axis from the start.
  info.time_units = "Hours";
  const HyfsHandle c = scalar(file, "c", info);
  EXPECT_EQ(write(c, 0.5, {7, 8}), 0);
  EXPECT_EQ(get(hfgetdatasettimes_f, c), std::vector<double>{0.5});
  EXPECT_EQ(get(hfgetdatasettimeunits_f, c), "Hours");
  EXPECT_EQ(get(hfreadreftime_f, c), 2458910.0);  // the date of the file: none was written
  EXPECT_EQ(hfclosefile_f(file), 0);
}

TEST(HyfsSeries, WrongCountsAreRefusedAndLeaveTheFileAsItWas) {
  const TemporaryFolder folder;
  const HyfsHandle file = create(folder.path("a.h5"), "data");
  HyfsDatasetInfo info;
  info.values = 3;
  const HyfsHandle set = scalar(file, "a", info);
  HyfsHandle other = 0;
  int number = 9;
  EXPECT_EQ(hfgetdatasetnumtimes_f(set, number), hyfs_no_data);
  EXPECT_EQ(number, 0);
  EXPECT_EQ(write(set, 0.0, {1, 2}), hyfs_size_incorrect);
  EXPECT_EQ(hfextendscalardataset_f(set, 4), hyfs_size_incorrect);
  EXPECT_EQ(write(set, 0.0, {1, 2, 3}), 0);
  EXPECT_EQ(hfgetdatasetnumtimes_f(set, number), 0);
  EXPECT_EQ(number, 1);
  EXPECT_EQ(hfcreatescalardataset_f(file, "a", info, other), hyfs_dataset_invalid);
  EXPECT_EQ(hfcreatescalardataset_f(file, "", info, other), hyfs_dataset_invalid);
  info.compression = 10;
  EXPECT_EQ(hfcreatescalardataset_f(file, "b", info, other), hyfs_dataset_invalid);
  info.compression = -1;
  info.location = "moon";
  EXPECT_EQ(hfcreatescalardataset_f(file, "b", info, other), hyfs_dataset_invalid);
  EXPECT_EQ(hfclosefile_f(file), 0);
}

TEST(HyfsSeries, ExtendableGrowsAndOldFramesEndInFill) {
  const TemporaryFolder folder;
  HyfsHandle file = create(folder.path("a.h5"), "data");
  HyfsDatasetInfo info;
  info.fill = -7.5f;
  HyfsHandle set = 0;
  ASSERT_EQ(hfcreatescalardsetextndbl_f(file, "a", info, set), 0);
  EXPECT_EQ(write(set, 0.0, {1, 2}), 0);  // the first write sets the count
  EXPECT_EQ(write(set, 1.0, {1, 2, 3}), hyfs_size_incorrect);
  EXPECT_EQ(hfextendscalardataset_f(set, 3), 0);
  EXPECT_EQ(hfextendscalardataset_f(set, 2), hyfs_size_incorrect);
  EXPECT_EQ(write(set, 1.0, {4, 5, 6}), 0);
  EXPECT_EQ(read(set, 1), (std::vector<float>{1, 2, -7.5f}));
  EXPECT_EQ(read(set, 2), (std::vector<float>{4, 5, 6}));
  EXPECT_EQ(hfclosefile_f(file), 0);
}

TEST(HyfsSeries, VectorRoundTripByMarkerPathListAndComponents) {
  const TemporaryFolder folder;
  const std::string path = folder.path("a.h5");
  HyfsHandle file = create(path, "maps");
  HyfsDatasetInfo info;
  info.values = 2;
  info.location = "faces";
  HyfsHandle set = test::vector(file, "Datasets/transport rate", info);
  EXPECT_EQ(hfwritereftime_f(set, 2451545.0), 0);
  EXPECT_EQ(write_pairs(set, 0.0, {1, 2, 3, 4}), 0);
  EXPECT_EQ(write_pairs(set, 60.0, {5, 6, 7, 8}), 0);
  EXPECT_EQ(write_pairs(set, 120.0, {5, 6}), hyfs_size_incorrect);
  EXPECT_EQ(hfclosegroup_f(set), 0);
  EXPECT_EQ(hfclosefile_f(file), 0);

  file = open(path);
  for (const char* way :
       {"Datasets/transport rate", "Datasets/transport rate_x, Datasets/transport rate_y",
        "Datasets/transport rate_x,transport rate_y"}) {
    set = group_at(file, way);
    int x = 9, y = 9;
    std::vector<float> pairs;
    EXPECT_EQ(get(hfgetdatasetnumtimes_f, set), 2);
    EXPECT_EQ(get(hfgetdatasetnumvals_f, set), 2);
    EXPECT_EQ(hfgetvector2ddatalocations_f(set, x, y), 0);
    EXPECT_EQ(std::pair(x, y), std::pair(3, 4)) << way;
    EXPECT_EQ(get(hfreadreftime_f, set), 2451545.0);
    EXPECT_EQ(read_pairs(set, 2), (std::vector<float>{5, 6, 7, 8})) << way;
    EXPECT_EQ(hfreadscalarvaluestimestep_f(set, 2, pairs), hyfs_group_type);
    EXPECT_EQ(get(hfgetdatasettimes_f, set), (std::vector<double>{0, 60}));
    EXPECT_EQ(hfclosegroup_f(set), 0);
    EXPECT_LT(hfclosegroup_f(set), 0);  // closed already
  }
  EXPECT_EQ(hfopengroup_f(file, "Datasets/transport rate_x,absent", set), hyfs_does_not_exist);
  // A handle that outlives its file is refused, and closing it is safe.
  set = group_at(file, "Datasets/transport rate");
  EXPECT_EQ(hfclosefile_f(file), 0);
  int number = 0;
  EXPECT_LT(hfgetdatasetnumtimes_f(set, number), 0);
  EXPECT_LT(hfclosegroup_f(set), 0);
}

TEST(HyfsSeries, LocationsOfScalars) {
  const TemporaryFolder folder;
  const HyfsHandle file = create(folder.path("a.h5"), "data");
  const std::pair<const char*, int> rows[] = {
      {"node", -1}, {"face", 0}, {"centre", 0}, {"i-face", 3}, {"j-face", 4}};
  for (const auto& [word, code] : rows) {
    HyfsDatasetInfo info;
    info.values = 2;
    info.location = word;
    const HyfsHandle set = scalar(file, std::string("at ") + word, info);
    int location = 9, other = 9;
    EXPECT_EQ(hfgetscalardatalocation_f(set, location), 0);
    EXPECT_EQ(location, code) << word;
    EXPECT_EQ(hfgetvector2ddatalocations_f(set, location, other), 0);
    EXPECT_EQ(other, code) << word;
  }
  EXPECT_EQ(hfclosefile_f(file), 0);
}

TEST(HyfsMaps, AttributesThatViewersNeedAndThoseTheyChokeOn) {
  const TemporaryFolder folder;
  const HyfsHandle file = create(folder.path("a.h5"), "maps");
  ASSERT_EQ(hfwritemesh_f(file, triangle), 0);
  ASSERT_EQ(hfwritecrs_f(file, 32633), 0);
  for (const char* name : {"wse", "bed", "wave direction"}) {
    HyfsDatasetInfo info;  // the count comes from the mesh
    EXPECT_EQ(write(scalar(file, name, info), 0.0, {1, 2, 3}), 0) << name;
  }
  EXPECT_FLOAT_EQ(static_cast<float>(fill_of(file, "wse")), -99999.0f);
  EXPECT_FLOAT_EQ(static_cast<float>(fill_of(file, "bed")), -9999.9f);
  EXPECT_TRUE(has_attribute(file, "bed", "long_name"));
  EXPECT_FALSE(has_attribute(file, "wave direction", "long_name"));
  EXPECT_FALSE(has_attribute(file, "wave direction", "standard_name"));
  EXPECT_FALSE(has_attribute(file, "bed", "units"));  // blank
  EXPECT_TRUE(has_attribute(file, "mesh_node_x", "grid_mapping"));
  const hid_t faces = H5Dopen2(file, "mesh_face_nodes", H5P_DEFAULT);
  int corners[3] = {9, 9, 9};
  H5Dread(faces, H5T_NATIVE_INT, H5S_ALL, H5S_ALL, H5P_DEFAULT, corners);
  H5Dclose(faces);
  EXPECT_EQ((std::vector<int>{corners[0], corners[1], corners[2]}), (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(hfclosefile_f(file), 0);
}

TEST(HyfsMaps, AMeshThatDoesNotFitIsRefused) {
  const TemporaryFolder folder;
  const HyfsHandle file = create(folder.path("a.h5"), "maps");
  EXPECT_EQ(hfwritemesh_f(file, {{}, {}, {}, {}}), -4504);
  EXPECT_EQ(hfwritemesh_f(file, {{0, 1, 0}, {0, 0}, {0, 0, 0}, {1, 2, 3}}), -4502);
  EXPECT_EQ(hfwritemesh_f(file, {{0, 1, 0}, {0, 0, 1}, {0, 0, 0}, {1, 2}}), -4501);
  EXPECT_EQ(hfwritemesh_f(file, {{0, 1, 0}, {0, 0, 1}, {0, 0, 0}, {1, 2, 4}}), -4505);
  EXPECT_EQ(hfwritemesh_f(file, {{0, 1, 0}, {0, 0, 1}, {0, 0, 0}, {1, 2, 0}}), -4505);
  EXPECT_EQ(hfwritecrs_f(file, 0), hyfs_dataset_invalid);
  EXPECT_EQ(hfclosefile_f(file), 0);
}

// ---- particles ----

void write_frame(const std::string& path, const std::string& group_path, double time,
                 const std::vector<double>& positions) {
  const HyfsHandle file = open(path, false);
  const HyfsHandle group = group_at(file, group_path);
  const std::int64_t count = static_cast<std::int64_t>(positions.size() / 3);
  EXPECT_EQ(hfwriteparticletimestep_f(group, time, count, positions.data()), 0);
  const HyfsHandle speed = group_at(group, "speed");
  const int there = get(hfgetdatasetnumvals_f, speed);
  if (there != 0 && there != count) {
    EXPECT_EQ(hfextendscalardataset_f(speed, count), 0);
  }
  const std::vector<float> values(static_cast<std::size_t>(count), static_cast<float>(count));
  EXPECT_EQ(write(speed, time, values), 0);
  EXPECT_EQ(hfclosegroup_f(speed), 0);
  EXPECT_EQ(hfclosegroup_f(group), 0);
  EXPECT_EQ(hfclosefile_f(file), 0);
}

void create_particles(const std::string& path, const std::string& group_path) {
  HyfsHandle file = create(path, "particles");
  HyfsHandle group = 0, set = 0;
  ASSERT_EQ(hfcreategeometricpathgroup_f(file, group_path, "11111111-2222", 1, group), 0)
      << group_path;
  EXPECT_EQ(hfwritereftime_f(group, 2458910.0), 0);
  HyfsDatasetInfo info;
  info.compression = 1;
  EXPECT_EQ(hfcreatescalardsetextndbl_f(group, "speed", info, set), 0);
  EXPECT_EQ(hfclosegroup_f(set), 0);
  EXPECT_EQ(hfclosegroup_f(group), 0);
  EXPECT_EQ(hfclosefile_f(file), 0);
}

// The group is named after the prefix of a run's files, which may hold anything that a file name
// may, the names of the variables included.
TEST(HyfsParticles, AnyPrefixMakesAGroup) {
  const TemporaryFolder folder;
  const std::string path = folder.path("a.h5");
  for (const char* prefix :
       {"run1", "out/run1", "../out/run1", "./run1", "/data/out/run1", "C:\\work\\run1",
        "d 1/été ü", "time/run1", "x/run1", "speed/run1", "trajectory/x/run1", "id/run1"}) {
    const std::string group_path = std::string(prefix) + "_particles";
    create_particles(path, group_path);
    write_frame(path, group_path, 0.0, {1, 2, 3});
    write_frame(path, group_path, 60.0, {4, 5, 6, 7, 8, 9});

    HyfsHandle file = open(path, false);
    HyfsHandle group = group_at(file, group_path);
    HyfsDatasetInfo info;
    info.location = "trajectory";
    HyfsHandle set = scalar(group, "id", info);
    EXPECT_EQ(hfwritereftime_f(set, 2458910.0), 0);
    EXPECT_EQ(write(set, 0.0, {1, 2}), 0);
    EXPECT_EQ(hfclosegroup_f(set), 0);
    EXPECT_EQ(hfclosefile_f(file), 0);

    file = open(path);
    group = group_at(file, group_path);
    EXPECT_EQ(get(hfreadreftime_f, group), 2458910.0);
    set = group_at(file, group_path + "/x");
    EXPECT_EQ(get(hfgetdatasettimes_f, set), (std::vector<double>{0, 60}));
    EXPECT_EQ(read(set, 1), (std::vector<float>{1, -9999.9f})) << prefix;
    EXPECT_EQ(read(set, 2), (std::vector<float>{4, 7}));
    EXPECT_EQ(read(group_at(file, "/z"), 2), (std::vector<float>{6, 9})) << prefix;
    set = group_at(group, "speed");
    EXPECT_EQ(read(set, 1), (std::vector<float>{1, -9999.9f}));
    EXPECT_EQ(read(set, 2), (std::vector<float>{2, 2}));
    set = group_at(group, "id");
    EXPECT_EQ(get(hfgetdatasetnumtimes_f, set), 1);
    EXPECT_EQ(get(hfgetdatasetnumvals_f, set), 2);
    EXPECT_EQ(get(hfgetdatasettimes_f, set), std::vector<double>{0.0});
    EXPECT_EQ(read(set, 1), (std::vector<float>{1, 2}));
    EXPECT_EQ(hfclosefile_f(file), 0);
    EXPECT_EQ(hfwriteparticlesxmf_f(path), 0) << prefix;
  }
}

TEST(HyfsParticles, CountsThatShrinkAndConstantsOffTimeZeroAreRefused) {
  const TemporaryFolder folder;
  const std::string path = folder.path("a.h5");
  create_particles(path, "run_particles");
  write_frame(path, "run_particles", 0.0, {1, 2, 3, 4, 5, 6});
  const HyfsHandle file = open(path, false);
  const HyfsHandle group = group_at(file, "run_particles");
  const std::vector<double> one{1, 2, 3};
  EXPECT_EQ(hfwriteparticletimestep_f(group, 1.0, 1, one.data()), hyfs_size_incorrect);
  HyfsDatasetInfo info;
  info.location = "trajectory";
  const HyfsHandle set = scalar(group, "id", info);
  EXPECT_EQ(write(set, 0.0, {1}), hyfs_size_incorrect);
  EXPECT_EQ(write(set, 5.0, {1, 2}), hyfs_dataset_invalid);
  EXPECT_EQ(write(set, 0.0, {1, 2}), 0);
  HyfsHandle second = 0;
  EXPECT_LT(hfcreategeometricpathgroup_f(file, "other", "", -1, second), 0);
  EXPECT_EQ(hfclosefile_f(file), 0);
}

// ---- sidecars ----

std::size_t count_of(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

TEST(HyfsSidecar, HoldsAGridOfItsOwnSizeForEachFrameAndNamesTheFileBesideIt) {
  const TemporaryFolder folder;
  const std::string path = folder.path("a & b_particles.h5");
  create_particles(path, "run_particles");
  write_frame(path, "run_particles", 0.0, {1, 2, 3});
  write_frame(path, "run_particles", 600.25, {4, 5, 6, 7, 8, 9});
  ASSERT_EQ(hfwriteparticlesxmf_f(path), 0);
  const std::string text = test::read_text(folder.path("a & b_particles.xmf"));
  EXPECT_EQ(count_of(text, "<Time Value=\"0\"/>"), 1u);
  EXPECT_EQ(count_of(text, "<Time Value=\"600.25\"/>"), 1u);
  EXPECT_EQ(count_of(text, "NumberOfElements=\"1\""), 1u);
  EXPECT_EQ(count_of(text, "NumberOfElements=\"2\""), 1u);
  // The size that the dataset had with the frame.
  EXPECT_EQ(count_of(text, "Dimensions=\"1 1\">a &amp; b_particles.h5:/x<"), 1u);
  EXPECT_EQ(count_of(text, "Dimensions=\"2 2\">a &amp; b_particles.h5:/x<"), 1u);
  EXPECT_EQ(count_of(text, "<Attribute Name=\"speed\""), 2u);
  EXPECT_FALSE(std::filesystem::exists(folder.path("a & b_particles.xmf.part")));
}

TEST(HyfsSidecar, MapsShowTheMeshScalarsAndJoinedVectorsOfWholeFrames) {
  const TemporaryFolder folder;
  const std::string path = folder.path("m_maps.h5");
  const HyfsHandle file = create(path, "maps");
  ASSERT_EQ(hfwritemesh_f(file, triangle), 0);
  const HyfsHandle bed = scalar(file, "bed"), flow = test::vector(file, "flow");
  EXPECT_EQ(write(bed, 0.0, {1, 2, 3}), 0);
  EXPECT_EQ(write_pairs(flow, 0.0, {1, 2, 3, 4, 5, 6}), 0);
  EXPECT_EQ(write(bed, 60.0, {1, 2, 3}), 0);  // the flow of this frame is missing
  EXPECT_EQ(hfclosefile_f(file), 0);
  ASSERT_EQ(hfwritemapsxmf_f(path), 0);
  const std::string text = test::read_text(folder.path("m_maps.xmf"));
  EXPECT_EQ(count_of(text, "<Grid Name=\"mesh\""), 2u);
  EXPECT_EQ(count_of(text, "<Attribute Name=\"bed\" AttributeType=\"Scalar\""), 2u);
  EXPECT_EQ(count_of(text, "<Attribute Name=\"flow\" AttributeType=\"Vector\""), 1u);
  EXPECT_EQ(count_of(text, "<Attribute Name=\"flow_x\""), 0u);
  EXPECT_EQ(count_of(text, "GeometryType=\"X_Y_Z\""), 2u);
}

// Frame after frame with the text of the former ones kept, against the file written from nothing.
TEST(HyfsSidecar, KeptTextGivesTheSameFileAtEveryFrame) {
  const TemporaryFolder folder;
  const std::string maps = folder.path("m_maps.h5"), particles = folder.path("m_particles.h5");
  const HyfsHandle file = create(maps, "maps");
  ASSERT_EQ(hfwritemesh_f(file, triangle), 0);
  scalar(file, "bed");
  test::vector(file, "flow");
  EXPECT_EQ(hfclosefile_f(file), 0);
  create_particles(particles, "run_particles");
  HyfsSidecar kept_maps, kept_particles;
  std::vector<double> positions;
  for (int frame = 0; frame < 4; ++frame) {
    const HyfsHandle again = open(maps, false);
    EXPECT_EQ(write(group_at(again, "bed"), 60.0 * frame, {1, 2, 3}), 0);
    EXPECT_EQ(write_pairs(group_at(again, "flow"), 60.0 * frame, {1, 2, 3, 4, 5, 6}), 0);
    EXPECT_EQ(hfclosefile_f(again), 0);
    if (frame != 1) positions.insert(positions.end(), {1.0, 2.0, 3.0});  // none is born in frame 1
    write_frame(particles, "run_particles", 60.0 * frame, positions);

    ASSERT_EQ(hfwritemapsxmf_f(maps, kept_maps), 0);
    ASSERT_EQ(hfwriteparticlesxmf_f(particles, kept_particles), 0);
    const std::string maps_text = test::read_text(folder.path("m_maps.xmf"));
    const std::string particles_text = test::read_text(folder.path("m_particles.xmf"));
    EXPECT_EQ(count_of(maps_text, "<Grid Name=\"mesh\""), static_cast<std::size_t>(frame) + 1);
    ASSERT_EQ(hfwritemapsxmf_f(maps), 0);
    ASSERT_EQ(hfwriteparticlesxmf_f(particles), 0);
    EXPECT_EQ(test::read_text(folder.path("m_maps.xmf")), maps_text) << frame;
    EXPECT_EQ(test::read_text(folder.path("m_particles.xmf")), particles_text) << frame;
  }
  // Text kept of a longer file is of no use.
  create_particles(particles, "run_particles");
  write_frame(particles, "run_particles", 5.0, {1, 2, 3});
  ASSERT_EQ(hfwriteparticlesxmf_f(particles, kept_particles), 0);
  const std::string text = test::read_text(folder.path("m_particles.xmf"));
  EXPECT_EQ(count_of(text, "<Time Value="), 1u);
  EXPECT_EQ(count_of(text, "<Time Value=\"5\"/>"), 1u);
}

TEST(HyfsSidecar, FilesOfTheOtherKindAreRefused) {
  const TemporaryFolder folder;
  const std::string path = folder.path("a.h5");
  EXPECT_EQ(hfclosefile_f(create(path, "data")), 0);
  EXPECT_LT(hfwriteparticlesxmf_f(path), 0);
  EXPECT_LT(hfwritemapsxmf_f(path), 0);
  EXPECT_LT(hfwritemapsxmf_f(folder.path("none.h5")), 0);
  EXPECT_FALSE(std::filesystem::exists(folder.path("a.xmf")));
}

}  // namespace
}  // namespace dfl
