#include "waves/swan_input.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "control/run_clock.h"
#include "control/text_reader.h"
#include "control/text_tools.h"
#include "mesh/find_element.h"
#include "mesh/geometry.h"

namespace dfl {

namespace {

using Words = std::vector<std::string>;

bool begins(const std::string& word, std::string_view head) {
  return word.rfind(head, 0) == 0;
}

// A command in words, in lower case. Numbers may be given by name, "mxc=10": the name is dropped.
Words words_of(const std::string& text) {
  Words words;
  std::string word;
  const auto finish = [&] {
    if (!word.empty()) words.push_back(lower_case(word));
    word.clear();
  };
  bool quoted = false;
  for (const char c : text) {
    if (c == '\'') quoted = !quoted;
    if (c == '=' && !quoted) {
      finish();
      if (words.size() > 1 && !begins(words.back(), "lay")) words.pop_back();
    } else if ((c == ' ' || c == ',') && !quoted) {
      finish();
    } else {
      word.push_back(c);
    }
  }
  finish();
  return words;
}

// A line without what stands behind "!" or between "$" and "$", but for quoted text.
std::string without_comments(const std::string& line) {
  std::string text;
  bool quoted = false, comment = false;
  for (const char c : line) {
    if (c == '\'' && !comment) quoted = !quoted;
    if (c == '!' && !quoted && !comment) break;
    if (c == '$' && !quoted) {
      comment = !comment;
    } else if (!comment) {
      text += c;
    }
  }
  return trim_right(text);
}

struct Command {
  std::string text;     // without comments; blank for a line of comment
  int line = 0;         // where it begins
  bool set_in = false;  // it begins behind a blank
};

// The next command: "&" or "_" at a line's end goes on with the next line. False at the end of the
// file.
bool next_command(TextReader& in, Command& command) {
  command = Command{};
  std::string line;
  bool more = false;
  while (in.read_line(line)) {
    TABS_TO_BLANKS(line, static_cast<int>(line.size()));
    if (!more) {
      command.line = in.line();
      command.set_in = !line.empty() && line[0] == ' ';
      if (!line.empty() && line[0] == '$') return true;
    }
    const std::string text = without_comments(line);
    if (more && text.empty()) continue;  // a comment within a command
    command.text += text;
    more = !text.empty() && (text.back() == '&' || text.back() == '_');
    if (!more) return true;
    command.text.back() = ' ';
  }
  return more;
}

// yyyymmdd.hhmmss to run seconds, seconds or minutes and seconds may be left out; none if the word
// is no date.
std::optional<double> swan_date(const std::string& word) {
  constexpr std::size_t whole = 15, to_minutes = 13, to_hours = 11;
  if (word.size() != whole && word.size() != to_minutes && word.size() != to_hours) {
    return std::nullopt;
  }
  const std::string text = word + std::string(whole - word.size(), '0');
  for (std::size_t i = 0; i < whole; ++i) {
    if (i == 8 ? text[i] != '.' : text[i] < '0' || text[i] > '9') return std::nullopt;
  }
  const auto field = [&](std::size_t at, std::size_t length) {
    return std::stoi(text.substr(at, length));
  };
  const Date date = {
      field(0, 4), field(4, 2), field(6, 2), field(9, 2), field(11, 2), field(13, 2), 0};
  const auto outside = [&](std::size_t i, int low, int high) {
    return date[i] < low || date[i] > high;
  };
  // Hour 24 and second 60 are in use for the end of a day and a minute.
  if (outside(1, 1, 12) || outside(2, 1, 31) || outside(3, 0, 24) || outside(4, 0, 59) ||
      outside(5, 0, 60)) {
    return std::nullopt;
  }
  return DATE_TO_SECONDS(REFyear, date);
}

// What the commands say, beside what goes into the wave state at once.
struct SwanTimes {
  int frames = 0;
  std::optional<double> first, second, last;  // of the compute commands
  double run_step = 0.0;                      // s, of the last non-stationary run
  std::optional<double> output_start;         // of the block commands
  double output_step = 0.0;                   // s
};

class SwanReader {
 public:
  SwanReader(RunState& run_in, TextReader& in_file) : run(run_in), in(in_file) {}

