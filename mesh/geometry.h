#pragma once

// Geometry of triangles and lines in the plane. Coordinates in mesh units, triangles
// counter-clockwise.

#include "control/run_state.h"

namespace dfl {

// Signed area, positive for a counter-clockwise triangle.
inline double TRIANGLE_AREA(double x1, double y1, double x2, double y2, double x3, double y3) {
  return 0.5 * (x1 * (y2 - y3) + (x2 * (y3 - y1) + x3 * (y1 - y2)));
}

// True inside, on an edge and on a vertex. No tolerance.
inline bool IN_TRIANGLE(double x, double y, double x1, double y1, double x2, double y2, double x3,
                        double y3) {
  return (y2 - y1) * (x - x1) - (x2 - x1) * (y - y1) <= 0.0 &&
         (y3 - y2) * (x - x2) - (x3 - x2) * (y - y2) <= 0.0 &&
         (y1 - y3) * (x - x3) - (x1 - x3) * (y - y3) <= 0.0;
}

// IN_TRIANGLE on element e of a mesh.
inline bool in_element(const MeshState& mesh, int e, double x, double y) {
  const int n1 = mesh.ELnode1(e), n2 = mesh.ELnode2(e), n3 = mesh.ELnode3(e);
  return IN_TRIANGLE(x, y, mesh.Xnode(n1), mesh.Ynode(n1), mesh.Xnode(n2), mesh.Ynode(n2),
                     mesh.Xnode(n3), mesh.Ynode(n3));
}

// Area coordinates of a point, repaired where rounding makes them slightly negative.
struct Weights {
  float w1 = 0.0f, w2 = 0.0f, w3 = 0.0f;
};

// `area`: of the element, as stored in 4 bytes. A point too far outside is a calculation error:
// its operands go to the error file and the run stops.
Weights WEIGHTING_FACS(const MessageState& messages, double x, double y, double x1, double y1,
                       double x2, double y2, double x3, double y3, float area);
// The same without a stop: false for a calculation error.
bool try_weighting_facs(double x, double y, double x1, double y1, double x2, double y2, double x3,
                        double y3, float area, Weights& weights);
// WEIGHTING_FACS on element e of a mesh.
Weights element_weights(const MessageState& messages, const MeshState& mesh, int e, double x,
                        double y);

inline float NODE_INTERP(const Weights& w, int n1, int n2, int n3, const Array<float>& f) {
  return w.w1 * f(n1) + w.w2 * f(n2) + w.w3 * f(n3);
}
inline float NODE_INTERP2(const Weights& w, int n1, int n2, int n3, const Array2<float>& f,
                          int column) {
  return w.w1 * f(n1, column) + w.w2 * f(n2, column) + w.w3 * f(n3, column);
}

// Slope and y-intercept of the line through (xa, ya) and (xb, yb); both largest_float for a
// vertical line. The intercept is formed with the rounded slope.
void LINE_COEFS(double xa, double xb, double ya, double yb, float& slope, float& intercept);
// The same in 8 bytes; both 1.7976931348623157e308 for a vertical line.
void LINE_COEFS8(double xa, double xb, double ya, double yb, double& slope, double& intercept);

inline bool EDGE_IN_ELEMENT(int a, int b, int n1, int n2, int n3) {
  return (a == n1 || a == n2 || a == n3) && (b == n1 || b == n2 || b == n3);
}

// Sorts `index` by ascending key; the keys stay. The order of equal keys is that of the Shell sort
// with gaps count/2, count/4, ... 1.
void SORT_KEYS(const Array<double>& keys, Array<int>& index);

// Areas, bounding boxes, sorted orders, MESHtol and the search grid of run.mesh. A clockwise
// element is a fatal message with its number.
void MESH_GEOMETRY(RunState& run);

}  // namespace dfl
