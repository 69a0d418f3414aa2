#include <zax.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <iterator>
#include <map>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

enum class Sky { clear, clouds, rain };
ZAX_ENUM(Sky, clear, clouds, rain);

struct Reading {
  std::string station;
  double celsius = 0;
  std::optional<Sky> sky;
};
ZAX_FIELDS(Reading, station, celsius, sky);

/// Of the air in Lorenz's model of convection.
struct State {
  double x = 0;
  double y = 0;
  double z = 0;
};
ZAX_FIELDS(State, x, y, z);

namespace {

using Readings = std::vector<Reading>;

Reading warmest(const Readings& readings) {
  if (readings.empty()) throw zax::Exception("EEMPTY", __("no readings"), ZAX_DEBUG_INFO);
  return *std::max_element(readings.begin(), readings.end(),
                           [](const auto& a, const auto& b) { return a.celsius < b.celsius; });
}

std::map<std::string, double> byStation(const Readings& readings, std::optional<int> digits) {
  const double scale = std::pow(10, digits.value_or(0));
  std::map<std::string, double> result;
  for (const auto& [station, celsius, sky] : readings) {
    result[station] = std::round(celsius * scale) / scale;
  }
  return result;
}

Readings filter(const Readings& readings, const std::function<bool(const Reading&)>& wanted) {
  Readings result;
  std::copy_if(readings.begin(), readings.end(), std::back_inserter(result), wanted);
  return result;
}

unsigned checksum(const zax::Bytes& bytes) {
  return std::accumulate(bytes.begin(), bytes.end(), 0U);
}

/// What becomes of a state after some steps of half a microsecond. Tells its progress in
/// percent.
State forecast(State state, unsigned steps, const zax::Progress<int>& progress,
               const zax::Cancellation& cancellation) {
  constexpr int parts = 20;
  constexpr double dt = 5e-7;
  for (int part = 0; part < parts; progress(100 * ++part / parts)) {
    for (unsigned step = 0; step < steps / parts; ++step) {
      if (step % 1024 == 0) cancellation.check();
      const auto [x, y, z] = state;
      state = {x + dt * 10 * (y - x), y + dt * (x * (28 - z) - y), z + dt * (x * y - z * 8 / 3)};
    }
  }
  return state;
}

}  // namespace

ZAX_MODULE(module) {
  module.function("warmest", warmest, {"readings"}, "The reading of the warmest station.");
  module.function("byStation", byStation, {"readings", "digits"}, "Temperatures, rounded.");
  module.function("filter", filter, {"readings", "wanted"}, "The readings that are wanted.");
  module.function("checksum", checksum, {"bytes"}, "The sum of all bytes.");
  module.function("sizeOf", [](const std::filesystem::path& path) { return file_size(path); });
  module.task("forecast", forecast, {"state", "steps"}, "What becomes of the air.");
  module.value("freezing", 0.0, "In degrees Celsius.");
}
