#pragma once

// The Eulerian solver a second time, in 8 bytes and written out straight from its formulas, as a
// check of the program's own. Only the settling speed and the wave number are the program's.

#include <cmath>
#include <vector>

#include "control/run_state.h"
#include "sediment/primitives.h"

namespace dfl::test {

struct LiteralLattice {
  using Field = std::vector<double>;
  Field C, load;  // between passes: concentration, total load
  Field PICKUP, DEPO, USTARc, QBx, QBy, QSx, QSy, QBs, Cnew, DZDT;

  void pass(const RunState& run, double dt, double rho, double nu, const Array<float>& breaking) {
    const Settings& s = run.settings;
    const int I = run.grid.NumI, J = run.grid.NumJ, N = I * J;
    const std::size_t size = static_cast<std::size_t>(N) + 1;
    if (C.empty()) C.assign(size, 0.0);
    for (Field* field :
         {&load, &PICKUP, &DEPO, &USTARc, &QBx, &QBy, &QSx, &QSy, &QBs, &Cnew, &DZDT}) {
      field->assign(size, 0.0);
    }
    const auto wide = [](float value) { return static_cast<double>(value); };
    const auto h = [&](std::size_t k) { return wide(run.flow.Hnode(static_cast<int>(k))); };
    const auto H = [&](std::size_t k) { return std::max(h(k), 0.0); };
    const auto d = [&](std::size_t k) { return wide(run.mesh.DEPTHnode(static_cast<int>(k))); };
    const auto x = [&](std::size_t k) { return run.mesh.Xnode(static_cast<int>(k)); };
    const auto y = [&](std::size_t k) { return run.mesh.Ynode(static_cast<int>(k)); };
    const auto u = [&](std::size_t k) { return wide(run.flow.Unode(static_cast<int>(k), 0)); };
    const auto v = [&](std::size_t k) { return wide(run.flow.Vnode(static_cast<int>(k), 0)); };
    const double SG = wide(s.rhos) / rho, gs = (SG - 1.0) * 9.81, pi = 3.14158;

    for (int j = 2; j <= J - 1; ++j) {
      for (int i = 2; i <= I - 1; ++i) {
        const int n = (j - 1) * I + i;
        const std::size_t k = static_cast<std::size_t>(n);
        if (!(h(k) > 0.01)) continue;
        const double D = wide(run.sediment.D50(n)), ks = wide(run.sediment.KSnode(n));
        const bool mobile = is_true(run.sediment.BEDmobile(n));
        const double U = std::hypot(u(k), v(k));
        const double ws = wide(FALL_VELOCITY(static_cast<float>(nu), static_cast<float>(rho),
                                             s.rhos, run.sediment.D50(n)));
        const double Dstar = D * std::cbrt(gs / nu / nu);
        const double TAUc = std::pow(0.4 / (1.0 + std::log(ks / 30.0 / h(k))) * U, 2.0) * rho;
        double Uw = 0.0, fw = 0.3;
        const double Hw = wide(run.waves.WAVEheight(n)), T = wide(run.waves.WAVEperiod(n));
        if (Hw > 0.0) {
          const double k_w =
              wide(WAVE_NUMBER(run.flow.Hnode(n), 6.28316f / run.waves.WAVEperiod(n)).k);
          double Aw = 0.0;
          if (k_w * h(k) < 20.0) {
            Uw = Hw * 9.8065 * k_w * T / std::cosh(k_w * h(k)) / 4.0 / pi;
            Aw = Uw * T / 2.0 / pi;
          }
          fw = Aw > 0.0 ? std::min(0.3, 0.00251 * std::exp(5.21 * std::pow(Aw / ks, -0.19))) : 0.3;
        }
        const double TAUw = 0.5 * fw * Uw * Uw * rho;
        const double between = std::atan2(u(k), v(k)) -
                               std::atan2(wide(run.waves.WAVEdirx(n)), wide(run.waves.WAVEdiry(n)));
        const double stress =
            std::sqrt(TAUc * TAUc + TAUw * TAUw + 2.0 * TAUc * TAUw * std::cos(between));
        const double THETA = 0.5 * stress / (rho * (SG - 1.0) * 9.81 * D);
        const double THETAcr = 0.3 / (1.0 + 1.2 * Dstar) + 0.055 * (1.0 - std::exp(-0.02 * Dstar));
        const double M = THETA > 0.0 ? std::exp(-4.5 * THETAcr / THETA) : 0.0;
        if (mobile) {
          PICKUP[k] =
              wide(s.suspended_load_coef) * ws * 0.0035 * std::exp(-0.3 * Dstar) * THETA * M;
        }
        USTARc[k] = std::sqrt(TAUc / rho);
        const double USTARw = std::sqrt(TAUw / rho);
        const auto B = [&](double r, double a, double b, double c) {
          if (r <= 1.0) return a + b * std::pow(std::sin(pi / 2.0 * r), 2.0);
          return 1.0 + c * std::pow(std::sin(pi / 2.0 / r), 2.0);
        };
        double Bc = USTARc[k] > 0.0 ? B(ws / USTARc[k], 0.4, 3.5, 2.9) : 0.0;
        double Bw = USTARw > 0.0 ? B(ws / USTARw, 0.15, 1.5, 0.65) : 0.0;
        const double X = TAUc + TAUw > 0.0 ? TAUc / (TAUc + TAUw) : 1.0;
        if (s.waves && s.currents) Bc = Bw = X * Bc + (1.0 - X) * Bw;
        const double Db = s.waves && s.wave_breaking ? std::max(-wide(breaking(n)), 0.0) : 0.0;
        const double E = TAUc * USTARc[k] * std::pow(Bc * 0.4 / 6.0, 3.0) +
                         TAUw * USTARw * std::pow(Bw * 0.4 / 9.42, 3.0) + Db * std::pow(0.015, 3.0);
        const double eps = std::pow(E / rho, 0.33333) * h(k);
        const double F = eps > 0.0 ? (1.0 - std::exp(-h(k) * ws / eps)) * eps / (h(k) * ws) : 0.0;
        DEPO[k] = F > 0.0 ? ws * C[k] / F : C[k];
        if (mobile && U > 0.0) {
          const double QB = std::sqrt(gs * D * D * D) * std::sqrt(TAUc / rho / gs / D) *
                            wide(s.bedload_coef) * THETA * (6.0 + 6.0 * X) * M;
          QBx[k] = QB * u(k) / U;
          QBy[k] = QB * v(k) / U;
        }
      }
    }

    const auto valid = [](double q) { return q < -1000.0 ? 0.0 : q; };
    for (int j = 2; j <= J - 1; ++j) {
      for (int i = 2; i <= I - 1; ++i) {
        const std::size_t c = static_cast<std::size_t>((j - 1) * I + i),
                          row = static_cast<std::size_t>(I);
        const std::size_t e = c + 1, w = c - 1, n = c + row, o = c - row;
        if (!(h(c) > 0.01)) continue;
        const auto flux = [&](std::size_t from, std::size_t to, double q, double step) {
          const std::size_t other = from == c ? to : from;
          if (h(other) < 0.01) return 0.0;
          const double carried = q >= 0.0 ? C[from] : C[to];
          const double K = 1.4825 * (H(from) + H(to)) * (USTARc[from] + USTARc[to]);
          return (H(from) + H(to)) * (0.5 * q * carried - K * (C[to] - C[from]) / step);
        };
        const double FE = flux(c, e, (valid(u(e)) + u(c)) / 2.0, x(e) - x(c));
        const double FW = flux(w, c, (valid(u(w)) + u(c)) / 2.0, x(c) - x(w));
        const double FN = flux(c, n, (valid(v(n)) + v(c)) / 2.0, y(n) - y(c));
        const double FS = flux(o, c, (valid(v(o)) + v(c)) / 2.0, y(c) - y(o));
        const double dx = (x(e) - x(w)) / 2.0, dy = (y(n) - y(o)) / 2.0;
        const double gain = PICKUP[c] - DEPO[c] - (FE - FW) / dx - (FN - FS) / dy;
        Cnew[c] = std::max(0.0, C[c] + dt * gain / H(c));
        const double xw = (QBx[w] + QBx[c]) / 2.0, yw = (QBy[w] + QBy[c]) / 2.0;
        QSx[c] = xw - 5.0 * std::hypot(xw, yw) * (d(c) - d(w)) / (x(c) - x(w));
        const double xs = (QBx[o] + QBx[c]) / 2.0, ys = (QBy[o] + QBy[c]) / 2.0;
        QSy[c] = ys - 5.0 * std::hypot(xs, ys) * (d(c) - d(o)) / (y(c) - y(o));
        QBs[c] = std::hypot(QSx[c], QSy[c]);
      }
    }

    Field raw(size, 0.0);
    for (int sweep = 1; sweep <= 2; ++sweep) {
      for (int j = 2; j <= J - 1; ++j) {
        for (int i = 2; i <= I - 1; ++i) {
          const std::size_t c = static_cast<std::size_t>((j - 1) * I + i),
                            row = static_cast<std::size_t>(I);
          if (!(h(c) > 0.01)) continue;
          if (sweep == 1) {
            const double dx = (x(c + 1) - x(c - 1)) / 2.0, dy = (y(c + row) - y(c - row)) / 2.0;
            raw[c] =
                -((QSx[c + 1] - QSx[c]) / dx + (QSy[c + row] - QSy[c]) / dy + PICKUP[c] - DEPO[c]) /
                (1.0 - wide(s.bed_porosity));
            continue;
          }
          double sum = 2.0 * raw[c], weight = 2.0;
          for (const std::size_t k : {c + 1, c - 1, c + row, c - row}) {
            if (!(h(k) > 0.01)) continue;
            sum += raw[k];
            weight += 1.0;
          }
          DZDT[c] = sum / weight;
        }
      }
    }
    for (std::size_t k = 1; k < size; ++k) {
      C[k] = Cnew[k];
      load[k] = h(k) > 0.0 ? std::hypot(u(k), v(k)) * Cnew[k] * h(k) + QBs[k] : 0.0;
    }
  }
};

}  // namespace dfl::test
