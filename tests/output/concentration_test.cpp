// Gaussian concentrations against their plain form: every element tried in the order of the walk,
// an array of all elements for each parcel. Byte for byte, on meshes with parcels on vertices and
// edges, off the mesh, among slivers and elements of all sizes.

#include "output/concentration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "common/test_run.h"
#include "mesh/find_element.h"
#include "mesh/geometry.h"
#include "mesh/literal_search.h"

namespace dfl {
namespace {

struct PlainCloud {
  std::vector<double> mass;  // by element number
  double S_in = 0.0, S_out = 0.0;
};

PlainCloud plain_cloud(const RunState& run, const Parcel& p) {
  const MeshState& mesh = run.mesh;
  const float K = run.settings.gaussian_value;
  PlainCloud cloud;
  cloud.mass.assign(static_cast<std::size_t>(mesh.NUMelem) + 1, 0.0);
  const float A = p.MASS * 0.25f / 3.14159f / K / p.Age;
  const double four_Kt = 4.0 * static_cast<double>(K) * static_cast<double>(p.Age);
  const double dr = std::sqrt(four_Kt * 9.210340371976182) / 50;
  for (int n = 0; n <= 50; ++n) {
    const double r = n * dr, r_out = (n + 0.5) * dr, r_in = std::max(0.0, (n - 0.5) * dr);
    int a = 1;
    if (run.settings.concentration_method == 2)
      a = static_cast<int>(std::lround((50 - n) * 0.1 + 1));
    if (run.settings.concentration_method == 3)
      a = static_cast<int>(std::lround((50 - n) * 0.18 + 1));
    if (a == 7) a = 6;
    const double cell_area = 0.5 * (r_out * r_out - r_in * r_in) * a / 57.2958;
    for (int j = 0; j < 360 / a; ++j) {
      const double angle = j * a / 57.2958;
      const double dx = r * std::cos(angle), dy = r * std::sin(angle);
      const int e = test::literal_find_element(mesh, p.X + dx, p.Y + dy);
      const double m =
          static_cast<double>(A) * std::exp(-(dx * dx + dy * dy) / four_Kt) * cell_area;
      (e == 0 ? cloud.S_out : cloud.S_in) += m;
      if (e != 0) cloud.mass[static_cast<std::size_t>(e)] += m;
    }
  }
  return cloud;
}

std::vector<double> plain_concentration(const RunState& run) {
  const MeshState& mesh = run.mesh;
  const auto at = [](int number) { return static_cast<std::size_t>(number); };
  std::vector<double> element(at(mesh.NUMelem) + 1, 0.0);
  for (int k = 1; k <= run.parcels.NUMlisted; ++k) {
    const Parcel& p = run.parcels.PARCELS(run.parcels.ALIVElist(k));
    if (is_true(p.DORMANT)) continue;
    const PlainCloud cloud = plain_cloud(run, p);
    if (cloud.S_in == 0.0) continue;
    const double factor = (cloud.S_in + cloud.S_out) / cloud.S_in;
    for (std::size_t e = 1; e < element.size(); ++e) element[e] += cloud.mass[e] * factor;
  }
  std::vector<double> node(at(mesh.NUMnode) + 1, 0.0), weight = node;
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    const int n1 = mesh.ELnode1(e), n2 = mesh.ELnode2(e), n3 = mesh.ELnode3(e);
    const Weights w = element_weights(run.messages, mesh, e,
                                      (mesh.Xnode(n1) + mesh.Xnode(n2) + mesh.Xnode(n3)) / 3,
                                      (mesh.Ynode(n1) + mesh.Ynode(n2) + mesh.Ynode(n3)) / 3);
    const float d = NODE_INTERP(w, n1, n2, n3, run.flow.Hnode);
    const double area = static_cast<double>(mesh.AREAelem(e));
    const bool deep = d > 3.0f * run.settings.min_depth;
    const double C = deep ? element[at(e)] / (area * static_cast<double>(d)) : 0.0;
    for (int n : {n1, n2, n3}) {
      node[at(n)] += area * C;
      weight[at(n)] += area;
    }
  }
  for (std::size_t n = 1; n < node.size(); ++n) {
    if (!(weight[n] > 0.0)) continue;  // a node of no element
    node[n] = node[n] / weight[n] * static_cast<double>(run.settings.concentration_units);
  }
  return node;
}

// A column of nodes at each x and a row at each y; inner nodes displaced by `jitter` of the way to
// the next; depths from 0 to 5 m.
void lattice_mesh(RunState& run, const std::vector<double>& x, const std::vector<double>& y,
                  double jitter, std::mt19937_64& random) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<test::TestNode> nodes;
  std::vector<test::TestElement> elements;
  const int columns = static_cast<int>(x.size()), rows = static_cast<int>(y.size());
  for (std::size_t j = 0; j < y.size(); ++j) {
    for (std::size_t i = 0; i < x.size(); ++i) {
      const bool inner = i > 0 && i + 1 < x.size() && j > 0 && j + 1 < y.size();
      const double dx = inner ? jitter * unit(random) * (x[i + 1] - x[i]) : 0.0;
      const double dy = inner ? jitter * unit(random) * (y[j + 1] - y[j]) : 0.0;
      nodes.push_back({x[i] + dx, y[j] + dy, static_cast<float>(5.0 * unit(random))});
    }
  }
  const auto place = [&](int n) { return nodes[static_cast<std::size_t>(n) - 1]; };
  const auto upright = [&](const test::TestElement& e) {
    const test::TestNode p = place(e.a), q = place(e.b), r = place(e.c);
    return TRIANGLE_AREA(p.x, p.y, q.x, q.y, r.x, r.y) > 0.0;
  };
  for (int j = 0; j + 1 < rows; ++j) {
    for (int i = 0; i + 1 < columns; ++i) {
      const int a = j * columns + i + 1, b = a + 1, c = b + columns, d = a + columns;
      if (unit(random) < 0.02) continue;  // an island
      const bool rising = unit(random) < 0.5;
      const test::TestElement one =
          rising ? test::TestElement{a, b, c} : test::TestElement{a, b, d};
      const test::TestElement two =
          rising ? test::TestElement{a, c, d} : test::TestElement{b, c, d};
      if (upright(one)) elements.push_back(one);
      if (upright(two)) elements.push_back(two);
    }
  }
  std::shuffle(elements.begin(), elements.end(), random);
  test::set_mesh(run, nodes, elements);
  MESH_GEOMETRY(run);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    run.flow.Hnode(n) = nodes[static_cast<std::size_t>(n) - 1].depth;
  }
}