  void read() {
    Command command;
    while (next_command(in, command)) {
      Words words = words_of(command.text);
      if (words.empty()) continue;
      const std::string verb = words[0];
      words.erase(words.begin());
      line = command.line;
      if (command.set_in) {
        if (is_read(verb)) {
          echo_warning(run.messages, place() + "a command behind a blank is passed over");
        }
        continue;
      }
      text = lower_case(command.text);
      if (verb == "set") {
        if (std::any_of(words.begin(), words.end(),
                        [](const std::string& w) { return begins(w, "naut"); })) {
          run.waves.WAVEnautical = true;
        }
      } else if (verb == "cgrid") {
        read_grid(words);
      } else if (begins(verb, "blo")) {
        read_block(words);
      } else if (begins(verb, "comp")) {
        read_compute(words);
      } else if (verb == "stop") {
        finish();
        return;
      }
    }
    console(run.messages, "ERROR: Premature EndOfFile encountered\n");
    in.stop("expected the command STOP, found the end of the file");
  }

 private:
  static bool is_read(const std::string& verb) {
    return verb == "set" || verb == "cgrid" || begins(verb, "blo") || begins(verb, "comp") ||
           verb == "stop";
  }

  std::string place() const { return in.path() + ":" + std::to_string(line) + ": "; }

  [[noreturn]] void stop(const std::string& what) const {
    fatal_error(run.messages, place() + what);
  }

  template <class Number>
  Number number(const Words& words, std::size_t i, const char* what) const {
    Number value{};
    if (i < words.size()) {
      MessageState unused;
      TextReader item(unused, in.path(), words[i], line);
      if (item.try_read(value)) return value;
    }
    stop(std::string("expected ") + what + ", found \"" + (i < words.size() ? words[i] : "") +
         "\"");
  }

  double unit_seconds(const Words& words, std::size_t i) const {
    const char unit = i < words.size() ? words[i][0] : '?';
    if (unit == 's') return 1.0;
    if (unit == 'm') return 60.0;
    if (unit == 'h') return 3600.0;
    if (unit == 'd') return 86400.0;
    stop("expected a unit of time (SEC, MIN, HR, DAY), found \"" +
         (i < words.size() ? words[i] : "") + "\"");
  }

  void read_grid(Words words) {
    WaveState& waves = run.waves;
    if (contains(text, "unstruc")) {
      waves.swan_on_mesh = true;
      return;
    }
    if (contains(text, "curv")) {
      fatal_error(run.messages, "SWAN curvilinear grid - not supported");
    }
    if (!words.empty() && begins(words[0], "reg")) words.erase(words.begin());
    WaveGrid& grid = waves.grid[0];
    grid.x_origin = number<double>(words, 0, "the x origin of the grid");
    grid.y_origin = number<double>(words, 1, "the y origin of the grid");
    grid.angle = number<float>(words, 2, "the angle of the grid");
    const float x_length = number<float>(words, 3, "the length of the grid");
    const float y_length = number<float>(words, 4, "the width of the grid");
    const int mxc = number<int>(words, 5, "a number of meshes");
    const int myc = number<int>(words, 6, "a number of meshes");
    constexpr int most = 32766;  // cells are 2-byte numbers
    if (mxc < 1 || mxc > most || myc < 1 || myc > most || !(x_length > 0.0f && y_length > 0.0f)) {
      stop("expected a grid of 1 to 32766 meshes a side and of positive size");
    }
    grid.NI = mxc + 1;
    grid.NJ = myc + 1;
    grid.DX.allocate(1, x_length / static_cast<float>(mxc));
    grid.DY.allocate(1, y_length / static_cast<float>(myc));
  }

