#include "ships/ship_routes.h"

#include <algorithm>
#include <cmath>

#include "control/ensim_header.h"
#include "control/run_clock.h"
#include "control/text_reader.h"
#include "control/text_tools.h"

namespace dfl {

namespace {

constexpr float knot = 0.515f;  // m/s; a little more than the nautical mile an hour
constexpr double degrees_of_half_circle = 180.0;
constexpr double pi = static_cast<double>(3.14159f);

// What the head of the file says.
struct RouteHeader {
  std::string name;
  bool has_start = false;
  double start = 0.0;  // run seconds
};

bool read_start(const std::string& value, RouteHeader& header) {
  Date date{};
  if (!read_key_value(value, date[0], date[1], date[2], date[3], date[4], date[5], date[6])) {
    return false;
  }
  const auto outside = [&](std::size_t i, int low, int high) {
    return date[i] < low || date[i] > high;
  };
  // Hour 24 and second 60 are in use for the end of a day and a minute.
  if (outside(0, -9999, 9999) || outside(1, 1, 12) || outside(2, 1, 31) || outside(3, 0, 24) ||
      outside(4, 0, 59) || outside(5, 0, 60) || outside(6, 0, 999)) {
    return false;
  }
  header.start = DATE_TO_SECONDS(REFyear, date);
  header.has_start = true;
  return true;
}

RouteHeader read_header(const RunState& run, TextReader& in) {
  RouteHeader header;
  const TakeKey take = [&](const std::string& key, const std::string& value) {
    if (key == ":name") header.name = value;
    return key != ":start" || read_start(value, header);
  };
  std::string fault;
  if (!read_ensim_header(run.messages, in, take, fault)) fatal_error(run.messages, fault);
  return header;
}

// The line in front of the points of a route.
void read_route_line(TextReader& in, const RouteHeader& header, ShipRoute& route) {
  constexpr std::size_t longest_name = 180;
  in.begin_record();
  in.read_item(route.NUMpoints);
  route.NAME = trim(in.rest_of_line()).substr(0, longest_name);
  in.end_record();
  if (route.NAME.empty()) route.NAME = header.name;
  // A point takes two bytes at the very least.
  if (route.NUMpoints < 1 || static_cast<std::size_t>(route.NUMpoints) > in.bytes_left()) {
    in.stop("expected a number of way points that the file holds, found " +
            std::to_string(route.NUMpoints));
  }
  route.POSITION.allocate(route.NUMpoints);
  route.SPEED.allocate(route.NUMpoints);
  route.HEADING.allocate(route.NUMpoints);
}

// Times and headings along a route whose way points are known. `number`: of the route.
void make_time_table(const RunState& run, double start, int number, ShipRoute& route) {
  const int last = route.NUMpoints;
  route.TIME.allocate(last);
  route.ACTIVE.allocate(last);
  route.TIME(1) = start;
  for (int k = 1; k < last; ++k) {
    const RoutePoint &a = route.POSITION(k), &b = route.POSITION(k + 1);
    const double dx = b.x - a.x, dy = b.y - a.y;
    const double d = std::sqrt(dx * dx + dy * dy);
    const float speed = (route.SPEED(k) + route.SPEED(k + 1)) / 2.0f;
    if (speed <= 0.0f && d > 0.0) {
      REPORT_INT2(run.messages, true, " *** SHIP ROUTE SPEED IS ZERO ***", number, k);
    }
    // Two way points on one place take no time, at whatever speed.
    route.TIME(k + 1) = route.TIME(k) + (d > 0.0 ? d / static_cast<double>(speed) : 0.0);
    const double heading = std::atan2(dx, dy) * degrees_of_half_circle / pi;
    route.HEADING(k) = static_cast<float>(heading < 0.0 ? heading + 360.0 : heading);
  }
  route.HEADING(last) = route.HEADING(last - 1);
}

// A way point, and the speed or heading behind it.
void read_point(TextReader& in, double z, RoutePoint& point, float& last_item) {
  constexpr double farthest = 1.0e9;  // mesh units; the place of the ship is held in 4 bytes
  in.read(point.x, point.y, last_item);
  point.z = z;
  if (std::abs(point.x) > farthest || std::abs(point.y) > farthest) {
    in.stop("expected coordinates within 1e9");
  }
}

void read_points(TextReader& in, double z, ShipRoute& route) {
  for (int k = 1; k <= route.NUMpoints; ++k) {
    float knots = 0.0f;
    read_point(in, z, route.POSITION(k), knots);
    if (knots < 0.0f) in.stop("expected a speed of 0 knots or more");
    route.SPEED(k) = knots * knot;
  }
}

void place(const ShipRoute& route, int k, ShipPosition& position) {
  const RoutePoint& point = route.POSITION(k);
  position.x = static_cast<float>(point.x);
  position.y = static_cast<float>(point.y);
  position.z = static_cast<float>(point.z);
  position.heading = route.HEADING(k);
  position.seen = true;
}

float between(double a, double b, double f) {
  return static_cast<float>(a + f * (b - a));
}

// Goes through the legs of a route that has times.
void place_on_route(ShipRoute& route, double Tnow, ShipPosition& position) {
  for (int k = 1; k < route.NUMpoints; ++k) {
    const double begin = route.TIME(k), end = route.TIME(k + 1);
    route.ACTIVE(k) = Tnow < begin ? logical_false : logical_true;
    if (Tnow < begin || Tnow >= end) continue;
    const double f = (Tnow - begin) / (end - begin);
    const RoutePoint &a = route.POSITION(k), &b = route.POSITION(k + 1);
    position.x = between(a.x, b.x, f);
    position.y = between(a.y, b.y, f);
    position.z = between(a.z, b.z, f);
    const float g = static_cast<float>(f);
    // Across north the blend turns the long way round.
    position.heading = route.HEADING(k) + g * (route.HEADING(k + 1) - route.HEADING(k));
    position.seen = true;
  }
  const int last = route.NUMpoints;
  if (!position.seen && Tnow >= route.TIME(last)) place(route, last, position);
}

}  // namespace

void READ_SHIP_ROUTES(RunState& run) {
  const std::string& path = run.settings.ship_route_file;
  if (path == "none") fatal_error(run.messages, " *** NEED SHIP ROUTE FILE ***");
  TextReader in(run.messages, path);
  console(run.messages, "Reading ship route file...\n");
  if (!contains(path, ".i3s")) fatal_error(run.messages, "*** ROUTE FILE NOT i3s FORMAT ***");
  const RouteHeader header = read_header(run, in);

  ShipState& ships = run.ships;
  const double z = -static_cast<double>(ships.PROPdepth);
  float sum = 0.0f;
  int points = 0;
  bool moving = false;
  ships.SHIP_ROUTE.allocate(ships.NUMprops);
  for (int number = 1; number <= ships.NUMprops; ++number) {
    ShipRoute& route = ships.SHIP_ROUTE(number);
    read_route_line(in, header, route);
    if (route.NUMpoints == 1) {
      ships.SHIPstill = true;
      read_point(in, z, route.POSITION(1), route.HEADING(1));
      continue;
    }
    read_points(in, z, route);
    if (!header.has_start) in.stop("expected the key :start in the head of the file");
    for (float speed : route.SPEED) sum = sum + speed;
    points += route.NUMpoints;
    make_time_table(run, header.start, number, route);
    const double end = route.TIME(route.NUMpoints);
    ships.TSHIPstart = moving ? std::min(ships.TSHIPstart, route.TIME(1)) : route.TIME(1);
    ships.TSHIPend = moving ? std::max(ships.TSHIPend, end) : end;
    moving = true;
  }
  ships.SHIPspeed = points > 0 ? sum / static_cast<float>(points) : 0.0f;
}

void SHIP_POSITION(ShipState& ships, double Tnow) {
  ships.present = true;
  for (int number = 1; number <= ships.NUMprops; ++number) {
    ShipRoute& route = ships.SHIP_ROUTE(number);
    ShipPosition& position = ships.propeller[static_cast<std::size_t>(number) - 1];
    if (route.NUMpoints == 1) {
      place(route, 1, position);
    } else {
      place_on_route(route, Tnow, position);
      if (Tnow < ships.TSHIPstart) ships.present = false;
    }
  }
}

}  // namespace dfl
