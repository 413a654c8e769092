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

template <class Number>
bool is_wanted(Number value, Wanted wanted) {
  return wanted == Wanted::any || std::isfinite(value) ||
         (wanted == Wanted::not_infinite && std::isnan(value));
}

const char* wanted_words(Wanted wanted) {
  return wanted == Wanted::finite ? "expected finite numbers, found "
                                  : "expected no infinite numbers, found ";
}

// The first and the last step.
void check_values(FileCheck& check, HyfsHandle set, const Expected& expected, int components,
                  int times) {
  for (int step = 1; step <= times; step += std::max(times - 1, 1)) {
    std::vector<float> values;
    const int status = components > 1 ? hfreadvectorvaluestimestep_f(set, step, values)
                                      : hfreadscalarvaluestimestep_f(set, step, values);
    const std::string at = " at step " + std::to_string(step);
    if (status < 0) {
      finding(check, place(expected) + "values" + at + ": " + hyfs_reason(status));
      return;
    }
    const std::size_t count =
        expected.wanted_values > 0
            ? std::min<std::size_t>(static_cast<std::size_t>(expected.wanted_values), values.size())
            : values.size();
    for (std::size_t i = 0; i < count; ++i) {
      if (is_wanted(values[i], expected.wanted)) continue;
      finding(check, place(expected) + wanted_words(expected.wanted) +
                         number_words(static_cast<double>(values[i])) + at + ", value " +
                         std::to_string(i + 1));
      return;
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

HyfsHandle open_other_file(FileCheck& check, const std::string& name, bool needed) {
  HyfsHandle file = 0;
  const std::string path = resolved(check, name);
  const int status = hfopenfile_f(path, true, file);
  if (status >= 0) return file;
  if (needed) finding(check, "the file " + name + " beside it: " + hyfs_open_reason(path, status));
  return 0;
}

std::string place(const Expected& expected) {
  return expected.card + " \"" + expected.path + "\": ";
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
  check_values(check, set, expected, form.components, times);
  return true;
}

std::vector<double> check_times(FileCheck& check, HyfsHandle set, const Expected& expected) {
  std::vector<double> times;
  if (const int status = hfgetdatasettimes_f(set, times); status < 0) {
    finding(check, place(expected) + "its times: " +
                       (status == hyfs_dataset_invalid ? "there are none" : hyfs_reason(status)));
    return {};
  }
  constexpr double latest = 1.0e15;  // s; far behind any calendar
  for (std::size_t k = 0; k < times.size(); ++k) {
    const bool grows = k == 0 || times[k] > times[k - 1];
    if (grows && std::abs(times[k]) < latest) continue;
    finding(check, place(expected) + "expected times that grow, found " + number_words(times[k]) +
                       " at step " + std::to_string(k + 1));
    return {};
  }
  return times;
}

void check_cover(FileCheck& check, const Expected& expected, const std::vector<double>& times,
                 const Cover& cover) {
  const Settings& s = check.run.settings;
  if (times.size() < 2) return;
  if (s.start_run < 0.0 || s.stop_run < 0.0) {
    note(check, "the control file tells no start or no end of the run: times are not compared");
    return;
  }
  // In 4 bytes, as a run keeps it.
  const float interval = static_cast<float>(times[1] - times[0]);
  const float span = static_cast<float>(times.size() - 1) * interval;
  const double first = times.front();
  const double last = cover.even ? first + static_cast<double>(span) : times.back();
  if (s.start_run < first - static_cast<double>(interval)) {
    const std::string text = place(expected) + "begins at " + run_date(first) +
                             ", the run starts at " + run_date(s.start_run);
    if (cover.begin) {
      finding(check, text);
    } else {
      note(check, text + ": until then the first step is taken");
    }
  }
  if (cover.after >= 0.0 && s.stop_run > last + cover.after) {
    finding(check, place(expected) + "ends at " + run_date(last) + ", the run stops at " +
                       run_date(s.stop_run));
  }
  if (!cover.even) return;
  for (std::size_t k = 2; k < times.size(); ++k) {
    const double between = times[k] - times[k - 1];
    if (std::abs(between - static_cast<double>(interval)) <=
        1.0e-3 * static_cast<double>(interval)) {
      continue;
    }
    note(check, place(expected) + "step " + std::to_string(k + 1) +
                    " does not follow at the interval of the first two steps, which is taken for "
                    "all");
    return;
  }
}

bool check_property(FileCheck& check, HyfsHandle group, const std::string& name, std::int64_t count,
                    NumberKind kind, std::vector<double>& values) {
  int status = hfreadpropertydouble_f(group, name, values);
  if (status >= 0 && kind == NumberKind::whole) {
    std::vector<int> numbers;
    status = hfreadpropertyint_f(group, name, numbers);
  } else if (status >= 0 && kind == NumberKind::single) {
    std::vector<float> numbers;
    status = hfreadpropertyfloat_f(group, name, numbers);
    values.assign(numbers.begin(), numbers.end());
  }
  if (status < 0) {
    finding(check, "property \"" + name + "\": " + hyfs_reason(status));
    return false;
  }
  const std::int64_t found = static_cast<std::int64_t>(values.size());
  if (found == 0 || (count > 0 && found != count)) {
    const std::int64_t wanted = std::max<std::int64_t>(count, 1);
    finding(check, "property \"" + name + "\": expected " + std::to_string(wanted) +
                       (wanted == 1 ? " number" : " numbers") + ", found " + std::to_string(found));
    return false;
  }
  return true;
}

void check_numbers(FileCheck& check, const std::string& what, const std::vector<double>& values,
                   Wanted wanted) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (is_wanted(values[i], wanted)) continue;
    finding(check, what + ": " + wanted_words(wanted) + number_words(values[i]) + " as number " +
                       std::to_string(i + 1));
    return;
  }
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