  void read_block(const Words& words) {
    const int layout_before = run.waves.SWANidla;
    run.waves.SWANidla = 1;
    for (std::size_t i = 0; i < words.size(); ++i) {
      if (begins(words[i], "lay")) {
        run.waves.SWANidla = number<int>(words, i + 1, "a layout");
      } else if (begins(words[i], "outp") && i + 3 < words.size()) {
        if (const std::optional<double> start = swan_date(words[i + 1])) {
          times.output_start = start;
          times.output_step =
              number<double>(words, i + 2, "an output interval") * unit_seconds(words, i + 3);
        }
      }
    }
    if (blocks++ > 0 && run.waves.SWANidla != layout_before) {
      echo_warning(run.messages, place() + "BLOCK commands differ in layout; this one counts");
    }
  }

  double date(const Words& words, std::size_t i) const {
    const std::optional<double> value = i < words.size() ? swan_date(words[i]) : std::nullopt;
    if (!value) {
      stop("expected a date yyyymmdd.hhmmss, found \"" + (i < words.size() ? words[i] : "") + "\"");
    }
    return *value;
  }

  void stationary(double when) {
    ++times.frames;
    if (times.frames == 1) times.first = when;
    if (times.frames == 2) times.second = when;
    times.last = when;
  }

  void read_compute(Words words) {
    if (words.empty()) {
      times.frames = 1;
      return;
    }
    // The word may be left out: a date alone is stationary.
    const bool date_first = swan_date(words[0]).has_value();
    if (begins(words[0], "stat") || (date_first && words.size() == 1)) {
      if (!date_first) words.erase(words.begin());
      if (words.empty()) {
        times.frames = 1;
      } else {
        stationary(date(words, 0));
      }
      return;
    }
    if (!date_first) words.erase(words.begin());
    const double start = date(words, 0);
    const double step = number<double>(words, 1, "a time step") * unit_seconds(words, 2);
    const double end = date(words, 3);
    if (!(step > 0.0) || end < start)
      stop("expected a positive time step and an end after the start");
    // It may go on with the run of the command before.
    const bool goes_on = times.first && times.run_step == step && times.last == start;
    if (!goes_on) times.first = start;
    times.run_step = step;
    times.second = *times.first + step;
    times.last = end;
    times.frames = frames_between(*times.first, end, step);
  }

  int frames_between(double start, double end, double step) const {
    const double count = std::floor((end - start) / step + 1.0e-6) + 1.0;
    constexpr double most = 10000000.0;
    if (!(count >= 1.0 && count <= most)) stop("expected 1 to 10000000 frames");
    return static_cast<int>(count);
  }

  void finish() {
    WaveState& waves = run.waves;
    if (times.frames < 1) fatal_error(run.messages, in.path() + ": no COMPUTE command found");
    waves.start_waves = run.settings.start_waves;
    if (times.output_start && times.last && times.output_step > 0.0) {
      waves.start_waves = *times.output_start;
      waves.wave_step = static_cast<float>(times.output_step);
      times.frames = frames_between(*times.output_start, std::max(*times.last, *times.output_start),
                                    times.output_step);
    } else if (times.first) {
      waves.start_waves = *times.first;
      if (times.second) waves.wave_step = static_cast<float>(*times.second - *times.first);
    }
    waves.wave_files = 1;
    waves.wave_frames = times.frames;
    waves.NUMwaveframes = times.frames;
  }

