#include "waves/swan_input.h"

#include <algorithm>
#include <charconv>
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

Words words_of(const std::string& text) {
  Words words;
  std::string word;
  for (const char c : text + " ") {
    if (c == ' ' || c == ',' || c == '\t' || c == '\r') {
      if (!word.empty()) words.push_back(word);
      word.clear();
    } else {
      word.push_back(c);
    }
  }
  return words;
}

bool begins(const std::string& word, std::string_view head) {
  return word.rfind(head, 0) == 0;
}

// A logical line: "&" or "_" at a line's end goes on with the next. False at the end of the file.
bool next_command(TextReader& in, std::string& command, int& line_number) {
  command.clear();
  std::string line;
  bool more = false;
  do {
    if (!in.read_line(line)) return more;
    if (!more) line_number = in.line();
    std::replace(line.begin(), line.end(), '\t', ' ');
    line = trim_right(line.substr(0, line.find('\r')));
    more = !line.empty() && (line.back() == '&' || line.back() == '_');
    if (more) line.back() = ' ';
    command += line;
  } while (more);
  return true;
}

// yyyymmdd.hhmmss to run seconds; none if the word is no date.
std::optional<double> swan_date(const std::string& word) {
  if (word.size() != 15 || word[8] != '.') return std::nullopt;
  const auto field = [&](std::size_t at, std::size_t length) {
    int value = -1;
    const char* end = word.data() + at + length;
    return std::from_chars(word.data() + at, end, value).ptr == end ? value : -1;
  };
  const Date date = {
      field(0, 4), field(4, 2), field(6, 2), field(9, 2), field(11, 2), field(13, 2), 0};
  if (std::any_of(date.begin(), date.end(), [](int part) { return part < 0; }) || date[1] < 1 ||
      date[1] > 12) {
    return std::nullopt;
  }
  return DATE_TO_SECONDS(REFyear, date);
}

// What the commands say, beside what goes into the wave state at once.
struct SwanTimes {
  int frames = 0;
  std::optional<double> first, second, last;  // of the compute commands
  std::optional<double> output_start;         // of the block commands
  double output_step = 0.0;                   // s
};

class SwanReader {
 public:
  SwanReader(RunState& run_in, TextReader& in_file) : run(run_in), in(in_file) {}

  void read() {
    std::string command;
    while (next_command(in, command, line)) {
      if (command.empty() || command[0] == '$' || command[0] == ' ' || command[0] == '!') continue;
      text = lower_case(command);
      Words words = words_of(text);
      if (words.empty()) continue;
      const std::string verb = words[0];
      words.erase(words.begin());
      if (verb == "set") {
        if (std::any_of(words.begin(), words.end(),
                        [](const std::string& w) { return begins(w, "naut"); })) {
          run.waves.WAVEnautical = true;
        }
      } else if (verb == "cgrid") {
        read_grid(words);
      } else if (begins(verb, "bloc")) {
        read_block(words);
      } else if (begins(verb, "comp")) {
        read_compute(words);
      } else if (verb == "stop") {
        finish();
        return;
      }
    }
    console(run.messages, "ERROR: Premature EndOfFile encountered\n");
    fatal_error(run.messages, in.path() + ": expected the command STOP, found the end of the file");
  }

 private:
  [[noreturn]] void stop(const std::string& what) const {
    fatal_error(run.messages, in.path() + ":" + std::to_string(line) + ": " + what);
  }

  double number(const Words& words, std::size_t i, const char* what) const {
    double value = 0.0;
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
    grid.x_origin = number(words, 0, "the x origin of the grid");
    grid.y_origin = number(words, 1, "the y origin of the grid");
    grid.angle = static_cast<float>(number(words, 2, "the angle of the grid"));
    const float x_length = static_cast<float>(number(words, 3, "the length of the grid"));
    const float y_length = static_cast<float>(number(words, 4, "the width of the grid"));
    const double mxc = number(words, 5, "a number of meshes"),
                 myc = number(words, 6, "a number of meshes");
    constexpr double most = 32766.0;  // cells are 2-byte numbers
    if (!(mxc >= 1.0 && mxc <= most && myc >= 1.0 && myc <= most && x_length > 0.0f &&
          y_length > 0.0f)) {
      stop("expected a grid of 1 to 32766 meshes a side and of positive size");
    }
    grid.NI = static_cast<int>(mxc) + 1;
    grid.NJ = static_cast<int>(myc) + 1;
    grid.DX.allocate(1, x_length / static_cast<float>(mxc));
    grid.DY.allocate(1, y_length / static_cast<float>(myc));
  }

  void read_block(const Words& words) {
    run.waves.SWANidla = 1;
    for (std::size_t i = 0; i < words.size(); ++i) {
      if (begins(words[i], "lay")) {
        run.waves.SWANidla = static_cast<int>(number(words, i + 1, "a layout"));
      } else if (begins(words[i], "outp") && i + 3 < words.size()) {
        if (const std::optional<double> start = swan_date(words[i + 1])) {
          times.output_start = start;
          times.output_step =
              number(words, i + 2, "an output interval") * unit_seconds(words, i + 3);
        }
      }
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
    const double step = number(words, 1, "a time step") * unit_seconds(words, 2);
    const double end = date(words, 3);
    if (!(step > 0.0) || end < start)
      stop("expected a positive time step and an end after the start");
    if (!times.first) times.first = start;
    times.second = start + step;
    times.last = end;
    times.frames = frames_between(start, end, step);
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
    if (mesh.AREAelem(e) < 0.0f) {
      REPORT_INT(run.messages, true, "Element direction (SWAN) error", e);
    }
    mesh.XMINelem(e) = std::min({x1, x2, x3});
    mesh.XMAXelem(e) = std::max({x1, x2, x3});
    mesh.YMINelem(e) = std::min({y1, y2, y3});
    mesh.YMAXelem(e) = std::max({y1, y2, y3});
    mesh.SORTxmin(e) = e;
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
