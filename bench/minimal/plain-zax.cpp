#include <zax.h>

namespace {

std::string echo(const std::string& text) { return text; }

}  // namespace

ZAX_MODULE(module) {
  module.function("echo", echo);
#ifdef TEN_MORE
  module.function("f1", [](double a) { return a; });
  module.function("f2", [](double a, double b) { return a + b; }, {"a", "b"});
  module.function("f3", [](int a, bool b) { return b ? a : -a; });
  module.function("f4", [](const std::string& a, int b) { return a.substr(0, b); });
  module.function("f5", [](const std::string& a) { return a.size(); });
  module.function("f6", [](bool a, bool b) { return a && b; });
  module.function("f7", [](std::optional<double> a) { return a.value_or(1); });
  module.function("f8", [](const std::vector<double>& a) { return a.size(); });
  module.function("f9", [](std::int64_t a) { return std::to_string(a); });
  module.function("f10", [](const zax::Bytes& a) { return a.size(); });
#endif
}