  RunState& run;
  TextReader& in;
  int line = 0;
  int blocks = 0;    // block commands so far
  std::string text;  // the present command in lower case
  SwanTimes times;
};

}  // namespace

void READ_SWAN_INPUT(RunState& run) {
  TextReader in(run.messages, run.settings.wave_sim_file);
  SwanReader(run, in).read();
  if (!run.waves.swan_on_mesh && run.waves.grid[0].NI < 2) {
    fatal_error(run.messages, in.path() + ": no CGRID command found");
  }
}

void READ_SWAN_MESH(RunState& run) {
  console(run.messages, "Reading SWAN mesh...\n");
  TextReader in(run.messages, "swan.14");
  MeshState& mesh = run.waves.swan_mesh;
  in.skip_line();
  in.read(mesh.NUMelem, mesh.NUMnode);
  const std::size_t room = in.bytes_left() / 2;
  if (mesh.NUMelem < 1 || mesh.NUMnode < 3 || static_cast<std::size_t>(mesh.NUMelem) > room ||
      static_cast<std::size_t>(mesh.NUMnode) > room) {
    in.stop("expected numbers of elements and nodes that the file holds");
  }
  mesh.Xnode.allocate(mesh.NUMnode);
  mesh.Ynode.allocate(mesh.NUMnode);
  const auto check = [&](int number, int most, Array<Logical>& seen, const char* what) {
    if (number < 1 || number > most) {
      in.stop(std::string("expected ") + what + " from 1 to " + std::to_string(most) + ", found " +
              std::to_string(number));
    }
    if (is_true(seen(number))) {
      in.stop(std::string("second line of ") + what + " " + std::to_string(number));
    }
    seen(number) = logical_true;
  };
  Array<Logical> seen;
  seen.allocate(mesh.NUMnode, logical_false);
  for (int i = 1; i <= mesh.NUMnode; ++i) {
    int n = 0;
    double x = 0.0, y = 0.0;
    Ignored depth;
    in.read(n, x, y, depth);
    check(n, mesh.NUMnode, seen, "node");
    mesh.Xnode(n) = x;
    mesh.Ynode(n) = y;
  }
  for (Array<int>* list : {&mesh.ELnode1, &mesh.ELnode2, &mesh.ELnode3, &mesh.SORTxmin}) {
    list->allocate(mesh.NUMelem);
  }
  for (Array<double>* list : {&mesh.XMINelem, &mesh.XMAXelem, &mesh.YMINelem, &mesh.YMAXelem}) {
    list->allocate(mesh.NUMelem);
  }
  mesh.AREAelem.allocate(mesh.NUMelem);
  seen.allocate(mesh.NUMelem, logical_false);
  for (int i = 1; i <= mesh.NUMelem; ++i) {
    int e = 0, a = 0, b = 0, c = 0;
    Ignored count;
    in.read(e, count, a, b, c);
    check(e, mesh.NUMelem, seen, "element");
    for (int n : {a, b, c}) {
      if (n < 1 || n > mesh.NUMnode) {
        in.stop("expected node from 1 to " + std::to_string(mesh.NUMnode) + ", found " +
                std::to_string(n));
      }
    }
    mesh.ELnode1(e) = a;
    mesh.ELnode2(e) = b;
    mesh.ELnode3(e) = c;
    const double x1 = mesh.Xnode(a), x2 = mesh.Xnode(b), x3 = mesh.Xnode(c);
    const double y1 = mesh.Ynode(a), y2 = mesh.Ynode(b), y3 = mesh.Ynode(c);
    mesh.AREAelem(e) = static_cast<float>(TRIANGLE_AREA(x1, y1, x2, y2, x3, y3));
    if (mesh.AREAelem(e) < 0.0f) fatal_error(run.messages, "Element direction (SWAN) error");
    mesh.XMINelem(e) = std::min({x1, x2, x3});
    mesh.XMAXelem(e) = std::max({x1, x2, x3});
    mesh.YMINelem(e) = std::min({y1, y2, y3});
    mesh.YMAXelem(e) = std::max({y1, y2, y3});
  }
  for (int e = 1; e <= mesh.NUMelem; ++e) mesh.SORTxmin(e) = e;
  SORT_KEYS(mesh.XMINelem, mesh.SORTxmin);
  BUILD_ELEMENT_GRID(mesh);

  WaveState& waves = run.waves;
  waves.swan_element.allocate(run.mesh.NUMnode);
  waves.swan_weights.assign(static_cast<std::size_t>(run.mesh.NUMnode), {0.0f, 0.0f, 0.0f});
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const double x = run.mesh.Xnode(n), y = run.mesh.Ynode(n);
    const int e = FIND_ELEMENT(mesh, x, y);
    waves.swan_element(n) = e;
    if (e == 0) continue;
    const Weights w = element_weights(run.messages, mesh, e, x, y);
    waves.swan_weights[static_cast<std::size_t>(n) - 1] = {w.w1, w.w2, w.w3};
  }
}

}  // namespace dfl