// Clouds from centimetres to several times the mesh.
void scatter_parcels(RunState& run, int count, double extent, std::mt19937_64& random) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const MeshState& mesh = run.mesh;
  ParcelState& p = run.parcels;
  p.NUMparcels = p.NUMborn = p.NUMalive = p.NUMlisted = count;
  p.PARCELS.allocate(count);
  p.ALIVElist.allocate(count);
  for (int id = 1; id <= count; ++id) {
    p.ALIVElist(id) = count + 1 - id;
    Parcel& parcel = p.PARCELS(id);
    parcel.ALIVE = logical_true;
    parcel.DORMANT = id % 7 == 0 ? logical_true : 0;
    parcel.MASS = static_cast<float>(unit(random)) + 0.1f;
    parcel.Age = static_cast<float>(std::pow(10.0, 6.0 * unit(random) - 1.0));
    const int a = 1 + static_cast<int>(unit(random) * mesh.NUMelem);
    const int n1 = mesh.ELnode1(a), n2 = mesh.ELnode2(a);
    switch (id % 4) {
      case 0:  // in the plane, some off the mesh
        parcel.X = extent * (1.4 * unit(random) - 0.2);
        parcel.Y = extent * (1.4 * unit(random) - 0.2);
        break;
      case 1:  // on a vertex
        parcel.X = mesh.Xnode(n1);
        parcel.Y = mesh.Ynode(n1);
        break;
      case 2:  // in the middle of an edge
        parcel.X = 0.5 * (mesh.Xnode(n1) + mesh.Xnode(n2));
        parcel.Y = 0.5 * (mesh.Ynode(n1) + mesh.Ynode(n2));
        break;
      default:  // far off: only the rim of a large cloud touches the mesh
        parcel.X = -2.0 * extent * unit(random);
        parcel.Y = 0.5 * extent;
    }
  }
}

void expect_same_bytes(RunState& run, const std::string& title) {
  for (int method = 1; method <= 3; ++method) {
    run.settings.concentration_method = method;
    CONC_GAUSSIAN(run);
    const std::vector<double> plain = plain_concentration(run);
    const Array<double>& found = run.output.CONCnode;
    ASSERT_EQ(found.size(), run.mesh.NUMnode);
    double sum = 0.0;
    for (const double value : plain) sum += value;
    EXPECT_GT(sum, 0.0) << title;
    EXPECT_EQ(std::memcmp(found.data(), plain.data() + 1, sizeof(double) * (plain.size() - 1)), 0)
        << title << ", method " << method;
  }
}

