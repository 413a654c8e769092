#include "mesh/grid_cards.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>
#include <vector>

#include "control/text_reader.h"
#include "control/text_tools.h"
#include "mesh/grid_mesh.h"

namespace dfl {

namespace {

constexpr std::size_t line_length = 256;  // what stands behind is not read
constexpr const char* last_card = "end_parameters";
constexpr const char* cellstring_cards[] = {"tidal_cellstring",         "hdriver_cellstring",
                                            "qdriver_cellstring",       "multi_hdriver_cellstring",
                                            "multi_qdriver_cellstring", "cellstring"};

struct Card {
  std::string line;
  std::string word;  // lower case
  std::string rest;
};

[[noreturn]] void stop_at_cards(const RunState& run) {
  fatal_error(run.messages, "RVCARDS file error");
}

bool is_cellstring(const std::string& word) {
  return std::any_of(std::begin(cellstring_cards), std::end(cellstring_cards),
                     [&](const char* card) { return word == card; });
}

bool takes_value(const std::string& word) {
  return word == "params_file" || word == "telescoping" || word == "grid_file" ||
         word == "bathymetry_dataset" || is_cellstring(word);
}

// The cards of the table up to the last one.
std::vector<Card> read_cards(const RunState& run, const std::string& path) {
  if (!can_be_read(path)) fatal_error(run.messages, "RVCARDS file not found");
  TextReader in(run.messages, found_path(path));
  std::vector<Card> cards;
  for (Card card; in.read_line(card.line);) {
    if (card.line.size() > line_length) card.line.resize(line_length);
    TABS_TO_BLANKS(card.line, static_cast<int>(card.line.size()));
    card.line = trim(card.line);
    int parts = 0;
    card.rest.clear();
    CARD_SPLIT(card.line, ' ', parts, card.word, card.rest);
    card.word = lower_case(card.word);
    if (card.word == last_card) return cards;
    if (takes_value(card.word)) cards.push_back(card);
  }
  console(run.messages, "ERROR: Premature end of file encountered\n");
  stop_at_cards(run);
}

// Without one double quote at the head and one at the end.
std::string unquoted(std::string_view text) {
  if (!text.empty() && text.front() == '"') text.remove_prefix(1);
  if (!text.empty() && text.back() == '"') text.remove_suffix(1);
  return std::string(text);
}

// File name and path of a cellstring, parted by a blank; a name in quotes may hold blanks.
void take_cellstring(const std::string& rest, GridState& grid) {
  const bool quoted = rest.size() > 1 && rest.front() == '"';
  const std::size_t closing = quoted ? rest.find('"', 1) : std::string::npos;
  std::size_t end = closing == std::string::npos ? rest.find(' ') : closing + 1;
  end = std::min(end, rest.size());
  grid.cellstring_file = unquoted(rest.substr(0, end));
  grid.CELLstrings.push_back(unquoted(trim(rest.substr(end))));
}

// Only the path counts; the file is the grid file. The grid is the group that the path begins with.
void take_bathymetry(const std::string& rest, Settings& settings) {
  std::string path = unquoted(rest);
  const std::size_t quote = path.rfind('"');
  if (quote != std::string::npos) path = trim_left(path.substr(quote + 1));
  settings.hyfs_dep_path = path;
  const std::size_t start = path.find_first_not_of('/');
  if (start != std::string::npos) path.erase(0, start);
  settings.hyfs_grid_path = path.substr(0, path.find('/'));
}

void take_cards(RunState& run, const std::vector<Card>& cards) {
  Settings& settings = run.settings;
  settings.rvs_quadtree = settings.mesh_file = run.grid.cellstring_file = "none";
  bool grid_file = false, bathymetry = false, cellstring_file = false, telescoping = false;
  for (const Card& card : cards) {
    if (card.rest.empty()) {
      console(run.messages, "ERROR in line: %s\n", card.line.c_str());
      stop_at_cards(run);
    }
    if (card.word == "params_file") {
      run.grid.cellstring_file = unquoted(card.rest);
      cellstring_file = true;
    } else if (card.word == "telescoping") {
      settings.rvs_quadtree = unquoted(card.rest);
      telescoping = true;
    } else if (card.word == "grid_file") {
      settings.mesh_file = unquoted(card.rest);
      grid_file = true;
    } else if (card.word == "bathymetry_dataset") {
      take_bathymetry(card.rest, settings);
      bathymetry = true;
    } else {
      take_cellstring(card.rest, run.grid);
      cellstring_file = true;
    }
  }
  const bool grid_given = settings.rvs_mesh ? telescoping : grid_file && bathymetry;
  if (!cellstring_file || !grid_given) stop_at_cards(run);
}

bool is_absolute(const std::string& name) {
  if (name.empty()) return false;
  if (name[0] == '/' || name[0] == '\\') return true;
  return name.size() > 1 && name[1] == ':' && std::isalpha(static_cast<unsigned char>(name[0]));
}

// Names in the card file are taken from its own folder.
void complete_name(const std::string& folder, std::string& name) {
  if (!is_absolute(name)) name = folder + name;
}

}  // namespace

void READ_RVCARDS(RunState& run) {
  Settings& settings = run.settings;
  const std::string card_file = settings.mesh_file;
  const std::vector<Card> cards = read_cards(run, card_file);
  settings.rvs_mesh = std::any_of(cards.begin(), cards.end(),
                                  [](const Card& card) { return card.word == "telescoping"; });
  console(run.messages, "Accessing rvcards file...\n");
  run.grid.CELLstrings.clear();
  take_cards(run, cards);

  const std::size_t sign = card_file.find_last_of("/\\");
  if (sign == std::string::npos) return;
  const std::string folder = card_file.substr(0, sign + 1);
  complete_name(folder, settings.rvs_mesh ? settings.rvs_quadtree : settings.mesh_file);
  complete_name(folder, run.grid.cellstring_file);
}

}  // namespace dfl
