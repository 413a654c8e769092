#include "tools/hyfs_check.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "control/control_cards.h"
#include "control/control_file.h"
#include "control/run_clock.h"
#include "control/text_reader.h"
#include "control/text_tools.h"
#include "tools/check_parts.h"
#include "tools/hyfs_words.h"

namespace dfl {

namespace {

// The cards, without the checks of a run and without its log, which belongs to the last run.
void read_control(RunState& run, const std::string& path) {
  TextReader in(run.messages, path);
  CardPass pass{.run = run, .path = path};
  constexpr std::size_t longest_line = 256;
  bool among_names = false;
  while (in.read_line(pass.line)) {
    pass.line_number = in.line();
    if (pass.line.size() > longest_line) pass.line.resize(longest_line);
    TABS_TO_BLANKS(pass.line, static_cast<int>(pass.line.size()));
    pass.line = trim(pass.line);
    if (pass.line.rfind("\xEF\xBB\xBF", 0) == 0) pass.line = trim(pass.line.substr(3));
    if (pass.line.empty() || pass.line[0] == '#') continue;
    if (pass.line[0] != ':') {
      if (among_names) continue;
      in.stop("expected a card, a comment or a blank line, found \"" + pass.line + "\"");
    }
    int count = 0;
    CARD_SPLIT(pass.line, ' ', count, pass.keyword, pass.value);
    pass.keyword = lower_case(pass.keyword);
    if (pass.keyword == ":end_data") return;
    if (!apply_card(pass)) in.stop("cannot be used: \"" + pass.line + "\"");
    among_names = pass.keyword == ":wave_files";
  }
  in.stop("expected the card :end_data, found the end of the file");
}

void derive(Settings& s) {
  if (s.stop_run < 0.0 && s.start_run >= 0.0 && s.duration >= 0.0f) {
    s.stop_run = s.start_run + static_cast<double>(s.duration);
  }
  if (s.mesh_format == "n2d" && s.sediments_format == "hyfs") s.sediments_format = "hyfs_n2d";
  set_methods(s);
}

std::string folder_of(const std::string& path) {
  const std::size_t sign = path.find_last_of("/\\");
  return sign == std::string::npos ? "" : path.substr(0, sign + 1);
}

// Datasets to choose from, where a path leads nowhere.
std::string names_in(HyfsHandle file) {
  std::vector<HyfsObject> objects;
  hflistobjects_f(file, objects);
  std::string names;
  int count = 0;
  constexpr int most_named = 12;
  for (const HyfsObject& object : objects) {
    if (object.kind != HyfsKind::series && object.kind != HyfsKind::vector) continue;
    if (++count <= most_named) names += (count > 1 ? ", \"" : "\"") + object.path + "\"";
  }
  if (count > most_named) names += ", ...";
  return names.empty() ? "; the file has no datasets" : "; the file has " + names;
}

std::string place(const Expected& expected) {
  return expected.card + " \"" + expected.path + "\": ";
}

struct UnitWords {
  const char* quantity;
  std::vector<const char*> words;
};

void check_units(FileCheck& check, HyfsHandle set, const Expected& expected) {
  const UnitWords table[] = {
      {"m", {"m", "metre", "metres", "meter", "meters"}},
      {"m/s",
       {"m/s", "m s-1", "m s^-1", "m.s-1", "metres/second", "meters/second", "metre second-1",
        "meter second-1"}},
      {"s", {"s", "sec", "second", "seconds"}},
      {"mm", {"mm", "millimetre", "millimetres", "millimeter", "millimeters"}},
  };
  std::string units;
  if (hfreadtext_f(set, "units", units) < 0 || trim(units).empty()) return;
  for (const UnitWords& row : table) {
    if (std::string(row.quantity) != expected.quantity) continue;
    const std::string word = lower_case(trim(units));
    const bool known = std::any_of(row.words.begin(), row.words.end(),
                                   [&](const char* text) { return word == text; });
    if (!known) {
      finding(check, place(expected) + "units \"" + units +
                         "\" are unknown here, the values are taken in " + row.quantity);
    }
  }
}

std::string run_date(double seconds) {
  const Date date = SECONDS_TO_DATE(REFyear, seconds);
  return day_text(date) + " " + time_text(date);
}

void check_uses(FileCheck& check) {
  check_mesh_file(check);
  check_flow_files(check);
  check_bottom_flow(check);
  check_sediments(check);
  check_waves(check);
}

}  // namespace

void role(FileCheck& check, const std::string& text) {
  ++check.roles;
  std::fprintf(check.out, "%s: used as %s\n", check.file_name.c_str(), text.c_str());
}

void finding(FileCheck& check, const std::string& text) {
  ++check.findings;
  std::fprintf(check.out, "MISSING: %s\n", text.c_str());
}

void note(const FileCheck& check, const std::string& text) {
  std::fprintf(check.out, "note: %s\n", text.c_str());
}

std::string resolved(const FileCheck& check, const std::string& name) {
  const std::string here = found_path(name);
  if (file_exists(here) || check.control_folder.empty()) return here;
  const std::string there = found_path(check.control_folder + name);
  return file_exists(there) ? there : here;
}

bool names_file(const FileCheck& check, const std::string& name) {
  if (name.empty() || name == "none") return false;
  std::error_code error;
  return std::filesystem::equivalent(resolved(check, name), found_path(check.file_name), error);
}

bool check_dataset(FileCheck& check, HyfsHandle file, const Expected& expected, HyfsHandle& set) {
  set = 0;
  if (const int status = hfopengroup_f(file, expected.path, set); status < 0) {
    finding(check, place(expected) + hyfs_reason(status) +
                       (status == hyfs_does_not_exist ? names_in(file) : ""));
    return false;
  }
  HyfsForm form;
  int values = 0, times = 0;
  int status = hfgetdatasetform_f(set, form);
  if (status >= 0) status = hfgetdatasetnumvals_f(set, values);
  if (status >= 0) status = hfgetdatasetnumtimes_f(set, times);
  if (status < 0) {
    finding(check, place(expected) + hyfs_reason(status));
    hfclosegroup_f(set);
    return false;
  }
  if (form.components != expected.components) {
    finding(check, place(expected) + "expected " + std::to_string(expected.components) +
                       " values at each place, found " + std::to_string(form.components));
  }
  if (expected.values > 0 && values != expected.values) {
    finding(check, place(expected) + "expected " + std::to_string(expected.values) +
                       " values a step (" + expected.values_of + "), found " +
                       std::to_string(values));
  }
  check_units(check, set, expected);
  return true;
}

std::vector<double> check_times(FileCheck& check, HyfsHandle set, const Expected& expected) {
  std::vector<double> times;
  if (const int status = hfgetdatasettimes_f(set, times); status < 0) {
    finding(check, place(expected) + "its times: " +
                       (status == hyfs_dataset_invalid ? "there are none" : hyfs_reason(status)));
    return {};
  }
  for (std::size_t k = 0; k < times.size(); ++k) {
    const bool grows = k == 0 || times[k] > times[k - 1];
    if (grows && std::isfinite(times[k])) continue;
    finding(check, place(expected) + "expected times that grow, found " + number_words(times[k]) +
                       " at step " + std::to_string(k + 1));
    return {};
  }
  return times;
}

void check_cover(FileCheck& check, const Expected& expected, const std::vector<double>& times,
                 bool one_step_covers_all) {
  const Settings& s = check.run.settings;
  if (times.empty() || (one_step_covers_all && times.size() == 1)) return;
  if (s.start_run < 0.0 || s.stop_run < 0.0) {
    note(check, "the control file tells no start or no end of the run: times are not compared");
    return;
  }
  // Up to one interval before the first step that step is taken.
  const double interval = times.size() > 1 ? times[1] - times[0] : 0.0;
  if (s.start_run < times.front() - interval) {
    finding(check, place(expected) + "begins at " + run_date(times.front()) +
                       ", the run starts at " + run_date(s.start_run));
  }
  if (s.stop_run > times.back() + 2.4e-7 * (times.back() - times.front())) {
    finding(check, place(expected) + "ends at " + run_date(times.back()) + ", the run stops at " +
                       run_date(s.stop_run));
  }
}

bool check_property(FileCheck& check, const std::string& name, std::int64_t count, bool whole,
                    std::vector<double>& values) {
  int status = hfreadpropertydouble_f(check.file, name, values);
  if (status >= 0 && whole) {
    std::vector<int> numbers;
    status = hfreadpropertyint_f(check.file, name, numbers);
  }
  if (status < 0) {
    finding(check, "property \"" + name + "\": " + hyfs_reason(status));
    return false;
  }
  const std::int64_t found = static_cast<std::int64_t>(values.size());
  if (found == 0 || (count > 0 && found != count)) {
    finding(check, "property \"" + name + "\": expected " +
                       std::to_string(std::max<std::int64_t>(count, 1)) + " numbers, found " +
                       std::to_string(found));
    return false;
  }
  return true;
}

int HYFS_CHECK(const std::string& path, const std::string& control, std::FILE* out,
               std::FILE* err) {
  HyfsHandle file = 0;
  if (const int status = hfopenfile_f(path, true, file); status < 0) {
    std::fprintf(err, "%s: %s\n", path.c_str(), hyfs_open_reason(path, status).c_str());
    return 1;
  }
  RunState run;
  run.messages = tool_messages(err);
  const std::string control_path = control_file_path(control);
  read_control(run, control_path);
  derive(run.settings);

  FileCheck check{run, path, folder_of(control_path), file, out, MeshSize()};
  check.mesh = mesh_size(check);
  check_uses(check);
  if (check.roles == 0) finding(check, "no card of " + control_path + " names " + path);
  hfclosefile_f(file);
  if (check.findings == 0) std::fprintf(out, "%s: nothing is missing\n", path.c_str());
  return check.findings == 0 ? 0 : 1;
}

}  // namespace dfl
