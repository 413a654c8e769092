#include "parcels/mesh_walk.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace dfl {

namespace {

constexpr int longest_walk = 16;  // elements

constexpr double margin = 1.0e-6;       // of the longest edge, what "well inside" means
constexpr double shape_limit = 1.0e-3;  // least area over longest edge squared
constexpr double size_limit = 1.0e3;    // largest ratio of the longest edges of two neighbours
constexpr float nowhere = -std::numeric_limits<float>::infinity();

double longest_edge_squared(const TrackElement& t) {
  const auto squared = [](double dx, double dy) { return dx * dx + dy * dy; };
  return std::max({squared(t.x2 - t.x1, t.y2 - t.y1), squared(t.x3 - t.x2, t.y3 - t.y2),
                   squared(t.x1 - t.x3, t.y1 - t.y3)});
}

struct Box {
  double left = 0.0, right = 0.0, low = 0.0, high = 0.0;
};

// The bounding box, somewhat widened.
Box box_of(const TrackElement& t) {
  const double wider = margin * std::sqrt(longest_edge_squared(t));
  return {std::min({t.x1, t.x2, t.x3}) - wider, std::max({t.x1, t.x2, t.x3}) + wider,
          std::min({t.y1, t.y2, t.y3}) - wider, std::max({t.y1, t.y2, t.y3}) + wider};
}

bool meet(const Box& a, const Box& b) {
  return a.left <= b.right && b.left <= a.right && a.low <= b.high && b.low <= a.high;
}

// True if one edge of `a` has all of `b` on its outer side.
bool edge_parts(const TrackElement& a, const TrackElement& b, double tolerance) {
  const EdgeValues f = edge_values(a, b.x1, b.y1);
  const EdgeValues g = edge_values(a, b.x2, b.y2);
  const EdgeValues h = edge_values(a, b.x3, b.y3);
  return std::min({f.f1, g.f1, h.f1}) >= -tolerance || std::min({f.f2, g.f2, h.f2}) >= -tolerance ||
         std::min({f.f3, g.f3, h.f3}) >= -tolerance;
}

// Lattice of bins over the mesh; each lists the elements whose boxes meet it.
struct Bins {
  double x0 = 0.0, y0 = 0.0, width = 1.0, height = 1.0;
  int columns = 1, rows = 1;
  std::vector<std::int64_t> first;
  std::vector<int> members;
};

template <class Visit>
void for_bins(const Bins& bins, const Box& box, Visit visit) {
  const auto index = [](double value, double origin, double size, int count) {
    return std::clamp(static_cast<int>((value - origin) / size), 0, count - 1);
  };
  const int left = index(box.left, bins.x0, bins.width, bins.columns);
  const int right = index(box.right, bins.x0, bins.width, bins.columns);
  const int low = index(box.low, bins.y0, bins.height, bins.rows);
  const int high = index(box.high, bins.y0, bins.height, bins.rows);
  for (int j = low; j <= high; ++j) {
    for (int i = left; i <= right; ++i) visit(static_cast<std::size_t>(j * bins.columns + i));
  }
}

// False if the elements are such that the lists would grow far beyond their number.
bool fill_bins(const TrackElements& elements, Bins& bins) {
  const int n = elements.size();
  Box all{1.0e300, -1.0e300, 1.0e300, -1.0e300};
  for (const TrackElement& t : elements) {
    const Box box = box_of(t);
    all.left = std::min(all.left, box.left);
    all.right = std::max(all.right, box.right);
    all.low = std::min(all.low, box.low);
    all.high = std::max(all.high, box.high);
  }
  const double w = all.right - all.left, h = all.high - all.low;
  if (!(w > 0.0 && h > 0.0 && std::isfinite(w) && std::isfinite(h))) return false;
  const double cell = std::sqrt(w * h / n);
  bins.columns = static_cast<int>(std::clamp(w / cell, 1.0, 4096.0));
  bins.rows = static_cast<int>(std::clamp(h / cell, 1.0, 4096.0));
  bins.x0 = all.left;
  bins.y0 = all.low;
  bins.width = w / bins.columns;
  bins.height = h / bins.rows;

  bins.first.assign(static_cast<std::size_t>(bins.columns * bins.rows) + 1, 0);
  std::int64_t total = 0;
  for (const TrackElement& t : elements) {
    for_bins(bins, box_of(t), [&](std::size_t k) {
      ++bins.first[k + 1];
      ++total;
    });
    if (total > 64LL * n + 4096) return false;
  }
  for (std::size_t k = 1; k < bins.first.size(); ++k) bins.first[k] += bins.first[k - 1];
  bins.members.resize(static_cast<std::size_t>(total));
  std::vector<std::int64_t> next(bins.first.begin(), bins.first.end() - 1);
  for (int e = 1; e <= n; ++e) {
    for_bins(bins, box_of(elements(e)),
             [&](std::size_t k) { bins.members[static_cast<std::size_t>(next[k]++)] = e; });
  }
  return true;
}

// Marks both elements of a pair that could hold a point in common.
void check_pair(TrackElement& a, TrackElement& b) {
  if (!meet(box_of(a), box_of(b))) return;
  const double la = longest_edge_squared(a), lb = longest_edge_squared(b);
  const bool alike = la <= size_limit * size_limit * lb && lb <= size_limit * size_limit * la;
  const bool thin = static_cast<double>(a.area) < shape_limit * la ||
                    static_cast<double>(b.area) < shape_limit * lb;
  const double tolerance = 1.0e-3 * margin * std::min(la, lb);
  if (alike && !thin && (edge_parts(a, b, tolerance) || edge_parts(b, a, tolerance))) return;
  a.well_inside = nowhere;
  b.well_inside = nowhere;
}

}  // namespace

