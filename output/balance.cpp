#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "control/run_clock.h"
#include "control/text_tools.h"
#include "output/output_file.h"
#include "output/parcel_output.h"

namespace dfl {

namespace {

struct Amount {
  std::int64_t parcels = 0;
  double mass = 0.0;  // kg
};

// What became of the parcels of one source, or of all.
struct Account {
  Amount released;  // by number of release
  Amount moving, on_bed, open_boundary, off_mesh, behind_wall;
  std::map<int, Amount> trapped;  // by trap number
  std::string title;
};

void add(Amount& amount, const Parcel& parcel) {
  ++amount.parcels;
  amount.mass += static_cast<double>(parcel.MASS);
}

void add(Amount& sum, const Amount& amount) {
  sum.parcels += amount.parcels;
  sum.mass += amount.mass;
}

// Enters a parcel where it is now. A dead parcel without a known cause is entered nowhere, so that
// the check tells of it.
void enter_whereabouts(Account& account, const Parcel& parcel) {
  if (is_true(parcel.ALIVE)) {
    add(is_true(parcel.DORMANT) ? account.on_bed : account.moving, parcel);
  } else if (parcel.LOSS == lost_open_boundary) {
    add(account.open_boundary, parcel);
  } else if (parcel.LOSS == lost_off_mesh) {
    add(account.off_mesh, parcel);
  } else if (parcel.LOSS == lost_no_wall_found || parcel.LOSS == lost_behind_wall) {
    add(account.behind_wall, parcel);
  } else if (parcel.LOSS > 0) {
    add(account.trapped[parcel.LOSS], parcel);
  }
}

Amount accounted(const Account& account) {
  Amount sum;
  for (const Amount* amount : {&account.moving, &account.on_bed, &account.open_boundary,
                               &account.off_mesh, &account.behind_wall}) {
    add(sum, *amount);
  }
  for (const auto& [trap, amount] : account.trapped) add(sum, amount);
  return sum;
}

// One account for each source number; sources that share a number cannot be told apart.
std::vector<std::pair<std::int16_t, Account>> source_accounts(const ParcelState& parcels) {
  std::vector<std::pair<std::int16_t, Account>> accounts;
  const auto add_sources = [&accounts](const Array<SourceRecord>& sources, const char* kind) {
    for (const SourceRecord& source : sources) {
      const std::int16_t number = static_cast<std::int16_t>(source.SRCid);
      const std::string title = std::string(kind) + " \"" + trim_right(source.SRCname) + "\"";
      const auto same = std::find_if(accounts.begin(), accounts.end(),
                                     [number](const auto& row) { return row.first == number; });
      if (same == accounts.end()) {
        accounts.emplace_back(number, Account{});
        accounts.back().second.title = "Source " + std::to_string(source.SRCid) + ", " + title;
      } else {
        same->second.title += " and " + title;
      }
    }
  };
  add_sources(parcels.SRCinst, "instantaneous");
  add_sources(parcels.SRCpoint, "point");
  add_sources(parcels.SRCline, "line");
  add_sources(parcels.SRCarea, "area");
  return accounts;
}

Account& account_of(std::vector<std::pair<std::int16_t, Account>>& accounts, std::int16_t number) {
  for (auto& [source, account] : accounts) {
    if (source == number) return account;
  }
  accounts.emplace_back(number, Account{});
  accounts.back().second.title = "Source " + std::to_string(number) + ", not in the source file";
  return accounts.back().second;
}

void enter(Account& account, const ParcelState& parcels, int id) {
  const Parcel& parcel = parcels.PARCELS(id);
  if (id <= parcels.NUMborn) add(account.released, parcel);
  enter_whereabouts(account, parcel);
}

double percent(double part, double whole) {
  return whole > 0.0 ? 100.0 * part / whole : 0.0;
}

std::string amount_line(const std::string& label, const Amount& amount, const Amount& whole) {
  std::string line = "  " + label;
  line.resize(std::max<std::size_t>(line.size(), 30), ' ');
  line += columns(static_cast<double>(amount.parcels), 12, 0) + columns(amount.mass, 22, 6);
  line += columns(percent(static_cast<double>(amount.parcels), static_cast<double>(whole.parcels)),
                  10, 3);
  return line + columns(percent(amount.mass, whole.mass), 10, 3) + "\n";
}

// Parcels must agree exactly, kilograms to the rounding of 8-byte sums.
std::string check_line(const Account& account) {
  const Amount sum = accounted(account);
  const std::int64_t parcels = account.released.parcels - sum.parcels;
  const double mass = account.released.mass - sum.mass;
  constexpr double rounding = 1.0e-9;
  if (parcels == 0 && std::abs(mass) <= rounding * std::abs(account.released.mass)) {
    return "  check: closed\n";
  }
  return "  check: released - alive - dead =" + columns(static_cast<double>(parcels), 12, 0) +
         " parcels," + columns(mass, 22, 6) + " kg\n";
}

std::string account_text(const Account& account) {
  const Amount& whole = account.released;
  std::string text = account.title + "\n";
  text += "                                   parcels                    kg % parcels      % kg\n";
  text += amount_line("released", account.released, whole);
  text += amount_line("alive, in motion", account.moving, whole);
  text += amount_line("alive, on the bed", account.on_bed, whole);
  text += amount_line("dead, open boundary", account.open_boundary, whole);
  text += amount_line("dead, off the mesh", account.off_mesh, whole);
  text += amount_line("dead, no point behind a wall", account.behind_wall, whole);
  for (const auto& [trap, amount] : account.trapped) {
    text += amount_line("dead, taken by trap " + std::to_string(trap), amount, whole);
  }
  return text + check_line(account);
}

std::string run_text(const RunState& run) {
  const Settings& s = run.settings;
  const std::array<int, 2>& seed = run.parcels.random_seed_used;
  std::string text = std::string(program_name) + " " + program_version + ", balance of run \"" +
                     s.output_prefix + "\"\n";
  text += "Start of run:         " + hyfs_date(SECONDS_TO_DATE(REFyear, s.start_run)) + "\n";
  text += "Last step:            " + hyfs_date(SECONDS_TO_DATE(REFyear, run.clock.Tnow)) +
          ", step " + std::to_string(run.clock.NStep) + "\n";
  text += "Random seed:          " + std::to_string(seed[0]) + " " + std::to_string(seed[1]) +
          (s.random_seed_given ? " (given)" : " (from the clock)") + "\n";
  return text;
}

std::string steps_text(const BalanceState& balance) {
  const double dry =
      percent(static_cast<double>(balance.dry_steps), static_cast<double>(balance.parcel_steps));
  std::string text = "Parcel steps:         " + std::to_string(balance.parcel_steps) +
                     ", of them " + std::to_string(balance.dry_steps) + " (" +
                     trim_left(columns(dry, 8, 3)) + " %) on a dry place\n";
  const double largest = std::sqrt(balance.largest_displacement_squared);
  text += "Largest displacement: " + trim_left(columns(largest, 12, 3)) + " element sizes";
  if (balance.largest_displacement_parcel > 0) {
    text += ", parcel " + std::to_string(balance.largest_displacement_parcel) + " in step " +
            std::to_string(balance.largest_displacement_step);
  }
  return text + "\n";
}

// Losses that no boundary and no trap of the model explains: the mesh, the boundary lists or the
// time step are to be looked at.
void warn_of_losses(const RunState& run, const Account& all) {
  Amount lost = all.off_mesh;
  add(lost, all.behind_wall);
  const Amount sum = accounted(all);
  if (all.released.parcels > sum.parcels) {  // dead for an unknown cause
    lost.parcels += all.released.parcels - sum.parcels;
    lost.mass += std::max(0.0, all.released.mass - sum.mass);
  }
  const double parcels =
      percent(static_cast<double>(lost.parcels), static_cast<double>(all.released.parcels));
  const double mass = percent(lost.mass, all.released.mass);
  constexpr double most_percent = 0.1;
  if (parcels <= most_percent && mass <= most_percent) return;
  const std::string text =
      std::to_string(lost.parcels) + " parcels (" + trim_left(columns(parcels, 8, 2)) + " %, " +
      trim_left(columns(mass, 8, 2)) +
      " % of the mass) were lost other than through open boundaries or to traps; see " +
      run.settings.output_prefix + "_balance.txt";
  console(run.messages, "WARNING: %s\n", text.c_str());
  echo_warning(run.messages, text);
}

}  // namespace

void WRITE_BALANCE(RunState& run) {
  if (run.settings.no_parcels) return;
  const ParcelState& parcels = run.parcels;
  Account all;
  all.title = "All sources";
  std::vector<std::pair<std::int16_t, Account>> sources = source_accounts(parcels);
  const int slots = std::min(parcels.NUMparcels, parcels.PARCELS.size());
  for (int id = 1; id <= slots; ++id) {
    const Parcel& parcel = parcels.PARCELS(id);
    const bool unborn = id > parcels.NUMborn && !is_true(parcel.ALIVE) && parcel.LOSS == 0;
    if (unborn) continue;
    enter(all, parcels, id);
    enter(account_of(sources, parcel.SOURCE), parcels, id);
  }

  OutputFile output = open_output(run.messages, run.settings.output_prefix + "_balance.txt", "w");
  std::string text = run_text(run) + steps_text(run.balance);
  text += "Parcels foreseen:     " + std::to_string(parcels.NUMparcels) + "\n\n";
  text += account_text(all);
  for (const auto& [number, account] : sources) text += "\n" + account_text(account);
  write_output(run.messages, output, text);
  close_output(run.messages, output);
  warn_of_losses(run, all);
}

}  // namespace dfl
