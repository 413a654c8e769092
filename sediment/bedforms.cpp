#include "sediment/bedforms.h"

#include <algorithm>
#include <cmath>

namespace dfl {

namespace {

constexpr float g = 9.81f;  // m/s2

}  // namespace

float BEDFORM_HEIGHT(float stage, float h, float D50) {
  if (!(stage > 1.0f && stage < 24.0f)) return 0.0f;
  return 0.11f * h * std::pow(D50 / h, 0.3f) * (1.0f - std::exp(-0.5f * (stage - 1.0f))) *
         (24.0f - stage);
}

float BEDFORM_RATE(float rhos, float rho, float nu, float THETA, float THETAcr, float D50) {
  const float weight = (rhos / rho - 1.0f) * g;
  const float T = (THETA - THETAcr) / THETAcr;
  if (!(T > 0.0f)) return 0.0f;
  return 0.00033f * std::pow(T, 1.5f) * std::pow(weight * (D50 * D50 * D50) / (nu * nu), 0.1f) *
         std::sqrt(D50 * weight);
}

float RIPPLE_ROUGHNESS(float rho, float rhos, float D50, float omega, float Aw) {
  const float x = 2.0f * Aw / D50;
  if (!(x > 1.0f)) return D50;
  const float p = D50 * rho * (omega * omega) / ((rhos - rho) * g);
  const float L = std::pow(10.0f, 8.542f - 10.822f * std::pow(p, 0.03967f));
  const float y = std::log10(L);
  const float c = std::log10(std::pow(L / 0.134f, 1.0526316f));
  const float d = std::log10(x);
  float r;
  if (d > c) {
    r = std::pow(10.0f, y + 0.00177059f - 3.739256f * std::pow(d - c, 1.732273f));
  } else {
    r = std::pow(10.0f, y - 0.00132254f - 2.641975f * std::pow(std::abs(d - c), 1.886534f));
  }
  return r < 1.0f ? D50 : D50 * r;
}

float SLOPE_FACTOR(float slope, float angle) {
  const float s = std::sin(slope), c = std::cos(slope);
  const float t = std::tan(angle * 3.14159f / 180.0f);
  const float root = c * c * (t * t);
  if (root < 0.0f) return 1.0f;
  return std::clamp((std::sqrt(root) + s) / t, 0.5f, 1.5f);
}

}  // namespace dfl
