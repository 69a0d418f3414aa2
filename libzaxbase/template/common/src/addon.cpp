#include <zax.h>

#include <cmath>
#include <vector>

/// In JavaScript an object with these properties.
struct Point {
  double x = 0;
  double y = 0;
};
ZAX_FIELDS(Point, x, y);

namespace {

int smallestFactor(int number) {
  if (number < 2) {
    throw zax::Exception("ENOFACTOR", __("%(number)s has no factor above 1", "number", number),
                         ZAX_DEBUG_INFO);
  }
  for (int factor = 2; factor <= number / factor; ++factor) {
    if (number % factor == 0) return factor;
  }
  return number;
}

Point centroid(const std::vector<Point>& points) {
  if (points.empty()) throw zax::BadArgument("at least one point expected");
  Point sum;
  for (const Point& point : points) {
    sum.x += point.x;
    sum.y += point.y;
  }
  const auto count = static_cast<double>(points.size());
  return {sum.x / count, sum.y / count};
}

/// In JavaScript a class: it keeps its state from call to call.
class Path {
 public:
  void add(const Point& point) {
    if (end_) length_ += std::hypot(point.x - end_->x, point.y - end_->y);
    end_ = point;
  }
  double length() const { return length_; }

 private:
  std::optional<Point> end_;
  double length_ = 0;
};

/// Runs on the thread pool, while JavaScript awaits it.
int countPrimes(int limit, const zax::Progress<double>& progress,
                const zax::Cancellation& cancellation) {
  int count = 0;
  for (int number = 2; number < limit; ++number) {
    if (number % 10000 == 0) {
      cancellation.check();
      progress(100.0 * number / limit);
    }
    if (smallestFactor(number) == number) ++count;
  }
  return count;
}

}  // namespace

ZAX_MODULE(module) {
  module.function("smallestFactor", smallestFactor, {"number"},
                  "The smallest factor of a number, without 1.");
  module.function("centroid", centroid, {"points"}, "The point in the middle of others.");
  module.type<Path>("Path", "A line from point to point.")
      .constructor()
      .method("add", &Path::add, {"point"}, "Goes on to a point.")
      .property("length", &Path::length, "How long it is.");
  module.task("countPrimes", countPrimes, {"limit"},
              "How many primes there are below a limit. The progress is a percentage.");
}