TEST(GaussianConcentration, IsThatOfThePlainForm) {
  const test::TemporaryFolder folder;
  std::mt19937_64 random(11);
  std::vector<double> even, graded, thin;
  for (int i = 0; i <= 12; ++i) even.push_back(10.0 * i);
  for (int i = 0; i <= 16; ++i) graded.push_back(120.0 * std::pow(i / 16.0, 4));
  for (int i = 0; i <= 12; ++i) thin.push_back(i % 2 == 0 ? 10.0 * i : 10.0 * (i - 1) + 1.0e-5);
  struct Case {
    const char* title;
    const std::vector<double>&x, &y;
    double jitter;
  };
  const Case cases[] = {
      {"rings along edges", even, even, 0.0}, {"uneven", even, even, 0.4},
      {"all sizes", graded, graded, 0.2},     {"slivers", even, thin, 0.0},
      {"slivers aslant", thin, even, 0.4},
  };
  for (const Case& c : cases) {
    RunState run;
    test::quiet(run, folder.path("run"));
    lattice_mesh(run, c.x, c.y, c.jitter, random);
    run.settings.gaussian_value = 0.05f;
    run.settings.min_depth = 0.3f;
    run.settings.concentration_units = 1000.0f;
    scatter_parcels(run, 9, 120.0, random);
    expect_same_bytes(run, c.title);
  }
}

// Too young, or diffusion too small, for a peak that is a number: all mass in the parcel's element.
TEST(GaussianConcentration, OfAParcelNotYetSpreadIsThatOfItsElement) {
  const test::TemporaryFolder folder;
  RunState run;
  test::quiet(run, folder.path("run"));
  std::mt19937_64 random(1);
  lattice_mesh(run, {0.0, 10.0, 20.0}, {0.0, 10.0, 20.0}, 0.0, random);
  run.flow.Hnode.fill(2.0f);
  scatter_parcels(run, 2, 20.0, random);
  for (int id = 1; id <= 2; ++id) {
    run.parcels.PARCELS(id).X = 3.0 * id;
    run.parcels.PARCELS(id).Y = 2.0;
  }
  CONC_PARCEL_COUNT(run);
  const Array<double> counted = run.output.CONCnode;
  struct {
    float K, Age;
  } const cases[] = {{0.05f, 0.0f}, {0.0f, 100.0f}, {1.0e-38f, 1.0e-6f}, {3.0e-38f, 1.0e-4f}};
  for (const auto& c : cases) {
    run.settings.gaussian_value = c.K;
    for (int id = 1; id <= 2; ++id) run.parcels.PARCELS(id).Age = c.Age;
    CONC_GAUSSIAN(run);
    for (int n = 1; n <= counted.size(); ++n) {
      EXPECT_DOUBLE_EQ(run.output.CONCnode(n), counted(n)) << c.K << " " << c.Age;
    }
  }
}

// Points of a row, more than are on the way at a time, with and without the search grid.
TEST(FindElements, GivesTheNumbersOfTheSingleSearch) {
  const test::TemporaryFolder folder;
  RunState run;
  test::quiet(run, folder.path("run"));
  std::mt19937_64 random(5);
  std::vector<double> graded;
  for (int i = 0; i <= 110; ++i) graded.push_back(100.0 * std::pow(i / 110.0, 4));
  lattice_mesh(run, graded, graded, 0.3, random);
  std::uniform_real_distribution<double> place(-0.3, 1.1);
  std::vector<double> x, y;
  for (int i = 0; i < 300; ++i) {
    x.push_back(100.0 * std::pow(place(random), 3));
    y.push_back(100.0 * std::pow(place(random), 3));
  }
  EXPECT_GT(run.mesh.grid.cells.size(), 8192u);  // large enough that cells are fetched ahead
  x[7] = std::nan("");
  y[9] = 1e300;
  std::vector<int> expected;
  for (std::size_t i = 0; i < x.size(); ++i)
    expected.push_back(test::literal_find_element(run.mesh, x[i], y[i]));
  EXPECT_LT(std::count(expected.begin(), expected.end(), 0), 200);
  std::vector<int> found(x.size(), -1);
  find_elements(run.mesh, x.data(), y.data(), static_cast<int>(x.size()), found.data());
  EXPECT_EQ(found, expected);
  run.mesh.grid.built = false;
  found.assign(x.size(), -1);
  find_elements(run.mesh, x.data(), y.data(), 100, found.data());
  EXPECT_TRUE(std::equal(found.begin(), found.begin() + 100, expected.begin()));
  EXPECT_EQ(found[100], -1);
}

}  // namespace
}  // namespace dfl
