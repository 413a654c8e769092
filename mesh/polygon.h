#pragma once

// Point in polygon by a count of crossings.

namespace dfl {

// True if the origin lies in the closed polygon of n vertices (u(i), v(i)), i from 1; the last
// joins the first. A point on an edge that the count reaches is inside at once: on slanted edges
// all, on edges along the axes those at the right and at the top.
template <class U, class V>
bool polygon_holds_origin(int n, const U& u, const V& v) {
  bool inside = false;
  for (int i = 1; i <= n; ++i) {
    const int next = i == n ? 1 : i + 1;
    const float u1 = u(i), v1 = v(i), u2 = u(next), v2 = v(next);
    if ((v1 < 0.0f && v2 < 0.0f) || (u1 < 0.0f && u2 < 0.0f)) continue;
    if (u1 >= 0.0f && u2 >= 0.0f) continue;
    if (v1 >= 0.0f && v2 >= 0.0f) {
      inside = !inside;
      continue;
    }
    const float t = (v1 * u2 - v2 * u1) / (u2 - u1);
    if (t == 0.0f) return true;
    if (t > 0.0f) inside = !inside;
  }
  return inside;
}

}  // namespace dfl
