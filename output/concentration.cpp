#include "output/concentration.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "mesh/find_element.h"
#include "mesh/geometry.h"

namespace dfl {

namespace {

constexpr int rings = 50;                           // beside the one in the middle
constexpr double rim_exponent = 9.210340371976182;  // -ln(1/10000)
constexpr double degrees_per_radian = 57.2958;

// Angle step of ring n, whole degrees.
int angle_step(int method, int n) {
  const auto falling = [n](float range) {
    return static_cast<int>(
        std::lround(static_cast<float>(rings - n) * range / static_cast<float>(rings) + 1.0f));
  };
  if (method == 1) return 1;
  if (method != 3) return falling(5.0f);
  const int step = falling(9.0f);
  return step == 7 ? 6 : step;  // 7 does not divide the circle
}

// Directions of the cells of a ring, by angle step.
struct Directions {
  std::vector<double> cosine, sine;
};

Directions directions_of(int step) {
  Directions directions;
  const int cells = 360 / step;
  for (int j = 0; j < cells; ++j) {
    const double angle = static_cast<double>(j * step) / degrees_per_radian;
    directions.cosine.push_back(std::cos(angle));
    directions.sine.push_back(std::sin(angle));
  }
  return directions;
}

// The cells of one ring of a cloud.
struct Ring {
  std::vector<double> x, y, r2;  // position, squared distance from the parcel
  std::vector<int> element;

  void resize(std::size_t cells) {
    for (std::vector<double>* values : {&x, &y, &r2}) values->resize(cells);
    element.resize(cells);
  }
};

// The cloud of one parcel: mass by element, kept for the elements that it meets.
struct Cloud {
  std::vector<double> mass;            // by element number
  std::vector<int> met;                // elements with mass, in the order met
  double inside = 0.0, outside = 0.0;  // kg

  void add(int e, double m) {
    if (mass[static_cast<std::size_t>(e)] == 0.0) met.push_back(e);
    mass[static_cast<std::size_t>(e)] += m;
  }
};

void spread(const MeshState& mesh, const std::vector<Directions>& by_step, int method,
            const Parcel& parcel, float K, float A, Ring& ring, Cloud& cloud) {
  const double four_Kt = 4.0 * static_cast<double>(K) * static_cast<double>(parcel.Age);  // m2
  const double dr = std::sqrt(four_Kt * rim_exponent) / rings;
  for (int n = 0; n <= rings; ++n) {
    const double r = n * dr, r_out = (n + 0.5) * dr, r_in = std::max(0.0, (n - 0.5) * dr);
    const int a = angle_step(method, n);
    const Directions& directions = by_step[static_cast<std::size_t>(a)];
    const double cell_area = 0.5 * (r_out * r_out - r_in * r_in) * a / degrees_per_radian;
    const std::size_t cells = directions.cosine.size();
    ring.resize(cells);
    for (std::size_t j = 0; j < cells; ++j) {
      const double dx = r * directions.cosine[j], dy = r * directions.sine[j];
      ring.x[j] = parcel.X + dx;
      ring.y[j] = parcel.Y + dy;
      ring.r2[j] = dx * dx + dy * dy;
    }
    find_elements(mesh, ring.x.data(), ring.y.data(), static_cast<int>(cells), ring.element.data());
    for (const int e : ring.element) __builtin_prefetch(&cloud.mass[static_cast<std::size_t>(e)]);
    for (std::size_t j = 0; j < cells; ++j) {
      const int e = ring.element[j];
      const double m = static_cast<double>(A) * std::exp(-ring.r2[j] / four_Kt) * cell_area;
      if (e == 0) {
        cloud.outside += m;
      } else {
        cloud.inside += m;
        cloud.add(e, m);
      }
    }
  }
}

// Element mass to concentrations at the nodes.
void to_nodes(RunState& run, const std::vector<double>& element_mass) {
  const MeshState& mesh = run.mesh;
  Array<double>& CONCnode = run.output.CONCnode;
  Array<double> weight;
  CONCnode.allocate(mesh.NUMnode);
  weight.allocate(mesh.NUMnode);
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    const int n1 = mesh.ELnode1(e), n2 = mesh.ELnode2(e), n3 = mesh.ELnode3(e);
    const double area = static_cast<double>(mesh.AREAelem(e));
    double C = 0.0;
    if (area > 0.0) {
      const double x = (mesh.Xnode(n1) + mesh.Xnode(n2) + mesh.Xnode(n3)) / 3.0;
      const double y = (mesh.Ynode(n1) + mesh.Ynode(n2) + mesh.Ynode(n3)) / 3.0;
      const Weights w = element_weights(run.messages, mesh, e, x, y);
      const float d = NODE_INTERP(w, n1, n2, n3, run.flow.Hnode);
      if (d > 3.0f * run.settings.min_depth) {
        C = element_mass[static_cast<std::size_t>(e)] / (area * static_cast<double>(d));
      }
    }
    for (int n : {n1, n2, n3}) {
      CONCnode(n) += area * C;
      weight(n) += area;
    }
  }
  const double units = static_cast<double>(run.settings.concentration_units);
  for (int n = 1; n <= mesh.NUMnode; ++n) {
    CONCnode(n) = weight(n) > 0.0 ? CONCnode(n) / weight(n) * units : 0.0;
  }
}

// Calls `use` for every listed parcel that moves.
template <class Use>
void for_moving_parcels(const ParcelState& parcels, const Use& use) {
  for (int k = 1; k <= parcels.NUMlisted; ++k) {
    const Parcel& parcel = parcels.PARCELS(parcels.ALIVElist(k));
    if (is_true(parcel.ALIVE) && !is_true(parcel.DORMANT)) use(parcel);
  }
}

std::vector<double> no_mass(const MeshState& mesh) {
  return std::vector<double>(static_cast<std::size_t>(mesh.NUMelem) + 1, 0.0);
}

}  // namespace

