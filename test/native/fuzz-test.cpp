#include <cstdint>
#include <random>

#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// A text begins with its length: these are whole texts, their parts, and what rules turn on.
TEST(Fuzz, RandomTextsFollowTheModel) {
  const std::string pieces[] = {"\5%(a)s",  "\1a",  "\7x%(ab)s", "\2ab", "\1b",
                                "\6n3fooE", "%",    "(",         ")",    "s",
                                "\x0b",     "\x17", "\xfb",      "\xff", "\4N1aE"};
  std::mt19937 random;
  stderrOf([&] {
    for (int run = 0; run < 5000; ++run) {
      std::string data(1, static_cast<char>(random()));
      for (auto left = random() % 60; left > 0; --left) {
        data +=
            random() % 8 ? pieces[random() % std::size(pieces)] : std::string(1, random() % 256);
      }
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(data.data()), data.size());
    }
  });
}
