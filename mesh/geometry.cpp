#include "mesh/geometry.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "mesh/find_element.h"

namespace dfl {

namespace {

// Bounds of the weight sums that are repaired: the 4-byte floats 0.995 and 1/0.995.
constexpr double lowest_sum = 0.9950000047683716;
constexpr double highest_sum = 1.0050251483917236;

// The weights while they are formed, and the terms they are formed from.
struct WeightTerms {
  std::array<double, 3> cross{}, dy{}, dx{};
  std::array<double, 3> w{};
};

// If weight `a` is negative and the other two add to about 1, rounding made it so. `keep` is the
// weight that is scaled when the sum is above 1, `rest` what remains. False: too far off.
bool repair(double& a, double& keep, double& rest) {
  if (!(a < 0.0)) return true;
  const double s = keep + rest;
  if (lowest_sum < s && s <= 1.0) {
    a = 1.0 - s;
  } else if (1.0 < s && s <= highest_sum) {
    keep = keep / s;
    a = 0.0;
    rest = 1.0 - keep;
  } else {
    return false;
  }
  return true;
}

// False for a calculation error. Weights that are no numbers (an element without area) are an
// error.
bool form_weights(double x, double y, double x1, double y1, double x2, double y2, double x3,
                  double y3, float area, WeightTerms& t) {
  const double A = static_cast<double>(area);
  t.cross = {x2 * y3 - x3 * y2, x3 * y1 - x1 * y3, x1 * y2 - x2 * y1};
  t.dy = {y2 - y3, y3 - y1, y1 - y2};
  t.dx = {x3 - x2, x1 - x3, x2 - x1};
  for (std::size_t i = 0; i < 3; ++i) {
    t.w[i] = 0.5 * (x * t.dy[i] + t.cross[i] + y * t.dx[i]) / A;
  }
  auto& [w1, w2, w3] = t.w;
  if (!std::isfinite(w1) || !std::isfinite(w2) || !std::isfinite(w3)) return false;
  return repair(w1, w2, w3) && repair(w2, w3, w1) && repair(w3, w1, w2);
}

Weights rounded(const WeightTerms& t) {
  return {static_cast<float>(t.w[0]), static_cast<float>(t.w[1]), static_cast<float>(t.w[2])};
}

[[noreturn]] void stop_with_operands(const MessageState& messages, double x, double y,
                                     const std::array<double, 6>& corners, float area,
                                     const WeightTerms& t) {
  console(messages, "*** Calculation error in WEIGHTING_FACS ***\n");
  if (std::FILE* file = open_error_file(messages); file != nullptr) {
    std::fprintf(file, "x, y %.17g %.17g\n", x, y);
    std::fprintf(file, "x1, y1 %.17g %.17g\n", corners[0], corners[1]);
    std::fprintf(file, "x2, y2 %.17g %.17g\n", corners[2], corners[3]);
    std::fprintf(file, "x3, y3 %.17g %.17g\n", corners[4], corners[5]);
    constexpr std::array<const char*, 3> names = {
        "x2*y3-x3*y2, y2-y3, x3-x2", "x3*y1-x1*y3, y3-y1, x1-x3", "x1*y2-x2*y1, y1-y2, x2-x1"};
    for (std::size_t i = 0; i < 3; ++i) {
      std::fprintf(file, "%s %.17g %.17g %.17g\n", names[i], t.cross[i], t.dy[i], t.dx[i]);
    }
    std::fprintf(file, "area %.9g\n", static_cast<double>(area));
    std::fprintf(file, "w1, w2, w3 %.17g %.17g %.17g\n", t.w[0], t.w[1], t.w[2]);
  }
  stop_run(messages, true);
}

struct SortEntry {
  double key;
  int index;
};

// One round of the Shell sort: each entry sinks past the larger ones of its chain, the entries at
// multiples of the gap from it; equal keys are not exchanged. False: given up on the way, since
// the entries sink too far. Lattices with powers of two in their numbers do that.
bool sink_entries(std::vector<SortEntry>& entries, std::size_t gap) {
  // For each entry so far, on average, beyond one for every entry: the rounds of most meshes stay
  // below, and the others show it soon.
  constexpr std::size_t most_moves = 16;
  std::size_t moves_left = entries.size();
  for (std::size_t i = gap; i < entries.size(); ++i) {
    moves_left += most_moves;
    const SortEntry sinking = entries[i];
    std::size_t j = i;
    while (j >= gap && !(sinking.key >= entries[j - gap].key)) {
      entries[j] = entries[j - gap];
      j -= gap;
    }
    entries[j] = sinking;
    const std::size_t moves = (i - j) / gap;
    if (moves > moves_left) return false;
    moves_left -= moves;
  }
  return true;
}

// What the round leaves: every chain sorted, equal keys in their order.
void sort_chains(std::vector<SortEntry>& entries, std::size_t gap) {
  std::vector<SortEntry> chain;
  for (std::size_t start = 0; start < gap; ++start) {
    chain.clear();
    for (std::size_t i = start; i < entries.size(); i += gap) chain.push_back(entries[i]);
    std::stable_sort(chain.begin(), chain.end(),
                     [](const SortEntry& a, const SortEntry& b) { return a.key < b.key; });
    std::size_t i = start;
    for (const SortEntry& entry : chain) {
      entries[i] = entry;
      i += gap;
    }
  }
}

}  // namespace

Weights WEIGHTING_FACS(const MessageState& messages, double x, double y, double x1, double y1,
                       double x2, double y2, double x3, double y3, float area) {
  WeightTerms t;
  if (!form_weights(x, y, x1, y1, x2, y2, x3, y3, area, t)) {
    stop_with_operands(messages, x, y, {x1, y1, x2, y2, x3, y3}, area, t);
  }
  return rounded(t);
}

bool try_weighting_facs(double x, double y, double x1, double y1, double x2, double y2, double x3,
                        double y3, float area, Weights& weights) {
  WeightTerms t;
  if (!form_weights(x, y, x1, y1, x2, y2, x3, y3, area, t)) return false;
  weights = rounded(t);
  return true;
}

Weights element_weights(const MessageState& messages, const MeshState& mesh, int e, double x,
                        double y) {
  const int n1 = mesh.ELnode1(e), n2 = mesh.ELnode2(e), n3 = mesh.ELnode3(e);
  return WEIGHTING_FACS(messages, x, y, mesh.Xnode(n1), mesh.Ynode(n1), mesh.Xnode(n2),
                        mesh.Ynode(n2), mesh.Xnode(n3), mesh.Ynode(n3), mesh.AREAelem(e));
}

void LINE_COEFS(double xa, double xb, double ya, double yb, float& slope, float& intercept) {
  const double dx = xb - xa;
  if (dx == 0.0) {
    slope = largest_float;
    intercept = largest_float;
    return;
  }
  slope = static_cast<float>((yb - ya) / dx);
  intercept = static_cast<float>(ya - static_cast<double>(slope) * xa);
}

void LINE_COEFS8(double xa, double xb, double ya, double yb, double& slope, double& intercept) {
  const double dx = xb - xa;
  if (dx == 0.0) {
    slope = std::numeric_limits<double>::max();
    intercept = std::numeric_limits<double>::max();
    return;
  }
  slope = (yb - ya) / dx;
  intercept = ya - slope * xa;
}

void SORT_KEYS(const Array<double>& keys, Array<int>& index) {
  const auto count = static_cast<std::size_t>(keys.size());
  std::vector<SortEntry> entries(count);
  for (int i = 1; i <= keys.size(); ++i) {
    entries[static_cast<std::size_t>(i) - 1] = {keys(i), index(i)};
  }
  for (std::size_t gap = count / 2; gap > 0; gap /= 2) {
    if (!sink_entries(entries, gap)) sort_chains(entries, gap);
  }
  for (int i = 1; i <= keys.size(); ++i) index(i) = entries[static_cast<std::size_t>(i) - 1].index;
}

void MESH_GEOMETRY(RunState& run) {
  MeshState& mesh = run.mesh;
  console(run.messages, "Computing areas of elements...\n");
  float smallest_area = largest_float;
  for (int e = 1; e <= mesh.NUMelem; ++e) {
    const int n1 = mesh.ELnode1(e), n2 = mesh.ELnode2(e), n3 = mesh.ELnode3(e);
    const double x1 = mesh.Xnode(n1), x2 = mesh.Xnode(n2), x3 = mesh.Xnode(n3);
    const double y1 = mesh.Ynode(n1), y2 = mesh.Ynode(n2), y3 = mesh.Ynode(n3);
    const float area = static_cast<float>(TRIANGLE_AREA(x1, y1, x2, y2, x3, y3));
    mesh.AREAelem(e) = area;
    if (area < 0.0f) REPORT_INT(run.messages, true, "ELEMENT not counter-clockwise", e);
    smallest_area = std::min(smallest_area, area);
    mesh.XMINelem(e) = std::min({x1, x2, x3});
    mesh.XMAXelem(e) = std::max({x1, x2, x3});
    mesh.YMINelem(e) = std::min({y1, y2, y3});
    mesh.YMAXelem(e) = std::max({y1, y2, y3});
    mesh.SORTxmin(e) = e;
    mesh.SORTxmax(e) = e;
  }
  SORT_KEYS(mesh.XMINelem, mesh.SORTxmin);
  SORT_KEYS(mesh.XMAXelem, mesh.SORTxmax);
  mesh.MESHtol = std::min(1.0f, std::sqrt(smallest_area) / 5.0f);
  BUILD_ELEMENT_GRID(mesh);
}

}  // namespace dfl
