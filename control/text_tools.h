#pragma once

// Small helpers on text: case, tabs, cards, fixed-column numbers and file names.

#include <cstdio>
#include <string>
#include <string_view>

namespace dfl {

// Letters A to Z up to the last non-blank among the first `length` characters become a to z.
void TO_LOWER(std::string& text, int length);
// Tabs up to the last non-blank among the first `length` characters become blanks.
void TABS_TO_BLANKS(std::string& text, int length);
// Splits at the first delimiter: tabs become blanks, the text is shifted left past its blanks.
// count 1: no delimiter, all in `first`; else count 2, the text before it and what follows,
// shifted left. Trailing blanks of both are cut.
void CARD_SPLIT(const std::string& line, char delimiter, int& count, std::string& first,
                std::string& second);

std::string lower_case(std::string_view text);
std::string trim_right(std::string_view text);  // without trailing blanks
std::string trim_left(std::string_view text);   // without leading blanks
std::string trim(std::string_view text);
bool contains(std::string_view text, std::string_view part);

// Numbers in fixed columns, right-justified; a number that does not fit gives `width` stars.
// As the fixed-point and integer forms of classic batch output: 0.5 in 4 columns, 1 decimal is
// " 0.5", a field too narrow for the leading zero drops it (".5" in 2 columns).
std::string columns(int value, int width);
std::string columns(double value, int width, int decimals);
// Exponential form 0.ddE+xx with `decimals` digits, right-justified in `width` columns.
std::string columns_exponent(double value, int width, int decimals);
// Zero-filled integer in at least `width` digits.
std::string zero_filled(int value, int width);

// A path as given if something stands there, else with "\" turned into "/".
std::string found_path(const std::string& path);
bool file_exists(const std::string& path);   // a file or anything else of that name
bool is_directory(const std::string& path);
// The path without the folders in front; both "/" and "\" part folders.
std::string base_name(const std::string& path);
// fopen with "\" turned into "/" where the path as given cannot be opened; nullptr on failure.
std::FILE* open_file(const std::string& path, const char* mode);

}  // namespace dfl