int walk_to(const TrackElements& elements, int e, EdgeValues f, double x, double y) {
  const TrackElement* t = &elements(e);
  for (int count = 0; count < longest_walk; ++count) {
    e = t->across[worst_edge(f)];
    if (e == 0) return 0;
    t = &elements(e);
    f = edge_values(*t, x, y);
    if (!holds(f)) continue;
    const double inside = static_cast<double>(t->well_inside);
    return f.f1 < inside && f.f2 < inside && f.f3 < inside ? e : 0;
  }
  return 0;
}

void link_elements(int NUMnode, TrackElements& elements) {
  // Elements by node, packed.
  std::vector<int> first(static_cast<std::size_t>(NUMnode) + 2, 0);
  for (const TrackElement& t : elements) {
    for (int n : {t.n1, t.n2, t.n3}) ++first[static_cast<std::size_t>(n) + 1];
  }
  for (std::size_t n = 1; n < first.size(); ++n) first[n] += first[n - 1];
  std::vector<int> next(first), around(static_cast<std::size_t>(first.back()));
  for (int e = 1; e <= elements.size(); ++e) {
    const TrackElement& t = elements(e);
    for (int n : {t.n1, t.n2, t.n3}) {
      around[static_cast<std::size_t>(next[static_cast<std::size_t>(n)]++)] = e;
    }
  }
  // The element with the edge from b to a, met by the one that has it from a to b.
  const auto behind = [&](int a, int b) {
    for (int k = first[static_cast<std::size_t>(a)]; k < first[static_cast<std::size_t>(a) + 1];
         ++k) {
      const int e = around[static_cast<std::size_t>(k)];
      const TrackElement& t = elements(e);
      if ((t.n1 == b && t.n2 == a) || (t.n2 == b && t.n3 == a) || (t.n3 == b && t.n1 == a)) {
        return e;
      }
    }
    return 0;
  };
  for (TrackElement& t : elements) {
    t.across = {behind(t.n1, t.n2), behind(t.n2, t.n3), behind(t.n3, t.n1)};
  }
}

void find_overlaps(TrackElements& elements) {
  bool sound = true;
  for (TrackElement& t : elements) {
    const double l2 = longest_edge_squared(t);
    const double shape = static_cast<double>(t.area) / l2;
    t.well_inside = shape >= shape_limit ? static_cast<float>(-margin * l2) : nowhere;
    if (!(shape >= 1.0e-9)) sound = false;
  }
  Bins bins;
  if (!sound || !fill_bins(elements, bins)) {
    for (TrackElement& t : elements) t.well_inside = nowhere;
    return;
  }
  for (std::size_t k = 0; k + 1 < bins.first.size(); ++k) {
    for (std::int64_t i = bins.first[k]; i < bins.first[k + 1]; ++i) {
      for (std::int64_t j = bins.first[k]; j < i; ++j) {
        check_pair(elements(bins.members[static_cast<std::size_t>(i)]),
                   elements(bins.members[static_cast<std::size_t>(j)]));
      }
    }
  }
}

}  // namespace dfl
