#include <zax.h>

#include "values.h"
#include "work.h"

// The framework's plain road, used as its documentation says.

using bench::Point;
using bench::Row;

ZAX_FIELDS(Point, x, y, name);
ZAX_FIELDS(Row, id, value, text, nothing, bytes);

namespace {

double add(double a, double b) { return a + b; }

bench::Bytes invert(const zax::Bytes& bytes) { return bench::invert(bytes.data(), bytes.size()); }

void refuse(int number, const std::string& text) {
  throw zax::Exception(
      bench::failureCode,
      __("cannot take number %(number)s with text %(text)s", "number", number, "text", text),
      ZAX_DEBUG_INFO);
}

std::string echo(std::string text) { return text; }

void feed(int count, int microseconds, const zax::Progress<std::string>& progress) {
  bench::Feed{count, microseconds}.run(progress);
}

int living() { return bench::Counter::living; }

zax::Bytes same(zax::Bytes bytes) { return bytes; }

}  // namespace

ZAX_MODULE(module) {
  module.function("add", add);
  module.function("upper", bench::upper);
  module.function("sumOf", bench::sumOf);
  module.function("numbers", bench::some<double>);
  module.function("sumOfPoints", bench::sumOfPoints);
  module.function("points", bench::some<Point>);
  module.function("invert", invert);
  module.function("rows", bench::some<Row>);
  module.function("refuse", refuse);
  module.task("task", echo);
  module.task("feed", feed);
  module.task("same", same);
  module.function("living", living);
  module.type<bench::Counter>("Counter")
      .constructor<int>()
      .method("add", &bench::Counter::add)
      .property("value", &bench::Counter::value);
}