void CONC_PARCEL_COUNT(RunState& run) {
  std::vector<double> element_mass = no_mass(run.mesh);
  for_moving_parcels(run.parcels, [&](const Parcel& parcel) {
    const int e = FIND_ELEMENT(run.mesh, parcel.X, parcel.Y);
    if (e != 0) element_mass[static_cast<std::size_t>(e)] += static_cast<double>(parcel.MASS);
  });
  to_nodes(run, element_mass);
}

void CONC_GAUSSIAN(RunState& run) {
  const Settings& s = run.settings;
  const float K = s.gaussian_value;
  std::vector<Directions> by_step(11);
  for (int step = 1; step <= 10; ++step)
    by_step[static_cast<std::size_t>(step)] = directions_of(step);
  std::vector<double> element_mass = no_mass(run.mesh);
  Ring ring;
  Cloud cloud;
  cloud.mass = no_mass(run.mesh);
  for_moving_parcels(run.parcels, [&](const Parcel& parcel) {
    const float A = parcel.MASS * 0.25f / 3.14159f / K / parcel.Age;  // peak, kg/m2
    if (!(K * parcel.Age > 0.0f) || !std::isfinite(A)) {              // not spread yet
      const int e = FIND_ELEMENT(run.mesh, parcel.X, parcel.Y);
      if (e != 0) element_mass[static_cast<std::size_t>(e)] += static_cast<double>(parcel.MASS);
      return;
    }
    cloud.inside = cloud.outside = 0.0;
    cloud.met.clear();
    spread(run.mesh, by_step, s.concentration_method, parcel, K, A, ring, cloud);
    const double factor = cloud.inside > 0.0 ? (cloud.inside + cloud.outside) / cloud.inside : 0.0;
    for (int e : cloud.met) __builtin_prefetch(&element_mass[static_cast<std::size_t>(e)], 1);
    for (int e : cloud.met) {
      element_mass[static_cast<std::size_t>(e)] += cloud.mass[static_cast<std::size_t>(e)] * factor;
      cloud.mass[static_cast<std::size_t>(e)] = 0.0;
    }
  });
  to_nodes(run, element_mass);
}

}  // namespace dfl
