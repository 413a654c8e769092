#include "output/fixed_columns.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include "control/text_tools.h"

namespace dfl {

namespace {

__extension__ using Wide = unsigned __int128;

constexpr int most_decimals = 9;
constexpr std::array<std::uint64_t, most_decimals + 1> power_of_ten = {
    1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000};

char* put_text(char* at, const std::string& text) {
  std::memcpy(at, text.data(), text.size());
  return at + text.size();
}

// fraction * 10^decimals rounded to the nearest integer, halves to even, without error: a fraction
// of 2^-34 or more has no bit below 2^-87, and a smaller one is less than half of 1e-9.
std::uint64_t rounded_fraction(double fraction, int decimals) {
  constexpr int bits = 87;
  if (fraction < 0x1p-34) return 0;
  const Wide product =
      static_cast<Wide>(fraction * 0x1p87) * power_of_ten[static_cast<std::size_t>(decimals)];
  const std::uint64_t digits = static_cast<std::uint64_t>(product >> bits);
  const Wide rest = product & ((Wide{1} << bits) - 1);
  const Wide half = Wide{1} << (bits - 1);
  const bool up = rest > half || (rest == half && digits % 2 == 1);
  return digits + (up ? 1 : 0);
}

}  // namespace

char* put_columns(char* at, int value, int width) {
  std::array<char, 16> digits;
  const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  const int length = static_cast<int>(end - digits.data());
  if (length > width) {
    std::memset(at, '*', static_cast<std::size_t>(width));
  } else {
    std::memset(at, ' ', static_cast<std::size_t>(width - length));
    std::memcpy(at + width - length, digits.data(), static_cast<std::size_t>(length));
  }
  return at + width;
}

char* put_columns(char* at, double value, int width, int decimals) {
  constexpr double largest = 1.0e15;
  const double size = std::abs(value);
  if (!(size < largest) || decimals < 1 || decimals > most_decimals) {
    return put_text(at, columns(value, width, decimals));
  }
  std::uint64_t whole = static_cast<std::uint64_t>(size);
  std::uint64_t digits = rounded_fraction(size - static_cast<double>(whole), decimals);
  if (digits == power_of_ten[static_cast<std::size_t>(decimals)]) {
    digits = 0;
    ++whole;
  }
  int length = decimals + 2 + (std::signbit(value) ? 1 : 0);
  for (std::uint64_t rest = whole; rest >= 10; rest /= 10) ++length;
  // Too wide: the rules for a leading zero and for stars.
  if (length > width) return put_text(at, columns(value, width, decimals));

  char* p = at + width;
  for (int i = 0; i < decimals; ++i, digits /= 10) *--p = static_cast<char>('0' + digits % 10);
  *--p = '.';
  do {
    *--p = static_cast<char>('0' + whole % 10);
    whole /= 10;
  } while (whole > 0);
  if (std::signbit(value)) *--p = '-';
  std::memset(at, ' ', static_cast<std::size_t>(p - at));
  return at + width;
}

}  // namespace dfl
